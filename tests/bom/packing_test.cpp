// What becomes of quantities and lines: nothing is lost, nothing counted twice.

#include <algorithm>
#include <map>
#include <random>

#include "platform/keld_basetool.h"
#include "tests/bom/bom_service.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class PackedLines : public bom::BomService {
protected:
    void defaultQuantity(const char* value) {
        world.bench.setPreference("PackAndResequenceBOM.SetDefaultQuantity", {value});
    }
    // The quantities of the lines as they are when nothing is packed.
    std::vector<std::string> single(tag_t line) {
        unpackAll(line);
        std::vector<std::string> found;
        for (const tag_t each : children(line))
            found.push_back(text(each, "bl_quantity"));
        return found;
    }
};

// A decimal text in thousandths; an empty one counts as 1.
long long thousandths(const std::string& quantity) {
    if (quantity.empty())
        return 1000;
    const auto point = std::min(quantity.find('.'), quantity.size());
    std::string fraction = point < quantity.size() ? quantity.substr(point + 1) : "";
    fraction.resize(3, '0');
    return std::stoll("0" + quantity.substr(0, point)) * 1000 + std::stoll(fraction);
}

}  // namespace

TEST_F(PackedLines, TwoLinesOfOneComponentBecomeOne) {
    use("100", "X", "10", "1");
    use("100", "X", "20", "2");
    const tag_t top = open("100");
    run(top, {top});
    EXPECT_THAT(shown(top), ElementsAre("X[10] x3"));
    EXPECT_THAT(single(top), ElementsAre("1", "2"));
}

TEST_F(PackedLines, SumsAreDecimal) {
    use("100", "X", "10", "0.1");
    use("100", "X", "10", "0.2");
    const tag_t top = open("100");
    run(top, {top}, 0, 1);
    EXPECT_THAT(shown(top), ElementsAre("X[10] x0.3"));
}

TEST_F(PackedLines, TwoRevisionsOfOneItemShareANumberAndStayTwoLines) {
    use("100", "X/A", "10", "1");
    use("100", "X/B", "20", "2");
    for (const int sort : {0, 1}) {
        const tag_t top = open("100");
        run(top, {top}, 0, sort);
        EXPECT_THAT(shown(top), ElementsAre("X[10] x1", "X[10] x2"));
    }
}

TEST_F(PackedLines, OtherNotesOnOneNumberStayTwoLines) {
    note(use("100", "X", "10", "1"), "Usage", "left");
    note(use("100", "X", "20", "2"), "Usage", "right");
    const tag_t top = open("100");
    run(top, {top});
    EXPECT_THAT(shown(top), ElementsAre("X[10] x1", "X[10] x2"));
}

TEST_F(PackedLines, NotesThatAreComparedGetNumbersOfTheirOwn) {
    world.bench.setPreference("PackAndResequenceBOM.NoteTypesToCompare", {"Usage"});
    note(use("100", "X", "10", "1"), "Usage", "left");
    note(use("100", "X", "10", "2"), "Usage", "right");
    note(use("100", "X", "20", "4"), "Usage", "left");
    const tag_t top = open("100");
    run(top, {top});
    EXPECT_THAT(shown(top), ElementsAre("X[10] x5", "X[30] x2"));
    EXPECT_THAT(world.lines("E"), IsEmpty());
}

TEST_F(PackedLines, TheDefaultQuantityGoesToLinesWithoutOneAndIsSummed) {
    defaultQuantity("2.5");
    use("100", "X", "10", "");
    use("100", "X", "10", "4");
    use("100", "Y", "20", "");
    const tag_t top = open("100");
    run(top, {top});
    EXPECT_THAT(shown(top), ElementsAre("X[10] x6.5", "Y[20] x2.5"));
    EXPECT_THAT(single(top), ElementsAre("2.5", "4", "2.5"));
}

TEST_F(PackedLines, WithoutADefaultNoneIsWritten) {
    use("100", "X", "10", "");
    use("100", "X", "20", "");
    use("100", "Y", "30", "");
    const tag_t top = open("100");
    run(top, {top});
    EXPECT_THAT(shown(top), ElementsAre("X[10] x2", "Y[30]"));
    EXPECT_THAT(single(top), ElementsAre("", "", ""));
}

TEST_F(PackedLines, ADefaultThatIsNoNumberIsRefusedLineByLineAndTheRunGoesOn) {
    defaultQuantity("as required");
    use("100", "X", "10", "");
    use("100", "Y", "10", "");
    const tag_t top = open("100");
    EXPECT_EQ(0, run(top, {top}).status);
    EXPECT_THAT(shown(top), ElementsAre("X[10]", "Y[20]"));
    EXPECT_EQ(2, std::ranges::count_if(bom::remarks(world, "E"), [](const std::string& line) {
                  return line.ends_with(": OBJ_set_value_string(...)");
              }));
}

TEST_F(PackedLines, ASecondRunOfTheKeepingModeChangesNothingMore) {
    use("100", "X", "10", "1");
    use("100", "Y", "10", "2");
    use("100", "X", "30", "4");
    const tag_t top = open("100");
    run(top, {top});
    const auto first = shown(top);
    run(top, {top});
    EXPECT_EQ(first, shown(top));
    EXPECT_EQ(std::string::npos, protocol().find("modified"));
}

TEST_F(PackedLines, SavedBySomebodyTheyKeepTheirNumbers) {
    use("100", "X", "10", "1");
    use("100", "X", "20", "2");
    const tag_t top = open("100");
    run(top, {top});
    world.bench.saveBomWindow(top);
    EXPECT_THAT(shown(open("100")), ElementsAre("X[10] x1", "X[10] x2"));
}

TEST_F(PackedLines, AFailedPackLeavesTheRestUnpackedAndNothingLost) {
    use("100", "X", "10", "1");
    use("100", "X", "20", "2");
    use("100", "Y", "30", "4");
    use("100", "Y", "40", "8");
    const tag_t top = open("100");
    world.fail("LINE_pack", 3);
    const bom::ServiceRun done = run(top, {top});
    EXPECT_EQ(0, done.status);
    EXPECT_THAT(shown(top), ElementsAre("X[10] x3", "Y[30] x4", "Y[30] x8"));
    EXPECT_THAT(contents(done.dataset), ElementsAre(protocol())) << "the run goes on";
    EXPECT_THAT(single(top), ElementsAre("1", "2", "4", "8"));
}

TEST_F(PackedLines, NoQuantityIsEverLostOrDoubled) {
    std::mt19937 random(20260101);
    const std::vector<std::string> quantities = {"", "1", "2", "0.1", "0.2", "0.125", ".5", "1000"};
    const std::vector<std::string> numbers = {"", "10", "20", "30", "010", "A10"};
    KELD_SetLogLevel(1);
    for (int set = 0; set < 40; ++set) {
        SCOPED_TRACE("set " + std::to_string(set));
        const std::string parent = "top" + std::to_string(set);
        std::map<std::string, long long> before, after;
        std::vector<std::string> given;
        for (unsigned i = 0, count = 1 + random() % 12; i < count; ++i) {
            const std::string child =
                "X" + std::to_string(random() % 3) + (random() % 2 ? "/A" : "/B");
            given.push_back(quantities[random() % quantities.size()]);
            use(parent, child, numbers[random() % numbers.size()], given.back());
            before[child] += thousandths(given.back());
        }
        const tag_t top = open(parent);
        for (int again = 0; again < 3; ++again) {
            const bool sort = random() % 2 == 0;
            EXPECT_EQ(0, run(top, {top}, 0, sort ? 1 : 0).status);
            after.clear();
            for (const tag_t each : children(top))
                after[text(each, "bl_item_item_id") + "/" +
                      text(each, "bl_rev_item_revision_id")] +=
                    thousandths(text(each, "bl_quantity"));
            EXPECT_EQ(before, after);
            if (sort) {
                EXPECT_EQ(before.size(), children(top).size()) << "one line for each revision";
            }
        }
        EXPECT_EQ(given, single(top));
    }
}
