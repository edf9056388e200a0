#include "tests/injection/sandbox.h"

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "tests/injection/program_run.h"

namespace injection {

namespace {

constexpr char kMore[] = R"({
  "world": 1,
  "preferences": [{ "name": "OldPreference", "values": ["old"] }],
  "groups": [{ "name": "design" }],
  "users": [{ "id": "miller", "group": "design" }],
  "registered_ids": ["000777"],
  "items": [
    { "id": "000200", "revisions": [{ "id": "A", "name": "frame", "bom": [
        { "item": "000101", "quantity": "1" }, { "item": "000102", "quantity": "2" },
        { "item": "000102", "quantity": "3" }] }] },
    { "id": "000201", "revisions": [{ "id": "A", "name": "other" }] },
    { "id": "000203", "revisions": [{ "id": "A", "name": "third" }] }],
  "folders": [{ "name": "Letters", "contents": ["000100/A:drawing"] }],
  "check_outs": [{ "object": "000102/A", "comment": "was out" }]
})";

constexpr char kLoaded[] = R"({
  "world": 1,
  "items": [{ "id": "000300", "revisions": [{ "id": "A", "datasets": [
      { "type": "Text", "name": "loaded", "files": [
        { "reference": "Text", "name": "a.txt", "text": "loaded text" },
        { "reference": "Text", "name": "b.txt", "text": "more of it" }] }] }] }]
})";

// In memory, copies and syncs cost nothing.
fs::path parentDirectory() {
    return ::access("/dev/shm", W_OK) == 0 ? fs::path("/dev/shm") : fs::temp_directory_path();
}

}  // namespace

mervane::Workbench& bench() {
    return *mervane_workbench();
}

Sandbox::Sandbox() : root_(parentDirectory()) {
    ::setenv("MERVANE_SYNC", "off", 1);  // of the looks at it, not of the programs
    fs::create_directory(root_ / "work");
    std::ofstream(path("more.json")) << kMore;
    std::ofstream(path("loaded.json")) << kLoaded;
    fs::create_directory(path("backups"));
    const std::vector<std::vector<std::string>> steps = {
        {"init"},
        {"load", KELD_SOURCE_DIR "/tests/keld/world.json"},
        {"load", "more.json"},
        {"prefs", "set", "KELD_DELBackupTopDirCentral", path("backups")},
        {"prefs", "set", "KELD_CopyAttributes_WSO", "--", "ItemRevision;object_name"},
        {"prefs", "set", "KELD_CopyAttributes_Relation", "--", "Item;revision_list;ItemRevision"},
        {"rename", "000203", "--to", "000204"},
        {"status", "set", "000101/A", "Frozen", "--dry-run", "--plan", "plan.json"}};
    for (const auto& step : steps) {
        const Result result = runKeld(directory(), step);
        if (result.exit_code != 0)
            throw std::runtime_error(step[0] + ": " + result.err);
    }
    // A file that no object owns, for the repair.
    std::ofstream(path("keld.db.volume/999999")) << "nobody's";
    for (const auto& entry : fs::directory_iterator(directory()))
        if (entry.path().extension() == ".log")
            fs::remove(entry.path());
    fs::rename(root_ / "work", root_ / "prepared");
    renew();
}

void Sandbox::renew() const {
    fs::remove_all(root_ / "work");
    fs::copy(root_ / "prepared", root_ / "work", fs::copy_options::recursive);
}

State Sandbox::stateOf(const std::string& store) {
    State state;
    try {
        const auto id = bench().openStore(store);
        try {
            bench().openSession(id, {});
            for (const mervane::CheckFinding& each : bench().check(id, false))
                if (each.error)
                    state.errors.push_back(each.text);
            std::ostringstream out;
            bench().exportWorld(out);
            state.world = out.str();
            state.ids = bench().registeredIds();
        } catch (const std::exception& failure) {
            state.failure = failure.what();
        }
        bench().closeStore(id);
    } catch (const std::exception& failure) {
        state.failure = failure.what();
    }
    return state;
}

std::vector<std::string> Sandbox::namesBut(const std::vector<std::string>& known) const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory())) {
        const std::string name = entry.path().filename().string();
        if (std::none_of(known.begin(), known.end(),
                         [&](const std::string& each) { return name.starts_with(each); }))
            names.push_back(name);
    }
    return names;
}

}  // namespace injection
