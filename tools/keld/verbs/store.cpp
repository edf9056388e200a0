// init, check, backup, copy-store: verbs for the store as a whole.

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>

#include "tools/keld/host/context.h"
#include "tools/keld/host/progress.h"
#include "tools/keld/host/system.h"
#include "workbench/address.h"

namespace keld {

namespace {

namespace fs = std::filesystem;

// A script's empty variable must not put the files into the database unseen.
void addVolumeOption(CLI::App* verb, const std::shared_ptr<std::string>& volume) {
    verb->add_option("--volume", *volume,
                     "of a store on a server: a new directory that all hosts share, which has its "
                     "files instead of the database")
        ->check([](const std::string& text) {
            return std::string(text.empty() ? "a directory is needed" : "");
        });
}

int init(Context& context, const std::string& volume) {
    context.workbench().createStore(context.storePath(), volume);
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

// The store to copy is named by the verb, so that both have their place in the command.
int copyStore(Context& context, const std::string& from, const std::string& to,
              const std::string& volume) {
    context.reopen(from);
    std::vector<mervane::CheckFinding> missing;
    {
        const Progress progress("copying the store");
        missing = context.workbench().copyStore(context.store(), to, volume);
    }
    const std::string made = mervane::withoutPassword(to);
    context.document["copy"] = made;
    context.document["damaged"] = noteDamaged(context, missing);
    context.print("copied the store to " + shown(made) +
                  (missing.empty() ? "\n"
                                   : ", without " + counted(missing.size(), "thing") +
                                         " that can't be read as stored\n"));
    return missing.empty() ? kExitDone : kExitFailed;
}

}  // namespace

void addStoreVerbs(Verbs& verbs) {
    auto new_volume = std::make_shared<std::string>();
    CLI::App* init_verb = verbs.add(
        &verbs.app, "init", "Make a new, empty store",
        "  keld init                     # ./keld.db\n"
        "  keld init --store plant.db\n"
        "  keld init --store postgresql://keld@db.plant.example/keld --volume /srv/plant\n",
        [new_volume](Context& context) { return init(context, *new_volume); });
    addVolumeOption(init_verb, new_volume);

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

    auto from = std::make_shared<std::string>(), to = std::make_shared<std::string>(),
         volume = std::make_shared<std::string>();
    CLI::App* copy_verb = verbs.add(
        &verbs.app, "copy-store", "Copy a store into one of any kind, in a file or on a server",
        "  keld copy-store plant.db postgresql://keld@db.plant.example/keld\n"
        "  keld copy-store postgresql://keld@db.plant.example/keld copy.db\n"
        "Tags, versions and the records of runs stay as they are; others may be writing "
        "meanwhile.\n",
        [from, to, volume](Context& context) { return copyStore(context, *from, *to, *volume); });
    copy_verb->add_option("FROM", *from, "the store: a path, or the address of a server")
        ->required();
    copy_verb->add_option("TO", *to, "where the copy is made; nothing may be there yet")
        ->required();
    addVolumeOption(copy_verb, volume);
}

}  // namespace keld
