// A whole run that locks one part after the other reserves the next ones, of which others notice
// nothing but a short wait.

#include <gmock/gmock.h>

#include <chrono>
#include <thread>

#include "platform/mv_dbo.h"
#include "platform/mv_heap.h"
#include "platform/mv_line.h"
#include "platform/mv_obj.h"
#include "tests/server/server_store.h"

using namespace mervane;
using namespace mervane::test;

class ReservedLocks : public ServerStore {
protected:
    void SetUp() override {
        ServerStore::SetUp();
        bench().openSession(store_, {});
        const tag_t top = part(0);
        for (int i = 1; i <= 40; ++i) {
            parts_.push_back(part(i));
            bench().addOccurrence(top, parts_.back(), "", "");
        }
        // Of another process, as far as the server knows.
        other_store_ = bench().openStore(path_);
        other_ = bench().openSession(other_store_, {});
        run_ = bench().openSession(store_, {});
        bench().beginRun({RunWay::Whole, "one", "", "", ""});
        int lines = 0;
        tag_t* children = nullptr;
        ASSERT_EQ(LINE_ask_child_lines(bench().openBomWindow(top), &lines, &children), 0);
        HEAP_free(children);
        ASSERT_EQ(lines, 40);
        // The first two show where the run goes; the second one brings reservations.
        ASSERT_EQ(rename(parts_[0], "changed"), 0);
        ASSERT_EQ(rename(parts_[1], "changed"), 0);
    }
    void TearDown() override {
        bench().closeStore(other_store_);
        ServerStore::TearDown();
    }
    static tag_t part(int number) {
        tag_t revision = NULLTAG;
        bench().createItem("P" + std::to_string(number), "part", "Item", "A", &revision);
        return revision;
    }
    static std::uint64_t tripsTo(tag_t lock) {
        const std::uint64_t before = bench().roundTrips();
        EXPECT_EQ(OBJ_lock(lock), 0);
        return bench().roundTrips() - before;
    }
    // Lock parts until one was reserved still, which a slow machine can take too long for.
    tag_t reservedNow() {
        for (std::size_t i = 2; i < parts_.size(); ++i)
            if (tripsTo(parts_[i]) == 0)
                return parts_[i];
        return NULLTAG;
    }
    void endRun() {
        use(run_);
        bench().endRun({}, true, nullptr);
    }
    std::string nameOf(tag_t object) {
        use(other_);
        EXPECT_EQ(OBJ_refresh(object, false), 0);
        return stored(object, "object_name");
    }

    Workbench::StoreId other_store_ = 0;
    Workbench::SessionId run_ = 0, other_ = 0;
    std::vector<tag_t> parts_;
};

TEST_F(ReservedLocks, AreUsedWithoutARoundTrip) {
    const tag_t part = reservedNow();
    ASSERT_NE(part, NULLTAG);
    EXPECT_EQ(bench().lockOf(part)->user, "infodba");
    const std::uint64_t before = bench().roundTrips();
    for (std::size_t i = 2; i < parts_.size(); ++i)
        ASSERT_EQ(rename(parts_[i], "changed"), 0);
    EXPECT_LE(bench().roundTrips() - before, 12u) << "a slow machine lets some of them expire";
    endRun();
    EXPECT_EQ(nameOf(parts_[39]), "changed");
    EXPECT_TRUE(isSound());
}

TEST_F(ReservedLocks, KeepNobodyFromAnObjectThatTheRunDoesntChange) {
    use(other_);
    EXPECT_EQ(rename(parts_[5], "other"), 0);
    use(run_);
    ASSERT_EQ(rename(parts_[2], "changed"), 0);
    endRun();
    EXPECT_EQ(nameOf(parts_[5]), "other");
    EXPECT_EQ(nameOf(parts_[2]), "changed");
    EXPECT_TRUE(isSound());
}

TEST_F(ReservedLocks, AreWaitedForAsLongAsTheRunMayUseThem) {
    use(other_);
    const auto began = std::chrono::steady_clock::now();
    EXPECT_EQ(OBJ_lock(parts_[5]), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(200));
}

// What is read of a lock is forgotten with a part of the run that goes back.
TEST_F(ReservedLocks, AUsedOneStaysTheRunsOwnAfterAPartHasGoneBack) {
    const tag_t item = bench().resolve("P40");
    ASSERT_EQ(OBJ_lock(item), 0);
    tag_t attribute = 0, tag = item;
    ASSERT_EQ(DBO_attr_id_of_attr("item_id", "Item", &attribute), 0);
    ASSERT_EQ(DBO_set_attr_string(1, &tag, attribute, "P1"), 0);
    const tag_t part = reservedNow();
    ASSERT_NE(part, NULLTAG);
    ASSERT_EQ(OBJ_refresh(part, false), 0);
    EXPECT_EQ(OBJ_save(item), kDuplicateId);
    bench().set(part, "object_name", {std::string("set")});
    ASSERT_EQ(OBJ_refresh(item, false), 0);
    endRun();
    EXPECT_EQ(nameOf(part), "set");
}

TEST_F(ReservedLocks, TheRunIsRefusedWhatAnotherHasLockedMeanwhile) {
    use(other_);
    ASSERT_EQ(OBJ_lock(parts_[5]), 0);
    use(run_);
    EXPECT_EQ(OBJ_lock(parts_[5]), kLockedByOther);
    EXPECT_THAT(bench().errorStack().front().text, testing::HasSubstr("infodba, process"));
    ASSERT_EQ(rename(parts_[6], "changed"), 0);
    endRun();
    EXPECT_EQ(nameOf(parts_[6]), "changed");
}

TEST_F(ReservedLocks, ArentShownAsLocks) {
    use(other_);
    EXPECT_TRUE(bench().lockOf(parts_[0]).has_value()) << "kept until the end of the run";
    EXPECT_FALSE(bench().lockOf(parts_[5]).has_value());
    logical modifiable = false;
    EXPECT_EQ(OBJ_ask_if_modifiable(parts_[5], &modifiable), 0);
    EXPECT_TRUE(modifiable);
    endRun();
}

TEST_F(ReservedLocks, DontHideWhatAnotherHasStoredMeanwhile) {
    use(other_);
    ASSERT_EQ(rename(parts_[5], "other"), 0);
    use(run_);
    // The other one doesn't wait until the server has taken its lock back.
    int status = kLockedByOther;
    for (int i = 0; i < 100 && status == kLockedByOther; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        status = OBJ_refresh(parts_[5], true);
    }
    EXPECT_EQ(status, kChangedMeanwhile);
    EXPECT_EQ(statusOf([] { bench().endRun({}, true, nullptr); }), kChangedMeanwhile);
    EXPECT_EQ(nameOf(parts_[5]), "other");
    EXPECT_EQ(nameOf(parts_[0]), "part");
}

TEST_F(ReservedLocks, AUsedOneIsALockForOthersAsSoonAsTheServerIsTold) {
    const tag_t part = reservedNow();
    ASSERT_NE(part, NULLTAG);
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    // Any call of the platform tells it.
    logical locked = false;
    ASSERT_EQ(OBJ_ask_if_modifiable(parts_[0], &locked), 0);
    use(other_);
    EXPECT_EQ(OBJ_lock(part), kLockedByOther);
    use(run_);
    ASSERT_EQ(rename(part, "changed"), 0);
    endRun();
    EXPECT_EQ(nameOf(part), "changed");
}

// It has used the reservation, but was stopped before it could say so.
TEST_F(ReservedLocks, ARunThatPausesLosesTheLockAndStoresNothing) {
    const tag_t part = reservedNow();
    ASSERT_NE(part, NULLTAG);
    use(other_);
    ASSERT_EQ(OBJ_lock(part), 0);
    use(run_);
    ASSERT_EQ(setName(part, "changed"), 0);
    ASSERT_EQ(OBJ_save(part), 0);
    std::string text;
    EXPECT_EQ(statusOf([] { bench().endRun({}, true, nullptr); }, &text), kLockedByOther);
    EXPECT_THAT(text, testing::HasSubstr("was locked for this run"));
    EXPECT_THAT(text, testing::HasSubstr("user infodba, process"));
    use(other_);
    EXPECT_EQ(stored(parts_[0], "object_name"), "part");
    ASSERT_EQ(setName(part, "other"), 0);
    EXPECT_EQ(OBJ_save(part), 0);
    EXPECT_TRUE(isSound());
}

TEST_F(ReservedLocks, GoWithTheRun) {
    endRun();
    use(other_);
    // Whoever waits for a reservation asks again and again.
    for (std::size_t i = 2; i < 10; ++i)
        EXPECT_LE(tripsTo(parts_[i]), 3u);
}
