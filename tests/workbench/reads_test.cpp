// What a run reads: objects with their versions, searches, and whether they are still the same.

#include "platform/mv_rls.h"
#include "platform/mv_str.h"
#include "tests/workbench/run_support.h"

using namespace mervane;
using namespace mervane::test;

class ReadsOfARun : public OnBothStores {
protected:
    void SetUp() override {
        OnBothStores::SetUp();
        item_ = bench().createItem("OLD", "old", "", "A", &revision_);
        other_ = bench().createItem("OTHER", "other", "", "A", nullptr);
        dataset_ = bench().createDataset("Text", "text");
        relation_ = bench().relate(revision_, dataset_, "VANE_specification");
    }
    static void beginReading() {
        RunOptions options;
        options.way = RunWay::Rehearsal;
        options.service = "test";
        options.reads = true;
        bench().beginRun(options);
    }
    static RunReads endReading() {
        RunReads reads = bench().readsOfRun();
        end();
        return reads;
    }
    static std::int64_t versionIn(const RunReads& reads, tag_t object) {
        for (const auto& each : reads.objects)
            if (each.object == object)
                return each.version;
        return -1;
    }
    // As a service lists what is related to the revision.
    void listRelated() const {
        int count = 0;
        rel_entry_s* list = nullptr;
        ASSERT_EQ(REL_list_secondary_objects(revision_, NULLTAG, &count, &list), 0);
        HEAP_free(list);
    }
    static std::vector<tag_t> tagsOf(const std::vector<ReadDifference>& differences) {
        std::vector<tag_t> tags;
        for (const ReadDifference& each : differences)
            tags.push_back(each.object);
        return tags;
    }

    tag_t item_ = 0, revision_ = 0, other_ = 0, dataset_ = 0, relation_ = 0;
};
ON_BOTH_STORES(ReadsOfARun);

TEST_P(ReadsOfARun, AnObjectHasTheVersionFromBeforeTheRunsOwnChange) {
    bench().set(item_, "object_name", {std::string("second")});
    beginReading();
    bench().set(item_, "object_name", {std::string("third")});
    bench().set(item_, "object_name", {std::string("fourth")});
    const RunReads reads = endReading();
    EXPECT_EQ(versionIn(reads, item_), 2);
    EXPECT_EQ(versionIn(reads, other_), -1);
    EXPECT_TRUE(bench().differencesFrom(reads).empty());
}

TEST_P(ReadsOfARun, AnObjectThatTheSessionKnewBeforeIsReadAsWell) {
    EXPECT_EQ(stored(item_, "object_name"), "old");
    beginReading();
    EXPECT_EQ(stored(item_, "object_name"), "old");
    EXPECT_EQ(versionIn(endReading(), item_), 1);
}

TEST_P(ReadsOfARun, WhatTheRunMakesIsNoneOfThem) {
    beginReading();
    tag_t revision = 0;
    const tag_t made = bench().createItem("NEW", "new", "", "A", &revision);
    bench().relate(revision, dataset_, "VANE_specification");
    EXPECT_EQ(stored(made, "object_name"), "new");
    tag_t unsaved = 0;
    ASSERT_EQ(RLS_create_release_status("x", &unsaved), 0);
    const RunReads reads = endReading();
    EXPECT_EQ(versionIn(reads, made), -1);
    EXPECT_EQ(versionIn(reads, revision), -1);
    EXPECT_EQ(versionIn(reads, unsaved), -1);
    EXPECT_EQ(versionIn(reads, dataset_), 1);
    for (const auto& search : reads.searches) {
        EXPECT_NE(search.target, made);
        EXPECT_NE(search.target, revision);
    }
}

TEST_P(ReadsOfARun, WhatASearchFindsIsReadAlsoIfNobodyLooksAtIt) {
    tag_t parent = 0;
    bench().createItem("TOP", "top", "", "A", &parent);
    const tag_t occurrence = bench().addOccurrence(parent, revision_, "", "");
    bench().closeSession(first_);  // which knows the occurrence
    anotherSession();
    beginReading();
    int count = 0, *levels = nullptr;
    tag_t* users = nullptr;
    ASSERT_EQ(STR_where_used_all(revision_, 1, &count, &levels, &users), 0);
    ASSERT_EQ(count, 1);
    HEAP_free(levels);
    HEAP_free(users);
    const RunReads reads = endReading();
    EXPECT_EQ(versionIn(reads, occurrence), 1);
    const RunReads::Search asked{"STROccurrence", "child", revision_, ""};
    EXPECT_EQ(std::count(reads.searches.begin(), reads.searches.end(), asked), 1);
}

TEST_P(ReadsOfARun, ShortCutsAreSearchesAsWell) {
    beginReading();
    tag_t found = 0;
    ASSERT_EQ(ART_find_revision(item_, "B", &found), 0);
    EXPECT_EQ(found, NULLTAG);
    const RunReads reads = endReading();
    EXPECT_EQ(versionIn(reads, revision_), 1);
    EXPECT_TRUE(bench().differencesFrom(reads).empty());
    const tag_t second = bench().createRevision(item_, "B");
    const auto differences = tagsOf(bench().differencesFrom(reads));
    EXPECT_NE(std::find(differences.begin(), differences.end(), second), differences.end());
    beginReading();
    bench().createRevision(item_, "");  // its id follows that of the latest one
    const RunReads more = endReading();
    EXPECT_TRUE(bench().differencesFrom(more).empty());
    const tag_t third = bench().createRevision(item_, "X");
    const auto later = tagsOf(bench().differencesFrom(more));
    EXPECT_NE(std::find(later.begin(), later.end(), third), later.end());
}

TEST_P(ReadsOfARun, AnObjectThatIsChangedIsADifferenceWithBothVersions) {
    beginReading();
    EXPECT_EQ(stored(item_, "object_name"), "old");
    const RunReads reads = endReading();
    bench().set(other_, "object_name", {std::string("changed")});
    EXPECT_TRUE(bench().differencesFrom(reads).empty());
    bench().set(item_, "object_name", {std::string("changed")});
    const auto differences = bench().differencesFrom(reads);
    ASSERT_EQ(tagsOf(differences), std::vector<tag_t>{item_});
    EXPECT_EQ(differences[0].then, 1);
    EXPECT_EQ(differences[0].now, 2);
}

TEST_P(ReadsOfARun, AnObjectThatIsGoneIsADifference) {
    beginReading();
    listRelated();
    const RunReads reads = endReading();
    ASSERT_EQ(REL_delete_relation(relation_), 0);
    const auto differences = bench().differencesFrom(reads);
    ASSERT_EQ(tagsOf(differences), std::vector<tag_t>{relation_});
    EXPECT_EQ(differences[0].now, 0);
}

TEST_P(ReadsOfARun, WhatASearchFindsNewIsADifference) {
    beginReading();
    listRelated();
    const RunReads reads = endReading();
    const tag_t second = bench().createDataset("Text", "second");
    EXPECT_TRUE(bench().differencesFrom(reads).empty());
    const tag_t relation = bench().relate(revision_, second, "VANE_specification");
    const auto differences = bench().differencesFrom(reads);
    ASSERT_EQ(tagsOf(differences), std::vector<tag_t>{relation});
    EXPECT_EQ(differences[0].then, 0);
    EXPECT_EQ(differences[0].now, 1);
}

TEST_P(ReadsOfARun, AnIdThatNobodyHadAndSomebodyHasNowIsADifference) {
    beginReading();
    EXPECT_EQ(statusOf([] { bench().resolve("FREE"); }), kUnknownObject);
    const RunReads reads = endReading();
    const tag_t taken = bench().createItem("FREE", "x", "", "A", nullptr);
    EXPECT_EQ(tagsOf(bench().differencesFrom(reads)), std::vector<tag_t>{taken});
}

TEST_P(ReadsOfARun, AnObjectThatWasntThereAndIsThereNowIsADifference) {
    const tag_t folder = bench().createFolder("f");
    begin(RunWay::Whole);
    ASSERT_EQ(OBJ_delete(folder), 0);
    const std::int64_t deletion = end().head.number;
    beginReading();
    EXPECT_NE(OBJ_load(folder), 0);
    const RunReads reads = endReading();
    EXPECT_EQ(versionIn(reads, folder), 0);
    ASSERT_TRUE(bench().undoRun(deletion, "").done);
    EXPECT_EQ(tagsOf(bench().differencesFrom(reads)), std::vector<tag_t>{folder});
}

TEST_P(ReadsOfARun, ARunThatDoesntAskGathersNone) {
    EXPECT_EQ(statusOf([] { bench().readsOfRun(); }), kBadValue);
    begin(RunWay::Rehearsal);
    EXPECT_EQ(statusOf([] { bench().readsOfRun(); }), kBadValue);
    end();
}

TEST_P(ReadsOfARun, ARunTellsItsHeadAndItsEntriesWhileItLasts) {
    EXPECT_EQ(statusOf([] { bench().runUnderWay(); }), kBadValue);
    EXPECT_EQ(statusOf([] { bench().readRunSoFar(nullptr); }), kBadValue);
    begin(RunWay::Whole, "KELD_Test");
    EXPECT_EQ(bench().runUnderWay().service, "KELD_Test");
    EXPECT_EQ(bench().runUnderWay().user, "infodba");
    std::vector<RunEntry> entries;
    const auto keep = [&](const RunEntry& entry) { entries.push_back(entry); };
    bench().readRunSoFar(keep);
    EXPECT_TRUE(entries.empty());
    bench().set(item_, "object_name", {std::string("changed")});
    bench().readRunSoFar(keep);
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(textOf(valueOf(entries[0], "object_name")->after), "changed");
    EXPECT_EQ(end(false).entries.size(), 1u);
}

TEST_P(ReadsOfARun, AStoreIsKnownFromOthersAndItsCopyIsntToldApart) {
    const std::string identity = bench().storeIdentity(store_);
    EXPECT_EQ(identity.size(), 32u);
    bench().backup(store_, directory_.at("copy"));
    const auto copy = bench().openStore(directory_.at("copy"));
    EXPECT_EQ(bench().storeIdentity(copy), identity);
    bench().closeStore(copy);
    const auto another = keld_test::openFreshStore();
    EXPECT_NE(bench().storeIdentity(another), identity);
    bench().closeStore(another);
}
