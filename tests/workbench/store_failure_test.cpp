// A disk that takes no more: the operation fails, the store stays as it was and goes on afterwards.

#include <signal.h>
#include <sys/resource.h>

#include <fstream>

#include "tests/workbench/support.h"

using namespace mervane;
using namespace mervane::test;

namespace {

// No file of this process can grow beyond the limit while it lives.
class FullDisk {
public:
    explicit FullDisk(rlim_t bytes) {
        ::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limited{bytes, before_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limited);
    }
    ~FullDisk() { ::setrlimit(RLIMIT_FSIZE, &before_); }

private:
    rlimit before_{};
};

}  // namespace

class StoreFailure : public ::testing::Test {
protected:
    void SetUp() override {
        path_ = directory_.at("plant");
        bench().createStore(path_);
        store_ = bench().openStore(path_);
        session_ = bench().openSession(store_, {});
        item_ = bench().createItem("1", "old", "", "A", nullptr);
        std::ofstream(directory_.at("a.txt")) << std::string(50000, 'a');
    }
    void TearDown() override { bench().closeStore(store_); }
    Directory directory_;
    std::string path_;
    Workbench::StoreId store_ = 0;
    Workbench::SessionId session_ = 0;
    tag_t item_ = NULLTAG;
};

TEST_F(StoreFailure, ASaveFailsWithAStatusAndCanBeTriedAgain) {
    ASSERT_EQ(OBJ_refresh(item_, true), 0);
    ASSERT_EQ(setName(item_, "new"), 0);
    {
        const FullDisk full(1000);
        EXPECT_EQ(OBJ_save(item_), kStoreFailure);
    }
    const auto second = bench().openSession(store_, {});
    EXPECT_EQ(stored(item_, "object_name"), "old");
    bench().closeSession(second);
    bench().selectSession(session_);
    EXPECT_EQ(OBJ_save(item_), 0);
    bench().openSession(store_, {});
    EXPECT_EQ(stored(item_, "object_name"), "new");
    EXPECT_TRUE(bench().check(store_, false).empty());
}

TEST_F(StoreFailure, AFileThatDoesntFitLeavesNothing) {
    const tag_t dataset = bench().createDataset("Text", "notes");
    {
        const FullDisk full(20000);
        EXPECT_NE(
            statusOf([&] { bench().addFile(dataset, "Text", directory_.at("a.txt"), "a.txt"); }),
            0);
    }
    EXPECT_TRUE(bench().check(store_, false).empty());
    bench().addFile(dataset, "Text", directory_.at("a.txt"), "a.txt");
    EXPECT_TRUE(bench().check(store_, false).empty());
}

TEST_F(StoreFailure, ANewItemThatCantBeStoredIsNotThere) {
    {
        const FullDisk full(1000);
        EXPECT_EQ(statusOf([] { bench().createItem("2", "", "", "A", nullptr); }), kStoreFailure);
    }
    EXPECT_EQ(statusOf([] { bench().resolve("2"); }), kUnknownObject);
    bench().createItem("2", "", "", "A", nullptr);
    EXPECT_TRUE(bench().check(store_, false).empty());
}

TEST_F(StoreFailure, ABackupThatDoesntFitLeavesNothing) {
    {
        const FullDisk full(20000);
        EXPECT_NE(statusOf([&] { bench().backup(store_, directory_.at("copy")); }), 0);
    }
    for (const auto& entry : std::filesystem::directory_iterator(directory_.path()))
        EXPECT_EQ(entry.path().filename().string().find("copy"), std::string::npos) << entry.path();
}
