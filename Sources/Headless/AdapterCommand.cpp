#include <fmt/format.h>

#include <algorithm>
#include <iostream>

#include "Base/JSONFields.hpp"
#include "Base/Text.hpp"
#include "Commands.hpp"
#include "Kestrelyne/App/NetworkState.hpp"
#include "Kestrelyne/App/NetworkText.hpp"
#include "NetworkRequests.hpp"
#include "Say.hpp"

namespace kestrelyne {

namespace {

// A name may be that of an adapter that comes later; a slip of the typing looks the same.
void sayWhatIsMissing(const std::vector<std::string>& names) {
    const auto present = netcore::NetInterface::list();
    for (const auto& name : names)
        if (std::ranges::find(present, name, &netcore::NetInterface::name) == present.end())
            say(stderr, "Den Adapter „{}“ gibt es hier gerade nicht; die Angabe zählt, sobald er da ist.\n", base::printable(name));
}

void list(const Where& where, const AdapterWords& words) {
    const auto answer = readNetwork(where, {{"verb", "adapter.list"}},
                                    [](const NetConfig& config) { return adapterStates(netcore::NetInterface::list(), config); });
    if (words.json)
        printJSON(answer);
    else
        std::cout << adapterTable(answer);
}

}  // namespace

ExitCode adapterCommand(const Where& where, const AdapterWords& words) {
    using Verb = AdapterWords::Verb;
    switch (words.verb) {
        case Verb::list: list(where, words); return ExitCode::done;
        case Verb::use:
            changeNetwork(where, {{"verb", "adapter.use"}, {"names", words.names}});
            sayWhatIsMissing(words.names);
            return ExitCode::done;
        case Verb::role: changeNetwork(where, {{"verb", "adapter.role"}, {"name", words.name}, {"role", words.value}}); break;
        case Verb::label: changeNetwork(where, {{"verb", "adapter.label"}, {"name", words.name}, {"label", words.value}}); break;
    }
    sayWhatIsMissing({words.name});
    return ExitCode::done;
}

}  // namespace kestrelyne
