// The table of modify locks that processes share in memory.

#include "workbench/store/sqlite/held_locks.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <mutex>
#include <thread>

#include "platform/types.h"
#include "tests/support/files.h"
#include "workbench/model/status.h"
#include "workbench/workbench.h"

#if !defined(_WIN32)
#include <sys/resource.h>

#include <csignal>
#endif

using mervane::HeldLocks;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

namespace {

constexpr std::size_t kSmallest = 65536;
// More than the first four segments have slots for.
constexpr tag_t kMany = 130000;

class HeldTable : public testing::Test {
protected:
    std::unique_ptr<HeldLocks> opened(bool make = true) {
        return std::make_unique<HeldLocks>(path_, directory_.path(), make,
                                           [this](const std::function<void()>& steps) {
                                               const std::lock_guard alone(growing_);
                                               steps();
                                           });
    }
    int failureOfOpening(bool make) {
        try {
            opened(make);
        } catch (const mervane::Failure& failure) {
            return failure.status();
        }
        return 0;
    }
    std::uintmax_t size() const { return std::filesystem::file_size(path_); }

    keld_test::Directory directory_;
    std::string path_ = directory_.at("held");
    std::mutex growing_;
};

}  // namespace

TEST_F(HeldTable, ALockIsOfTheFirstSessionThatTakesIt) {
    auto locks = opened();
    EXPECT_EQ(locks->owner(7), 0u);
    EXPECT_EQ(locks->take(7, 1), 1u);
    EXPECT_EQ(locks->take(7, 1), 1u) << "again";
    EXPECT_EQ(locks->take(7, 2), 1u);
    EXPECT_EQ(locks->owner(7), 1u);
    EXPECT_EQ(locks->owner(8), 0u);
    EXPECT_THAT(locks->all(), ElementsAre(Pair(7u, 1u)));
}

TEST_F(HeldTable, AReleasedLockIsForWhoTakesItNext) {
    auto locks = opened();
    locks->take(7, 1);
    locks->release(7, 2);
    EXPECT_EQ(locks->owner(7), 1u) << "another session can't release it";
    locks->release(7, 1);
    locks->release(7, 1);
    locks->release(8, 1);
    EXPECT_EQ(locks->owner(7), 0u);
    EXPECT_THAT(locks->all(), IsEmpty());
    EXPECT_EQ(locks->take(7, 2), 2u);
}

TEST_F(HeldTable, WhoOpensItLaterSeesWhatOthersHaveTaken) {
    auto first = opened();
    auto second = opened(false);
    EXPECT_EQ(first->take(1, 1), 1u);
    EXPECT_EQ(second->take(1, 2), 1u);
    for (tag_t object = 2; object <= kMany; ++object)
        ASSERT_EQ(first->take(object, 1), 1u);
    EXPECT_EQ(second->owner(kMany), 1u) << "in a part that it hasn't mapped yet";
    EXPECT_EQ(second->take(kMany + 1, 2), 2u);
    EXPECT_EQ(first->owner(kMany + 1), 2u);
    EXPECT_THAT(opened(false)->all(), SizeIs(kMany + 1));
}

TEST_F(HeldTable, HoldsAnyNumberOfLocksEachOnce) {
    auto locks = opened();
    for (tag_t object = kMany; object > 0; --object)
        ASSERT_EQ(locks->take(object * 7, object % 3 + 1), object % 3 + 1);
    const auto all = locks->all();
    ASSERT_THAT(all, SizeIs(kMany));
    for (tag_t object = 1; object <= kMany; ++object) {
        ASSERT_EQ(all[object - 1], std::make_pair(object * 7, object % 3 + 1));
        ASSERT_EQ(locks->owner(object * 7), object % 3 + 1);
    }
    EXPECT_EQ(locks->owner(1), 0u);
    locks->releaseAll([](HeldLocks::Session session) { return session == 2; });
    EXPECT_EQ(locks->owner(7), 0u);
    EXPECT_EQ(locks->owner(14), 3u);
    EXPECT_THAT(locks->all(), SizeIs(kMany - (kMany + 2) / 3));
}

TEST_F(HeldTable, TheLargestNumbersAreNumbersLikeOthers) {
    auto locks = opened();
    constexpr tag_t kObject = 0xFFFFFFFFU;
    EXPECT_EQ(locks->take(kObject, 0xFFFFFFFFU), 0xFFFFFFFFU);
    EXPECT_EQ(locks->take(kObject, 1), 0xFFFFFFFFU);
    locks->release(kObject, 0xFFFFFFFFU);
    EXPECT_EQ(locks->take(kObject, 1), 1u);
}

TEST_F(HeldTable, OfSeveralThatTakeALockAtOnceOneGetsIt) {
    constexpr tag_t kObjects = 40000;
    constexpr unsigned kThreads = 4;
    const auto made = opened();
    std::vector<std::vector<tag_t>> won(kThreads);
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < kThreads; ++i)
        threads.emplace_back([&, i] {
            const auto locks = opened(false);
            for (tag_t object = 1; object <= kObjects; ++object)
                if (locks->take(object, i + 1) == i + 1)
                    won[i].push_back(object);
        });
    for (std::thread& each : threads)
        each.join();
    std::vector<tag_t> all;
    for (unsigned i = 0; i < kThreads; ++i)
        for (const tag_t object : won[i]) {
            all.push_back(object);
            ASSERT_EQ(made->owner(object), i + 1);
        }
    std::sort(all.begin(), all.end());
    ASSERT_THAT(all, SizeIs(kObjects));
    EXPECT_EQ(std::adjacent_find(all.begin(), all.end()), all.end());
    EXPECT_THAT(made->all(), SizeIs(kObjects));
}

TEST_F(HeldTable, ALockThatIsGivenAndTakenAtOnceIsNeverOfTwo) {
    const auto made = opened();
    int inside = 0;  // changed only by the owner of the lock
    std::vector<std::thread> threads;
    for (unsigned i = 1; i <= 4; ++i)
        threads.emplace_back([&, i] {
            const auto locks = opened(false);
            for (int time = 0; time < 500; ++time) {
                while (locks->take(5, i) != i)
                    std::this_thread::yield();
                ++inside;
                locks->release(5, i);
            }
        });
    for (std::thread& each : threads)
        each.join();
    EXPECT_EQ(inside, 2000);
    EXPECT_THAT(made->all(), IsEmpty());
}

TEST_F(HeldTable, IsMadeSmallAgainWithTheLocksThatAreHeld) {
    auto locks = opened();
    EXPECT_EQ(size(), kSmallest);
    for (tag_t object = 1; object <= kMany; ++object)
        locks->take(object, 1);
    EXPECT_GT(size(), kMany * 8);
    for (tag_t object = 2; object <= kMany; ++object)
        locks->release(object, 1);
    locks->compact();
    EXPECT_EQ(size(), kSmallest);
    EXPECT_THAT(locks->all(), ElementsAre(Pair(1u, 1u)));
    EXPECT_EQ(locks->take(1, 2), 1u);
    EXPECT_EQ(locks->take(2, 2), 2u);
}

TEST_F(HeldTable, IsNotMadeByWhoMayNotMakeIt) {
    EXPECT_EQ(failureOfOpening(false), mervane::kFileFailure);
    EXPECT_FALSE(std::filesystem::exists(path_));
    std::ofstream(path_).flush();
    EXPECT_EQ(failureOfOpening(false), mervane::kStoreFailure);
    EXPECT_EQ(failureOfOpening(true), 0) << "an empty file is a table that is made now";
}

TEST_F(HeldTable, AFileThatIsSomethingElseIsRefused) {
    for (const std::size_t length : {std::size_t{5000}, kSmallest, 3 * kSmallest}) {
        std::ofstream(path_, std::ios::trunc) << std::string(length, 'x');
        EXPECT_EQ(failureOfOpening(true), mervane::kStoreFailure) << length;
    }
    std::filesystem::remove(path_);
    std::filesystem::create_directory(path_);
    EXPECT_EQ(failureOfOpening(true), mervane::kFileFailure);
}

#if !defined(_WIN32)
TEST_F(HeldTable, ALockForWhichTheDiskHasNoRoomFailsAndTheOthersStay) {
    auto locks = opened();
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit little{kSmallest, before.rlim_max};
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &little), 0);
    tag_t object = 1;
    int status = 0;
    try {
        for (; object <= kMany; ++object)
            locks->take(object, 1);
    } catch (const mervane::Failure& failure) {
        status = failure.status();
        EXPECT_THAT(failure.what(), testing::HasSubstr("held can't be made longer"));
    }
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(status, mervane::kFileFailure);
    EXPECT_THAT(locks->all(), SizeIs(object - 1));
    EXPECT_EQ(locks->take(object, 1), 1u) << "there is room again";
}
#endif
