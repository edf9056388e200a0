#pragma once

// Let every call of an operation fail in turn and look at what comes of it.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/support/world.h"

namespace world {

inline constexpr int kPlanned = 4711;

// An operation to run in a world of its own for each failure: `prepare` makes the objects, `run`
// gives the status. Also the calls of a successful run; a leading "~" marks a call whose failure is
// dropped.
struct FailingRun {
    std::function<tag_t(World&)> prepare;
    std::function<int(World&, tag_t)> run;
    // What is looked at afterwards; `call` is the one that failed, from 1, or 0 if none did.
    std::function<void(World&, tag_t, int call)> after;
};

inline void expectEachFailure(const FailingRun& test, const std::vector<std::string>& operations) {
    {
        World world;
        const tag_t object = test.prepare(world);
        world.bench.startJournal();
        EXPECT_EQ(0, test.run(world, object));
        std::vector<std::string> made;
        for (const mervane::JournalEntry& entry : world.bench.stopJournal())
            made.push_back(entry.operation);
        std::vector<std::string> plain;
        for (const std::string& operation : operations)
            plain.push_back(operation.substr(operation[0] == '~' || operation[0] == '!' ? 1 : 0));
        if (test.after)
            test.after(world, object, 0);
        ASSERT_EQ(plain, made);
    }
    for (std::size_t i = 0; i < operations.size(); ++i) {
        const bool dropped = operations[i][0] == '~';
        SCOPED_TRACE("call " + std::to_string(i + 1) + ", " + operations[i]);
        World world;
        const tag_t object = test.prepare(world);
        world.fail("", static_cast<int>(i) + 1, kPlanned);
        const int status = test.run(world, object);
        if (operations[i][0] == '!') {
            EXPECT_NE(0, status);
            EXPECT_NE(kPlanned, status);
        } else {
            EXPECT_EQ(dropped ? 0 : kPlanned, status);
        }
        world.failNothing();
        if (test.after)
            test.after(world, object, static_cast<int>(i) + 1);
    }
}

}  // namespace world
