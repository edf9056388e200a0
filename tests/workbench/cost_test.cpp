// What a change or a look-up costs depends on what it touches, not on how much the store holds: the
// database's own steps are counted in a small store and in a large one.

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <fstream>
#include <sstream>

#include "platform/keld_se.h"
#include "tests/workbench/support.h"

using namespace mervane;
using namespace mervane::test;

namespace {

std::uint64_t steps = 0;

int onEnd(unsigned, void*, void* statement, void*) {
    steps += static_cast<std::uint64_t>(
        sqlite3_stmt_status(static_cast<sqlite3_stmt*>(statement), SQLITE_STMTSTATUS_VM_STEP, 1));
    return 0;
}

int onOpen(sqlite3* database, char**, const sqlite3_api_routines*) {
    sqlite3_trace_v2(database, SQLITE_TRACE_PROFILE, onEnd, nullptr);
    return SQLITE_OK;
}

}  // namespace

class Cost : public ::testing::Test {
protected:
    void SetUp() override {
        sqlite3_auto_extension(reinterpret_cast<void (*)()>(onOpen));
        std::ofstream(directory_.at("keld_statusmanager.ini"))
            << "[SelectWSO]\nItemRevision=1\n[Frozen_ItemRevision]\nSetReleaseState=Frozen\n"
               "PrevReleaseStatus=none\nChangeForward=Rel.VANE_specification.*\n"
               "[Frozen_VANE_specification.*]\nSetReleaseState=Frozen\nPrevReleaseStatus=none\n";
        ::setenv("KELD_CFG_PATH", directory_.path().c_str(), 1);
        ::setenv("KELD_LOG_FILE", directory_.at("keld.log").c_str(), 1);
    }

    // The database steps of the body's second run, in a store with so many parts below one
    // assembly; the first run reads the model.
    template <typename Steps>
    std::uint64_t in(int parts, Steps&& body) {
        const std::string path = directory_.at(std::to_string(++stores_) + "-store");
        bench().createStore(path);
        const auto store = bench().openStore(path);
        bench().openSession(store, {});
        std::ostringstream world;
        world << R"({"world": 1, "items": [)";
        for (int i = 0; i < parts; ++i)
            world << R"({"id": "part-)" << i << R"(", "name": "part", "revisions": [{"id": "A",)"
                  << R"("datasets": [{"type": "Text", "name": "d"}]}]},)";
        world << R"({"id": "top", "revisions": [{"id": "A", "bom": [)";
        for (int i = 0; i < parts; ++i)
            world << (i ? "," : "") << R"({"item": "part-)" << i << R"("})";
        world << "]}]}]}";
        std::istringstream document(world.str());
        bench().importWorld(document, "w.json");
        body(1);
        // A session that has read nothing yet.
        bench().openSession(store, {});
        steps = 0;
        body(2);
        const std::uint64_t taken = steps;
        bench().closeStore(store);
        return taken;
    }
    template <typename Steps>
    void isTheSameInAnyStore(Steps&& body) {
        const std::uint64_t small = in(200, body), large = in(2000, body);
        RecordProperty("small", std::to_string(small));
        RecordProperty("large", std::to_string(large));
        EXPECT_GT(small, 0u);
        EXPECT_LE(static_cast<double>(large), 1.3 * static_cast<double>(small));
    }
    static tag_t part(int number) {
        return bench().resolve("part-" + std::to_string(number) + "/A");
    }
    static void freeze(int number) {
        ASSERT_EQ(KELD_StatusManager_ManageStatus(part(number), "ItemRevision", "Frozen"), 0);
    }

    Directory directory_;
    int stores_ = 0;
};

TEST_F(Cost, OfSettingAStatusIsTheSameInAnyStore) {
    isTheSameInAnyStore([](int number) {
        bench().beginRun({RunWay::Whole, "status", "", "", ""});
        freeze(number);
        bench().endRun({}, true, nullptr);
    });
}

TEST_F(Cost, OfRehearsingAStatusIsTheSameInAnyStore) {
    isTheSameInAnyStore([](int number) {
        bench().beginRun({RunWay::Rehearsal, "status", "", "", ""});
        freeze(number);
        bench().endRun({}, false, [](const RunEntry&) {});
    });
}

TEST_F(Cost, OfAnUndoIsTheSameInAnyStore) {
    isTheSameInAnyStore([](int number) {
        bench().beginRun({RunWay::Whole, "status", "", "", ""});
        freeze(number);
        const RunHead run = bench().endRun({}, true, nullptr);
        EXPECT_TRUE(bench().undoRun(run.number, "").done);
    });
}

TEST_F(Cost, OfARenameIsTheSameInAnyStore) {
    isTheSameInAnyStore([](int number) {
        const tag_t revision = part(number);
        const std::string id = "part-" + std::to_string(number);
        bench().sendArguments({"new-" + id, std::string("A"), std::string("n"), std::string("d"),
                               bench().resolve(id), revision,
                               RENAME_ITEM | RENAME_REVISIONS | RENAME_MODIFY});
        bench().beginRun({RunWay::Whole, "rename", "", "", ""});
        int result = -1;
        EXPECT_EQ(KELD_ReNameItemExtended(&result), 0);
        EXPECT_EQ(result, 0);
        bench().endRun({}, true, nullptr);
    });
}

TEST_F(Cost, OfNamesLikeAMistypedOneIsTheSameInAnyStore) {
    isTheSameInAnyStore([](int) {
        const auto names = bench().similarNames("part-1x/A");
        EXPECT_NE(std::find(names.begin(), names.end(), "part-1/A"), names.end());
    });
}

TEST_F(Cost, OfASearchWithinAllNamesIsTheSameInAnyStoreWithAnIndexOfTexts) {
    isTheSameInAnyStore([](int number) {
        if (number == 1)
            bench().setTextIndex(true);
        EXPECT_FALSE(bench().find({"*top*", "", "", 0}).empty());
    });
}

// The control: what does grow with the store is seen to grow.
TEST_F(Cost, OfASearchWithinAllNamesGrowsWithTheStore) {
    const auto search = [](int) { bench().find({"*nothing*", "", "", 0}); };
    EXPECT_GT(in(2000, search), 20 * in(20, search));
}
