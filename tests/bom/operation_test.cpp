// The operation's own functions: protocol file, access, unpacking.

#include <filesystem>
#include <fstream>
#include <sstream>

#include "libkeld_flow/keld_par/keld_acbomlinechildrenobjects.h"
#include "libkeld_flow/keld_par/keld_acpackandresequencebomoperation.h"
#include "tests/bom/bom_lines.h"
#include "tests/support/files.h"

using line_platform::kFailed;
using line_platform::kParent;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

namespace fs = std::filesystem;

const std::string kHeader = "\t\tComponent\t\tSeqNo. alt\tSeqNo. neu\tStatus\n";
constexpr tag_t kView = 31;

class Operation : public bom::BomLines {
protected:
    Operation() {
        p.lines[kParent] = {"100", "", ""};
        p.give({{"X", "10"}, {"Y", "10"}});
    }
    std::string path(const char* name = "protocol.log") { return (directory / name).string(); }
    keld_test::Directory directory;
    tag_t selected[1] = {kParent};
    ACPackAndResequenceBOMOperation operation{kParent, selected, 1, 1, false, 10};
};

}  // namespace

TEST_F(Operation, TakesItsIncrementFromThePreferenceInEveryCase) {
    p.preferences["PackAndResequenceBOM.SEQNO_INCR"] = {"25"};
    const ACPackAndResequenceBOMOperation made(kParent, selected, 1, 0, true, 7);
    EXPECT_EQ(25, made.m_iSeqnoIncr);
    EXPECT_EQ(kParent, made.m_tagTopBOMLine);
    EXPECT_EQ(selected, made.m_vBOMLines);
    EXPECT_EQ(1, made.m_iCountBOMLines);
    EXPECT_EQ(0, made.m_iLevel);
    EXPECT_TRUE(made.m_bSort);
    EXPECT_EQ(nullptr, made.m_pLogFile);
    EXPECT_EQ(nullptr, made.m_sLogFilePathName);
    p.preferences.clear();
    const ACPackAndResequenceBOMOperation unset(kParent, selected, 1, 0, true, 7);
    EXPECT_EQ(10, unset.m_iSeqnoIncr);
    p.fail("OPT_ask_int_value");
    const ACPackAndResequenceBOMOperation unreadable(kParent, selected, 1, 0, true, 7);
    EXPECT_EQ(10, unreadable.m_iSeqnoIncr);
}

TEST_F(Operation, TracesItsValuesAtTheStart) {
    world.clearLog();
    const ACPackAndResequenceBOMOperation made(3000000000u, selected, 1, -2, true, 7);
    EXPECT_THAT(world.lines("T"),
                ElementsAre("TopBOMLine:     -1294967296", "count BOMLines: 1",
                            "Level:          -2", "SequIncr:       7",
                            "ACPreference::getIntValue(PackAndResequenceBOM.SEQNO_INCR) returns "
                            "[10]"));
    EXPECT_THAT(world.lines("W"),
                ElementsAre("Pref:PackAndResequenceBOM.SEQNO_INCR not set use default=10"));
}

TEST_F(Operation, APathBeginsAProtocolWithItsHeaderAndEmptiesWhatWasThere) {
    std::ofstream(path()) << "much older text that is longer than a header of a protocol, surely\n";
    std::string first = path(), second = path("second.log");
    operation.setLogFilePathName(first.data());
    EXPECT_EQ(first.data(), operation.m_sLogFilePathName);
    operation.setLogFilePathName(second.data());
    EXPECT_EQ(kHeader, keld_test::readText(first)) << "closed by the second";
    std::fflush(operation.m_pLogFile);
    EXPECT_EQ(kHeader, keld_test::readText(second));
}

TEST_F(Operation, APathThatCantBeOpenedLeavesNoFileAndNoMessage) {
    for (std::string wrong :
         {(directory / "none" / "x.log").string(), directory.string(), std::string()}) {
        world.clearLog();
        operation.setLogFilePathName(wrong.data());
        EXPECT_EQ(nullptr, operation.m_pLogFile);
        EXPECT_THAT(world.lines("EW"), IsEmpty());
    }
    operation.setLogFilePathName(nullptr);
    EXPECT_EQ(nullptr, operation.m_pLogFile);
    operation.execute();
    EXPECT_EQ("20", p.lines[102].number) << "the work is done without a protocol";
    EXPECT_TRUE(fs::is_empty(directory.path()));
}

TEST_F(Operation, APathThatIsALinkIsNotFollowed) {
    std::ofstream(path("target")) << "kept";
    fs::create_symlink(path("target"), path());
    std::string link = path();
    operation.setLogFilePathName(link.data());
    EXPECT_EQ(nullptr, operation.m_pLogFile);
    EXPECT_EQ("kept", keld_test::readText(path("target")));
}

TEST_F(Operation, WritesParentChildrenAndAnEmptyLine) {
    std::string file = path();
    {
        ACPackAndResequenceBOMOperation made{kParent, selected, 1, 1, false, 10};
        made.setLogFilePathName(file.data());
        ACBOMLineChildrenObjects children(kParent);
        made.writeToLog(children, kParent);
        p.lines[kParent].item = "100 % %s %d";
        made.writeToLog(children, kParent);
    }
    const std::string lines =
        "\t\tX/A\t\t10\t\t\t\tuse existing\n\t\tY/A\t\t10\t\t\t\tuse existing\n\n";
    EXPECT_EQ(kHeader + "100/A\n" + lines + "100 % %s %d/A\n" + lines, keld_test::readText(file));
}

TEST_F(Operation, ATopLineMayBeWorkedOnIfItsViewMayBeWrittenOrItHasNone) {
    EXPECT_TRUE(operation.checkAccessTopBOMLine());
    p.lines[kParent].view = kView;
    EXPECT_TRUE(operation.checkAccessTopBOMLine());
    p.checked_out = {kView};
    EXPECT_TRUE(operation.checkAccessTopBOMLine()) << "check-out plays no part";
    p.not_writable = {kView};
    EXPECT_FALSE(operation.checkAccessTopBOMLine());
    p.not_writable.clear();
    p.fail("ACL_check_privilege");
    EXPECT_FALSE(operation.checkAccessTopBOMLine());
    p.fail("LINE_look_up_attribute", 2);
    EXPECT_TRUE(operation.checkAccessTopBOMLine()) << "as a line without a view";
}

TEST_F(Operation, UnpackingGivesTheNumberOfChildren) {
    p.calls.clear();
    EXPECT_EQ(2, operation.unpack(kParent));
    EXPECT_THAT(p.calls,
                ElementsAre("LINE_ask_child_lines(1)", "LINE_unpack(101)", "LINE_unpack(102)"));
    EXPECT_EQ(0, operation.unpack(101));
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(Operation, AFailedUnpackGivesItsStatusAndEndsTheUnpacking) {
    p.calls.clear();
    p.fail("LINE_unpack");
    EXPECT_EQ(kFailed, operation.unpack(kParent));
    EXPECT_THAT(p.calls, ElementsAre("LINE_ask_child_lines(1)", "LINE_unpack(101)"));
    EXPECT_EQ(0u, world.newBlocks());
    p.fail("LINE_unpack", 2);
    EXPECT_EQ(kFailed, operation.packAndResequence(kParent));
    EXPECT_EQ("20", p.lines[102].number);
}

TEST_F(Operation, ChildrenThatCantBeListedAreNone) {
    p.calls.clear();
    p.fail("LINE_ask_child_lines");
    EXPECT_EQ(0, operation.packAndResequence(kParent));
    EXPECT_THAT(p.callsOf("LINE_pack"), IsEmpty());
    p.fail("LINE_ask_child_lines", 2);
    EXPECT_EQ(2, operation.packAndResequence(kParent)) << "unpacked, but nothing to resequence";
    EXPECT_THAT(p.callsOf("LINE_pack"), IsEmpty());
    EXPECT_EQ("10", p.lines[102].number);
}

TEST_F(Operation, AViewIsAskedForTwiceAndTheSecondAnswerCounts) {
    p.lines[kParent].view = kView;
    p.checked_out = {kView};
    EXPECT_EQ(0, operation.packAndResequence(kParent));
    // A view that isn't found the second time counts as none; the status is dropped.
    p.fail("LINE_look_up_attribute", 2);
    EXPECT_EQ(2, operation.packAndResequence(kParent));
    // For a view that isn't found the first time, nobody asks for write access.
    p.checked_out.clear();
    p.fail("LINE_look_up_attribute", 1);
    EXPECT_EQ(0, operation.packAndResequence(kParent));
}

TEST_F(Operation, ADefaultQuantityThatCantBeReadIsNone) {
    p.preferences["PackAndResequenceBOM.SetDefaultQuantity"] = {"3"};
    p.fail("OPT_ask_char_value");
    EXPECT_EQ(2, operation.packAndResequence(kParent));
    EXPECT_EQ("", p.lines[101].quantity);
    EXPECT_EQ(2, operation.packAndResequence(kParent));
    EXPECT_EQ("3", p.lines[101].quantity);
}

TEST_F(Operation, AVeryLongDefaultQuantityIsCutWithAWarning) {
    p.preferences["PackAndResequenceBOM.SetDefaultQuantity"] = {std::string(5000, '1')};
    EXPECT_EQ(2, operation.packAndResequence(kParent));
    EXPECT_EQ(std::string(99, '1'), p.lines[101].quantity);
    EXPECT_THAT(world.lines("W"),
                testing::Contains(testing::StartsWith("Text cut to 99 characters: ")));
}
