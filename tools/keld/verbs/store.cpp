// init, check, backup: verbs for the store as a whole.

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>

#include "tools/keld/host/context.h"
#include "tools/keld/host/progress.h"
#include "tools/keld/host/system.h"

namespace keld {

namespace {

namespace fs = std::filesystem;

int init(Context& context) {
    context.workbench().createStore(context.storePath());
    const std::string made = context.wholeStorePath();
    context.document["store"] = made;
    context.print("made the store " + shown(made) + "\n");
    return kExitDone;
}

int check(Context& context, bool repair) {
    context.open();
    std::vector<mervane::CheckFinding> findings;
    {
        const Progress progress("checking the store");
        findings = context.workbench().check(context.store(), repair);
    }
    std::size_t errors = 0;
    Json shown = Json::array();
    for (const auto& finding : findings) {
        errors += finding.error ? 1 : 0;
        const char* kind = finding.error ? "error" : "note";
        shown.push_back({{"kind", kind}, {"text", finding.text}});
        context.print(painted(finding.error ? Colour::Red : Colour::Yellow, kind) + ": " +
                      keld::shown(finding.text) + "\n");
    }
    context.document["store"] = context.shownStore();
    context.document["errors"] = errors;
    context.document["findings"] = shown;
    context.print(findings.empty() ? "the store is sound\n"
                                   : counted(errors, "error") + ", " +
                                         counted(findings.size() - errors, "note") + "\n");
    return errors == 0 ? kExitDone : kExitFailed;
}

int backup(Context& context, const std::string& path) {
    context.open();
    std::vector<mervane::CheckFinding> damaged;
    {
        const Progress progress("copying the store");
        damaged = context.workbench().backup(context.store(), path);
    }
    const std::string made = fs::absolute(pathOf(path)).lexically_normal().string();
    context.document["backup"] = made;
    context.document["damaged"] = noteDamaged(context, damaged);
    context.print("copied the store to " + shown(made) +
                  (damaged.empty() ? "\n"
                                   : ", without " + counted(damaged.size(), "file") +
                                         " that can't be read as stored\n"));
    return damaged.empty() ? kExitDone : kExitFailed;
}

}  // namespace

void addStoreVerbs(Verbs& verbs) {
    verbs.add(&verbs.app, "init", "Make a new, empty store",
              "  keld init                     # ./keld.db\n"
              "  keld init --store plant.db\n",
              init);

    auto repair = std::make_shared<bool>(false);
    CLI::App* check_verb =
        verbs.add(&verbs.app, "check", "Check that the store and its volume are sound",
                  "  keld check\n"
                  "  keld check --repair\n",
                  [repair](Context& context) { return check(context, *repair); });
    check_verb->add_flag(
        "--repair", *repair,
        "remove files that no object owns; make an index of texts anew that isn't what "
        "the texts are");

    auto path = std::make_shared<std::string>();
    CLI::App* backup_verb =
        verbs.add(&verbs.app, "backup", "Copy the store while others may be writing",
                  "  keld backup /backup/plant.db\n",
                  [path](Context& context) { return backup(context, *path); });
    backup_verb->add_option("PATH", *path, "where the copy is made; nothing may be there yet")
        ->required();
}

}  // namespace keld
