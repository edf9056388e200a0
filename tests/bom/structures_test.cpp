// Whole product structures, real and generated: the protocol of a run over all levels is, byte for
// byte, what the reference model makes of a second window on the same structure.

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <sstream>

#include "platform/keld_basetool.h"
#include "platform/mv_line.h"
#include "tests/bom/bom_service.h"
#include "tests/bom/reference_model.h"
#include "tests/support/step_generator.h"

namespace {

#if defined(_WIN32)
constexpr char kNowhere[] = "NUL";
#else
constexpr char kNowhere[] = "/dev/null";
#endif

using Numbers = std::map<tag_t, std::string>;  // by occurrence

// The result of a run over all levels, computed without the service.
class ExpectedRun {
public:
    ExpectedRun(bom::Structure& structure, bool sort) : structure_(structure), sort_(sort) {}

    void visit(tag_t line) {
        const std::vector<tag_t> children = structure_.children(line);
        if (children.empty())
            return;
        std::vector<bom_model::Component> list;
        for (const tag_t child : children)
            list.push_back({structure_.text(child, "bl_item_item_id") + "###", number(child)});
        const auto outcome =
            sort_ ? bom_model::sortAndNumber(list, 10, 10) : bom_model::keep(list, 10);
        protocol += shown(line) + "\n";
        for (const std::size_t at : outcome.order)
            protocol += "\t\t" + shown(children[at]) + "\t\t" + list[at].number + "\t\t" +
                        outcome.assigned[at] + "\t\t" +
                        (outcome.assigned[at].empty() ? "use existing" : "modified") + "\n";
        protocol += "\n";
        lines += static_cast<int>(children.size());
        for (std::size_t at = 0; at < children.size(); ++at)
            if (!outcome.assigned[at].empty())
                numbers[occurrence(children[at])] = outcome.assigned[at];
        // Of the lines that the platform packs into one, one is visited.
        std::set<std::string> seen;
        for (const tag_t child : children)
            if (seen.insert(shown(child) + "\n" + number(child)).second)
                visit(child);
    }

    std::string protocol = bom::Structure::kHeader;
    Numbers numbers;
    int lines = 0;

private:
    tag_t occurrence(tag_t line) {
        int id = 0;
        tag_t value = NULLTAG;
        EXPECT_EQ(0, LINE_look_up_attribute("bl_occurrence", &id));
        EXPECT_EQ(0, LINE_ask_attribute_tag(line, id, &value));
        return value;
    }
    std::string number(tag_t line) {
        const auto found = numbers.find(occurrence(line));
        return found != numbers.end() ? found->second : structure_.text(line, "bl_sequence_no");
    }
    std::string shown(tag_t line) {
        return structure_.text(line, "bl_item_item_id") + "/" +
               structure_.text(line, "bl_rev_item_revision_id");
    }
    bom::Structure& structure_;
    bool sort_;
};

class Structures : public bom::BomService {
protected:
    Structures() {
        KELD_SetLogLevel(1);
        // The keeping mode prints all lines again and again.
        std::fflush(stdout);
        const int nowhere = ::open(kNowhere, O_WRONLY);
        kept_ = dup(STDOUT_FILENO);
        dup2(nowhere, STDOUT_FILENO);
        close(nowhere);
    }
    ~Structures() override {
        std::fflush(stdout);
        dup2(kept_, STDOUT_FILENO);
        close(kept_);
    }
    void import(std::istream& step, const std::string& name) {
        report = world.bench.importStep(step, name);
        ASSERT_NE(NULLTAG, report.top);
    }
    // Numbers that clash, are missing or are none.
    void disturb(unsigned seed) {
        static const std::vector<std::string> texts = {"10", "10", "20", "30", "", "010", "A10"};
        std::mt19937 random(seed);
        for (const auto& each : world.bench.find({"*", "STROccurrence", "", 0}))
            world.put(each.tag, "seq_no", texts[random() % texts.size()]);
    }
    int compare(bool sort) {
        ExpectedRun expected(*this, sort);
        expected.visit(world.bench.openBomWindow(report.top));
        const tag_t top = world.bench.openBomWindow(report.top);
        const bom::ServiceRun done = run(top, {top}, 0, sort ? 1 : 0);
        EXPECT_EQ(0, done.status);
        EXPECT_TRUE(expected.protocol == protocol()) << expected.protocol << "\n" << protocol();
        EXPECT_TRUE(contents(done.dataset) == std::vector{protocol()});
        EXPECT_TRUE(world.bench.errorStack().empty());
        EXPECT_EQ(0u, world.bench.heldLocks());
        return expected.lines;
    }
    mervane::ImportReport report;

private:
    int kept_ = -1;
};

class GeneratedStructures : public Structures, public testing::WithParamInterface<int> {};

}  // namespace

TEST_P(GeneratedStructures, AreResequencedAsTheModelSays) {
    std::stringstream step;
    const auto counts =
        keld_test::writeStep(step, {GetParam(), 3, 2, 0, static_cast<unsigned>(GetParam()), true});
    import(step, "generated.step");
    for (unsigned seed = 0; seed < 2; ++seed)
        for (const bool sort : {false, true}) {
            EXPECT_LT(0, compare(sort));
            disturb(seed + 7 * static_cast<unsigned>(counts.products));
        }
}
INSTANTIATE_TEST_SUITE_P(Parts, GeneratedStructures, testing::Values(2, 9, 40));

#ifdef KELD_STEP_FILES
class RealStructures : public Structures, public testing::WithParamInterface<const char*> {};

TEST_P(RealStructures, AreResequencedAsTheModelSays) {
    std::ifstream step(std::filesystem::path(KELD_STEP_FILES) / GetParam(), std::ios::binary);
    ASSERT_TRUE(step) << GetParam();
    import(step, GetParam());
    for (unsigned seed = 0; seed < 2; ++seed)
        for (const bool sort : {false, true}) {
            EXPECT_LT(0, compare(sort));
            disturb(seed);
        }
}
INSTANTIATE_TEST_SUITE_P(Files, RealStructures,
                         testing::Values("as1-oc-214.stp", "t-embed-full-shell.stp",
                                         "pushdevice-assembly.step", "stamp-c6lora-smd.step"));
#endif

namespace {

// 5,000 lines: below one another in an assembly tree, and all below one line.
using LargeStructures = Structures;

}  // namespace

TEST_F(LargeStructures, OfFiveThousandLinesInATreeFollowTheModelInBothModes) {
    std::stringstream step;
    const auto counts = keld_test::writeStep(step, {4200, 6, 1, 0, 5, false});
    ASSERT_GE(counts.exploded, 5000);
    import(step, "large.step");
    disturb(1);
    EXPECT_EQ(counts.exploded - 1, compare(false));
    EXPECT_EQ(counts.exploded - 1, compare(true));
}

TEST_F(LargeStructures, OfThousandsOfLinesBelowOneFollowTheModelInBothModes) {
    std::vector<tag_t> parts;
    for (int i = 0; i < 200; ++i)
        parts.push_back(part("P" + std::to_string(i * 7919 % 1000)));
    report.top = part("100");
    for (std::size_t i = 0; i < 5000; ++i) {
        world.bench.addOccurrence(report.top, parts[i * i % parts.size()], "0.1",
                                  std::to_string(i * 31 % 900));
        if (i == 1000) {
            EXPECT_EQ(1001, compare(false));
        }
    }
    EXPECT_EQ(5000, compare(true));
}
