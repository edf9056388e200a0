// Faults in every platform call of the go-ahead for a deletion.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "platform/keld_se.h"
#include "tests/faults/delete_rules.h"
#include "tests/faults/service.h"
#include "tests/faults/sweep.h"
#include "tests/support/files.h"

using faults::Outcome;
using faults::Scenario;
using world::World;

namespace fs = std::filesystem;

namespace {

std::vector<tag_t> objects;
fs::path place;
bool with_backup = false;
int last_status = 0;

Outcome service(World& world) {
    std::error_code ignored;
    fs::remove_all(place / "backup", ignored);
    fs::create_directory(place / "backup");
    const Outcome outcome =
        faults::callService(world, "KELD_DeleteDeluxe", KELD_DeleteDeluxe, {objects});
    last_status = outcome.status;
    return outcome;
}

void document(World& world, tag_t owner, const std::string& name, int files) {
    const tag_t made = world.specification(owner, name);
    for (int i = 0; i < files; ++i) {
        const std::string file = name + std::to_string(i) + ".txt";
        std::ofstream(place / "source") << file;
        const tag_t stored =
            world.bench.addFile(made, "Text", (place / "source").string(), "plain");
        world.put(stored, "original_file_name", file);
    }
    objects.push_back(made);
}

// An empty folder, documents of revisions, of an item and of nothing.
void build(World& world, bool backup) {
    ::setenv("KELD_DISABLE_LOCPREF_CACHE", "1", 1);
    with_backup = backup;
    if (backup)
        world.bench.setPreference("KELD_DELBackupTopDirCentral", {(place / "backup").string()});
    world.bench.setPreference("KELD_DEL_DELUXE_TYPES", {"Text"});
    objects = {world.bench.createFolder("empty")};
    const world::ItemTags made = world.item("000100");
    document(world, made.revision, "first", 2);
    document(world, made.item, "second", 2);
    document(world, world.item("000200").revision, "third", 3);
    objects.push_back(world.dataset("alone"));
    objects.push_back(made.item);
}

// A document in use and a full folder besides.
void refused(World& world, bool full_folder) {
    build(world, true);
    const tag_t used = world.item("000300").revision;
    world.occurrence(world.item("000400").revision, used);
    document(world, used, "used", 1);
    if (full_folder) {
        const tag_t folder = world.bench.createFolder("full");
        world.bench.addToFolder(folder, used);
        objects.insert(objects.begin(), folder);
    }
}

// A go-ahead only with every file saved, and a line of the log for each file that is there.
std::vector<std::string> look(World&, const faults::Record&) {
    std::vector<std::string> problems;
    std::string log;
    std::vector<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(place / "backup")) {
        if (!entry.is_regular_file())
            continue;
        if (entry.path().extension() == ".log")
            log += keld_test::readFile(entry.path());
        else
            files.push_back(entry.path());
    }
    for (const fs::path& file : files) {
        if (log.find(file.string()) == std::string::npos)
            problems.push_back("no line for " + file.string());
        if (keld_test::readFile(file) != file.filename().string())
            problems.push_back(file.string() + " has another content");
    }
    if (with_backup && last_status == 0 && files.size() != 7)
        problems.push_back("a go-ahead with " + std::to_string(files.size()) + " files saved");
    return problems;
}

Scenario scenario(const std::string& name, const std::function<void(World&)>& make,
                  int without_faults) {
    Scenario made;
    made.name = name;
    made.build = make;
    made.run = service;
    made.gives = [without_faults](int status) {
        return faults::givenBy("KELD_DeleteDeluxe")(status != 0 ? status : without_faults);
    };
    made.look = look;
    return made;
}

}  // namespace

TEST(FaultSweep, Deletion) {
    const keld_test::Directory directory;
    place = directory;
    expectSweep("deletion",
                {scenario(
                     "backup", [](World& world) { build(world, true); }, 0),
                 scenario(
                     "no backup", [](World& world) { build(world, false); }, 0),
                 scenario(
                     "in use", [](World& world) { refused(world, false); }, 919502),
                 scenario(
                     "full folder", [](World& world) { refused(world, true); }, 919500)},
                faults::deleteRules());
    std::error_code ignored;
    fs::remove_all(place, ignored);
}
