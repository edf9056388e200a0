// Two that make the same thing at once, and a disk that fails when something is committed.

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <sstream>

#include "platform/mv_reg.h"
#include "tests/workbench/database_hook.h"
#include "tests/workbench/support.h"
#include "workbench/system/system.h"

using namespace mervane;
using namespace mervane::test;

namespace {

std::vector<std::string> namesIn(const Directory& directory) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory.path()))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace

TEST(Making, AStoreThatSomebodyElseFinishedMeanwhileIsLeftAlone) {
    const Directory directory;
    const std::string path = directory.at("plant");
    tag_t item = NULLTAG;
    const DatabaseHook hook;
    // The other one makes the store and works with it while this one opens its database.
    hook.beforeNextOpen([&] {
        bench().createStore(path);
        const auto store = bench().openStore(path);
        bench().openSession(store, {});
        item = bench().createItem("1", "kept", "", "A", nullptr);
        bench().closeStore(store);
    });
    EXPECT_EQ(statusOf([&] { bench().createStore(path); }), kStoreFailure);
    ASSERT_NE(item, NULLTAG);
    const auto store = bench().openStore(path);
    bench().openSession(store, {});
    EXPECT_EQ(stored(item, "object_name"), "kept");
    EXPECT_TRUE(bench().check(store, false).empty());
    bench().closeStore(store);
    for (const std::string& name : namesIn(directory))
        EXPECT_EQ(name.find(".new-"), std::string::npos) << name << " is left";
}

TEST(Making, ARegistryThatSomebodyElseFinishedMeanwhileIsLeftAlone) {
    const Directory directory;
    const std::string path = directory.at("ids.db");
    bench().createStore(directory.at("plant"));
    const auto store = bench().openStore(directory.at("plant"));
    bench().openSession(store, {});
    {
        const DatabaseHook hook;
        hook.beforeNextOpen([&] {
            bench().createRegistry(path);
            bench().useRegistry(path);
            ASSERT_EQ(REG_register_item_id("000777", 0), 0);
        });
        EXPECT_EQ(statusOf([&] { bench().createRegistry(path); }), kStoreFailure);
    }
    EXPECT_TRUE(std::filesystem::exists(path));
    bench().closeStore(store);
    const auto again = bench().openStore(directory.at("plant"));
    bench().openSession(again, {});
    EXPECT_EQ(bench().registeredIds(), std::vector<std::string>{"000777"});
    bench().closeStore(again);
}

TEST(Making, AStoreThatCantBeFilledLeavesNothing) {
    const Directory directory;
    {
        const DatabaseHook hook;
        hook.failWrites(true);
        EXPECT_EQ(statusOf([&] { bench().createStore(directory.at("plant")); }), kStoreFailure);
    }
    EXPECT_EQ(namesIn(directory), std::vector<std::string>{});
}

class CommitFailure : public ::testing::Test {
protected:
    void SetUp() override {
        path_ = directory_.at("plant");
        bench().createStore(path_);
        store_ = bench().openStore(path_);
        first_ = bench().openSession(store_, {});
        second_ = bench().openSession(store_, {});
    }
    void TearDown() override { bench().closeStore(store_); }
    tag_t newFolder(Workbench::SessionId session, const std::string& name) {
        bench().selectSession(session);
        return bench().createFolder(name);
    }
    // Damage that no operation does.
    void runSql(const std::string& text) {
        sqlite3* database = nullptr;
        ASSERT_EQ(sqlite3_open(path_.c_str(), &database), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(database, text.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
            << sqlite3_errmsg(database);
        sqlite3_close(database);
    }
    Directory directory_;
    DatabaseHook hook_;
    std::string path_;
    Workbench::StoreId store_ = 0;
    Workbench::SessionId first_ = 0, second_ = 0;
};

TEST_F(CommitFailure, TagsThatWereNotCommittedAreNotGiven) {
    hook_.failWrites(true);
    EXPECT_EQ(statusOf([&] { newFolder(first_, "none"); }), kStoreFailure);
    hook_.failWrites(false);
    const tag_t theirs = newFolder(second_, "theirs");
    const tag_t ours = newFolder(first_, "ours");
    EXPECT_NE(ours, theirs);
    EXPECT_EQ(stored(ours, "object_name"), "ours");
    bench().selectSession(second_);
    EXPECT_EQ(stored(theirs, "object_name"), "theirs");
    EXPECT_TRUE(bench().check(store_, false).empty());
}

TEST_F(CommitFailure, ATagThatADamagedStoreGivesTwiceIsRefused) {
    const tag_t first = newFolder(first_, "first");
    runSql("UPDATE meta SET value=" + std::to_string(first) + " WHERE name='next_tag'");
    bench().selectSession(first_);
    std::string text;
    // The session first uses up the block of numbers that it has.
    int status = 0;
    for (int i = 0; i < 200 && status == 0; ++i)
        status = statusOf([] { bench().createFolder("more"); }, &text);
    EXPECT_EQ(status, kStoreFailure);
    EXPECT_NE(text.find("damaged"), std::string::npos) << text;
    // Objects of the session are unchanged.
    EXPECT_EQ(stored(first, "object_name"), "first");
    EXPECT_EQ(bench().find({"first", "", "", 0}).size(), 1u);
}

TEST(Placing, InTwoStepsTakesOnlyAPlaceWhereNothingIs) {
    const Directory directory;
    std::ofstream(directory.at("mine")) << "mine";
    std::ofstream(directory.at("theirs")) << "theirs";
    std::filesystem::create_directory(directory.at("my directory"));
    std::filesystem::create_directory(directory.at("their directory"));
    for (const char* from : {"mine", "my directory"})
        for (const char* to : {"theirs", "their directory"}) {
            EXPECT_FALSE(system::placeInTwoSteps(directory / from, directory / to));
            EXPECT_EQ(errno, EEXIST);
        }
    EXPECT_EQ(std::filesystem::file_size(directory.at("theirs")), 6u);
    EXPECT_TRUE(system::placeInTwoSteps(directory.at("mine"), directory.at("a")));
    EXPECT_TRUE(system::placeInTwoSteps(directory.at("my directory"), directory.at("b")));
    EXPECT_FALSE(system::placeInTwoSteps(directory.at("mine"), directory.at("c")));
    EXPECT_EQ(namesIn(directory),
              (std::vector<std::string>{"a", "b", "their directory", "theirs"}));
}

TEST_F(CommitFailure, AMessageNamesStoreOperationAndReasonAndNoStatement) {
    std::string text;
    hook_.failWrites(true);
    EXPECT_EQ(statusOf([&] { newFolder(first_, "none"); }, &text), kStoreFailure);
    hook_.failWrites(false);
    EXPECT_EQ(text, "store " + path_ + " can't be changed: disk I/O error");
    runSql("DROP TABLE preference");
    EXPECT_EQ(statusOf([] { bench().preferences(); }, &text), kStoreFailure);
    EXPECT_EQ(text, "store " + path_ + " can't be read: no such table: preference");
}

// What another process left in the volume has the names that this process would have chosen by its
// number.
TEST_F(CommitFailure, FilesOfAProcessWithTheSameNumberAreLeftAlone) {
    bench().selectSession(first_);
    std::vector<std::string> theirs;
    for (int i = 0; i < 100; ++i) {
        theirs.push_back(path_ + ".volume/new-" + std::to_string(system::processNumber()) + "-" +
                         std::to_string(i));
        std::ofstream(theirs.back()) << "theirs";
    }
    std::ofstream(directory_.at("a.txt")) << "contents";
    bench().addFile(bench().createDataset("Text", "notes"), "Text", directory_.at("a.txt"),
                    "a.txt");
    for (const std::string& path : theirs) {
        std::string text;
        std::ifstream(path) >> text;
        EXPECT_EQ(text, "theirs") << path;
    }
}

TEST(Making, ACopyThatSomebodyElseMakesMeanwhileIsLeftAlone) {
    const Directory directory;
    bench().createStore(directory.at("plant"));
    const auto store = bench().openStore(directory.at("plant"));
    const std::string copy = directory.at("copy");
    {
        const DatabaseHook hook;
        hook.beforeNextOpen([&] { bench().backup(store, copy); });
        EXPECT_EQ(statusOf([&] { bench().backup(store, copy); }), kStoreFailure);
    }
    const auto second = bench().openStore(copy);
    EXPECT_TRUE(bench().check(second, false).empty());
    bench().closeStore(second);
    bench().closeStore(store);
    for (const std::string& name : namesIn(directory))
        EXPECT_EQ(name.find(".new-"), std::string::npos) << name << " is left";
}

// What a power failure would leave at this moment: files as they are, without shared memory.
class AfterAFailedSync : public CommitFailure {
protected:
    void SetUp() override {
        CommitFailure::SetUp();
        bench().selectSession(first_);
        item_ = bench().createItem("1", "old", "", "A", nullptr);
        dataset_ = bench().createDataset("Text", "notes");
        std::ofstream(directory_.at("a.txt")) << "contents";
    }
    void failSyncs(bool fail) { hook_.failSyncs(fail ? "plant-wal" : ""); }
    std::string image() {
        const std::string copy = directory_.at("image");
        for (const char* suffix : {"", "-wal", ".volume"})
            std::filesystem::copy(path_ + suffix, copy + suffix,
                                  std::filesystem::copy_options::recursive);
        return copy;
    }
    tag_t item_ = NULLTAG, dataset_ = NULLTAG;
};

TEST_F(AfterAFailedSync, TheSessionSaysSoAndIsOfNoUseUntilItIsOpenedAnew) {
    ASSERT_EQ(OBJ_refresh(item_, true), 0);
    ASSERT_EQ(setName(item_, "new"), 0);
    failSyncs(true);
    EXPECT_EQ(OBJ_save(item_), kStoreFailure);
    EXPECT_NE(bench().errorStack().back().text.find("may be stored"), std::string::npos)
        << bench().errorStack().back().text;
    failSyncs(false);
    // Neither a second save nor the session's memory may hide the failure.
    EXPECT_EQ(OBJ_save(item_), kStoreFailure);
    EXPECT_EQ(OBJ_load(item_), kStoreFailure);
    EXPECT_NE(bench().errorStack().back().text.find("Open it anew"), std::string::npos)
        << bench().errorStack().back().text;
    EXPECT_EQ(statusOf([&] { bench().get(item_, "object_name"); }), kStoreFailure);
    bench().closeSession(first_);
    bench().openSession(store_, {});
    ASSERT_EQ(OBJ_refresh(item_, true), 0);
    ASSERT_EQ(setName(item_, "newer"), 0);
    EXPECT_EQ(OBJ_save(item_), 0);
    EXPECT_TRUE(bench().check(store_, false).empty());
}

TEST_F(AfterAFailedSync, AFileWhoseObjectMayBeStoredStays) {
    failSyncs(true);
    std::string text;
    EXPECT_EQ(statusOf([&] { bench().addFile(dataset_, "Text", directory_.at("a.txt"), "a.txt"); },
                       &text),
              kStoreFailure);
    EXPECT_NE(text.find("may be stored"), std::string::npos) << text;
    failSyncs(false);
    bench().closeSession(first_);
    const auto store = bench().openStore(image());
    EXPECT_EQ(errorsIn(bench().check(store, false)), std::vector<std::string>{});
    bench().closeStore(store);
}

TEST_F(AfterAFailedSync, AnImportWhoseFilesMayBeStoredKeepsThem) {
    std::istringstream world(R"({"world": 1, "datasets": [{"label": "a", "type": "Text",
        "name": "imported",
        "files": [{"reference": "Text", "name": "b.txt", "text": "contents"}]}]})");
    failSyncs(true);
    EXPECT_EQ(statusOf([&] { bench().importWorld(world, "world.json"); }), kStoreFailure);
    failSyncs(false);
    bench().closeSession(first_);
    const auto store = bench().openStore(image());
    bench().openSession(store, {});
    // The image has the commit that wasn't synchronised, so the file must be there, too.
    EXPECT_EQ(bench().find({"imported", "", "", 0}).size(), 1u);
    EXPECT_EQ(errorsIn(bench().check(store, false)), std::vector<std::string>{});
    bench().closeStore(store);
}
