// Every platform call of a run fails in turn: the returned status, nothing saved that shouldn't be,
// nothing lost, and no heap block and no indentation of the log left.

#include "tests/delete/backup_world.h"

using testing::Contains;
using testing::IsEmpty;
using testing::Not;

using namespace delete_test;
namespace {

class DeleteFailures : public BackupWorld {
protected:
    DeleteFailures() {
        configureBackup();
        revision = world.item("1").revision;
        first = world.specification(revision, "first", type("CADMASTER"));
        file(first, "a.txt", "a");
        file(first, "b.txt", "b");
        second = drawing(world.item("2").item, "second", "c.txt", "c");
        folder = world.bench.createFolder("empty");
        EXPECT_EQ(0, service({}));  // the preferences are kept from here on
        fs::remove(top / "delete_infodba.log");
    }
    std::vector<std::string> operationsOf(const std::function<void()>& action) {
        world.bench.startJournal();
        action();
        std::vector<std::string> operations;
        for (const auto& entry : world.bench.stopJournal())
            operations.push_back(entry.operation);
        return operations;
    }
    int clean_runs = 0;
    bool savedFile(const std::string& name) { return saved().contains(name); }

    tag_t revision = NULLTAG, first = NULLTAG, second = NULLTAG, folder = NULLTAG;
};

}  // namespace

TEST_F(DeleteFailures, EachCallOfARunThatFailsHoldsTheGoAheadBack) {
    const std::vector<tag_t> objects{folder, first, second};
    // Some calls are made once for the process.
    EXPECT_EQ(0, service(objects));
    fs::remove_all(top);
    fs::create_directory(top);
    const auto operations = operationsOf([&] { EXPECT_EQ(0, service(objects)); });
    ASSERT_GT(operations.size(), 40u);
    int failures = 0;
    for (std::size_t i = 0; i < operations.size(); ++i) {
        SCOPED_TRACE("call " + std::to_string(i + 1) + ", " + operations[i]);
        fs::remove_all(top);
        fs::create_directory(top);
        world.clearLog();
        ERR_clear_errors();
        const std::size_t blocks = world.blocks();
        world.fail("", static_cast<int>(i) + 1, 4711);
        EXPECT_EQ(4711, service(objects));
        world.failNothing();
        EXPECT_LE(world.blocks(), blocks + 1);  // the arguments
        EXPECT_EQ(0, world.log().back().depth);
        EXPECT_THAT(world.lines("E"), Not(IsEmpty()));
        // Each file that is there has its line, even if its time couldn't be formatted.
        const std::string log = deleteLog();
        int files = 0;
        for (const auto& [name, content] : saved())
            if (content != "dir") {
                ++files;
                EXPECT_THAT(log, testing::HasSubstr(path(name)));
            }
        EXPECT_EQ(files, std::ranges::count(log, '\n'));
        ++failures;
    }
    EXPECT_EQ(operations.size(), static_cast<std::size_t>(failures));
}

TEST_F(DeleteFailures, AReadOfADatasetOrParentThatFailsLeavesNoDirectory) {
    EXPECT_EQ(0, backup(second));  // the relation type is asked for once
    const auto operations = operationsOf([&] { EXPECT_EQ(0, backup(second)); });
    for (std::size_t i = 0; i < operations.size(); ++i) {
        SCOPED_TRACE("call " + std::to_string(i + 1) + ", " + operations[i]);
        if (operations[i] == "DST_ask_dataset")
            return;
        fs::remove_all(top);
        const std::size_t blocks = world.blocks();
        world.fail("", static_cast<int>(i) + 1, 4711);
        EXPECT_EQ(4711, backup(second));
        world.failNothing();
        EXPECT_FALSE(fs::exists(top));
        EXPECT_EQ(blocks, world.blocks());
    }
    FAIL() << "no dataset was asked for its latest version";
}

TEST_F(DeleteFailures, AParentWhoseClassCannotBeAskedIsAFailure) {
    world.fail("DBO_class_of_instance");
    EXPECT_EQ(4711, backup(second));
    EXPECT_THAT(saved(), IsEmpty());
}

TEST_F(DeleteFailures, AnExportThatFailsEndsTheBackupAndItsFileHasNoLine) {
    world.fail("FIL_export_file", 2);
    EXPECT_EQ(4711, service({first, second}));
    EXPECT_EQ("a", saved().at("1_A/first/a.txt"));
    EXPECT_FALSE(savedFile("1_A/first/b.txt"));
    EXPECT_FALSE(savedFile("2/second/c.txt"));
    EXPECT_EQ("<time>,infodba:1/A;first (CADMASTER);" + path("1_A/first/a.txt") + "\n",
              deleteLog());
}

TEST_F(DeleteFailures, AfterAFailureTheRemainingReferencesAreWalkedWithoutEffect) {
    world.fail("FIL_export_file", 1);
    const auto calls = world.calls([&] { EXPECT_EQ(4711, backup(first, revision)); });
    EXPECT_EQ(1, std::ranges::count_if(
                     calls, [](const auto& call) { return call.starts_with("FIL_ask"); }));
}

TEST_F(DeleteFailures, ATimeThatCannotBeFormattedIsLeftOutOfTheLine) {
    world.fail("TIME_date_to_string");
    EXPECT_EQ(4711, service({first, second}));
    EXPECT_EQ(",infodba:1/A;first (CADMASTER);" + path("1_A/first/a.txt") + "\n", deleteLog());
    EXPECT_FALSE(savedFile("1_A/first/b.txt"));
}

TEST_F(DeleteFailures, ARelationTypeThatIsNotFoundIsAskedForAgain) {
    world.fail("REL_find_relation_type");
    EXPECT_EQ(4711, backup(second));
    EXPECT_THAT(saved(), IsEmpty());
    world.failNothing();
    EXPECT_EQ(0, backup(second));
    EXPECT_TRUE(savedFile("2/second/c.txt"));
}

TEST_F(DeleteFailures, AFailureOfAnotherNumberEndsTheChecksAndARefusalIsForgotten) {
    const tag_t full = world.bench.createFolder("letters");
    world.bench.addToFolder(full, world.item("3").item);
    world.fail("OBJ_ask_value_string");
    EXPECT_EQ(4711, service({full, first, full}));
    EXPECT_EQ(1, std::ranges::count_if(stack(),
                                       [](const auto& entry) { return entry.status == 919500; }));
    EXPECT_EQ((Tree{{"delete_.log", ""}}), treeOf(top));
}

TEST_F(DeleteFailures, TheUserThatCannotBeAskedHoldsTheBackupBack) {
    world.fail("DBO_get_user_id");
    EXPECT_EQ(4711, service({first}));
    EXPECT_EQ((Tree{{"delete_.log", ""}}), treeOf(top));
    EXPECT_THAT(world.lines("T"), Contains("Using central log file=" + path("delete_.log")));
}

TEST_F(DeleteFailures, TheRelationTypesFirstLookUpDoesntClearAnEarlierFailure) {
    world.fail("DBO_get_user_id", 2);  // after that of the log
    EXPECT_EQ(4711, service({first}));
    EXPECT_THAT(saved(), IsEmpty());
}

TEST_F(DeleteFailures, ALogThatCannotBeOpenedIsAnErrorLineAndTheBackupRuns) {
    fs::create_directory(top / "delete_infodba.log");
    EXPECT_EQ(0, service({first}));
    EXPECT_TRUE(savedFile("1_A/first/b.txt"));
    EXPECT_THAT(
        world.lines("E"),
        testing::ElementsAre("The delete log " + path("delete_infodba.log") + " can't be opened"));
}

TEST_F(DeleteFailures, MemoryThatRunsOutAnywhereNeverCrashesAndNeverGoesAhead) {
    std::size_t needed = 0;
    for (std::size_t allowed = 0;; ++allowed) {
        fs::remove_all(top);
        fs::create_directory(top);
        world.bench.sendArguments({std::vector<tag_t>{folder, first, second}});
        world.bench.failHeapAfter(allowed);
        int result = 99;
        const int status = KELD_DeleteDeluxe(&result);
        world.bench.failHeapAfter(std::nullopt);
        if (status == 0) {
            // A go-ahead only with everything saved, wherever it is.
            std::string all;
            for (const auto& [name, content] : saved())
                if (content != "dir")
                    all += content;
            ASSERT_EQ(3u, all.size()) << allowed;
            needed = allowed;
            if (++clean_runs == 3)
                break;
        } else {
            clean_runs = 0;
        }
        ASSERT_LT(allowed, 1000u);
    }
    EXPECT_GT(needed, 10u);
}
