#pragma once

// A store that is ready for every verb, copied for each run, and what it holds afterwards.

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/files.h"
#include "workbench/workbench.h"

namespace injection {

namespace fs = std::filesystem;

mervane::Workbench& bench();

// What a store holds, as another process reads it.
struct State {
    std::string failure;              // it can't be opened or checked
    std::vector<std::string> errors;  // of the check
    std::string world;                // the export
    std::vector<std::string> ids;     // registered
};

class Sandbox {
public:
    Sandbox();

    // Begin anew with the prepared store.
    void renew() const;
    // Where the store is and programs run; nothing else is there but what they leave.
    std::string directory() const { return root_.at("work"); }
    std::string path(const std::string& name) const { return (root_ / "work" / name).string(); }
    static State stateOf(const std::string& store);
    State state() const { return stateOf(path("keld.db")); }
    // Names in the directory, each beginning with one of these left out.
    std::vector<std::string> namesBut(const std::vector<std::string>& known) const;

private:
    keld_test::Directory root_;
};

}  // namespace injection
