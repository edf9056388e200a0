// What a store is called is a name in the file system, and what belongs to it belongs to those who
// may read it.

#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "tests/workbench/support.h"

using namespace mervane;
using namespace mervane::test;

namespace {

// The test's directory is the current one while it lives.
class Inside {
public:
    explicit Inside(const Directory& directory) : before_(std::filesystem::current_path()) {
        std::filesystem::current_path(directory.path());
    }
    ~Inside() { std::filesystem::current_path(before_); }

private:
    std::filesystem::path before_;
};

// Paths below the directory with what others than the owner may do with them.
std::vector<std::string> openToOthers(const Directory& directory) {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory.path())) {
        struct stat status {};
        if (::lstat(entry.path().c_str(), &status) == 0 && (status.st_mode & 077) != 0)
            found.push_back(entry.path().string());
    }
    return found;
}

unsigned modeOf(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0U;
}

void workOn(const std::string& path, const Directory& directory) {
    const auto store = bench().openStore(path);
    bench().openSession(store, {});
    std::ofstream(directory.at("a.txt")) << "contents";
    ::chmod(directory.at("a.txt").c_str(), 0600);
    bench().addFile(bench().createDataset("Text", "notes"), "Text", directory.at("a.txt"), "a.txt");
    bench().backup(store, path + "-copy");
}

}  // namespace

class Names : public ::testing::TestWithParam<const char*> {};
INSTANTIATE_TEST_SUITE_P(Schemes, Names,
                         ::testing::Values("file:plant", "file:plant?mode=memory",
                                           "file::memory:?cache=shared", "http:plant", ":plant"),
                         [](const auto& each) { return std::to_string(each.index); });

TEST_P(Names, AreNamesOfFilesWhateverTheyLookLike) {
    const Directory directory;
    const Inside inside(directory);
    const std::string name = GetParam();
    bench().createStore(name);
    tag_t item = NULLTAG;
    {
        const auto store = bench().openStore(name);
        bench().openSession(store, {});
        item = bench().createItem("1", "kept", "", "A", nullptr);
        bench().backup(store, name + ".copy");
        bench().closeStore(store);
    }
    for (const std::string& each : {name, name + ".copy"}) {
        EXPECT_TRUE(std::filesystem::is_regular_file(each)) << each;
        const auto store = bench().openStore(each);
        bench().openSession(store, {});
        EXPECT_EQ(stored(item, "object_name"), "kept") << each;
        bench().closeStore(store);
    }
    EXPECT_FALSE(std::filesystem::exists("plant"));
}

TEST(RegistryNames, AreNamesOfFilesWhateverTheyLookLike) {
    const Directory directory;
    const Inside inside(directory);
    bench().createRegistry("file:ids?mode=memory");
    EXPECT_TRUE(std::filesystem::is_regular_file("file:ids?mode=memory"));
}

TEST(Modes, WhatBelongsToAStoreOfItsOwnerIsReadByNobodyElse) {
    const Directory directory;
    const std::string path = directory.at("plant");
    bench().createStore(path);
    std::filesystem::remove_all(path + ".volume");
    ASSERT_EQ(::chmod(path.c_str(), 0600), 0);
    workOn(path, directory);
    EXPECT_EQ(openToOthers(directory), std::vector<std::string>{});
}

TEST(Modes, WhatBelongsToAStoreOfAGroupIsReadAndWrittenByTheGroup) {
    const Directory directory;
    const std::string path = directory.at("plant");
    const mode_t mask = ::umask(022);
    bench().createStore(path);
    std::filesystem::remove_all(path + ".volume");
    ASSERT_EQ(::chmod(path.c_str(), 0660), 0);
    workOn(path, directory);
    ::umask(mask);
    EXPECT_EQ(modeOf(path + ".volume"), 0770U);
    EXPECT_EQ(modeOf(path + "-locks"), 0660U);
    EXPECT_EQ(modeOf(path + "-locks-guard"), 0660U);
    EXPECT_EQ(modeOf(path + "-locks-held"), 0660U);
    EXPECT_EQ(modeOf(path + "-sessions"), 0770U);
    EXPECT_EQ(modeOf(path + "-copy"), 0660U);
    EXPECT_EQ(modeOf(path + "-copy.volume"), 0770U);
    for (const std::string& volume : {path + ".volume", path + "-copy.volume"})
        for (const auto& entry : std::filesystem::directory_iterator(volume))
            EXPECT_EQ(modeOf(entry.path().string()), 0660U) << entry.path();
}
