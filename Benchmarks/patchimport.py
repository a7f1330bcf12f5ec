"""What reading a large patch costs: a show of 5,000 lamps of 20 types (MVR) and a list of 20,000 rows (CSV), generated.

  patchimport.py TOOL PROGRAM     Tests/Peers/PatchTool and kestrelyne of a release build

TOOL reads only; PROGRAM takes the file into a patch of its own, with its output and the writing of the patch.
"""
import io
import os
import pathlib
import subprocess
import sys
import tempfile
import time
import zipfile

LAMPS, TYPES, ROWS, RUNS = 5000, 20, 20000, 5
MODES, CHANNELS = 8, 60


def description(kind):
    modes = []
    for mode in range(MODES):
        channels = "".join(
            '<DMXChannel DMXBreak="1" Offset="%d,%d" Highlight="None" Geometry="Head"><LogicalChannel Attribute="%s" Snap="No">'
            '<ChannelFunction Name="Function %d" Attribute="Dimmer" DMXFrom="0/2" Default="0/2"><ChannelSet Name="Min" DMXFrom="0/2"/><ChannelSet Name="Max" DMXFrom="65535/2"/>'
            "</ChannelFunction></LogicalChannel></DMXChannel>" % (2 * each + 1, 2 * each + 2, "Dimmer" if each == 0 else "Gobo%d" % each, each) for each in range(CHANNELS))
        modes.append('<DMXMode Name="Mode %d" Geometry="Base"><DMXChannels>%s</DMXChannels></DMXMode>' % (mode, channels))
    return ('<GDTF DataVersion="1.2"><FixtureType Name="Beam %d" LongName="Beam %d" Manufacturer="Maker"><PowerConsumption Value="%d"/>'
            '<Geometries><Geometry Name="Base"><Axis Name="Yoke"><Axis Name="Head"/></Axis></Geometry></Geometries><DMXModes>%s</DMXModes></FixtureType></GDTF>'
            % (kind, kind, 300 + kind, "".join(modes)))


def show(file):
    fixtures = []
    for lamp in range(LAMPS):
        fixtures.append(
            '<Fixture name="Lamp %d" uuid="%032X"><Matrix>{1.0,0.0,0.0}{0.0,1.0,0.0}{0.0,0.0,1.0}{%d.0,5000.0,5000.0}</Matrix><GDTFSpec>Maker@Beam %d.gdtf</GDTFSpec>'
            "<GDTFMode>Mode %d</GDTFMode><CustomCommands><CustomCommand>Body_Pan,f 0.0</CustomCommand></CustomCommands><Addresses><Address break=\"0\">%d</Address></Addresses>"
            "<FixtureID>%d</FixtureID><UnitNumber>%d</UnitNumber><FixtureTypeId>0</FixtureTypeId><CustomId>0</CustomId><Color>0.3,0.3,100</Color><CastShadow>false</CastShadow><Mappings/>"
            "</Fixture>" % (lamp, lamp, lamp, lamp % TYPES, lamp % MODES, (lamp // 4) * 512 + (lamp % 4) * 2 * CHANNELS + 1, lamp + 1, lamp % 50))
    layers = []
    for first in range(0, LAMPS, 250):
        layers.append('<Layer name="Layer %d" uuid="1"><ChildList><Truss name="Truss %d"><ChildList>%s</ChildList></Truss></ChildList></Layer>' % (first, first, "".join(fixtures[first:first + 250])))
    with zipfile.ZipFile(file, "w", zipfile.ZIP_DEFLATED) as archive:
        archive.writestr("GeneralSceneDescription.xml", '<GeneralSceneDescription verMajor="1" verMinor="5"><Scene><Layers>%s</Layers></Scene></GeneralSceneDescription>' % "".join(layers))
        for kind in range(TYPES):
            inner = io.BytesIO()
            with zipfile.ZipFile(inner, "w", zipfile.ZIP_DEFLATED) as gdtf:
                gdtf.writestr("description.xml", description(kind))
                gdtf.writestr("thumbnail.png", os.urandom(100000))
            archive.writestr("Maker@Beam %d.gdtf" % kind, inner.getvalue())


def table(file):
    lines = ["Fixture-ID;Name;Hersteller;Typ;Modus;Universum;Adresse;Kanäle;Position;Layer;Verteiler;Multicore;Sicherung;Phase;Leistung (W);Notiz"]
    for row in range(ROWS):
        lines.append('%d;"Lamp ""%d""";Maker;Beam %d;Mode 1;%d;%d;120;Truss %d;Layer %d;UV %d;M%d;F%d;L%d;%d W;"Reihe; %d"'
                     % (row + 1, row, row % TYPES, row // 4 + 1, row % 4 * 120 + 1, row // 50, row // 500, row // 1000, row // 6, row // 2, row % 3 + 1, 300 + row % 7, row))
    file.write_text("\n".join(lines) + "\n", encoding="utf-8")


def peak_of(process):
    """The largest memory so far, in MB. (What wait4 says counts this script's, from before the exec.)"""
    try:
        for line in open("/proc/%d/status" % process.pid):
            if line.startswith("VmHWM"):
                return int(line.split()[1]) / 1024
    except OSError:
        pass
    return 0


def measured(words):
    """Seconds, and the largest memory in MB, of a process."""
    begun, peak = time.monotonic(), 0
    child = subprocess.Popen(words, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    while child.poll() is None:
        peak = max(peak, peak_of(child))
        time.sleep(0.002)
    if child.returncode:
        raise SystemExit("%s ended with %d" % (" ".join(words), child.returncode))
    return time.monotonic() - begun, peak


def report(what, words):
    runs = []
    for _ in range(RUNS):
        with tempfile.TemporaryDirectory() as folder:
            runs.append(measured([word.replace("{folder}", folder) for word in words]))
    print("%-28s %7.0f ms (median of %d), peak %6.1f MB" % (what, sorted(run[0] for run in runs)[RUNS // 2] * 1000, RUNS, max(run[1] for run in runs)))


def main():
    tool, program = sys.argv[1:]
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        show(folder / "show.mvr")
        table(folder / "list.csv")
        print("show.mvr: %d lamps, %d types, %.1f MB; list.csv: %d rows, %.1f MB"
              % (LAMPS, TYPES, (folder / "show.mvr").stat().st_size / 1e6, ROWS, (folder / "list.csv").stat().st_size / 1e6))
        report("the tool alone", [tool, "count", "none", "-"])
        for kind, file in (("mvr", "show.mvr"), ("csv", "list.csv")):
            report("read " + file, [tool, "count", kind, str(folder / file)])
            report("patch import " + file, [program, "patch", "import", str(folder / file), "--replace", "--data", "{folder}"])


main()
