// Each statement of a piece of work fails in turn: the server answers it with an error, or its
// connection is cut before the server gets it, or after it was done. Then a step is stored as a
// whole or not at all, no lock is left, and the session goes on or says that it can't.

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <sstream>

#include "tests/kills/operations.h"
#include "tests/server/statement_sweep.h"
#include "tests/support/server_schemas.h"
#include "tests/support/share.h"
#include "tests/support/started_proxy.h"
#include "tests/workbench/support.h"

using namespace mervane;
using namespace mervane::test;
using keld_test::StartedProxy;
using keld_test::StatementFault;

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr char kApplication[] = "of a sweep";
constexpr StatementFault kAllFaults[] = {StatementFault::Error, StatementFault::CutBefore,
                                         StatementFault::CutAfter};

const char* shown(StatementFault fault) {
    return fault == StatementFault::Error       ? "an error at statement "
           : fault == StatementFault::CutBefore ? "a cut before statement "
                                                : "a cut after statement ";
}

// Whether a run takes this one. A share is four times as large as it says: there are few of them.
bool isOfShare(int n, StatementFault fault) {
    static const keld_test::Share share = keld_test::readShare(std::getenv("KELD_SWEEP_SHARE"));
    const int of = std::max(1, share.of / 4);
    return (n * keld_test::kFaults + static_cast<int>(fault)) % of == share.part % of;
}

// How far steps have come.
struct Progress {
    std::size_t done = 0;
    int status = 0;  // of the step that has failed
    std::string text;
};

Progress progressOf(const Steps& steps, std::size_t from = 0) {
    Progress progress{from, 0, ""};
    const auto rest = [&] {
        for (; progress.done < steps.size(); ++progress.done)
            steps[progress.done]();
    };
    progress.status = statusOf(rest, &progress.text);
    return progress;
}

std::string exported() {
    std::ostringstream out;
    bench().exportWorld(out);
    return out.str();
}

}  // namespace

// A store that one session uses through a proxy, and another one directly.
class SweptStore : public ::testing::Test {
protected:
    void SetUp() override {
        kills::useWorld(directory_.string());
        kills::makeWorld(directory_.string(), path_);
        direct_store_ = bench().openStore(path_);
        direct_ = bench().openSession(direct_store_, {});
        tables_ = std::make_unique<Tables>(path_);
    }
    void TearDown() override {
        ERR_clear_errors();
        close();
        bench().closeStore(direct_store_);
    }

    // What the proxy's client has had open is closed.
    void open() {
        close();
        ::setenv("PGAPPNAME", kApplication, 1);
        store_ = bench().openStore(through(path_));
        session_ = bench().openSession(store_, {});
        ::unsetenv("PGAPPNAME");
    }
    void close() {
        ::unsetenv("PGAPPNAME");
        if (store_ != 0)
            bench().closeStore(store_);
        store_ = 0;
    }
    std::string through(const std::string& address) const {
        return proxy_.through(address, server_);
    }
    std::string leftOver();

    keld_test::Directory directory_;
    const std::string server_ = keld_test::socketDirectory(keld_test::serverAddress());
    StartedProxy proxy_{STORE_PROXY, server_, {"--messages", "1"}};
    const std::string path_ = keld_test::freshServerStore();
    Workbench::StoreId direct_store_ = 0, store_ = 0;
    Workbench::SessionId direct_ = 0, session_ = 0;
    std::unique_ptr<Tables> tables_;
};

// What the sessions that were opened with the proxy's name have left, as a new session finds it;
// empty: nothing.
std::string SweptStore::leftOver() {
    keld_test::waitForEndOf(kApplication);
    const auto session = bench().openSession(direct_store_, {});
    std::string left;
    if (const std::string rows = tables_->asked("SELECT count(*) FROM held"); rows != "0")
        left += rows + " locks; ";
    if (const std::string rows = tables_->asked("SELECT count(*) FROM session"); rows != "2")
        left += rows + " sessions, not 2; ";
    for (const std::string& text : errorsIn(bench().check(direct_store_, false)))
        left += text + "; ";
    bench().closeSession(session);
    return left;
}

class StatementSweep : public SweptStore, public ::testing::WithParamInterface<std::size_t> {
protected:
    const Work work_ = worksOf(directory_.string()).at(GetParam());
    std::vector<Growth> stored_;  // after each number of steps
    int number_ = 1000;
    int told_ = 0, unnoticed_ = 0, went_on_ = 0, ended_ = 0;

    Steps make() {
        bench().selectSession(direct_);
        Steps steps = work_.make(number_++);
        if (work_.opens)
            steps.insert(steps.begin(), [this] { open(); });
        return steps;
    }
    int learn();
    bool failAt(int n, StatementFault fault);
    void goOn(const Steps& steps, const Progress& first, const StoredState& before,
              StatementFault fault, const std::string& where);
    void goOnAfterSilence(StatementFault fault, const std::string& where);
};

// What the steps store without a failure. Returns: how many statements they have.
int StatementSweep::learn() {
    const Steps steps = make();
    const StoredState before = tables_->state();
    if (!work_.opens)
        open();
    proxy_.failAt(0, StatementFault::Error);
    stored_.assign(1, {});
    for (const auto& step : steps) {
        step();
        stored_.push_back(tables_->state().since(before));
    }
    const int statements = static_cast<int>(proxy_.counts().statements);
    close();
    return statements;
}

// Returns: false: the work has fewer statements.
bool StatementSweep::failAt(int n, StatementFault fault) {
    const std::string where = shown(fault) + std::to_string(n);
    const Steps steps = make();
    const StoredState before = tables_->state();
    if (!work_.opens)
        open();
    proxy_.failAt(n, fault);
    const Progress first = progressOf(steps);
    const bool reached = proxy_.counts().faults > 0;
    proxy_.failAt(0, fault);
    EXPECT_EQ(first.status == 0, first.done == steps.size()) << where;
    // Nobody knows what became of a commit whose answer didn't get through.
    const bool unknown = first.status != 0 && fault == StatementFault::CutAfter;
    EXPECT_EQ(wrongState(before, tables_->state(), stored_, first.done, unknown), "")
        << where << ": " << first.text;
    if (first.status != 0) {
        EXPECT_TRUE(reached) << where << ": " << first.text;
        EXPECT_EQ(first.status, kStoreFailure) << where << ": " << first.text;
        // A service drops a failure and goes on; what then fails is told by the end of its run, or
        // by the work, which looks at what was done.
        EXPECT_THAT(first.text,
                    testing::AnyOf(HasSubstr(fault == StatementFault::Error ? "prepared statement"
                                                                            : "connection"),
                                   HasSubstr("the revision has 0 statuses")))
            << where;
        ++told_;
        goOn(steps, first, before, fault, where);
    } else if (reached) {
        ++unnoticed_;
        goOnAfterSilence(fault, where);
    }
    close();
    EXPECT_EQ(leftOver(), "") << where;
    return reached;
}

// The same session does what has failed once more, or says that it can't.
void StatementSweep::goOn(const Steps& steps, const Progress& first, const StoredState& before,
                          StatementFault fault, const std::string& where) {
    const bool is_ended = work_.ends_run && first.done + 1 == steps.size();
    const Progress second = is_ended ? progressOf({[] {
        bench().find({"*", "Item", "", 0});
    }})
                                     : progressOf(steps, first.done);
    if (second.status != 0) {
        ++ended_;
        EXPECT_NE(fault, StatementFault::Error) << where << ", once more: " << second.text;
        EXPECT_EQ(second.status, kStoreFailure) << where << ", once more: " << second.text;
        EXPECT_THAT(second.text, HasSubstr("anew")) << where << ", once more";
        return;
    }
    ++went_on_;
    // Whoever opens the store in these steps has opened it anew.
    EXPECT_TRUE(fault == StatementFault::Error || work_.opens) << where << ": it goes on";
    EXPECT_EQ(
        wrongState(before, tables_->state(), stored_, is_ended ? first.done : second.done, false),
        "")
        << where << ", once more";
}

// Nobody waits for the answer of what gives up a lock or ends a reading. The next steps tell a
// failure of it, once.
void StatementSweep::goOnAfterSilence(StatementFault fault, const std::string& where) {
    const Steps more = make();
    if (!work_.opens)
        bench().selectSession(session_);
    const StoredState before = tables_->state();
    Progress next = progressOf(more);
    if (fault == StatementFault::Error && next.status == kStoreFailure)
        next = progressOf(more, next.done);
    if (fault == StatementFault::Error || work_.opens) {
        EXPECT_EQ(next.status, 0) << where << ", the next time: " << next.text;
        EXPECT_EQ(wrongState(before, tables_->state(), stored_, next.done, false), "")
            << where << ", the next time";
    } else {
        EXPECT_EQ(next.status, kStoreFailure) << where << ", the next time: " << next.text;
        EXPECT_THAT(next.text, HasSubstr("anew")) << where << ", the next time";
    }
}

TEST_P(StatementSweep, EachStepIsStoredAsAWholeOrNotAtAll) {
    const int statements = learn();
    int failed = 0;
    for (const StatementFault fault : kAllFaults) {
        int last = 0;
        for (int n = 1; !HasFailure(); ++n) {
            if (isOfShare(n, fault)) {
                if (!failAt(n, fault))
                    break;
                ++failed;
            } else if (n > statements) {
                break;
            }
            last = n;
        }
        // The first time it may have read what the process keeps.
        EXPECT_GE(last, statements / 2) << shown(fault);
    }
    std::cout << statements << " statements, " << failed << " failures: " << told_ << " told, "
              << unnoticed_ << " not; then " << went_on_ << " went on, " << ended_ << " had ended"
              << std::endl;
    EXPECT_GT(statements, 1);
    EXPECT_EQ(told_ + unnoticed_, failed);
    EXPECT_EQ(went_on_ + ended_, told_);
    if (isOfShare(1, StatementFault::Error) && isOfShare(2, StatementFault::Error)) {
        EXPECT_GE(failed, 3 * statements / 2);
    }
}

INSTANTIATE_TEST_SUITE_P(Works, StatementSweep,
                         ::testing::Range(std::size_t{0}, worksOf("").size()),
                         [](const auto& each) { return worksOf("").at(each.param).name; });

class SweptCopy : public SweptStore {};

TEST_F(SweptCopy, IsAStoreWithEverythingOrNone) {
    bench().addFile(bench().createDataset("Text", "notes"), "Text", directory_.at("notes.txt"), "");
    const std::string world = exported();
    const auto copy = [&](const std::string& to) {
        return progressOf({[&] { bench().copyStore(direct_store_, through(to)); }});
    };
    // Nothing: there is no store.
    const auto found = [&](const std::string& path) -> std::string {
        Workbench::StoreId store = 0;
        std::string text;
        if (statusOf([&] { store = bench().openStore(path); }, &text) != 0) {
            EXPECT_THAT(text, testing::AnyOf(HasSubstr("no store"), HasSubstr("interrupted")));
            return "";
        }
        bench().openSession(store, {});
        const std::string all = exported();
        EXPECT_THAT(errorsIn(bench().check(store, false)), IsEmpty());
        bench().closeStore(store);
        bench().selectSession(direct_);
        return all;
    };
    proxy_.failAt(0, StatementFault::Error);
    ASSERT_EQ(copy(keld_test::freshServerStore()).status, 0);
    const int statements = static_cast<int>(proxy_.counts().statements);
    int failed = 0;
    for (const StatementFault fault : kAllFaults)
        for (int n = 1; n <= statements && !HasFailure(); ++n) {
            if (!isOfShare(n, fault))
                continue;
            const std::string where = shown(fault) + std::to_string(n);
            const std::string path = keld_test::freshServerStore();
            proxy_.failAt(n, fault);
            const Progress first = copy(path);
            failed += proxy_.counts().faults > 0;
            proxy_.failAt(0, fault);
            const std::string all = found(path);
            if (first.status == 0) {
                EXPECT_TRUE(all == world) << where << ": it isn't whole";
                continue;
            }
            EXPECT_EQ(first.status, kStoreFailure) << where << ": " << first.text;
            EXPECT_THAT(first.text, Not(IsEmpty())) << where;
            EXPECT_TRUE(all.empty() || (fault == StatementFault::CutAfter && all == world))
                << where << ": it has a part";
            if (fault == StatementFault::Error) {
                const Progress second = copy(path);
                EXPECT_EQ(second.status, 0) << where << ", once more: " << second.text;
                EXPECT_TRUE(found(path) == world) << where << ", once more";
            }
        }
    std::cout << statements << " statements, " << failed << " failures" << std::endl;
    EXPECT_GT(statements, 20);
    EXPECT_GT(failed, 1);
    EXPECT_EQ(leftOver(), "");
}

// ---- controls: what the sweep looks for is noticed ----

class SweepControl : public SweptStore {
protected:
    // The answer through the proxy, or what went wrong.
    std::string asked(const std::string& sql) const {
        try {
            return Tables(through(path_)).asked(sql);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    }
};

TEST_F(SweepControl, TheFaultsAreWhatTheyAreCalled) {
    // Its second statement, since the first one chooses the schema.
    proxy_.failAt(2, StatementFault::Error);
    EXPECT_THAT(asked("INSERT INTO registry VALUES('a')"), HasSubstr("syntax error"));
    EXPECT_EQ(proxy_.counts().faults, 1u);
    proxy_.failAt(2, StatementFault::CutBefore);
    EXPECT_THAT(asked("INSERT INTO registry VALUES('b')"), HasSubstr("connection"));
    EXPECT_EQ(proxy_.counts().faults, 1u);
    EXPECT_EQ(tables_->asked("SELECT count(*) FROM registry"), "0");
    proxy_.failAt(2, StatementFault::CutAfter);
    EXPECT_THAT(asked("INSERT INTO registry VALUES('c')"), HasSubstr("connection"));
    EXPECT_EQ(proxy_.counts().faults, 1u);
    EXPECT_EQ(tables_->asked("SELECT string_agg(item_id::text, '') FROM registry"), "\\x63");
    proxy_.failAt(3, StatementFault::CutBefore);
    EXPECT_EQ(asked("SELECT 'done'"), "done");
    EXPECT_EQ(proxy_.counts().statements, 2u);
    EXPECT_EQ(proxy_.counts().faults, 0u);
}

TEST_F(SweepControl, AStateThatIsHalfIsWrong) {
    const auto item = bench().createItem("1", "old", "", "A", nullptr);
    const StoredState before = tables_->state();
    bench().set(item, "object_name", {std::string("new")});
    const StoredState between = tables_->state();
    bench().createItem("2", "", "", "A", nullptr);
    const StoredState after = tables_->state();
    const std::vector<Growth> stored{{}, after.since(before)};
    EXPECT_EQ(wrongState(before, before, stored, 0, false), "");
    EXPECT_EQ(wrongState(before, after, stored, 1, false), "");
    EXPECT_NE(wrongState(before, between, stored, 0, true), "");
    EXPECT_NE(wrongState(before, between, stored, 1, false), "");
    // What is whole, and not what was told.
    EXPECT_NE(wrongState(before, after, stored, 0, false), "");
    EXPECT_EQ(wrongState(before, after, stored, 0, true), "");
    EXPECT_NE(wrongState(before, before, stored, 1, false), "");
    // As many rows with other contents.
    tables_->asked("UPDATE meta SET value='1000' WHERE name='rights_changed'");
    EXPECT_NE(wrongState(after, tables_->state(), {{}}, 0, false), "");
}

TEST_F(SweepControl, WhatASessionLeavesIsSeen) {
    const auto item = bench().createItem("1", "", "", "A", nullptr);
    EXPECT_EQ(leftOver(), "");
    tables_->asked("INSERT INTO session VALUES(0, '', '', 0); INSERT INTO held VALUES(" +
                   std::to_string(item) + ", 0)");
    EXPECT_EQ(leftOver(), "") << "it is dead";
    bench().selectSession(direct_);
    ASSERT_EQ(OBJ_lock(item), 0);
    const auto other = bench().openSession(direct_store_, {});
    EXPECT_THAT(leftOver(), testing::AllOf(HasSubstr("1 locks"), HasSubstr("3 sessions")));
    bench().closeSession(other);
    tables_->asked("DELETE FROM text WHERE tag=" + std::to_string(item));
    EXPECT_THAT(leftOver(), HasSubstr("the table of texts"));
}
