#pragma once

// A small world with a backup directory, and around that a place in which nothing may change.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "delete/keld_delete_deluxe.h"
#include "platform/mv_err.h"
#include "platform/mv_heap.h"
#include "tests/support/files.h"
#include "tests/support/world.h"

namespace delete_test {

namespace fs = std::filesystem;

using keld_test::readFile;
using keld_test::writeFile;

using Tree = std::map<std::string, std::string>;

// Every file, directory ("dir") and link below a directory, with its contents.
inline Tree treeOf(const fs::path& top) {
    Tree tree;
    if (!fs::exists(top))
        return tree;
    for (const auto& entry : fs::recursive_directory_iterator(top)) {
        const std::string name = entry.path().lexically_relative(top).generic_string();
        if (entry.is_symlink())
            tree[name] = "link to " + fs::read_symlink(entry.path()).string();
        else if (entry.is_directory())
            tree[name] = "dir";
        else
            tree[name] = entry.is_regular_file() ? readFile(entry.path()) : "device";
    }
    return tree;
}

class BackupWorld : public testing::Test {
protected:
    BackupWorld() {
        fs::create_directory(top);
        fs::create_directory(outside);
        writeFile(outside / "victim.txt", "precious");
        ERR_clear_errors();
    }

    void configureBackup() { configureBackup(top.string()); }
    void configureBackup(const std::string& directory) {
        world.bench.setPreference("KELD_DELBackupTopDirCentral", {directory});
    }

    // A dataset type with the reference name "Text" for its files.
    std::string type(const std::string& name) {
        if (std::ranges::count(world.bench.typeNames("Dataset"), name) == 0)
            world.bench.defineDatasetType(name, "Tool of " + name, {"F"}, {"Text"});
        return name;
    }
    tag_t file(tag_t dataset, const std::string& name, const std::string& content) {
        const fs::path source = place / "source";
        writeFile(source, content);
        const tag_t made = world.bench.addFile(dataset, "Text", source.string(), "plain");
        world.put(made, "original_file_name", name);
        fs::remove(source);
        return made;
    }
    // A dataset with one file that specifies an object.
    tag_t drawing(tag_t owner, const std::string& name = "drawing",
                  const std::string& file_name = "drawing.txt",
                  const std::string& content = "sheet 1\n") {
        const tag_t made = world.specification(owner, name);
        file(made, file_name, content);
        return made;
    }

    int service(const std::vector<tag_t>& objects) {
        world.bench.sendArguments({objects});
        int result = 99;
        const int status = KELD_DeleteDeluxe(&result);
        EXPECT_EQ(0, result);
        return status;
    }
    int backup(tag_t dataset, tag_t revision = NULLTAG, FILE* log = nullptr) {
        return PerformCentralBackup(dataset, revision, top.string().c_str(), log);
    }

    // The backup tree without logs.
    Tree saved() const {
        Tree tree;
        for (const auto& [name, content] : treeOf(top))
            if (!name.starts_with("delete_"))
                tree[name] = content;
        return tree;
    }
    // The delete log, each time of the right form as "<time>".
    std::string deleteLog(const std::string& user = "infodba") const {
        std::istringstream in(readFile(top / ("delete_" + user + ".log")));
        std::string all;
        for (std::string line; std::getline(in, line);) {
            if (fs::path::preferred_separator == '\\' && line.ends_with('\r'))
                line.pop_back();
            const bool time = line.size() > 19 && line[4] == '-' && line[7] == '-' &&
                              line[10] == ' ' && line[13] == ':' && line[16] == ':' &&
                              line[19] == ',';
            all += (time ? "<time>" + line.substr(19) : line) + "\n";
        }
        return all;
    }
    std::string path(const std::string& below) const {
        return (top / below).make_preferred().string();
    }
    std::vector<mervane::StackEntry> stack() { return world.bench.errorStack(); }

    keld_test::Directory place;
    const fs::path top = place / "backup";
    const fs::path outside = place / "outside";
    world::World world;
};

}  // namespace delete_test
