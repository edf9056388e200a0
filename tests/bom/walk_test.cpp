// Which lines are worked on, and how deep.

#include "platform/mv_line.h"
#include "tests/bom/three_levels.h"

using bom::k200Done;
using bom::k200Left;
using bom::k500Done;
using bom::k500Left;
using bom::kTopDone;
using bom::kTopLeft;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Walk = bom::ThreeLevels;

}  // namespace

TEST_F(Walk, LevelOneWorksOnTheSelectedLineAlone) {
    run(top, {top}, 1);
    EXPECT_EQ(kTopDone, shown(top));
    EXPECT_EQ(k200Left, shown(line200()));
    EXPECT_THAT(blocks(), ElementsAre("100/A"));
}

TEST_F(Walk, LevelTwoWorksOnItsChildrenToo) {
    run(top, {top}, 2);
    EXPECT_EQ(kTopDone, shown(top));
    EXPECT_EQ(k200Done, shown(line200()));
    EXPECT_EQ(k500Left, shown(line500()));
    EXPECT_THAT(blocks(), ElementsAre("100/A", "200/A"));
}

TEST_F(Walk, LevelZeroWorksOnTheWholeStructure) {
    run(top, {top}, 0);
    EXPECT_EQ(kTopDone, shown(top));
    EXPECT_EQ(k200Done, shown(line200()));
    EXPECT_EQ(k500Done, shown(line500()));
    EXPECT_THAT(blocks(), ElementsAre("100/A", "200/A", "500/A"));
}

TEST_F(Walk, ANegativeLevelIsALimitThatIsPassedAtOnce) {
    run(top, {top}, -1);
    EXPECT_THAT(blocks(), ElementsAre("100/A"));
}

TEST_F(Walk, ALevelCountsFromEachSelectedLineAndEachBranchCountsItsOwn) {
    use("300", "800", "10");
    use("800", "900", "10");
    use("800", "901", "10");
    top = open("100");
    run(top, {line200(), child(top, 1)}, 2);
    EXPECT_THAT(blocks(), ElementsAre("200/A", "500/A", "300/A", "800/A"));
    EXPECT_EQ(kTopLeft, shown(top));
}

TEST_F(Walk, ATopLineThatIsNotSelectedIsOnlyChecked) {
    run(top, {line200()}, 1);
    EXPECT_EQ(kTopLeft, shown(top));
    EXPECT_EQ(k200Done, shown(line200()));
    EXPECT_THAT(blocks(), ElementsAre("200/A"));
}

TEST_F(Walk, SelectedLinesAreWorkedOnInTheirOrderAndAsOftenAsTheyAreNamed) {
    run(top, {line500(), top, top}, 1);
    EXPECT_THAT(blocks(), ElementsAre("500/A", "100/A", "100/A"));
}

TEST_F(Walk, NoSelectedLinesMakeAProtocolOfTheHeaderAlone) {
    const bom::ServiceRun done = run(top, {});
    EXPECT_EQ(0, done.status);
    EXPECT_EQ(kHeader, protocol());
    EXPECT_THAT(contents(done.dataset), ElementsAre(kHeader));
    EXPECT_EQ(kTopLeft, shown(top));
}

TEST_F(Walk, ALineWithoutChildrenWritesNoBlock) {
    const bom::ServiceRun done = run(top, {child(top, 1)});
    EXPECT_EQ(kHeader, protocol());
    EXPECT_THAT(contents(done.dataset), ElementsAre(kHeader));
    EXPECT_THAT(bom::remarks(world), IsEmpty());
}

TEST_F(Walk, GoesOverThePackedChildren) {
    use("100", "200", "10");
    top = open("100");
    run(top, {top});
    EXPECT_THAT(shown(top), ElementsAre("200[10] x2", "300[20]"));
    EXPECT_THAT(blocks(), ElementsAre("100/A", "200/A", "500/A")) << "once for the packed line";
}

TEST_F(Walk, PackedLinesAreUnpackedFirst) {
    use("100", "200", "10", "4");
    top = open("100");
    ASSERT_EQ(0, LINE_pack(line200()));
    ASSERT_THAT(shown(top), ElementsAre("200[10] x5", "300[10]"));
    run(top, {top}, 1);
    EXPECT_THAT(shown(top), ElementsAre("200[10] x5", "300[20]"));
    EXPECT_EQ(kHeader +
                  "100/A\n\t\t200/A\t\t10\t\t\t\tuse existing\n\t\t300/A\t\t10\t\t20\t\tmodified\n"
                  "\t\t200/A\t\t10\t\t\t\tuse existing\n\n",
              protocol());
}

TEST_F(Walk, AFailedUnpackIsReportedAndTheWorkGoesOnThereAndBelow) {
    world.fail("LINE_unpack");
    EXPECT_EQ(0, run(top, {top}).status);
    EXPECT_EQ("##QSK_err_4711: LINE_unpack(...)", bom::remarks(world, "E").at(0));
    EXPECT_EQ(kTopDone, shown(top));
    EXPECT_EQ(k200Done, shown(line200()));
    EXPECT_EQ(k500Done, shown(line500()));
    EXPECT_THAT(blocks(), ElementsAre("100/A", "200/A", "500/A"));
}

TEST_F(Walk, TracesItsSignaturesAndValues) {
    run(top, {child(top, 1)}, 3, 1);
    const std::string own = "ACPackAndResequenceBOMOperation::";
    std::vector<std::string> found;
    for (const std::string& line : world.lines("T"))
        if (line.starts_with(own) || line.starts_with("TopBOM") || line.starts_with("count ") ||
            line.starts_with("Level") || line.starts_with("SequIncr") ||
            line.starts_with("DatasetName") || line.starts_with("PathFileName"))
            found.push_back(line);
    EXPECT_THAT(
        found,
        ElementsAre("DatasetName: PSE_RPBOM_infodba", "PathFileName: " + protocolPath(),
                    "TopBOMLine:     " + std::to_string(static_cast<int>(top)), "count BOMLines: 1",
                    "Level:          3", "SequIncr:       10", own + "execute()",
                    own + "checkAccessTopBOMLine()", own + "packAndResequenceBOMLines()",
                    own + "packAndResequenceBOMLine(tag_t p_tagBOMLine, int p_iLevel, int depth)",
                    own + "packAndResequence(tag_t p_tagBOMLine)",
                    own + "unpack(tag_t p_tagBOMLine)"));
}

TEST_F(Walk, TracesTheResequencingAndTheProtocolOfALine) {
    run(top, {top}, 1);
    const std::string own = "ACPackAndResequenceBOMOperation::";
    std::vector<std::string> found;
    for (const std::string& line : world.lines("T"))
        if (line.starts_with(own + "resequence") || line.starts_with(own + "writeToLog"))
            found.push_back(line);
    EXPECT_THAT(found, ElementsAre(own + "resequenceAndPackChildren(tag_t p_tagBOMLine)",
                                   own + "writeToLog(ACBOMLineChildrenObjects, tag_t)"));
}
