// Which lines are left alone for want of access.

#include "tests/bom/three_levels.h"

using bom::k200Done;
using bom::k200Left;
using bom::k500Left;
using bom::kTopDone;
using bom::kTopLeft;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using SkippedLines = bom::ThreeLevels;

}  // namespace

TEST_F(SkippedLines, ACheckedOutViewIsSkippedWithAllBelowAndWithoutAWord) {
    world.bench.checkOut(view("200"), "");
    run(top, {top});
    EXPECT_EQ(kTopDone, shown(top)) << "it gets its own number as a child";
    EXPECT_EQ(k200Left, shown(line200()));
    EXPECT_EQ(k500Left, shown(line500()));
    EXPECT_THAT(blocks(), ElementsAre("100/A"));
    EXPECT_THAT(bom::remarks(world), IsEmpty());
    EXPECT_THAT(world.bench.errorStack(), IsEmpty());
}

TEST_F(SkippedLines, AViewCheckedOutBySomebodyElseIsSkippedJustTheSame) {
    world.as(world.otherUser("other"), [&] { world.bench.checkOut(view("200"), ""); });
    run(top, {top});
    EXPECT_EQ(k200Left, shown(line200()));
    EXPECT_THAT(blocks(), ElementsAre("100/A"));
}

TEST_F(SkippedLines, AViewThatMayNotBeWrittenIsSkippedWithAllBelowAndWithoutAWord) {
    denyWrite(view("200"));
    run(top, {top});
    EXPECT_EQ(kTopDone, shown(top));
    EXPECT_EQ(k200Left, shown(line200()));
    EXPECT_THAT(blocks(), ElementsAre("100/A"));
    EXPECT_THAT(bom::remarks(world), IsEmpty());
}

TEST_F(SkippedLines, ACheckedOutViewOfTheTopLinePassesTheCheckAndIsSkipped) {
    world.bench.checkOut(view("100"), "");
    run(top, {top, line200()}, 1);
    EXPECT_THAT(world.bench.errorStack(), IsEmpty());
    EXPECT_EQ(kTopLeft, shown(top));
    EXPECT_EQ(k200Done, shown(line200()));
}

TEST_F(SkippedLines, NoWriteAccessToTheTopLineEndsTheWorkWithAnErrorOnTheStack) {
    denyWrite(view("100"));
    const bom::ServiceRun done = run(top, {top, line200()});
    EXPECT_EQ(0, done.status);
    const auto stack = world.bench.errorStack();
    ASSERT_EQ(1u, stack.size());
    EXPECT_EQ(515001, stack[0].status);
    EXPECT_EQ(3, stack[0].severity);
    EXPECT_THAT(bom::remarks(world), ElementsAre("No write access to topbomline!"));
    EXPECT_EQ(kTopLeft, shown(top));
    EXPECT_EQ(k200Left, shown(line200()));
    EXPECT_EQ(kHeader, protocol());
    EXPECT_THAT(contents(done.dataset), ElementsAre(kHeader));
}

TEST_F(SkippedLines, ATopLineWithoutAViewPasses) {
    const tag_t leaf = child(top, 1);
    EXPECT_EQ(0, run(leaf, {top}, 1).status);
    EXPECT_EQ(kTopDone, shown(top));
}
