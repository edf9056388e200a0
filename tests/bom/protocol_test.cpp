// The protocol byte for byte, and the dataset that holds it.

#include <fstream>

#include "os/keld_os.h"
#include "platform/mv_dst.h"
#include "platform/mv_fil.h"
#include "platform/mv_heap.h"
#include "tests/bom/bom_service.h"
#include "tests/support/files.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

namespace fs = std::filesystem;

class Protocol : public bom::BomService {
protected:
    int versions(tag_t dataset) {
        tag_t anchor = NULLTAG;
        int count = 0;
        EXPECT_EQ(0, DST_ask_dataset_anchor(dataset, &anchor));
        EXPECT_EQ(0, DST_count_anchor_revisions(anchor, &count));
        return count;
    }
    // The worked example: X, Y, X, Z, Y, of which Y has children of its own.
    tag_t worked() {
        use("100", "X", "10", "1");
        use("100", "Y", "10", "2");
        use("100", "X/B", "20", "3");
        use("100", "Z", "", "4");
        use("100", "Y", "30", "5");
        use("Y", "W", "7");
        return open("100");
    }
};

using ProtocolFailing = Protocol;

}  // namespace

TEST_F(Protocol, OfTheKeepingModeHasTheLinesInThePlatformsOrder) {
    const tag_t top = worked();
    const bom::ServiceRun done = run(top, {top}, 0, 0);
    const std::string expected = kHeader +
                                 "100/A\n"
                                 "\t\tX/A\t\t10\t\t\t\tuse existing\n"
                                 "\t\tY/A\t\t10\t\t30\t\tmodified\n"
                                 "\t\tX/B\t\t20\t\t10\t\tmodified\n"
                                 "\t\tZ/A\t\t\t\t40\t\tmodified\n"
                                 "\t\tY/A\t\t30\t\t\t\tuse existing\n"
                                 "\n"
                                 "Y/A\n"
                                 "\t\tW/A\t\t7\t\t\t\tuse existing\n"
                                 "\n";
    EXPECT_EQ(expected, protocol());
    EXPECT_THAT(contents(done.dataset), ElementsAre(expected));
    EXPECT_THAT(shown(top), ElementsAre("X[10] x1", "Y[30] x7", "X[10] x3", "Z[40] x4"));
}

TEST_F(Protocol, OfTheSortingModeHasThemSorted) {
    const tag_t top = worked();
    const bom::ServiceRun done = run(top, {top}, 0, 1);
    const std::string expected = kHeader +
                                 "100/A\n"
                                 "\t\tX/A\t\t10\t\t10\t\tmodified\n"
                                 "\t\tX/B\t\t20\t\t10\t\tmodified\n"
                                 "\t\tY/A\t\t10\t\t20\t\tmodified\n"
                                 "\t\tY/A\t\t30\t\t20\t\tmodified\n"
                                 "\t\tZ/A\t\t\t\t30\t\tmodified\n"
                                 "\n"
                                 "Y/A\n"
                                 "\t\tW/A\t\t7\t\t10\t\tmodified\n"
                                 "\n";
    EXPECT_EQ(expected, protocol());
    EXPECT_THAT(contents(done.dataset), ElementsAre(expected));
    EXPECT_THAT(shown(top), ElementsAre("X[10] x1", "Y[20] x7", "X[10] x3", "Z[30] x4"))
        << "the sorted order shows in the protocol, not in the structure";
}

TEST_F(Protocol, IsATextFileOfTheSystemAndItsDatasetHoldsTheSameBytes) {
    const tag_t dataset = run(open("100"), {}).dataset;
    const std::string line = kHeader.substr(0, kHeader.size() - 1);
    EXPECT_EQ(line + (keld_os::bWindows ? "\r\n" : "\n"), keld_test::readFile(protocolPath()));
    int count = 0;
    tag_t* files = nullptr;
    ASSERT_EQ(0, DST_ask_all_dataset_named_refs(dataset, "Text", &count, &files));
    ASSERT_EQ(1, count);
    const fs::path copy = directory / "copy";
    EXPECT_EQ(0, FIL_export_file(files[0], copy.string().c_str()));
    EXPECT_EQ(keld_test::readFile(protocolPath()), keld_test::readFile(copy));
    HEAP_free(files);
}

TEST_F(Protocol, SaysWhereAViewIsCheckedOutAndCantBeWritten) {
    use("100", "X", "10");
    use("X", "Y", "10");
    world.bench.checkOut(view("X"), "");
    denyWrite(view("X"));
    const tag_t top = open("100");
    run(top, {top});
    EXPECT_EQ(kHeader + "100/A\n\t\tX/A\t\t10\t\t\t\tchecked out\n\n", protocol());
}

TEST_F(Protocol, OfASecondRunTakesThePlaceOfTheFirst) {
    const tag_t top = worked();
    const bom::ServiceRun first = run(top, {top});
    const bom::ServiceRun second = run(top, {}, 0, 0);
    EXPECT_EQ(first.dataset, second.dataset);
    EXPECT_EQ(kHeader, protocol());
    EXPECT_THAT(contents(second.dataset), ElementsAre(kHeader));
    EXPECT_EQ(1, versions(second.dataset));
    EXPECT_EQ(1, world.count("Dataset"));
    EXPECT_EQ(bom::Structure::kDataset, world.storedText(second.dataset, "object_name"));
    EXPECT_EQ(bom::Structure::kDataset, world.storedText(second.dataset, "object_desc"));
}

TEST_F(Protocol, GoesIntoTheNewestVersionAndTheVersionsStayTwo) {
    const tag_t first = run(open("100"), {}).dataset;
    const tag_t newest = world.bench.createDatasetVersion(first);
    EXPECT_EQ(newest, run(open("100"), {}).dataset);
    EXPECT_EQ(2, versions(first));
}

TEST_F(Protocol, ADatasetOfItsNameAndAnotherTypeIsLeftAlone) {
    const tag_t pdf = world.dataset(bom::Structure::kDataset, "PDF");
    const bom::ServiceRun done = run(open("100"), {});
    EXPECT_NE(pdf, done.dataset);
    EXPECT_THAT(contents(done.dataset), ElementsAre(kHeader));
    EXPECT_EQ(2, world.count("Dataset"));
}

TEST_F(Protocol, OfSeveralDatasetsOfItsNameTheFirstIsTaken) {
    const tag_t first = world.dataset(bom::Structure::kDataset);
    const tag_t second = world.dataset(bom::Structure::kDataset);
    EXPECT_EQ(first, run(open("100"), {}).dataset);
    EXPECT_THAT(contents(second), IsEmpty());
}

TEST_F(Protocol, ThatCantBeOpenedIsMissingAndTheImportFails) {
    ::setenv("MV_TMP_DIR", (directory / "none").string().c_str(), 1);
    const tag_t top = worked();
    const bom::ServiceRun done = run(top, {top});
    EXPECT_EQ(0, done.status);
    EXPECT_THAT(shown(top), ElementsAre("X[10] x1", "Y[30] x7", "X[10] x3", "Z[40] x4"));
    EXPECT_NE(NULLTAG, done.dataset) << "as far as it came";
    EXPECT_EQ(0, world.count("Dataset"));
    EXPECT_THAT(bom::remarks(world, "E").at(0), testing::EndsWith(": FIL_import_file(...)"));
    EXPECT_EQ(0u, world.bench.heldLocks());
}

TEST_F(Protocol, ThatCantBeOpenedLeavesAnEarlierOnesContent) {
    const bom::ServiceRun first = run(open("100"), {});
    ::setenv("MV_TMP_DIR", (directory / "none").string().c_str(), 1);
    const tag_t top = worked();
    EXPECT_EQ(first.dataset, run(top, {top}).dataset);
    EXPECT_THAT(contents(first.dataset), ElementsAre(kHeader));
}

TEST_F(ProtocolFailing, WithoutAUserIdThereIsNoneAndTheWorkIsDone) {
    for (const char* operation : {"DBO_get_user", "DBO_ask_user_id"}) {
        const tag_t top = open("100");
        world.fail(operation);
        const bom::ServiceRun done = run(top, {top});
        world.failNothing();
        EXPECT_EQ(0, done.status);
        EXPECT_TRUE(fs::is_empty(directory));
        EXPECT_EQ(0, world.count("Dataset"));
        EXPECT_EQ("##QSK_err_4711: " + std::string(operation) + "(...)",
                  bom::remarks(world, "E").at(0));
        world.clearLog();
    }
}

TEST_F(Protocol, AFileThatLiesInTheWayIsEmptiedFirst) {
    std::ofstream(protocolPath()) << std::string(100000, 'x');
    run(open("100"), {});
    EXPECT_EQ(kHeader, protocol());
}
