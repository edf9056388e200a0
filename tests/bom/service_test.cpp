// The service's arguments, its result and its traces.

#include "platform/keld_basetool.h"
#include "tests/bom/bom_service.h"
#include "tests/support/files.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr int kNoMoreArguments = 710018, kArgumentKind = 710019;

class PackAndResequence : public bom::BomService {
protected:
    PackAndResequence() {
        use("100", "200", "10", "1");
        use("100", "200", "20", "2");
        top = open("100");
    }
    std::vector<std::string> operations(const std::function<void()>& action) {
        world.bench.startJournal();
        action();
        std::vector<std::string> found;
        for (const auto& entry : world.bench.stopJournal())
            if (!entry.operation.starts_with("ERR_ask_"))
                found.push_back(entry.operation);
        return found;
    }
    int depth() {
        world.clearLog();
        KELD_TRACE("depth\n");
        return world.log().at(0).depth;
    }
    tag_t top = NULLTAG;
};

}  // namespace

TEST_F(PackAndResequence, GivesTheProtocolsDatasetInTheSlot) {
    const bom::ServiceRun done = run(top, {top});
    EXPECT_EQ(0, done.status);
    EXPECT_EQ(world.bench.find({"PSE_RPBOM_infodba", "Text", "", 0}).at(0).tag, done.dataset);
    EXPECT_THAT(shown(top), ElementsAre("200[10] x3"));
    EXPECT_THAT(contents(done.dataset), ElementsAre(protocol()));
    EXPECT_THAT(world.bench.errorStack(), IsEmpty());
    EXPECT_THAT(bom::remarks(world), IsEmpty());
    EXPECT_EQ(0u, world.bench.heldLocks());
}

// The received list and the name of the tool's format aren't freed; the children's list is.
TEST_F(PackAndResequence, LeavesTheListOfLinesAllocated) {
    run(top, {top});
    EXPECT_EQ(2u, world.newBlocks());
}

TEST_F(PackAndResequence, SavesNothingButTheProtocol) {
    const auto occurrences = world.bench.find({"*", "STROccurrence", "", 0});
    run(top, {top}, 0, 1);
    for (const auto& each : occurrences)
        EXPECT_THAT(world.storedText(each.tag, "seq_no"), testing::AnyOf("10", "20"));
    EXPECT_THAT(shown(top), ElementsAre("200[10] x3"));
    const tag_t fresh = open("100");
    EXPECT_THAT(shown(fresh), ElementsAre("200[10] x1", "200[20] x2"));
}

TEST_F(PackAndResequence, ReadsItsArgumentsInTheirOrder) {
    auto calls = operations([&] { run(top, {top}); });
    ASSERT_GE(calls.size(), 4u);
    calls.resize(5);
    EXPECT_THAT(calls,
                ElementsAre("SVCARG_get_tag_argument", "SVCARG_get_tag_array_argument",
                            "SVCARG_get_int_argument", "SVCARG_get_int_argument", "DBO_get_user"));
}

TEST_F(PackAndResequence, EndsAtAnArgumentThatIsMissingOrOfAnotherKind) {
    const std::vector<tag_t> lines = {top};
    const std::vector<std::pair<std::vector<mervane::Argument>, int>> streams = {
        {{}, kNoMoreArguments},
        {{top}, kNoMoreArguments},
        {{top, lines}, kNoMoreArguments},
        {{top, lines, 0}, kNoMoreArguments},
        {{1, lines, 0, 0}, kArgumentKind},
        {{top, top, 0, 0}, kArgumentKind},
        {{top, lines, std::string("0"), 0}, kArgumentKind},
        {{top, lines, 0, std::string("0")}, kArgumentKind},
    };
    for (const auto& [stream, status] : streams) {
        SCOPED_TRACE(stream.size());
        world.bench.sendArguments(stream);
        tag_t dataset = 77;
        int result = 0;
        const auto calls = operations([&] { result = KELD_PSE_PackAndResequenceBom(&dataset); });
        EXPECT_EQ(status, result);
        EXPECT_EQ(77u, dataset);
        EXPECT_THAT(calls, testing::Each(testing::StartsWith("SVCARG_")));
        EXPECT_FALSE(std::filesystem::exists(protocolPath()));
    }
    EXPECT_THAT(shown(top), ElementsAre("200[10] x1", "200[20] x2"));
    EXPECT_EQ(0, world.count("Dataset"));
}

TEST_F(PackAndResequence, AFailedReadLeavesTheLogOneStepDeeper) {
    const int before = depth();
    for (int read = 1; read <= 4; ++read) {
        world.bench.sendArguments({});
        tag_t dataset = 77;
        EXPECT_EQ(kNoMoreArguments, KELD_PSE_PackAndResequenceBom(&dataset));
        EXPECT_EQ(before + read, depth());
    }
}

TEST_F(PackAndResequence, ASuccessfulRunLeavesTheLogsDepthAlone) {
    const int before = depth();
    run(top, {top});
    EXPECT_EQ(before, depth());
}

TEST_F(PackAndResequence, EachFailedReadIsReturnedAndReported) {
    const char* const reads[] = {"SVCARG_get_tag_argument", "SVCARG_get_tag_array_argument",
                                 "SVCARG_get_int_argument", "SVCARG_get_int_argument"};
    for (int n = 1; n <= 4; ++n) {
        world.clearLog();
        world.fail("", n, 4711);
        const bom::ServiceRun failed = run(top, {top});
        world.failNothing();
        EXPECT_EQ(4711, failed.status);
        EXPECT_EQ(77u, failed.dataset);
        EXPECT_EQ(std::string("##QSK_err_4711: ") + reads[n - 1] + "(...)",
                  bom::remarks(world, "E").at(0));
    }
}

TEST_F(PackAndResequence, ItsScopeLinesCarryALineBreakInTheName) {
    run(top, {top});
    const std::string log = keld_test::readText(KELD_GetLogFilePath());
    EXPECT_NE(std::string::npos, log.find(" ->KELD_PSE_PackAndResequenceBom\n")) << log;
    EXPECT_NE(std::string::npos, log.find(" <-KELD_PSE_PackAndResequenceBom\n"));
}

TEST_F(PackAndResequence, AnyPositiveSortSelectsTheSortingModeAndNothingElseDoes) {
    for (const int sort : {0, -1, -100, 1, 2, 1000}) {
        const tag_t fresh = open("100");
        const bom::ServiceRun done = run(fresh, {fresh}, 0, sort);
        EXPECT_EQ(0, done.status);
        EXPECT_EQ(sort > 0, protocol().find("\t\t10\t\t10\t\tmodified\n") != std::string::npos)
            << sort;
    }
}

TEST_F(PackAndResequence, TheDirectEntryWorksAlike) {
    tag_t dataset = 77;
    EXPECT_EQ(0, KELD_PSE_PackAndResequenceBom2(top, 1, &top, 0, 0, &dataset));
    EXPECT_EQ(world.bench.find({"PSE_RPBOM_infodba", "Text", "", 0}).at(0).tag, dataset);
    EXPECT_THAT(shown(top), ElementsAre("200[10] x3"));
    EXPECT_EQ(1u, world.newBlocks()) << "the format's name; the list is the caller's";
}

TEST_F(PackAndResequence, NullPointersAreNoCrash) {
    EXPECT_EQ(0, KELD_PSE_PackAndResequenceBom2(top, 0, nullptr, 0, 0, nullptr));
    EXPECT_EQ(0, KELD_PSE_PackAndResequenceBom2(top, 3, nullptr, 0, 0, nullptr));
    world.bench.sendArguments({top, std::vector<tag_t>{top}, 0, 0});
    EXPECT_EQ(0, KELD_PSE_PackAndResequenceBom(nullptr));
    EXPECT_THAT(shown(top), SizeIs(1));
}

TEST_F(PackAndResequence, UnknownLinesAreNoCrash) {
    tag_t dataset = 77;
    std::vector<tag_t> lines = {NULLTAG, 1, part("100"), top};
    EXPECT_EQ(0, KELD_PSE_PackAndResequenceBom2(NULLTAG, 4, lines.data(), 0, 0, &dataset));
    EXPECT_NE(77u, dataset);
    EXPECT_THAT(shown(top), ElementsAre("200[10] x3")) << "the line after them is worked on";
    EXPECT_EQ(0, KELD_PSE_PackAndResequenceBom2(top, -1, lines.data(), 0, 0, &dataset));
}
