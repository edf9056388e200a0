// Every platform call of a run fails once: what the client sees, and that nothing is lost.

#include <algorithm>

#include "tests/bom/bom_service.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr int kPlanned = 4711;

// A world with a structure of two levels, clashes, packed lines and a quantity to set.
struct Example : bom::Structure {
    explicit Example(bool second_run) {
        world.bench.setPreference("PackAndResequenceBOM.SetDefaultQuantity", {"1"});
        world.bench.setPreference("PackAndResequenceBOM.NoteTypesToCompare", {"Usage"});
        note(use("100", "200", "10", ""), "Usage", "left");
        use("100", "300", "10", "3");
        use("100", "300", "20", "4");
        use("200", "400", "10", "5");
        use("200", "500", "10", "");
        top = open("100");
        if (second_run)
            first = run(open("500"), {}).dataset;
        world.clearLog();
        blocks_before = world.newBlocks();
    }
    std::size_t blocks() { return world.newBlocks() - blocks_before; }
    std::vector<std::string> quantities(tag_t line) {
        unpackAll(line);
        std::vector<std::string> found;
        for (const tag_t each : children(line))
            found.push_back(text(each, "bl_quantity"));
        return found;
    }
    bool logged(const std::string& operation) {
        const auto lines = world.log();
        return std::any_of(lines.begin(), lines.end(), [&](const world::LogLine& line) {
            return line.level == 'E' &&
                   (line.text.starts_with("##QSK_err_4711: " + operation + "(...)") ||
                    (line.text.find("Funktion:" + operation + "(") != std::string::npos &&
                     line.text.ends_with(" returned 4711 ")));
        });
    }
    tag_t top = NULLTAG, first = NULLTAG;
    std::size_t blocks_before = 0;
};

bool isOneOf(const std::string& text, std::initializer_list<const char*> list) {
    return std::find(list.begin(), list.end(), text) != list.end();
}

// A failure after the dataset's lock leaves it locked.
bool leavesLock(const std::vector<std::string>& calls, std::size_t at) {
    const auto lock = std::find(calls.begin(), calls.end(), "OBJ_load") - calls.begin() + 1;
    const auto end = static_cast<std::size_t>(
        std::find(calls.begin() + lock, calls.end(), "DST_ask_dataset") - calls.begin());
    return at > static_cast<std::size_t>(lock) && at < end;
}

}  // namespace

// The list of lines and the name of the tool's format. Some failures come before these are asked
// for; others leave further lists and texts of the failed call.
std::size_t blocksLeft(const std::vector<std::string>& calls, std::size_t at) {
    const std::string& operation = calls[at];
    if (operation.starts_with("SVCARG_"))
        return at < 2 ? 0 : 1;
    if (isOneOf(operation, {"DST_find_datasettype", "DST_ask_datasettype_def_tool",
                            "DST_ask_tool_output_formats"}))
        return 1;
    // The search for the dataset asks for its newest version too.
    const bool searching = std::find(calls.begin() + static_cast<std::ptrdiff_t>(at), calls.end(),
                                     "DST_find_datasettype") != calls.end() &&
                           operation == "DST_ask_dataset";
    return searching ||
                   isOneOf(operation, {"DBO_ask_user_id", "DST_ask_dataset_datasettype",
                                       "DST_ask_datasettype_name", "FIL_ask_original_file_name"})
               ? 3
               : 2;
}

// Parameters: the mode, and whether the user has a protocol already.
class RunFailing : public testing::TestWithParam<std::pair<int, bool>> {};

TEST_P(RunFailing, NeverReachesTheClientExceptForItsArgumentsAndLosesNoQuantity) {
    const auto [sort, second_run] = GetParam();
    std::vector<std::string> calls;
    {
        // What the process reads once is read here.
        Example before(second_run);
        before.run(before.top, {before.top}, 0, sort);
    }
    {
        Example all(second_run);
        all.world.bench.startJournal();
        EXPECT_EQ(0, all.run(all.top, {all.top}, 0, sort).status);
        for (const auto& entry : all.world.bench.stopJournal())
            calls.push_back(entry.operation);
        EXPECT_THAT(bom::remarks(all.world), IsEmpty());
    }
    ASSERT_GT(calls.size(), 100u);
    for (std::size_t at = 0; at < calls.size(); ++at) {
        const std::string& operation = calls[at];
        SCOPED_TRACE("call " + std::to_string(at + 1) + ", " + operation);
        Example example(second_run);
        example.world.fail("", static_cast<int>(at) + 1, kPlanned);
        const bom::ServiceRun done = example.run(example.top, {example.top}, 0, sort);
        example.world.failNothing();

        const bool argument = operation.starts_with("SVCARG_");
        EXPECT_EQ(argument ? kPlanned : 0, done.status);
        if (argument) {
            EXPECT_EQ(77u, done.dataset);
        } else {
            EXPECT_NE(77u, done.dataset);
            EXPECT_EQ(leavesLock(calls, at) ? 1u : 0u, example.world.bench.heldLocks());
        }
        EXPECT_EQ(blocksLeft(calls, at), example.blocks());
        // The end of the module is a plain call.
        EXPECT_EQ(operation != "DST_exit_module" && operation != "ERR_store_error",
                  example.logged(operation));

        const bool user = isOneOf(operation, {"DBO_get_user", "DBO_ask_user_id"});
        if (!argument && !user) {
            EXPECT_TRUE(example.protocol().starts_with(bom::Structure::kHeader));
        }
        auto quantities = example.quantities(example.top);
        ASSERT_EQ(3u, quantities.size());
        EXPECT_THAT(quantities[0], testing::AnyOf("", "1"));
        // One that can't be read counts as none, and gets the default.
        const bool reading = operation == "OBJ_ask_value_string";
        const auto kept = [&](const char* quantity) {
            return testing::AnyOf(quantity, reading ? "1" : quantity);
        };
        EXPECT_THAT(quantities[1], kept("3"));
        EXPECT_THAT(quantities[2], kept("4"));
        quantities = example.quantities(example.child(example.top, 0));
        ASSERT_EQ(2u, quantities.size());
        EXPECT_THAT(quantities[0], kept("5"));
        EXPECT_THAT(quantities[1], testing::AnyOf("", "1"));
    }
}
INSTANTIATE_TEST_SUITE_P(Modes, RunFailing,
                         testing::Values(std::pair{0, false}, std::pair{1, false},
                                         std::pair{0, true}));

TEST(OneCallFailing, InTheSearchForTheDatasetMakesAnotherOne) {
    for (const char* operation : {"DST_find_all_datasets", "DST_ask_dataset_datasettype",
                                  "DST_ask_datasettype_name", "DST_ask_dataset"}) {
        SCOPED_TRACE(operation);
        Example example(true);
        example.world.fail(operation);
        const bom::ServiceRun done = example.run(example.top, {});
        EXPECT_EQ(0, done.status);
        EXPECT_NE(example.first, done.dataset);
        EXPECT_NE(NULLTAG, done.dataset);
        EXPECT_EQ(2, example.world.count("Dataset"));
        EXPECT_THAT(example.contents(done.dataset), ElementsAre(bom::Structure::kHeader));
    }
}

TEST(OneCallFailing, OfTheImportKeepsTheProtocolOnDisk) {
    Example example(false);
    example.world.fail("FIL_import_file");
    const bom::ServiceRun done = example.run(example.top, {example.top}, 1);
    EXPECT_EQ(0, done.status);
    EXPECT_NE(NULLTAG, done.dataset);
    EXPECT_EQ(0, example.world.count("Dataset"));
    EXPECT_THAT(example.protocol(), testing::HasSubstr("100/A\n"));
}

TEST(OneCallFailing, OfMakingTheDatasetGivesNone) {
    Example example(false);
    example.world.fail("DST_create_dataset_with_id");
    EXPECT_EQ(NULLTAG, example.run(example.top, {}).dataset);
}

TEST(OneCallFailing, OfTheVersionSearchGivesNone) {
    Example example(true);
    example.world.fail("DST_count_anchor_revisions");
    EXPECT_EQ(NULLTAG, example.run(example.top, {}).dataset);
}

TEST(OneCallFailing, OfTheWriteAccessIsNoWriteAccess) {
    Example example(false);
    example.world.fail("ACL_check_privilege");
    EXPECT_EQ(0, example.run(example.top, {example.top}).status);
    const auto stack = example.world.bench.errorStack();
    ASSERT_FALSE(stack.empty());
    EXPECT_EQ(515001, stack.back().status);
    EXPECT_EQ(3, stack.back().severity);
    EXPECT_EQ(bom::Structure::kHeader, example.protocol());
}

TEST(OneCallFailing, OfTheIncrementIsTen) {
    Example example(false);
    example.world.bench.setPreference("PackAndResequenceBOM.SEQNO_INCR", {"25"});
    example.world.fail("OPT_ask_int_value");
    example.run(example.top, {example.top}, 1);
    EXPECT_THAT(example.protocol(), testing::HasSubstr("300/A\t\t10\t\t20\t\tmodified\n"));
}
