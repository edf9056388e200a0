// How often a session waits for the server: what is read and sent together.

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <set>
#include <sstream>

#include "platform/mv_dbo.h"
#include "platform/mv_heap.h"
#include "platform/mv_line.h"
#include "platform/mv_obj.h"
#include "platform/mv_rel.h"
#include "tests/server/server_store.h"
#include "tests/support/server_value.h"

using namespace mervane;
using namespace mervane::test;

namespace {

constexpr int kParts = 40;

class RoundTrips : public ServerStore {
protected:
    void SetUp() override {
        ServerStore::SetUp();
        bench().openSession(store_, {});
        top_ = part(0);
        for (int i = 1; i <= kParts; ++i) {
            parts_.push_back(part(i));
            bench().addOccurrence(top_, parts_.back(), "", "");
        }
        // A session that has read nothing.
        bench().openSession(store_, {});
    }

    static tag_t part(int number) {
        tag_t revision = NULLTAG;
        bench().createItem("P" + std::to_string(number), "part", "Item", "A", &revision);
        bench().relate(revision, bench().createDataset("Text", "d"), "VANE_specification");
        return revision;
    }
    template <typename Body>
    static std::uint64_t during(Body&& body) {
        const std::uint64_t before = bench().roundTrips();
        body();
        return bench().roundTrips() - before;
    }
    tag_t top_ = NULLTAG;
    std::vector<tag_t> parts_;
};

}  // namespace

TEST_F(RoundTrips, ALockIsTakenWithAllThatIsAskedForIt) {
    ASSERT_EQ(OBJ_load(parts_[0]), 0);
    // The first lock of a session reads the rights.
    ASSERT_EQ(OBJ_lock(parts_[1]), 0);
    EXPECT_EQ(during([&] { EXPECT_EQ(OBJ_lock(parts_[0]), 0); }), 1u);
}

TEST_F(RoundTrips, ASaveIsOne) {
    ASSERT_EQ(OBJ_lock(parts_[0]), 0);
    ASSERT_EQ(setName(parts_[0], "changed"), 0);
    EXPECT_EQ(during([&] { EXPECT_EQ(OBJ_save(parts_[0]), 0); }), 1u);
}

TEST_F(RoundTrips, SavesOfAWholeRunGoWithItsEnd) {
    for (const tag_t part : parts_)
        ASSERT_EQ(OBJ_lock(part), 0);
    bench().beginRun({RunWay::Whole, "test", "", "", ""});
    // The head of its record takes some.
    ASSERT_EQ(setName(parts_[0], "changed"), 0);
    ASSERT_EQ(OBJ_save(parts_[0]), 0);
    EXPECT_LE(during([&] {
                  for (const tag_t part : parts_) {
                      EXPECT_EQ(setName(part, "changed again"), 0);
                      EXPECT_EQ(OBJ_save(part), 0);
                  }
              }),
              4u);
    bench().endRun({}, true, nullptr);
    EXPECT_EQ(stored(parts_.back(), "object_name"), "changed again");
}

TEST_F(RoundTrips, WhatAStructureNamesIsReadTogether) {
    bench().beginRun({RunWay::Whole, "test", "", "", ""});
    const tag_t window = bench().openBomWindow(top_);
    int lines = 0;
    tag_t* children = nullptr;
    ASSERT_EQ(LINE_ask_child_lines(window, &lines, &children), 0);
    HEAP_free(children);
    EXPECT_EQ(lines, kParts);
    EXPECT_LE(during([&] {
                  for (const tag_t part : parts_) {
                      int count = 0;
                      tag_t* datasets = nullptr;
                      EXPECT_EQ(REL_list_secondary_objects_only(part, NULLTAG, &count, &datasets),
                                0);
                      EXPECT_EQ(count, 2) << "master form and dataset";
                      logical modifiable = false;
                      EXPECT_EQ(OBJ_ask_if_modifiable(datasets[0], &modifiable), 0);
                      EXPECT_TRUE(modifiable);
                      HEAP_free(datasets);
                  }
              }),
              5u);
    bench().endRun({}, false, nullptr);
}

namespace {

void importItems(int items) {
    std::string world = R"({"world": 1, "items": [)";
    for (int i = 0; i < items; ++i)
        world += std::string(i ? "," : "") + R"({"id": "i)" + std::to_string(items + i) +
                 R"(", "name": ")" + std::string(100, 'n') + R"(", "revisions": [{"id": "A"}]})";
    std::istringstream in(world + "]}");
    bench().importWorld(in, "world.json");
}

// How many statements went together with others: a question goes alone, a piece is some.
template <typename Body>
std::uint64_t together(Body&& body) {
    const std::uint64_t statements = bench().statementsRun(), trips = bench().roundTrips();
    body();
    return bench().statementsRun() - statements - (bench().roundTrips() - trips);
}

}  // namespace

TEST_F(RoundTrips, AnImportInARunGoesInPieces) {
    const auto imported = [](int items) {
        bench().beginRun({RunWay::Whole, "load", "", "", ""});
        const std::uint64_t all = together([&] { importItems(items); });
        bench().endRun({}, true, nullptr);
        return all;
    };
    const std::uint64_t few = imported(20), many = imported(1500);
    EXPECT_GT(many, few);
    EXPECT_EQ(bench().find({"i2999", "Item", "", 0}).size(), 1u);
}

TEST_F(RoundTrips, IdsThatFollowOneAnotherAreReadTogetherInARun) {
    for (int i = 1000; i < 1300; ++i)
        bench().createItem("m" + std::to_string(i), "", "", "A", nullptr);
    bench().createItem("m12555", "", "", "A", nullptr);
    bench().beginRun({RunWay::Whole, "ids", "", "", ""});
    const auto find = [](const std::string& id) {
        tag_t item = NULLTAG;
        return statusOf([&] { item = bench().resolve(id); }) == 0 ? item : NULLTAG;
    };
    for (const char* id : {"l1", "l2", "l3"})
        EXPECT_EQ(find(id), NULLTAG);
    // With this one come the 255 after it.
    EXPECT_EQ(find("l4"), NULLTAG);
    EXPECT_EQ(during([&] {
                  for (int i = 1000; i < 1250; ++i) {
                      EXPECT_EQ(find("m" + std::to_string(i) + "x"), NULLTAG);
                      EXPECT_EQ(find("l5" + std::to_string(i)), NULLTAG);
                  }
              }),
              0u);
    EXPECT_EQ(stored(find("m1100"), "item_id"), "m1100");
    EXPECT_EQ(stored(find("m1299"), "item_id"), "m1299") << "beyond those";
    EXPECT_EQ(find("m1299x"), NULLTAG);
    EXPECT_EQ(stored(find("m1255"), "item_id"), "m1255") << "the last of those";
    EXPECT_EQ(stored(find("m12555"), "item_id"), "m12555") << "the first one beyond";

    // What the run makes and changes itself is found.
    const tag_t made = bench().createItem("m1005x", "", "", "A", nullptr);
    EXPECT_EQ(find("m1005x"), made);
    bench().set(made, "item_id", {std::string("m1006x")});
    EXPECT_EQ(find("m1005x"), NULLTAG);
    EXPECT_EQ(find("m1006x"), made);
    const tag_t renamed = find("m1100");
    bench().set(renamed, "item_id", {std::string("m1100x")});
    // Its statements are with the server from here on.
    bench().find({"m1*", "Item", "", 0});
    EXPECT_EQ(find("m1006x"), made);
    EXPECT_EQ(find("m1005x"), NULLTAG);
    EXPECT_EQ(find("m1100"), NULLTAG);
    EXPECT_EQ(find("m1100x"), renamed);
    for (const char* id : {"m1006x", "m1007", "m1100x", "m1299"})
        EXPECT_EQ(statusOf([&] { bench().createItem(id, "", "", "A", nullptr); }), kDuplicateId)
            << id;
    EXPECT_NE(statusOf([&] {
                  bench().asOne([&] {
                      bench().createItem("m1008x", "", "", "A", nullptr);
                      throw Failure(kBadValue, "goes back");
                  });
              }),
              0);
    EXPECT_EQ(find("m1008x"), NULLTAG);
    EXPECT_NE(find("m1010"), NULLTAG);
    bench().endRun({}, true, nullptr);
    EXPECT_EQ(find("m1006x"), made);
    EXPECT_TRUE(isSound());
}

TEST_F(RoundTrips, AnImportAsksForItsIdsAndChildrenTogether) {
    std::string world = R"({"world": 1, "items": [)", bom;
    for (int i = 0; i < 200; ++i) {
        const std::string id = "n" + std::to_string(1000 + i);
        world += R"({"id": ")" + id + R"(", "revisions": [{"id": "A"}]}, )";
        bom += (i ? ", " : "") + std::string(R"({"item": ")") + id + "\"}";
    }
    std::istringstream in(world + R"({"id": "top", "revisions": [{"id": "A", "bom": [)" + bom +
                          "]}]}]}");
    ImportReport report;
    EXPECT_LE(during([&] { report = bench().importWorld(in, "world.json"); }), 60u);
    EXPECT_EQ(report.items, 201);
    EXPECT_EQ(report.occurrences, 200);
    const tag_t window = bench().openBomWindow(bench().resolve("top/A"));
    int lines = 0;
    tag_t* children = nullptr;
    ASSERT_EQ(LINE_ask_child_lines(window, &lines, &children), 0);
    HEAP_free(children);
    EXPECT_EQ(lines, 200);
}

// Neither the answers nor what waits may be as large as a store.
TEST_F(RoundTrips, ACopyIsReadAndGoesInPieces) {
    const auto copied = [&](std::string& exported) {
        const std::string path = keld_test::freshServerStore();
        const std::uint64_t all = together([&] { bench().copyStore(store_, path); });
        const auto copy = bench().openStore(path);
        bench().openSession(copy, {});
        std::ostringstream out;
        bench().exportWorld(out);
        exported = out.str();
        bench().closeStore(copy);
        return all;
    };
    std::string small, large;
    const auto session = bench().openSession(store_, {});
    const std::uint64_t few = copied(small);
    bench().selectSession(session);
    importItems(1500);
    const std::uint64_t many = copied(large);
    EXPECT_GT(many, few);
    bench().selectSession(session);
    std::ostringstream out;
    bench().exportWorld(out);
    EXPECT_TRUE(large == out.str());
    EXPECT_GT(large.size(), small.size());
}

// What was read holds for so long that each question of these tests could be answered by it.
class FreshRoundTrips : public RoundTrips {
protected:
    void SetUp() override {
        ::setenv("MERVANE_FRESH_MS", "600000", 1);
        RoundTrips::SetUp();
        target_ = bench().createItem("target", "", "Item", "A", nullptr);
        for (int i = 0; i < 20; ++i) {
            folders_.push_back(bench().createFolder("folder"));
            bench().set(folders_.back(), "contents", {Reference{target_}});
        }
    }
    void TearDown() override {
        ::unsetenv("MERVANE_FRESH_MS");
        RoundTrips::TearDown();
    }
    static std::set<tag_t> referrersOf(tag_t object) {
        int count = 0, classes = 0;
        tag_t *tags = nullptr, *classes_found = nullptr;
        int *levels = nullptr, *where = nullptr, *class_levels = nullptr, *class_where = nullptr;
        EXPECT_EQ(
            DBO_referencers_of_instance(object, 1, DBO_in_ds_and_db, &count, &tags, &levels, &where,
                                        &classes, &classes_found, &class_levels, &class_where),
            0);
        const std::set<tag_t> all(tags, tags + count);
        for (void* block : {static_cast<void*>(tags), static_cast<void*>(classes_found),
                            static_cast<void*>(levels), static_cast<void*>(where),
                            static_cast<void*>(class_levels), static_cast<void*>(class_where)})
            HEAP_free(block);
        return all;
    }

    tag_t target_ = NULLTAG;
    std::vector<tag_t> folders_;
};

TEST_F(FreshRoundTrips, AListOfReferrersIsKeptWhileTheSessionTakesThemAway) {
    const std::size_t others = referrersOf(target_).size() - folders_.size();
    std::uint64_t trips = 0;
    for (std::size_t i = 0; i < folders_.size(); ++i) {
        bench().set(folders_[i], "contents", {});
        std::set<tag_t> left;
        trips += during([&] { left = referrersOf(target_); });
        EXPECT_EQ(left.size(), others + folders_.size() - i - 1);
        EXPECT_FALSE(left.contains(folders_[i]));
    }
    EXPECT_LE(trips, 1u);
    bench().set(folders_[3], "contents", {Reference{target_}});
    EXPECT_TRUE(referrersOf(target_).contains(folders_[3]));
}

TEST_F(FreshRoundTrips, ThatNobodyRefersToAnObjectIsAsked) {
    const tag_t alone = bench().createFolder("alone");
    bench().set(folders_[0], "contents", {Reference{alone}});
    EXPECT_EQ(referrersOf(alone), std::set<tag_t>{folders_[0]});
    // Another process begins to refer to it.
    const std::unique_ptr<PGconn, void (*)(PGconn*)> other(
        PQconnectdb(keld_test::serverAddress().c_str()), PQfinish);
    const std::string schema = path_.substr(path_.find("schema=") + 7);
    keld_test::firstValue(
        other.get(), "INSERT INTO " + schema + ".ref(target, attr, tag) SELECT target, attr, " +
                         std::to_string(folders_[1]) + " FROM " + schema + ".ref WHERE target=" +
                         std::to_string(alone) + " AND tag=" + std::to_string(folders_[0]));
    bench().set(folders_[0], "contents", {});
    EXPECT_EQ(referrersOf(alone), std::set<tag_t>{folders_[1]});
}
