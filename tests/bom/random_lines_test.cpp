// Thousands of random line sets in both modes, compared with the reference model: numbers, order,
// statuses, what is printed, what is written and packed. A failure names the seed of its set;
// KELD_BOM_SEED=n runs that set alone. A run of a share takes a fourth of the sets, and four shares
// all.

#include <cstdlib>
#include <random>
#include <sstream>

#include "platform/keld_basetool.h"
#include "tests/bom/resequence.h"
#include "tests/support/share.h"

using line_platform::Line;
using line_platform::Platform;

namespace {

constexpr int kSets = 3000;

struct Case {
    std::vector<Line> lines;
    int increment = 10, first = 10;
    bool quantities = false;
};

template <typename T>
const T& pick(std::mt19937& random, const std::vector<T>& from) {
    return from[random() % from.size()];
}

// Few components and few numbers meet often; the more unusual texts are rarer.
Case makeCase(unsigned seed) {
    static const std::vector<std::string> plain = {"10", "20", "30", "40", "5", ""};
    static const std::vector<std::string> odd = {"",
                                                 "0",
                                                 "010",
                                                 "A10",
                                                 "10",
                                                 "+10",
                                                 "-10",
                                                 " 10",
                                                 "10 ",
                                                 "-0",
                                                 "00",
                                                 "1x",
                                                 "2147483647",
                                                 "-2147483648",
                                                 "9999999999999999999999",
                                                 "-9999999999999999999999",
                                                 "- 10",
                                                 "+",
                                                 "20",
                                                 "30.5",
                                                 "2147483650",
                                                 "4294967296",
                                                 "\xC3\xA4",
                                                 "10-20"};
    static const std::vector<int> increments = {
        10, 10, 10, 5, 1, 0, -10, -5, 40, 2147483647, -2147483647 - 1};
    static const std::vector<int> firsts = {10, 10, 1, 0, -10, 2147483647, 100};
    static const std::vector<std::string> items = {"X", "Y",  "Z",    "x",
                                                   "",  "X#", "X###", "\xC3\xA4"};
    std::mt19937 random(seed);
    Case made;
    made.increment = pick(random, increments);
    made.first = pick(random, firsts);
    made.quantities = random() % 4 == 0;
    const auto& numbers = random() % 2 == 0 ? plain : odd;
    const std::size_t kinds = 1 + random() % items.size();
    const std::size_t count = random() % 20 == 0 ? 40 : 1 + random() % 11;
    for (std::size_t i = 0; i < count; ++i) {
        Line line{items[random() % kinds], pick(random, numbers)};
        line.quantity = random() % 2 == 0 ? "" : "2";
        made.lines.push_back(line);
    }
    return made;
}

std::string shown(const Case& made) {
    std::ostringstream text;
    text << "increment " << made.increment << ", first " << made.first << ":";
    for (const Line& line : made.lines)
        text << " " << line.item << "[" << line.number << "]";
    return text.str();
}

class RandomLines : public bom::Resequence, public testing::WithParamInterface<unsigned> {
protected:
    RandomLines() { KELD_SetLogLevel(0); }

    void compare(const Case& made, bool sort) {
        const auto list = components(made.lines);
        const bom_model::Outcome expected =
            sort ? bom_model::sortAndNumber(list, made.first, made.increment)
                 : bom_model::keep(list, made.increment);
        p.preferences["PackAndResequenceBOM.SEQNO_FIRST"] = {std::to_string(made.first)};
        p.give(made.lines);
        const bom::Outcome got = run(made.increment, sort, made.quantities ? "1" : "");

        std::vector<std::string> items, assigned, statuses, changes;
        for (const std::size_t at : expected.order) {
            items.push_back(made.lines[at].item);
            assigned.push_back(expected.assigned[at]);
            statuses.push_back(assigned.back().empty() ? "use existing" : "modified");
        }
        const auto change = [&](std::size_t at, const char* property, const std::string& value) {
            changes.push_back("OBJ_set_value_string(" + std::to_string(Platform::child(at)) + ", " +
                              property + ", " + value + ")");
        };
        for (const std::size_t at : expected.order)
            if (made.quantities && made.lines[at].quantity.empty())
                change(at, "bl_quantity", "1");
        for (const std::size_t at : expected.order)
            if (!expected.assigned[at].empty())
                change(at, "bl_sequence_no", expected.assigned[at]);
        for (const std::size_t at : expected.order)
            changes.push_back("LINE_pack(" + std::to_string(Platform::child(at)) + ")");
        std::vector<std::string> made_changes;
        for (const std::string& call : got.calls)
            if (call.starts_with("OBJ_set_") || call.starts_with("LINE_"))
                made_changes.push_back(call);

        ASSERT_EQ(items, got.items);
        ASSERT_EQ(assigned, got.assigned);
        ASSERT_EQ(statuses, got.statuses);
        ASSERT_EQ(expected.dump, got.printed);
        ASSERT_EQ(changes, made_changes);
    }
};

}  // namespace

TEST_P(RandomLines, AgreeWithTheReferenceModelInBothModes) {
    const char* only = std::getenv("KELD_BOM_SEED");
    const keld_test::Share share = keld_test::readShare(std::getenv("KELD_SWEEP_SHARE"));
    const unsigned sets = share.of > 1 ? kSets / 4 : kSets;
    const unsigned first = GetParam() * kSets + static_cast<unsigned>(share.part - 1) % 4 * sets;
    const unsigned begin = only ? static_cast<unsigned>(std::atoi(only)) : first;
    const unsigned end = only ? begin + 1 : begin + sets;
    for (unsigned seed = begin; seed < end; ++seed) {
        const Case made = makeCase(seed);
        SCOPED_TRACE("seed " + std::to_string(seed) + ", " + shown(made));
        compare(made, false);
        compare(made, true);
        if (HasFatalFailure())
            return;
    }
}
INSTANTIATE_TEST_SUITE_P(Seeds, RandomLines, testing::Range(0u, 8u));

// The sets are adversarial enough to meet every branch.
TEST(RandomLineSets, MeetOffersFreshNumbersAndLinesWithoutOne) {
    int untouched = 0, clashes_left = 0, second_pass = 0;
    for (unsigned seed = 0; seed < kSets; ++seed) {
        const Case made = makeCase(seed);
        std::vector<bom_model::Component> list;
        for (const Line& line : made.lines)
            list.push_back({line.item, line.number});
        const auto outcome = bom_model::keep(list, made.increment);
        bool changed = false, clash = false, none = false;
        for (std::size_t i = 0; i < list.size(); ++i) {
            changed |= !outcome.assigned[i].empty();
            none |= !bom_model::isNumber(list[i].number);
            for (std::size_t j = 0; j < i; ++j) {
                const auto now = [&](std::size_t at) {
                    return outcome.assigned[at].empty() ? list[at].number : outcome.assigned[at];
                };
                clash |= list[i].key != list[j].key && now(i) == now(j);
            }
        }
        untouched += !changed;
        clashes_left += clash;
        second_pass += none;
    }
    EXPECT_GT(untouched, kSets / 100);
    EXPECT_GT(clashes_left, kSets / 50);
    EXPECT_GT(second_pass, kSets / 4);
}
