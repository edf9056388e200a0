#include <sys/wait.h>
#include <unistd.h>

#include "tests/structures/structure.h"
#include "tests/support/files.h"

namespace mervane::test {
namespace {

class BomWindowsSaved : public StructureTest {
protected:
    void SetUp() override {
        StructureTest::SetUp();
        top_ = revision("100");
        part_ = revision("200");
        first_ = bench_.addOccurrence(top_, part_, "2", "10");
        second_ = bench_.addOccurrence(top_, part_, "", "20");
        line_ = bench_.openBomWindow(top_);
    }
    int set(std::size_t index, const char* name, const char* value) {
        return OBJ_set_value_string(childrenOf(line_).at(index), name, value);
    }
    // What a session that opens the structure now is shown.
    std::string shownNow(std::size_t index, const char* name) {
        const tag_t line = bench_.openBomWindow(top_);
        const std::string text = textOf(childrenOf(line).at(index), name);
        bench_.closeBomWindow(line);
        return text;
    }
    int saveStatus() {
        try {
            bench_.saveBomWindow(line_);
            return 0;
        } catch (const Failure& failure) {
            return failure.status();
        }
    }
    tag_t top_ = NULLTAG, part_ = NULLTAG, first_ = NULLTAG, second_ = NULLTAG, line_ = NULLTAG;
};

TEST_F(BomWindowsSaved, OthersSeeNothingBeforeTheSaveAndAllAfterIt) {
    bench_.set(bench_.create("NoteType"), "note_name", {std::string("Usage")});
    ASSERT_EQ(0, set(0, "bl_sequence_no", "70"));
    ASSERT_EQ(0, set(0, "bl_quantity", "2.5"));
    ASSERT_EQ(0, set(1, "Usage", "left"));
    const auto second = secondSession();
    EXPECT_EQ("10", shownNow(0, "bl_sequence_no"));
    bench_.selectSession(session_);
    bench_.saveBomWindow(line_);
    EXPECT_EQ(0u, bench_.heldLocks());
    bench_.selectSession(second);
    EXPECT_EQ("70", shownNow(0, "bl_sequence_no"));
    EXPECT_EQ("2.5", shownNow(0, "bl_quantity"));
    EXPECT_EQ("20", shownNow(1, "bl_sequence_no"));
    EXPECT_EQ("left", shownNow(1, "Usage"));
}

TEST_F(BomWindowsSaved, AClosedWindowDropsWhatWasNotSaved) {
    ASSERT_EQ(0, set(0, "bl_sequence_no", "70"));
    bench_.closeBomWindow(line_);
    EXPECT_EQ("10", shownNow(0, "bl_sequence_no"));
}

TEST_F(BomWindowsSaved, TwoWindowsOfASessionAreApartUntilOneIsSaved) {
    ASSERT_EQ(0, set(0, "bl_sequence_no", "70"));
    EXPECT_EQ("10", shownNow(0, "bl_sequence_no"));
    bench_.saveBomWindow(line_);
    EXPECT_EQ("70", shownNow(0, "bl_sequence_no"));
}

TEST_F(BomWindowsSaved, ItCanBeSavedAgainAndAgain) {
    for (const char* number : {"30", "40", "50"}) {
        ASSERT_EQ(0, set(0, "bl_sequence_no", number));
        bench_.saveBomWindow(childrenOf(line_).at(1));
        bench_.saveBomWindow(line_);
        EXPECT_EQ(number, shownNow(0, "bl_sequence_no"));
    }
}

TEST_F(BomWindowsSaved, AnEmptiedValueIsStoredToo) {
    ASSERT_EQ(0, set(0, "bl_quantity", ""));
    ASSERT_EQ(0, set(0, "bl_sequence_no", ""));
    bench_.saveBomWindow(line_);
    EXPECT_TRUE(bench_.get(first_, "quantity").empty());
    EXPECT_TRUE(bench_.get(first_, "seq_no").empty());
}

TEST_F(BomWindowsSaved, ALockOfAnotherSessionOnAnyViewRefusesTheSaveWhole) {
    const tag_t sub = revision("300");
    const tag_t deep = bench_.addOccurrence(part_, sub, "1", "5");
    line_ = bench_.openBomWindow(top_);
    const auto second = secondSession();
    ASSERT_EQ(0, OBJ_lock(bench_.bomViewRevision(part_)));
    bench_.selectSession(session_);
    ASSERT_EQ(0, set(0, "bl_sequence_no", "70"));
    ASSERT_EQ(0, OBJ_set_value_string(childrenOf(childrenOf(line_)[0])[0], "bl_sequence_no", "6"));
    EXPECT_EQ(kLockedByOther, saveStatus());
    EXPECT_EQ(0u, bench_.heldLocks());
    EXPECT_EQ(Values{std::string("10")}, bench_.get(first_, "seq_no"));
    EXPECT_EQ(Values{std::string("5")}, bench_.get(deep, "seq_no"));

    // The window still has its values and can be saved once the lock is gone.
    bench_.selectSession(second);
    ASSERT_EQ(0, OBJ_refresh(bench_.bomViewRevision(part_), false));
    bench_.selectSession(session_);
    EXPECT_EQ("70", textOf(childrenOf(line_)[0], "bl_sequence_no"));
    EXPECT_EQ(0, saveStatus());
    EXPECT_EQ(Values{std::string("70")}, bench_.get(first_, "seq_no"));
    EXPECT_EQ(Values{std::string("6")}, bench_.get(deep, "seq_no"));
}

TEST_F(BomWindowsSaved, ALockOfItsOwnSessionStaysAfterTheSave) {
    const tag_t view = bench_.bomViewRevision(top_);
    ASSERT_EQ(0, OBJ_refresh(view, true));
    ASSERT_EQ(0, set(0, "bl_sequence_no", "70"));
    EXPECT_EQ(0, saveStatus());
    EXPECT_TRUE(bench_.holdsLock(view));
}

TEST_F(BomWindowsSaved, WhatAnotherSessionStoredMeanwhileIsNotOverwritten) {
    childrenOf(line_);
    const auto second = secondSession();
    const tag_t mine = line_;
    line_ = bench_.openBomWindow(top_);
    ASSERT_EQ(0, set(1, "bl_sequence_no", "99"));
    ASSERT_EQ(0, saveStatus());
    bench_.selectSession(session_);
    line_ = mine;
    ASSERT_EQ(0, set(0, "bl_sequence_no", "70"));
    ASSERT_EQ(0, set(1, "bl_sequence_no", "71"));
    EXPECT_EQ(kChangedMeanwhile, saveStatus());
    bench_.selectSession(second);
    EXPECT_EQ("10", shownNow(0, "bl_sequence_no"));
    EXPECT_EQ("99", shownNow(1, "bl_sequence_no"));
}

TEST_F(BomWindowsSaved, NumberAndNotesOfAPackedLineGoToAllItsOccurrences) {
    bench_.set(bench_.create("NoteType"), "note_name", {std::string("Usage")});
    ASSERT_EQ(0, set(1, "bl_sequence_no", "10"));
    const tag_t packed = childrenOf(line_)[0];
    ASSERT_EQ(0, LINE_pack(packed));
    ASSERT_EQ(0, OBJ_set_value_string(packed, "bl_sequence_no", "55"));
    ASSERT_EQ(0, OBJ_set_value_string(packed, "Usage", "left"));
    bench_.saveBomWindow(line_);
    secondSession();
    for (std::size_t i : {0u, 1u}) {
        EXPECT_EQ("55", shownNow(i, "bl_sequence_no"));
        EXPECT_EQ("left", shownNow(i, "Usage"));
    }
    EXPECT_EQ("2", shownNow(0, "bl_quantity"));
    EXPECT_EQ("", shownNow(1, "bl_quantity"));
}

TEST_F(BomWindowsSaved, ANewWindowShowsWhatOthersStoredSinceTheLastOne) {
    childrenOf(line_);
    const auto second = secondSession();
    const tag_t mine = line_;
    line_ = bench_.openBomWindow(top_);
    ASSERT_EQ(0, set(0, "bl_quantity", "9"));
    ASSERT_EQ(0, saveStatus());
    bench_.closeSession(second);
    bench_.selectSession(session_);
    EXPECT_EQ("2", textOf(childrenOf(mine)[0], "bl_quantity"));
    EXPECT_EQ("9", shownNow(0, "bl_quantity"));
}

TEST(BomWindowsAcrossProcesses, AnotherProcessSeesWhatWasSaved) {
    const keld_test::Directory directory;
    const std::string path = directory.at("store");
    Workbench& bench = *mervane_workbench();
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        int result = 1;
        try {
            bench.createStore(path);
            bench.openSession(bench.openStore(path), {});
            tag_t top = NULLTAG, part = NULLTAG;
            bench.createItem("100", "Top", "", "A", &top);
            bench.createItem("200", "Part", "", "A", &part);
            bench.addOccurrence(top, part, "2", "10");
            const tag_t line = bench.openBomWindow(top);
            result = OBJ_set_value_string(childrenOf(line).at(0), "bl_sequence_no", "70");
            bench.saveBomWindow(line);
        } catch (const std::exception& failure) {
            fprintf(stderr, "%s\n", failure.what());
        }
        // No destructors: the process ends as if it had been killed.
        _exit(result);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    const auto store = bench.openStore(path);
    bench.openSession(store, {});
    const tag_t line = bench.openBomWindow(bench.resolve("100/A"));
    EXPECT_EQ("70", textOf(childrenOf(line).at(0), "bl_sequence_no"));
    EXPECT_TRUE(bench.check(store, false).empty());
    bench.closeStore(store);
}

}  // namespace
}  // namespace mervane::test
