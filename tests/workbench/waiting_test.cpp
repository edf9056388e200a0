// Waiting for a process that goes no further: it ends after a while with a text that names it.

#include <fcntl.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <sys/file.h>
#include <unistd.h>

#include <chrono>

#include "tests/workbench/child.h"
#include "tests/workbench/support.h"

using namespace mervane;
using namespace mervane::test;

namespace {

// A process that has the file for itself and is stopped.
class Stopped {
public:
    explicit Stopped(const std::string& path)
        : file_(::open(path.c_str(), O_RDWR | O_CREAT, 0600)) {
        locked_ = ::flock(file_, LOCK_EX | LOCK_NB) == 0;
    }
    ~Stopped() { ::close(file_); }
    bool locked() const { return locked_; }

private:
    int file_;
    bool locked_ = false;
};

}  // namespace

class Waiting : public ::testing::Test {
protected:
    void SetUp() override {
        ::setenv("MERVANE_WAIT_MS", "200", 1);
        path_ = directory_.at("plant");
        bench().createStore(path_);
    }
    void TearDown() override { ::unsetenv("MERVANE_WAIT_MS"); }
    // It fails after the limit, not at once and not much later, and says for whom it waited.
    template <typename Body>
    void endsWithTheHolder(const std::string& file, Body&& body) {
        const auto began = std::chrono::steady_clock::now();
        std::string text;
        EXPECT_NE(statusOf(body, &text), 0);
        const auto took = std::chrono::steady_clock::now() - began;
        EXPECT_GE(took, std::chrono::milliseconds(190));
        EXPECT_LT(took, std::chrono::seconds(10));
        const std::string wanted =
            "process " + std::to_string(::getpid()) + " has had " + file + " for more than 0.2 s";
        EXPECT_NE(text.find(wanted), std::string::npos) << text;
    }
    Directory directory_;
    std::string path_;
};

TEST_F(Waiting, ForWhoOpensTheLockTablesHasALimit) {
    const Stopped other(path_ + "-locks-guard");
    ASSERT_TRUE(other.locked());
    endsWithTheHolder(path_ + "-locks-guard", [&] { bench().openStore(path_); });
}

TEST_F(Waiting, ForWhoTakesFilesOutHasALimit) {
    const auto store = bench().openStore(path_);
    {
        const Stopped other(path_ + ".volume/.hold");
        ASSERT_TRUE(other.locked());
        endsWithTheHolder(path_ + ".volume/.hold",
                          [&] { bench().backup(store, directory_.at("copy")); });
    }
    bench().backup(store, directory_.at("copy"));
    bench().closeStore(store);
}

TEST_F(Waiting, ForWhoWritesHasALimit) {
    const auto store = bench().openStore(path_);
    bench().openSession(store, {});
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(path_.c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    endsWithTheHolder(path_ + "-shm", [] { bench().createFolder("f"); });
    sqlite3_close(other);
    bench().createFolder("f");
    bench().closeStore(store);
}

TEST_F(Waiting, ASessionWhoseFileCantBeLockedFailsAtOnceAndLeavesNoFiles) {
    const auto store = bench().openStore(path_);
    Child child({"try", path_, "1"}, WRITER_WITHOUT_LOCKS);
    const std::string said = child.line();
    EXPECT_NE(said.find("-sessions/"), std::string::npos) << said;
    EXPECT_NE(said.find("can't be locked"), std::string::npos) << said;
    EXPECT_TRUE(std::filesystem::is_empty(path_ + "-sessions"));
    bench().closeStore(store);
}
