#include "Kestrelyne/App/PatchVerbs.hpp"

#include <memory>
#include <utility>

#include "Base/JSONFields.hpp"
#include "Kestrelyne/App/ControlFields.hpp"
#include "Kestrelyne/App/ControlMessage.hpp"
#include "Kestrelyne/App/PatchEdits.hpp"
#include "Kestrelyne/App/PatchState.hpp"

namespace kestrelyne {

namespace {

using base::JSON;

/// Carried out in the pool on a patch of its own.
struct Listing {
    Patch patch;
    std::string query;
    JSON operator()() const { return patchState(patch, query); }
};
struct Editing {
    Patch patch;
    std::shared_ptr<const JSON> request;
    std::pair<Patch, JSON> operator()() {
        auto answer = editPatch(patch, *request);
        return {std::move(patch), std::move(answer)};
    }
};

/// The verbs with what they work on; lives as long as the server's handlers.
class Verbs {
public:
    Verbs(PatchStore& store, base::BackgroundPool& pool) : store_(store), pool_(pool) {}

    base::Co<JSON> list(JSON request) {
        auto query = optionalText(request, "query").value_or("");
        auto answer = co_await pool_.run(Listing{*store_.patch(), std::move(query)});
        co_return answer;
    }

    base::Co<JSON> edit(JSON given) {
        const bool dryRun = optionalSwitch(given, "dryRun").value_or(false);
        auto request = std::make_shared<const JSON>(std::move(given));
        for (;;) {
            const auto revision = store_.revision();
            auto [patch, answer] = co_await pool_.run(Editing{*store_.patch(), request});
            // Somebody else has changed it meanwhile: again, on what is there now.
            if (revision != store_.revision()) continue;
            // A long list takes a while to take down, too.
            pool_.post([request = std::move(request)] {});
            if (!dryRun) {
                const auto failedBefore = store_.failedWrites();
                store_.set(std::move(patch));
                co_await store_.flush();
                if (store_.failedWrites() != failedBefore) throw ControlError("Die Änderung gilt, ließ sich aber nicht speichern.");
            }
            co_return answer;
        }
    }

private:
    PatchStore& store_;
    base::BackgroundPool& pool_;
};

}  // namespace

void addPatchVerbs(ControlServer& server, PatchStore& patch, base::BackgroundPool& pool) {
    const auto verbs = std::make_shared<Verbs>(patch, pool);
    const auto add = [&](const char* name, base::Co<JSON> (Verbs::*verb)(JSON)) {
        server.add(name, [verbs, verb](JSON request) { return ((*verbs).*verb)(std::move(request)); });
    };
    add("patch.list", &Verbs::list);
    for (const char* name : {"patch.edit", "patch.delete", "patch.settings", "patch.import"}) add(name, &Verbs::edit);
}

}  // namespace kestrelyne
