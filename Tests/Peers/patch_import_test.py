"""Files of planning programs: what our readers make of them equals what a few lines find in the documents inside, and the program
takes them into its patch whole.
"""
import collections
import io
import json
import os
import pathlib
import subprocess
import tempfile
import xml.etree.ElementTree as ElementTree
import zipfile

import peer

TOOL = os.environ.get("KESTRELYNE_PATCH_TOOL", "build/release/Tests/Peers/PatchTool")
SAMPLES = pathlib.Path(os.environ.get("KESTRELYNE_SAMPLES") or pathlib.Path(os.environ.get("KESTRELYNE_SOURCE_DIR", ".")).resolve().parent / "shared" / "samples")
# What these are said to lack, and what the reader says of them.
DEFECTIVE = {"empty": "Keine description.xml in der GDTF-Datei gefunden."}


def run(*words):
    done = subprocess.run(words, capture_output=True, text=True, timeout=60)
    return done.returncode, done.stdout, done.stderr.strip()


def read(kind, file):
    code, output, error = run(TOOL, kind, str(file))
    if code:
        raise SystemExit("wrong: %s: %s" % (file.name, error))
    return json.loads(output)


def power(document):
    total = sum(float(node.get("Value")) for node in document.iter("PowerConsumption"))
    return total or None


def instances(fixture_type, top):
    """Name of a geometry to the breaks of the references that lead to each of its instances, outermost first."""
    tops = {node.get("Name"): node for node in fixture_type.find("Geometries")}
    found = collections.defaultdict(list)

    def visit(node, references):
        found[node.get("Name")].append(references)
        for child in node:
            if child.tag == "GeometryReference":
                if child.get("Geometry") in tops:
                    breaks = [(int(each.get("DMXBreak", 1)), int(each.get("DMXOffset", 1))) for each in child.findall("Break")]
                    visit(tops[child.get("Geometry")], references + [breaks])
            else:
                visit(child, references)

    visit(tops[top], [])
    return found


def breaks_of(fixture_type, mode):
    """Channels by break."""
    highest = collections.defaultdict(int)
    places = instances(fixture_type, mode.get("Geometry"))
    for channel in mode.find("DMXChannels"):
        offset = channel.get("Offset", "")
        if offset in ("", "None"):
            continue
        last = max(int(each) for each in offset.split(","))
        for references in places.get(channel.get("Geometry")) or [[]]:
            number, shift = channel.get("DMXBreak", "1"), 0
            if number == "Overwrite":
                number, first = references[-1][-1]
                shift = first - 1
            else:
                number = int(number)
                shift = sum(dict(reversed(breaks)).get(number, 1) - 1 for breaks in references)
            highest[number] = max(highest[number], last + shift)
    return dict(highest)


def facts(archive):
    """Maker, type, power and the breaks of each mode, of a GDTF file."""
    document = ElementTree.fromstring(archive.read("description.xml"))
    fixture_type = next(document.iter("FixtureType"))
    modes = {mode.get("Name"): breaks_of(fixture_type, mode) for mode in fixture_type.iter("DMXMode")}
    return fixture_type.get("Manufacturer"), fixture_type.get("LongName") or fixture_type.get("Name"), power(document), modes


def check_type(file):
    info = read("gdtf", file)
    with zipfile.ZipFile(file) as archive:
        maker, model, watts, modes = facts(archive)
    peer.check((info["manufacturer"], info["model"], info["power"]) == (maker, model, watts), "%s: %s %s, %s W" % (file.name, maker, model, watts))
    ours = {mode["name"]: {int(number): each["channels"] for number, each in mode["breaks"].items()} for mode in info["modes"]}
    peer.check(ours == modes and len(info["modes"]) == len(modes), "%s: modes %s" % (file.name, modes))
    for mode in info["modes"]:
        lit = [offset < each["channels"] for each in mode["breaks"].values() for offset, _, _ in each["highlight"]]
        if mode["footprint"] != sum(modes[mode["name"]].values()) or not all(lit):
            raise SystemExit("wrong: %s: %s" % (file.name, mode))


def place(text):
    """Universe and address."""
    if "." in text:
        return tuple(int(each) for each in text.split("."))
    number = int(text)
    return ((number - 1) // 512 + 1, (number - 1) % 512 + 1) if number > 0 else (0, 0)


def types_of(archive):
    found = {}
    for name in archive.namelist():
        if name.endswith(".gdtf"):
            with zipfile.ZipFile(io.BytesIO(archive.read(name))) as inner:
                found[name[:-5]] = facts(inner)
    return found


def number_of(fixture):
    for name in ("FixtureID", "FixtureIDNumeric", "UnitNumber"):
        text = (fixture.findtext(name) or "").strip()
        if text not in ("", "0"):
            return text
    return ""


def expected_of(file):
    """Of each lamp of the scene: number, name, layer, place, maker, type, mode, channels and power."""
    lines = []
    with zipfile.ZipFile(file) as archive:
        scene = ElementTree.fromstring(archive.read("GeneralSceneDescription.xml"))
        types = types_of(archive)
    for layer in scene.iter("Layer"):
        for fixture in layer.iter("Fixture"):
            spec = (fixture.findtext("GDTFSpec") or "").strip()
            maker, model, watts, modes = types[spec[:-5] if spec.endswith(".gdtf") else spec]
            mode = fixture.findtext("GDTFMode")
            addresses = sorted((int(node.get("break", 0)), place(node.text)) for node in fixture.iter("Address"))
            first = min((each for each in addresses if each[1] != (0, 0)), default=addresses[0])
            breaks = modes[mode]
            lines.append((number_of(fixture), fixture.get("name"), layer.get("name") or "", *first[1], maker, model, mode, breaks.get(first[0] + 1, breaks.get(min(breaks))), watts))
    return lines


def check_scene(file):
    expected = expected_of(file)
    result = read("mvr", file)
    ours = [(each["id"], each["name"], each["layer"], each["universe"], each["address"], each["manufacturer"], each["model"], each["mode"], each["footprint"], each["power"])
            for each in result["fixtures"]]
    peer.check(len(ours) == len(expected), "%s: %d fixtures" % (file.name, len(expected)))
    for mine, theirs in zip(ours, expected):
        if mine != theirs:
            raise SystemExit("wrong: %s: %s instead of %s" % (file.name, mine, theirs))
    peer.check(not result["warnings"] and not any(each["estimated"] for each in result["fixtures"]), "%s: numbers, names, layers, addresses, types, modes, channels, power" % file.name)
    return expected


def check_program(file, expected):
    """The same through the program, without a running one."""
    with tempfile.TemporaryDirectory() as folder:
        code, output, error = run(peer.PROGRAM, "patch", "import", str(file), "--replace", "--data", folder)
        if code:
            raise SystemExit("wrong: patch import %s: %s%s" % (file.name, output, error))
        _, output, _ = run(peer.PROGRAM, "patch", "list", "--json", "--data", folder)
    listed = json.loads(output)
    listed = listed["fixtures"] if isinstance(listed, dict) else listed
    ours = collections.Counter((each["fixtureID"], each["universe"], each["address"], each["footprint"], each["mode"]) for each in listed)
    theirs = collections.Counter((line[0], line[3], line[4], line[8], line[7]) for line in expected)
    peer.check(ours == theirs, "%s: in the patch of the program" % file.name)


def main():
    if not SAMPLES.is_dir():
        peer.skip("no samples at %s" % SAMPLES)
    for file in sorted((SAMPLES / "gdtf").glob("*.gdtf")):
        lack = file.name.split(".")[-2]
        if lack in DEFECTIVE:
            code, _, error = run(TOOL, "gdtf", str(file))
            peer.check((code, error) == (1, DEFECTIVE[lack]), "%s: %s" % (file.name, error))
        else:
            check_type(file)
    for file in sorted((SAMPLES / "mvr").glob("*.mvr")):
        check_program(file, check_scene(file))
    readme = SAMPLES / "README.md"
    code, _, error = run(TOOL, "mvr", str(readme))
    peer.check((code, error) == (1, "README.md ist kein gültiges ZIP-Archiv."), error)


main()
