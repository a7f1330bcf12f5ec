#include <fmt/format.h>

#include <cstdio>
#include <iostream>
#include <iterator>

#include "Base/File.hpp"
#include "Base/Text.hpp"
#include "Commands.hpp"
#include "Kestrelyne/App/AnswerText.hpp"
#include "Kestrelyne/App/SettingKind.hpp"
#include "Kestrelyne/App/SettingsPlist.hpp"
#include "Kestrelyne/App/SettingsStore.hpp"
#include "RunningProgram.hpp"
#include "Say.hpp"

namespace kestrelyne {

namespace {

constexpr mode_t privateMode = 0600;  // an export holds the PIN
constexpr std::size_t longestImport = 256u * 1024 * 1024;
constexpr std::size_t shownCharacters = 60;

std::string standardInput() { return {std::istreambuf_iterator<char>(std::cin), {}}; }

/// One line for the list; JSON by its size alone, as it may hold a PIN.
std::string shown(const SettingValue& value) {
    if (const auto* blob = std::get_if<SettingBlob>(&value)) return fmt::format("{} Byte", blob->bytes.size());
    auto text = base::repairUTF8(wordOf(value));
    for (char& c : text)
        if (static_cast<unsigned char>(c) < ' ' || c == '\x7F') c = ' ';
    auto start = base::firstCharacters(text, shownCharacters);
    return start.size() < text.size() ? start + " …" : start;
}

/// The kind to store a word as: what was asked for, what the key has, what the program gives it, what the word looks like.
SettingKind kindFor(SettingsFile& file, const SettingsWords& words, const std::string& word) {
    if (words.type) return *settingKind(*words.type);
    if (const auto old = file.get(*words.key)) return kindOf(*old);
    if (const auto known = kindOfKnownKey(*words.key)) return *known;
    return guessedKind(word);
}

class SettingsTool {
public:
    SettingsTool(const Where& where, const SettingsWords& words)
        : words_(words),
          folders_(foldersOf(where)),
          running_(runningProcess(folders_)),
          file_(folders_.settingsFile(), running_ ? SettingsFile::Damage::refuse : SettingsFile::Damage::moveAside) {
        if (const auto& moved = file_.movedAside())
            say(stderr, "kestrelyne: Die Einstellungen waren beschädigt und liegen jetzt in „{}“.\n", moved->string());
    }

    ExitCode carryOut() {
        using Verb = SettingsWords::Verb;
        switch (words_.verb) {
            case Verb::list: return list();
            case Verb::get: return get();
            case Verb::set: return set();
            case Verb::remove: return remove();
            case Verb::exportFile: return exportFile();
            case Verb::importFile: return importFile();
        }
        return ExitCode::failed;
    }

private:
    ExitCode list() {
        say(stderr, "Einstellungen in „{}“:\n", folders_.settingsFile().string());
        std::vector<std::vector<std::string>> rows;
        for (const auto& [key, value] : file_.all()) rows.push_back({base::repairUTF8(key), kindName(kindOf(value)), shown(value)});
        std::cout << alignedTable(rows, "");
        return ExitCode::done;
    }

    ExitCode get() {
        const auto value = file_.get(*words_.key);
        if (!value) return missing();
        std::cout << wordOf(*value) << '\n';
        return ExitCode::done;
    }

    ExitCode set() {
        const bool fromInput = words_.value == "-";
        auto word = fromInput ? standardInput() : words_.value;
        if (base::repairUTF8(*words_.key) != *words_.key)
            throw ControlError("Der Schlüssel ist kein gültiges UTF-8.", ExitCode::wrongWords);
        // The line end that a shell's tools put behind everything is not part of a value; within JSON it does not matter.
        if (fromInput && word.ends_with('\n')) word.pop_back();
        const auto kind = kindFor(file_, words_, word);
        try {
            file_.set(*words_.key, settingFromWord(kind, word));
        } catch (const WrongKind& error) {
            throw ControlError(fmt::format("„{}“ bleibt, wie es ist: {} (--type {}).", *words_.key, error.what(), kindName(kind)),
                               ExitCode::wrongWords);
        }
        return changed("„" + *words_.key + "“ gespeichert");
    }

    ExitCode remove() {
        if (!words_.key) {
            file_.removeAll();
            return changed("Alle Einstellungen gelöscht");
        }
        if (!file_.remove(*words_.key)) return missing();
        return changed("„" + *words_.key + "“ gelöscht");
    }

    ExitCode exportFile() {
        const auto values = file_.all();
        const auto text = settingsToPlist(values);
        if (words_.file == "-") {
            std::cout << text;
        } else {
            try {
                base::replaceFile(words_.file, text, privateMode);
            } catch (const std::system_error& error) {
                throw std::runtime_error("„" + words_.file +
                                         "“ lässt sich nicht schreiben: " + base::errnoText(error.code().value()));
            }
            say(stderr, "{} Schlüssel aus „{}“ nach „{}“ geschrieben.\n", values.size(), folders_.settingsFile().string(),
                words_.file);
        }
        return ExitCode::done;
    }

    ExitCode importFile() {
        const auto text = words_.file == "-" ? std::optional(standardInput()) : base::readFile(words_.file, longestImport);
        if (!text) throw std::runtime_error("„" + words_.file + "“ lässt sich nicht lesen.");
        const auto values = settingsFromPlist(*text);
        file_.setAll(values);
        return changed(fmt::format("{} Schlüssel übernommen", values.size()));
    }

    ExitCode missing() const {
        say(stderr, "kestrelyne: „{}“ ist nicht gesetzt.\n", base::repairUTF8(*words_.key));
        return ExitCode::failed;
    }

    /// Says what was done where, and what it means for a program that runs beside.
    ExitCode changed(const std::string& what) const {
        say(stderr, "{} in „{}“.\n", what, folders_.settingsFile().string());
        if (running_)
            say(stderr,
                "Das Programm läuft{}: Die Änderung zählt ab seinem nächsten Start, und speichert es selbst unter diesem "
                "Schlüssel, ersetzt es sie.\n",
                *running_ > 0 ? fmt::format(" (Prozess {})", *running_) : "");
        return ExitCode::done;
    }

    const SettingsWords& words_;
    const Folders folders_;
    const std::optional<int> running_;
    SettingsFile file_;
};

}  // namespace

ExitCode settingsCommand(const Where& where, const SettingsWords& words) {
    if (words.type && !settingKind(*words.type))
        throw ControlError("Unbekannte Art „" + *words.type + "“: es gibt json, text, number und bool.", ExitCode::wrongWords);
    return SettingsTool(where, words).carryOut();
}

}  // namespace kestrelyne
