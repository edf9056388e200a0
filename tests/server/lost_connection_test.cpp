// A session whose connection is gone: it says so once and for all, what it had saved stays, and
// nobody waits for its locks.

#include <gmock/gmock.h>
#include <libpq-fe.h>

#include <chrono>
#include <thread>

#include "tests/support/own_server.h"
#include "tests/support/started_proxy.h"
#include "tests/workbench/child.h"
#include "tests/workbench/support.h"

using namespace mervane;
using namespace mervane::test;
using keld_test::OwnServer;
using keld_test::StartedProxy;

namespace {

using testing::HasSubstr;
using testing::IsEmpty;

std::string lastError() {
    const auto stack = bench().errorStack();
    return stack.empty() ? "" : stack.back().text;
}

// The first value of the server's answer.
std::string asked(const std::string& sql) {
    PGconn* connection = PQconnectdb(keld_test::serverAddress().c_str());
    PGresult* result = PQexec(connection, sql.c_str());
    const std::string value =
        PQntuples(result) > 0 ? PQgetvalue(result, 0, 0) : PQresultErrorMessage(result);
    PQclear(result);
    PQfinish(connection);
    return value;
}

// Each call of the current session fails, and says why.
void expectNothingIsDoneAnyMore(tag_t item) {
    std::string text;
    EXPECT_EQ(statusOf([] { bench().createItem("more", "", "", "A", nullptr); }, &text),
              kStoreFailure);
    EXPECT_THAT(text, HasSubstr("connection"));
    EXPECT_THAT(text, HasSubstr("anew"));
    EXPECT_EQ(statusOf([] { bench().find({"*", "Item", "", 0}); }), kStoreFailure);
    EXPECT_EQ(statusOf([] { bench().setPreference("p", {"1"}); }), kStoreFailure);
    EXPECT_EQ(statusOf([] { bench().beginRun({RunWay::Whole, "s", "", "", ""}); }), kStoreFailure);
    ERR_clear_errors();
    EXPECT_EQ(OBJ_refresh(item, true), kStoreFailure);
    EXPECT_THAT(lastError(), HasSubstr("connection"));
    EXPECT_EQ(OBJ_save(item), kStoreFailure);
}

}  // namespace

// A store that one session uses through a proxy, and another one directly.
class LostConnection : public ::testing::Test {
protected:
    void SetUp() override {
        path_ = keld_test::freshServerStore();
        bench().createStore(path_);
        direct_store_ = bench().openStore(path_);
        direct_ = bench().openSession(direct_store_, {});
        item_ = bench().createItem("1", "old", "", "A", nullptr);
        connect();
    }
    void TearDown() override {
        ERR_clear_errors();
        if (store_ != 0)
            bench().closeStore(store_);
        bench().closeStore(direct_store_);
    }
    void connect() {
        store_ = bench().openStore(proxy_.through(path_, server_));
        session_ = bench().openSession(store_, {});
    }
    void expectSound() {
        bench().selectSession(direct_);
        EXPECT_THAT(errorsIn(bench().check(direct_store_, false)), IsEmpty());
    }

    const std::string server_ = keld_test::socketDirectory(keld_test::serverAddress());
    StartedProxy proxy_{STORE_PROXY, server_};
    std::string path_;
    Workbench::StoreId direct_store_ = 0, store_ = 0;
    Workbench::SessionId direct_ = 0, session_ = 0;
    tag_t item_ = NULLTAG;
};

TEST_F(LostConnection, ACutInAnAnswerIsAFailureAndTheSessionIsOfNoMoreUse) {
    ASSERT_EQ(OBJ_refresh(item_, true), 0);
    ASSERT_EQ(setName(item_, "new"), 0);
    proxy_.cutNext();
    ERR_clear_errors();
    EXPECT_EQ(OBJ_save(item_), kStoreFailure);
    EXPECT_THAT(lastError(), HasSubstr("connection"));
    expectNothingIsDoneAnyMore(item_);
    expectSound();
    // The server may notice a moment later that the other end is gone.
    int status = kLockedByOther;
    for (int i = 0; i < 200 && status == kLockedByOther; ++i) {
        ERR_clear_errors();
        status = OBJ_refresh(item_, true);
        if (status != 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ASSERT_EQ(status, 0) << lastError();
    EXPECT_THAT(stored(item_, "object_name"), testing::AnyOf("old", "new"));
}

TEST_F(LostConnection, ACutInARunLeavesNothingOfIt) {
    bench().beginRun({RunWay::Whole, "s", "", "", ""});
    bench().set(item_, "object_name", {std::string("new")});
    bench().createItem("2", "", "", "A", nullptr);
    proxy_.cutNext();
    EXPECT_EQ(statusOf([] { bench().find({"*", "Folder", "", 0}); }), kStoreFailure);
    EXPECT_EQ(statusOf([] { bench().endRun({}, true, nullptr); }), kStoreFailure);
    expectNothingIsDoneAnyMore(item_);
    expectSound();
    EXPECT_EQ(stored(item_, "object_name"), "old");
    EXPECT_EQ(statusOf([] { bench().resolve("2"); }), kUnknownObject);
    EXPECT_TRUE(bench().runs({}).empty());
}

TEST_F(LostConnection, TheStoreCanBeOpenedAnew) {
    proxy_.cutNext();
    EXPECT_EQ(OBJ_refresh(item_, true), kStoreFailure);
    bench().closeStore(store_);
    connect();
    EXPECT_EQ(OBJ_refresh(item_, true), 0);
    EXPECT_EQ(setName(item_, "new"), 0);
    EXPECT_EQ(OBJ_save(item_), 0);
    bench().closeStore(store_);
    store_ = 0;
    expectSound();
    ASSERT_EQ(OBJ_refresh(item_, false), 0);
    EXPECT_EQ(stored(item_, "object_name"), "new");
}

TEST_F(LostConnection, WhereverAnAnswerBreaksWhatWasAcknowledgedIsThere) {
    bench().closeStore(store_);
    store_ = 0;
    int acknowledged = 0, cuts = 0;
    for (const char* seed : {"1", "2", "3", "4", "5", "6"}) {
        StartedProxy cutting(STORE_PROXY, server_, {"--cut-every", "60", "--seed", seed});
        for (int round = 0; round < 4; ++round) {
            int status = 0;
            std::string said;
            Workbench::StoreId store = 0;
            const auto work = [&] {
                store = bench().openStore(cutting.through(path_, server_));
                bench().openSession(store, {});
                for (;;) {
                    bench().set(item_, "object_name", {std::to_string(acknowledged + 1)});
                    ++acknowledged;
                }
            };
            status = statusOf(work, &said);
            EXPECT_EQ(status, kStoreFailure) << said;
            EXPECT_THAT(said,
                        testing::AnyOf(HasSubstr("connection"), HasSubstr("can't be opened")));
            ERR_clear_errors();
            if (store != 0)
                bench().closeStore(store);
            bench().selectSession(direct_);
            ASSERT_EQ(OBJ_refresh(item_, true), 0) << lastError();
            const std::string name = stored(item_, "object_name");
            const int found = name == "old" ? 0 : std::stoi(name);
            EXPECT_TRUE(found == acknowledged || found == acknowledged + 1)
                << found << " is stored, " << acknowledged << " was acknowledged";
            acknowledged = found;
            ASSERT_EQ(OBJ_refresh(item_, false), 0);
        }
        cuts += static_cast<int>(cutting.counts().cuts);
    }
    EXPECT_EQ(cuts, 24);
    EXPECT_GT(acknowledged, 0);
    expectSound();
}

TEST_F(LostConnection, WhicheverConnectionIsGoneALockIsHeldOrTheSessionIsOfNoMoreUse) {
    // A session has more than one: for its transactions, for its locks, and those of its store.
    bench().closeStore(store_);
    store_ = 0;
    const std::string all = " FROM pg_stat_activity WHERE application_name = 'one of all'";
    int connections = 1, ended = 0;
    for (int number = 0; number < connections; ++number) {
        ::setenv("PGAPPNAME", "one of all", 1);
        const auto store = bench().openStore(path_);
        bench().openSession(store, {});
        ::unsetenv("PGAPPNAME");
        ASSERT_EQ(OBJ_refresh(item_, true), 0) << lastError();
        connections = std::stoi(asked("SELECT count(*)" + all));
        asked("SELECT pg_terminate_backend(pid, 10000)" + all +
              " ORDER BY backend_start, pid LIMIT 1 OFFSET " + std::to_string(number));
        const int status =
            statusOf([&] { bench().set(item_, "object_name", {std::to_string(number)}); });
        Child other({"try", path_, std::to_string(item_)});
        const std::string said = other.line();
        if (status == 0) {
            EXPECT_THAT(said, HasSubstr(std::to_string(kLockedByOther))) << number;
        } else {
            expectNothingIsDoneAnyMore(item_);
            EXPECT_EQ(said, "0 ") << number;
            ++ended;
        }
        bench().closeStore(store);
    }
    EXPECT_GE(connections, 2);
    EXPECT_GE(ended, 1);
    expectSound();
    EXPECT_EQ(OBJ_refresh(item_, true), 0) << lastError();
}

// ---- a server that stops ----

class StoppedServer : public ::testing::Test {
protected:
    void SetUp() override {
        bench().createStore(path_);
        open();
        item_ = bench().createItem("1", "old", "", "A", nullptr);
    }
    void TearDown() override {
        ERR_clear_errors();
        bench().closeStore(store_);
    }
    void open() {
        store_ = bench().openStore(path_);
        bench().openSession(store_, {});
    }
    OwnServer server_;
    std::string path_ = server_.address() + "&schema=plant";
    Workbench::StoreId store_ = 0;
    tag_t item_ = NULLTAG;
};

TEST_F(StoppedServer, KeepsWhatWasSavedAndNobodyGoesOnAsIfNothingHadHappened) {
    ASSERT_EQ(OBJ_refresh(item_, true), 0);
    ASSERT_EQ(setName(item_, "new"), 0);
    ASSERT_EQ(OBJ_save(item_), 0);
    ASSERT_EQ(setName(item_, "newer"), 0);
    server_.stop();
    EXPECT_EQ(OBJ_save(item_), kStoreFailure);
    expectNothingIsDoneAnyMore(item_);
    std::string text;
    EXPECT_EQ(statusOf([&] { bench().openStore(path_); }, &text), kStoreFailure);
    EXPECT_THAT(text, HasSubstr("can't be opened"));
    server_.start();
    expectNothingIsDoneAnyMore(item_);
    bench().closeStore(store_);
    open();
    EXPECT_EQ(stored(item_, "object_name"), "new");
    EXPECT_EQ(OBJ_lock(item_), 0) << lastError();
    EXPECT_THAT(errorsIn(bench().check(store_, false)), IsEmpty());
}

TEST_F(StoppedServer, HasNothingOfARunUnderWay) {
    bench().beginRun({RunWay::Whole, "s", "", "", ""});
    bench().set(item_, "object_name", {std::string("new")});
    bench().createItem("2", "", "", "A", nullptr);
    server_.stop();
    EXPECT_EQ(statusOf([] { bench().endRun({}, true, nullptr); }), kStoreFailure);
    server_.start();
    expectNothingIsDoneAnyMore(item_);
    bench().closeStore(store_);
    open();
    EXPECT_EQ(stored(item_, "object_name"), "old");
    EXPECT_EQ(statusOf([] { bench().resolve("2"); }), kUnknownObject);
    EXPECT_TRUE(bench().runs({}).empty());
    EXPECT_THAT(errorsIn(bench().check(store_, false)), IsEmpty());
}
