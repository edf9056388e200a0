// The import of a STEP file into a store, ended by force at some moment.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "tests/import/step_text.h"
#include "tests/import/world_support.h"
#include "tests/support/files.h"
#include "tests/support/step_generator.h"

using namespace keld_test;

// A child process imports and is killed at some moment; the store has all of the import or nothing.
TEST(StepImport, AKilledImportLeavesAllOrNothing) {
    const Directory directory;
    std::ostringstream text;
    const StepCounts counts = writeStep(text, {.parts = 400, .children = 4, .bytes = 2'000'000});
    int done = 0, undone = 0, delay = 5;
    for (int round = 0; round < 12; ++round) {
        const std::string path = directory.at("store" + std::to_string(round));
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            try {
                mervane_workbench()->createStore(path);
                const OpenStore store(path);
                std::ofstream(path + ".ready").close();
                store.importStep(text.str());
                std::ofstream(path + ".done").close();
                ::_exit(0);
            } catch (...) {
                ::_exit(1);
            }
        }
        while (!std::filesystem::exists(path + ".ready") && ::waitpid(child, nullptr, WNOHANG) == 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        const auto start = std::chrono::steady_clock::now();
        while (std::chrono::steady_clock::now() - start < std::chrono::milliseconds(delay) &&
               !std::filesystem::exists(path + ".done"))
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        const bool finished = std::filesystem::exists(path + ".done");
        const OpenStore store(path);
        const auto items = static_cast<int>(store->find({"*", "Item", "", 0}).size());
        EXPECT_TRUE(items == 0 || items == counts.products) << items;
        if (finished) {
            EXPECT_EQ(items, counts.products);
        }
        for (const auto& finding : store->check(store.id(), false))
            EXPECT_FALSE(finding.error) << finding.text;
        ++(items ? done : undone);
        // Kill later next time, until an import completes; then earlier again.
        delay = finished ? std::max(1, delay / 3) : delay * 2;
    }
    EXPECT_GT(done, 0);
    EXPECT_GT(undone, 0);
}
