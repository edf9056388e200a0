// The plain list of a line's child lines.

#include "libkeld_flow/keld_par/keld_acbomlinechildrentags.h"
#include "tests/bom/bom_lines.h"

using line_platform::kParent;
using line_platform::Line;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using BomChildren = bom::BomLines;

const std::string kMade =
    "ACBOMLineChildrenTags::ACBOMLineChildrenTags(tag_t p_tagBOMLine) : "
    "m_tagBOMLine(p_tagBOMLine)";
const std::string kGone = "ACBOMLineChildrenTags::~ACBOMLineChildrenTags()";

}  // namespace

TEST_F(BomChildren, AreHeldInThePlatformsOrderAndGivenBackAtTheEnd) {
    p.give({Line{"b", "20", ""}, Line{"a", "10", ""}});
    p.children[kParent] = {102, 101};
    {
        ACBOMLineChildrenTags children(kParent);
        EXPECT_EQ(kParent, children.m_tagBOMLine);
        ASSERT_EQ(2, children.m_iCountChildren);
        EXPECT_EQ(102u, children.m_ptagChildren[0]);
        EXPECT_EQ(101u, children.m_ptagChildren[1]);
        EXPECT_EQ(1u, world.newBlocks());
    }
    EXPECT_EQ(0u, world.newBlocks());
    EXPECT_THAT(p.calls, ElementsAre("LINE_ask_child_lines(1)"));
}

TEST_F(BomChildren, OfALineWithoutAnyAreNone) {
    ACBOMLineChildrenTags children(kParent);
    EXPECT_EQ(0, children.m_iCountChildren);
    EXPECT_EQ(nullptr, children.m_ptagChildren);
}

TEST_F(BomChildren, ThatCantBeReadAreNoneAndTheLogSaysWhy) {
    p.give({Line{"a", "10", ""}});
    p.fail("LINE_ask_child_lines");
    {
        ACBOMLineChildrenTags children(kParent);
        EXPECT_EQ(0, children.m_iCountChildren);
        EXPECT_EQ(nullptr, children.m_ptagChildren);
    }
    std::vector<std::string> errors;
    for (const world::LogLine& line : world.log())
        if (line.level == 'E')
            errors.push_back(line.text);
    ASSERT_EQ(2u, errors.size());
    EXPECT_THAT(errors[0], testing::EndsWith("Funktion:LINE_ask_child_lines(m_tagBOMLine, "
                                             "&m_iCountChildren, &m_ptagChildren) returned 4711 "));
    EXPECT_THAT(errors[1], testing::StartsWith("--"));
}

TEST_F(BomChildren, EntryAndExitOfBothEndsAreTraced) {
    {
        ACBOMLineChildrenTags children(kParent);
        EXPECT_THAT(world.lines("T"), ElementsAre(kMade, kMade));
        world.clearLog();
    }
    EXPECT_THAT(world.lines("T"), ElementsAre(kGone, kGone));
    EXPECT_THAT(bom::messages(world), IsEmpty());
}
