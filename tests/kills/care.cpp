#include "tests/kills/care.h"

#include "tests/kills/told_saves.h"
#include "workbench/workbench.h"

namespace kills {

bool isCare(const std::string& kind) {
    return kind == "create" || kind == "open" || kind == "backup" || kind == "repair";
}

void care(const std::string& kind, const std::string& directory, const std::string& path) {
    mervane::Workbench& bench = *mervane_workbench();
    say("B 1");
    if (kind == "create") {
        bench.createStore(path);
    } else {
        const auto store = bench.openStore(path);
        if (kind == "backup")
            bench.backup(store, directory + "/copy");
        else if (kind == "repair")
            bench.check(store, true);
        else
            bench.openSession(store, {});
        bench.closeStore(store);
    }
    say("D 1");
}

}  // namespace kills
