// The three ways to run: what stays, what is taken back, and what is recorded.

#include "tests/workbench/run_support.h"

using namespace mervane;
using namespace mervane::test;

class Run : public OnBothStores {
protected:
    // A change of every kind that a service can make.
    void changeEverything() {
        const tag_t made = bench().createItem("NEW", "new", "", "A", nullptr);
        bench().createDatasetVersion(dataset_);
        writeFile(directory_.at("file"), "content");
        bench().addFile(bench().createDataset("Text", "d"), "Text", directory_.at("file"), "a.txt");
        bench().set(item_, "object_name", {std::string("changed")});
        bench().checkOut(item_, "mine");
        bench().checkIn(other_);
        bench().setPreference("p", {"2", "3"});
        bench().addRight({"all", "", "all", "", "COPY", false});
        ASSERT_EQ(REG_register_item_id("REGISTERED", 0), 0);
        ASSERT_EQ(REG_unregister_item_id("FREE", 0), 0);
        ASSERT_EQ(OBJ_delete(folder_), 0);
        bench().defineType("RunForm", "Form", {});
        ASSERT_NE(made, NULLTAG);
    }
    void SetUp() override {
        OnBothStores::SetUp();
        item_ = bench().createItem("OLD", "old", "", "A", &revision_);
        other_ = bench().createItem("OTHER", "other", "", "A", nullptr);
        folder_ = bench().createFolder("folder");
        dataset_ = bench().createDataset("Text", "text");
        writeFile(directory_.at("old"), "old content");
        bench().addFile(dataset_, "Text", directory_.at("old"), "old.txt");
        bench().checkOut(other_, "before");
        bench().setPreference("p", {"1"});
        ASSERT_EQ(REG_register_item_id("FREE", 0), 0);
    }
    bool inMemory() const { return path_.empty(); }
    void saveOneThatFailsAndOneThatDoesnt() {
        ASSERT_EQ(OBJ_lock(item_), 0);
        ASSERT_EQ(OBJ_lock(other_), 0);
        tag_t attribute = 0, tag = other_;
        ASSERT_EQ(DBO_attr_id_of_attr("item_id", "Item", &attribute), 0);
        ASSERT_EQ(DBO_set_attr_string(1, &tag, attribute, "OLD"), 0);
        EXPECT_EQ(OBJ_save(other_), kDuplicateId);
        ASSERT_EQ(OBJ_refresh(other_, false), 0);
        ASSERT_EQ(setName(item_, "good"), 0);
        ASSERT_EQ(OBJ_save(item_), 0);
    }

    tag_t item_ = 0, revision_ = 0, other_ = 0, folder_ = 0, dataset_ = 0;
};
ON_BOTH_STORES(Run);

TEST_P(Run, AWholeRunThatIsKeptLeavesItsChangesAndItsRecord) {
    begin(RunWay::Whole, "KELD_Test");
    bench().set(item_, "object_name", {std::string("changed")});
    const Ended ended = end(true, {RunResult::Done, 0, "0", {"7: text"}, {"a file"}});
    EXPECT_EQ(stored(item_, "object_name"), "changed");
    ASSERT_EQ(ended.head.number, 1);
    const RunHead head = bench().run(1);
    EXPECT_EQ(head.way, RunWay::Whole);
    EXPECT_EQ(head.service, "KELD_Test");
    EXPECT_EQ(head.arguments, "s:argument");
    EXPECT_EQ(head.version, "1.0");
    EXPECT_EQ(head.user, "infodba");
    EXPECT_EQ(head.group, "dba");
    EXPECT_EQ(head.outcome.slot, "0");
    EXPECT_EQ(head.outcome.stack, std::vector<std::string>{"7: text"});
    EXPECT_EQ(head.outcome.notes, std::vector<std::string>{"a file"});
    EXPECT_EQ(head.began.size(), 19u);
    EXPECT_EQ(head.ended.size(), 19u);
    EXPECT_FALSE(head.running);
    const std::vector<RunEntry> entries = entriesOf(1);
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(head.entries, 1);
    EXPECT_EQ(entries[0].change, RunChange::ObjectChanged);
    EXPECT_EQ(entries[0].object, item_);
    EXPECT_EQ(entries[0].type, "Item");
    const RunValue* name = valueOf(entries[0], "object_name");
    ASSERT_NE(name, nullptr);
    EXPECT_EQ(textOf(name->before), "old");
    EXPECT_EQ(textOf(name->after), "changed");
    EXPECT_EQ(changes(ended.entries), changes(entries));
}

TEST_P(Run, ARunThatChangesNothingLeavesNoRecord) {
    for (const RunWay way : {RunWay::AsServer, RunWay::Whole, RunWay::Rehearsal}) {
        begin(way);
        EXPECT_TRUE(bench().inRun());
        EXPECT_EQ(stored(item_, "object_name"), "old");
        EXPECT_EQ(end().head.number, 0);
        EXPECT_FALSE(bench().inRun());
    }
    EXPECT_TRUE(bench().runs({}).empty());
}

TEST_P(Run, EveryKindOfChangeIsRecordedInItsOrder) {
    begin(RunWay::Whole);
    changeEverything();
    const Ended ended = end();
    const std::vector<RunChange> all = changes(ended.entries);
    for (int kind = 1; kind <= static_cast<int>(RunChange::ModelExtended); ++kind) {
        const auto change = static_cast<RunChange>(kind);
        if (change == RunChange::FileRemoved || change == RunChange::WorkflowStarted ||
            change == RunChange::RightRemoved)
            continue;
        EXPECT_NE(std::find(all.begin(), all.end(), change), all.end()) << kind;
    }
    EXPECT_EQ(all.front(), RunChange::ObjectMade);
    EXPECT_EQ(all.back(), RunChange::ModelExtended);
    EXPECT_EQ(ended.entries.back().text, "the type RunForm");
    for (const RunEntry& entry : ended.entries)
        if (entry.change == RunChange::ObjectDeleted) {
            EXPECT_EQ(entry.object, folder_);
            EXPECT_EQ(entry.text, "folder");
            ASSERT_NE(valueOf(entry, "object_name"), nullptr);
            EXPECT_EQ(textOf(valueOf(entry, "object_name")->before), "folder");
        }
}

TEST_P(Run, ARehearsalLeavesEveryTableAndEveryFileAsItWas) {
    const std::string before = inMemory() ? exported() : wholeStore(path_);
    begin(RunWay::Rehearsal);
    changeEverything();
    const Ended ended = end(true);
    EXPECT_GT(ended.entries.size(), 10u);
    EXPECT_EQ(ended.head.number, 0);
    EXPECT_EQ(inMemory() ? exported() : wholeStore(path_), before);
    EXPECT_TRUE(bench().runs({}).empty());
    EXPECT_EQ(statusOf([] { bench().createForm("RunForm", "f"); }), kUnknownType);
    EXPECT_TRUE(errorsIn(bench().check(store_, false)).empty());
}

TEST_P(Run, AWholeRunThatIsRefusedGoesBackWithEverything) {
    const std::string before = inMemory() ? exported() : wholeStore(path_);
    begin(RunWay::Whole);
    changeEverything();
    const Ended ended = end(false, {RunResult::Refused, 919403, "", {}, {}});
    EXPECT_EQ(ended.head.number, 0);
    EXPECT_EQ(ended.head.outcome.status, 919403);
    EXPECT_EQ(inMemory() ? exported() : wholeStore(path_), before);
}

TEST_P(Run, TheEntriesAreToldWhileTheSessionStillSeesWhatWasMade) {
    begin(RunWay::Rehearsal);
    const tag_t item = bench().createItem("SEEN", "seen", "", "A", nullptr);
    std::string id;
    bench().endRun({}, false, [&](const RunEntry& entry) {
        if (entry.object == item)
            id = bench().describe(entry.object).id;
    });
    EXPECT_EQ(id, "SEEN");
    EXPECT_EQ(OBJ_load(item), kUnknownObject);
}

TEST_P(Run, AsTheServerWhatIsSavedStaysAndTheRecordTellsIt) {
    begin(RunWay::AsServer);
    bench().set(item_, "object_name", {std::string("first")});
    ASSERT_EQ(bench().runs({}).size(), 1u);
    EXPECT_TRUE(bench().run(1).running);
    EXPECT_EQ(bench().run(1).ended, "");
    bench().set(item_, "object_name", {std::string("second")});
    const Ended ended = end(false, {RunResult::Refused, 5, "", {}, {}});
    EXPECT_EQ(ended.head.number, 1);
    EXPECT_EQ(stored(item_, "object_name"), "second");
    EXPECT_EQ(bench().run(1).outcome.status, 5);
    EXPECT_EQ(bench().run(1).outcome.result, RunResult::Refused);
    EXPECT_EQ(entriesOf(1).size(), 2u);
}

TEST_P(Run, ASaveThatFailsInsideLeavesNoEntry) {
    begin(RunWay::Whole);
    saveOneThatFailsAndOneThatDoesnt();
    const Ended ended = end();
    EXPECT_EQ(changes(ended.entries), std::vector<RunChange>{RunChange::ObjectChanged});
    EXPECT_EQ(ended.entries[0].object, item_);
    EXPECT_EQ(stored(other_, "item_id"), "OTHER");
    EXPECT_EQ(stored(item_, "object_name"), "good");
}

// Its entries are in tables that were made in the transaction of which the save is the first part.
TEST_P(Run, ASaveThatFailsFirstLeavesARunThatIsntRecordedWhole) {
    bench().recordRuns(false);
    begin(RunWay::Whole);
    saveOneThatFailsAndOneThatDoesnt();
    const Ended ended = end();
    EXPECT_EQ(changes(ended.entries), std::vector<RunChange>{RunChange::ObjectChanged});
    EXPECT_EQ(stored(item_, "object_name"), "good");
}

TEST_P(Run, ValuesThatStayAsTheyWereAreNotRecorded) {
    begin(RunWay::Whole);
    bench().set(item_, "object_desc", {std::string("fresh")});
    const Ended ended = end();
    ASSERT_EQ(changes(ended.entries), std::vector<RunChange>{RunChange::ObjectChanged});
    EXPECT_NE(valueOf(ended.entries[0], "object_desc"), nullptr);
    EXPECT_EQ(valueOf(ended.entries[0], "object_name"), nullptr);
    EXPECT_EQ(valueOf(ended.entries[0], "item_id"), nullptr);
}

TEST_P(Run, AsTheServerASaveThatFailsLeavesNoRecordIfItIsAll) {
    begin(RunWay::AsServer);
    ASSERT_EQ(OBJ_lock(other_), 0);
    tag_t attribute = 0, tag = other_;
    ASSERT_EQ(DBO_attr_id_of_attr("item_id", "Item", &attribute), 0);
    ASSERT_EQ(DBO_set_attr_string(1, &tag, attribute, "OLD"), 0);
    EXPECT_EQ(OBJ_save(other_), kDuplicateId);
    EXPECT_EQ(end().head.number, 0);
    EXPECT_TRUE(bench().runs({}).empty());
}

TEST_P(Run, LocksThatItTookAreGivenBackWhenItGoesBack) {
    ASSERT_EQ(OBJ_lock(item_), 0);
    begin(RunWay::Rehearsal);
    ASSERT_EQ(OBJ_lock(other_), 0);
    end();
    EXPECT_TRUE(bench().holdsLock(item_));
    EXPECT_FALSE(bench().holdsLock(other_));
    EXPECT_EQ(bench().heldLocks(), 1u);
    EXPECT_EQ(setName(item_, "still locked"), 0);
    EXPECT_EQ(setName(other_, "not locked"), kNotLocked);
}

TEST_P(Run, ASecondRunIsRefusedWhileOneIsUnderWay) {
    begin(RunWay::Whole, "first");
    std::string text;
    EXPECT_EQ(statusOf([] { begin(RunWay::Whole, "second"); }, &text), kBadValue);
    EXPECT_NE(text.find("first"), std::string::npos) << text;
    bench().set(item_, "object_name", {std::string("kept")});
    end();
    EXPECT_EQ(stored(item_, "object_name"), "kept");
    EXPECT_EQ(statusOf([] { end(); }), kBadValue);
}

TEST_P(Run, ASessionThatIsClosedInAWholeRunTakesItBack) {
    const auto second = anotherSession();
    begin(RunWay::Whole);
    bench().set(item_, "object_name", {std::string("gone")});
    bench().closeSession(second);
    use(first_);
    ASSERT_EQ(OBJ_refresh(item_, false), 0);
    EXPECT_EQ(stored(item_, "object_name"), "old");
    EXPECT_TRUE(bench().runs({}).empty());
}

TEST_P(Run, AStoreThatRecordsNothingTellsTheEntriesAndKeepsNone) {
    bench().recordRuns(false);
    EXPECT_FALSE(bench().recordsRuns());
    for (const RunWay way : {RunWay::AsServer, RunWay::Whole, RunWay::Rehearsal}) {
        begin(way);
        bench().set(item_, "object_name", {std::to_string(static_cast<int>(way))});
        const Ended ended = end();
        EXPECT_EQ(ended.entries.size(), 1u);
        EXPECT_EQ(ended.head.number, 0);
    }
    EXPECT_EQ(stored(item_, "object_name"), "1");
    EXPECT_TRUE(bench().runs({}).empty());
    bench().recordRuns(true);
    EXPECT_TRUE(bench().recordsRuns());
}

TEST_P(Run, CallsLoadsStatementsAndTimesAreCounted) {
    begin(RunWay::Whole);
    ASSERT_EQ(OBJ_lock(item_), 0);
    ASSERT_EQ(setName(item_, "n"), 0);
    ASSERT_EQ(OBJ_save(item_), 0);
    ASSERT_EQ(OBJ_save(item_), 0);
    const RunHead head = bench().run(end().head.number);
    EXPECT_EQ(head.counts.at("OBJ_lock"), 1);
    EXPECT_EQ(head.counts.at("OBJ_save"), 2);
    EXPECT_GT(head.counts.at("statements"), 3);
    EXPECT_GE(head.counts.at("ms platform"), 0);
    EXPECT_GE(head.counts.at("ms store"), 0);
    EXPECT_GE(head.counts.at("ms rest"), 0);
    EXPECT_TRUE(head.counts.count("objects loaded"));
}

TEST_P(Run, TheConfigurationIsKnownByItsCheckSum) {
    writeFile(directory_.at("c.ini"), "abc");
    bench().beginRun({RunWay::Whole, "s", "", directory_.at("c.ini"), ""});
    bench().set(item_, "object_name", {std::string("x")});
    const RunHead head = bench().run(end().head.number);
    EXPECT_EQ(head.configuration, directory_.at("c.ini"));
    EXPECT_EQ(head.configuration_sha256,
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST_P(Run, RunsAreFoundByObjectUserServiceAndTime) {
    begin(RunWay::Whole, "one");
    bench().set(item_, "object_name", {std::string("1")});
    end();
    begin(RunWay::Whole, "two");
    bench().set(other_, "object_name", {std::string("2")});
    end();
    const auto numbers = [](const RunQuery& query) {
        std::vector<std::int64_t> all;
        for (const RunHead& head : bench().runs(query))
            all.push_back(head.number);
        return all;
    };
    using Numbers = std::vector<std::int64_t>;
    EXPECT_EQ(numbers({}), (Numbers{2, 1}));
    EXPECT_EQ(numbers({item_, "", "", "", 0}), Numbers{1});
    EXPECT_EQ(numbers({folder_, "", "", "", 0}), Numbers{});
    EXPECT_EQ(numbers({NULLTAG, "", "two", "", 0}), Numbers{2});
    EXPECT_EQ(numbers({NULLTAG, "infodba", "", "", 1}), Numbers{2});
    EXPECT_EQ(numbers({NULLTAG, "nobody", "", "", 0}), Numbers{});
    EXPECT_EQ(numbers({NULLTAG, "", "", "2999-01-01", 0}), Numbers{});
    EXPECT_EQ(numbers({NULLTAG, "", "", "2001-01-01", 0}), (Numbers{2, 1}));
    std::string text;
    EXPECT_EQ(statusOf([] { bench().run(77); }, &text), kBadValue);
    EXPECT_EQ(text, "there is no run 77");
}

TEST_P(Run, FilesThatARunRemovesAreKeptUntilItsRecordIsPruned) {
    begin(RunWay::Whole);
    ASSERT_EQ(OBJ_delete(dataset_), 0);
    const Ended ended = end();
    const std::vector<RunChange> all = changes(ended.entries);
    ASSERT_NE(std::find(all.begin(), all.end(), RunChange::FileRemoved), all.end());
    EXPECT_TRUE(bench().check(store_, true).empty());
    bench().backup(store_, directory_.at("copy"));
    const auto copy = bench().openStore(directory_.at("copy"));
    bench().openSession(copy, {});
    EXPECT_TRUE(bench().undoRun(ended.head.number, "").done);
    EXPECT_TRUE(errorsIn(bench().check(copy, false)).empty());
    bench().closeStore(copy);
    use(first_);
    EXPECT_EQ(bench().pruneRuns("2001-01-01"), 0);
    EXPECT_EQ(bench().pruneRuns("2999-01-01"), 1);
    EXPECT_TRUE(bench().runs({}).empty());
    EXPECT_TRUE(bench().check(store_, false).empty());
    if (!inMemory()) {
        EXPECT_EQ(wholeStore(path_).find("old content"), std::string::npos);
    }
}

// The records would come back with the run, the files that they kept would not.
TEST_P(Run, InsideOfOneNoRecordIsDropped) {
    begin(RunWay::Whole);
    ASSERT_EQ(OBJ_delete(dataset_), 0);
    const Ended ended = end();
    begin(RunWay::Rehearsal);
    EXPECT_EQ(statusOf([] { bench().pruneRuns("2999-01-01"); }), kBadValue);
    end();
    EXPECT_TRUE(bench().undoRun(ended.head.number, "").done);
    EXPECT_TRUE(errorsIn(bench().check(store_, false)).empty());
}

TEST_P(Run, NumbersArentGivenASecondTime) {
    begin(RunWay::Whole);
    bench().set(item_, "object_name", {std::string("1")});
    EXPECT_EQ(end().head.number, 1);
    bench().pruneRuns("2999-01-01");
    begin(RunWay::Whole);
    bench().set(item_, "object_name", {std::string("2")});
    EXPECT_EQ(end().head.number, 2);
}

TEST_P(Run, OnlyAdministratorsDropRecordsAndEndTheRecording) {
    bench().createGroup("staff", "");
    bench().createUser("otto", "Otto", "staff");
    anotherSession("otto");
    EXPECT_EQ(statusOf([] { bench().recordRuns(false); }), kNotAllowed);
    EXPECT_EQ(statusOf([] { bench().pruneRuns("2999-01-01"); }), kNotAllowed);
    EXPECT_TRUE(bench().recordsRuns());
}

TEST(RunWaiting, WhoWaitsInVainIsToldWhichRunHoldsHimUp) {
    const Directory directory;
    const std::string path = directory.at("plant");
    bench().createStore(path);
    ::setenv("MERVANE_WAIT_MS", "50", 1);
    const auto store = bench().openStore(path);
    const auto first = bench().openSession(store, {});
    const tag_t folder = bench().createFolder("f");
    bench().openSession(store, {});
    bench().selectSession(first);
    begin(RunWay::Whole, "KELD_Long");
    bench().set(folder, "object_name", {std::string("x")});
    const auto second = bench().openSession(store, {});
    EXPECT_EQ(stored(folder, "object_name"), "f");  // readers don't wait
    std::string text;
    EXPECT_EQ(statusOf([] { bench().createFolder("g"); }, &text), kStoreFailure);
    EXPECT_NE(text.find("KELD_Long of user infodba (process "), std::string::npos) << text;
    EXPECT_NE(text.find("for more than 0.05 s"), std::string::npos) << text;
    bench().selectSession(first);
    end();
    bench().selectSession(second);
    EXPECT_EQ(statusOf([] { bench().createFolder("g"); }), 0);
    ::unsetenv("MERVANE_WAIT_MS");
    bench().closeStore(store);
}
