#include "Kestrelyne/Lighting/PatchField.hpp"

#include <algorithm>
#include <tuple>
#include <unordered_map>

#include "Base/Text.hpp"

namespace kestrelyne {

namespace {

struct Field {
    PatchField field;
    std::string_view word, label;
    // Headings of consoles and planning programs as cleaned() leaves them, the one that says it best first; apart by blanks. The
    // label and the word stand before them.
    std::string_view synonyms;
};

// In the order of the cases. A heading may stand at several fields: what the best one leaves goes to the next.
constexpr Field fields[] = {
    {PatchField::ignore, "ignore", "– ignorieren –", ""},
    {PatchField::fixtureID, "fixtureID", "Fixture-ID",
     "fixtureid fixid fid fixtureno fixturenumber fixturenr fixturenummer fixture# headno headnumber spotnumber geraetenummer "
     "geraetenr "
     "lampennummer lampennr scheinwerfernummer scheinwerfernr channelid chaid channel chan ch channelnumber channel# kanalnummer "
     "kanalnr "
     "kanal cid id nummer number nr no # unitnumber unitno unitnr unit unit# u# usernumber handle handlenumber"},
    {PatchField::name, "name", "Name",
     "fixturename name fixturelabel label bezeichnung benennung beschriftung headname instrumentname lampenname geraetename "
     "description "
     "beschreibung purpose zweck fixture spot titel title"},
    {PatchField::manufacturer, "manufacturer", "Hersteller",
     "manufacturer fixturemanufacturer manufacturername maker make brand vendor marke firma"},
    {PatchField::model, "model", "Typ / Modell",
     "fixturetype instrumenttype insttype fixturemodel model modell modelname typ type geraetetyp lampentyp scheinwerfertyp geraet "
     "device "
     "devicemodel modelltyp typmodell personality fixture instrument scheinwerfer lampe symbolname"},
    {PatchField::mode, "mode", "Modus",
     "fixturemode gdtffixturemode gdtfmode dmxmode mode modus dmxmodus dmxpersonality betriebsart modename"},
    {PatchField::universe, "universe", "Universum",
     "universe universum univ uni dmxuniverse dmxuniversum universenumber universumnummer universumnr dmxline dmxlinie linie line "
     "dmxport univers"},
    {PatchField::address, "address", "Adresse",
     "universeaddress uniaddr ua universumadresse univaddr patch patchaddress patchadresse dmxpatch dmxaddress dmxadresse dmxaddr "
     "dmxadr "
     "dmxstartaddress dmxstartadresse startaddress startadresse dmxstart address adresse addr adr uaddress useruaddress udimmer "
     "dmx# dmx dmxchannel dmxkanal userdimmer dimmer absoluteaddress absoluteadresse absaddress useraddress"},
    {PatchField::footprint, "footprint", "Kanäle",
     "footprint dmxfootprint numchannels numberofchannels dmxchannels dmxkanaele channelcount channels chans kanaele kanalanzahl "
     "kanalzahl anzahlkanaele kanalbedarf dmxchannelcount span"},
    {PatchField::position, "position", "Position / Traverse",
     "hangingposition position pos haengeposition traverse truss location standort ort einbauort standplatz"},
    {PatchField::layer, "layer", "Layer / Gruppe", "layer ebene layername gruppe group layergruppe layergroup klasse class stage"},
    {PatchField::distributor, "distributor", "Verteiler",
     "distributor distro powerdistro distribution verteiler stromverteiler verteilung unterverteilung unterverteiler "
     "powerdistributor "
     "distributionboard dimmerrack rack uv"},
    {PatchField::plugbox, "plugbox", "Plugbox / Multicore",
     "plugbox multicore multi multicable multiname loom harting hartingbox breakout breakoutbox socapex soca lastmulticore "
     "multiverteiler"},
    {PatchField::socket, "socket", "Steckplatz",
     "socket outlet steckplatz steckdose plug multicircuit socketnumber dose abgangsdose pin"},
    {PatchField::breaker, "breaker", "Sicherung / Kreis",
     "breaker circuitbreaker fuse sicherung sicherungskreis stromkreis lastkreis kreis kreisnummer kreisnr circuitnumber circuit "
     "circuitname circuit# cir cct ckt abgang mcb powercircuit"},
    {PatchField::phase, "phase", "Phase", "phase phasen aussenleiter leiter phaseleg leg ph"},
    {PatchField::power, "power", "Leistung (W)",
     "power powerw powerwatt powerwatts powerconsumption powerconsumptionw wattage watts watt leistung leistungw leistungwatt "
     "leistungsaufnahme leistungsaufnahmew anschlusswert stromverbrauch verbrauch w load loadw poweruse maxpower maxpowerw"},
    {PatchField::notes, "notes", "Notiz",
     "notes note notiz notizen bemerkung bemerkungen kommentar kommentare comment comments anmerkung anmerkungen remark remarks "
     "info"},
};
static_assert(std::size(fields) == patchFields);

const Field& entry(PatchField field) { return fields[static_cast<std::size_t>(field)]; }

// Small letters and digits alone, umlauts as two letters, and "#", which stands for a number.
std::string cleaned(std::string_view heading) {
    constexpr std::pair<std::string_view, std::string_view> letters[] = {{"ä", "ae"}, {"Ä", "ae"}, {"ö", "oe"}, {"Ö", "oe"},
                                                                         {"ü", "ue"}, {"Ü", "ue"}, {"ß", "ss"}};
    std::string text;
    while (!heading.empty()) {
        const auto* letter = std::ranges::find_if(letters, [&](const auto& each) { return heading.starts_with(each.first); });
        if (letter != std::end(letters)) {
            text += letter->second;
            heading.remove_prefix(letter->first.size());
            continue;
        }
        const char each = heading.front();
        if ((each >= 'a' && each <= 'z') || (each >= '0' && each <= '9') || each == '#') text += each;
        if (each >= 'A' && each <= 'Z') text += static_cast<char>(each - 'A' + 'a');
        heading.remove_prefix(1);
    }
    return text;
}

struct Fit {
    std::size_t rank;  // how well a heading names the field, 0 the best
    PatchField field;
};

// What each heading may say.
const std::unordered_map<std::string, std::vector<Fit>>& headings() {
    static const auto all = [] {
        std::unordered_map<std::string, std::vector<Fit>> map;
        for (const auto& field : fields) {
            std::size_t rank = 0;
            if (field.field == PatchField::ignore) continue;
            std::vector<std::string> words{cleaned(field.label), cleaned(field.word)};
            for (const auto synonym : base::split(field.synonyms, ' ', false)) words.emplace_back(synonym);
            for (const auto& each : words) map[each].push_back({rank++, field.field});
        }
        return map;
    }();
    return all;
}

}  // namespace

const std::array<PatchField, patchFields>& allPatchFields() {
    static const auto all = [] {
        std::array<PatchField, patchFields> list{};
        for (std::size_t at = 0; at < patchFields; ++at) list[at] = fields[at].field;
        return list;
    }();
    return all;
}

std::string_view label(PatchField field) { return entry(field).label; }

std::string_view word(PatchField field) { return entry(field).word; }

std::optional<PatchField> patchField(std::string_view word) {
    const auto wanted = base::lowerASCII(word);
    const auto* found = std::ranges::find_if(fields, [&](const Field& each) { return base::lowerASCII(each.word) == wanted; });
    return found == std::end(fields) ? std::nullopt : std::optional(found->field);
}

std::vector<PatchField> PatchImport::guessMapping(const std::vector<std::string>& header) {
    std::vector<std::tuple<std::size_t, std::size_t, PatchField>> fits;  // rank, column, field
    for (std::size_t column = 0; column < header.size(); ++column) {
        const auto found = headings().find(cleaned(header[column]));
        if (found == headings().end()) continue;
        for (const auto& fit : found->second) fits.emplace_back(fit.rank, column, fit.field);
    }
    std::ranges::sort(fits);
    std::vector<PatchField> mapping(header.size(), PatchField::ignore);
    std::array<bool, patchFields> taken{};
    for (const auto& [rank, column, field] : fits) {
        auto& mine = taken[static_cast<std::size_t>(field)];
        if (mine || mapping[column] != PatchField::ignore) continue;
        mapping[column] = field;
        mine = true;
    }
    return mapping;
}

}  // namespace kestrelyne
