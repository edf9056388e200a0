// How the protocol's dataset and file are named.

#include <unistd.h>

#include <cstdlib>

#include "libkeld_flow/keld_par/keld_acpackandresequencebompse.h"
#include "os/keld_os.h"
#include "tests/bom/bom_lines.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

class ProtocolName : public bom::BomLines {
protected:
    ProtocolName() {
        for (const char* name : {"MV_TMP_DIR", "TEMP", "TMP"})
            ::unsetenv(name);
    }
    static std::string path() {
        return ACPackAndResequenceBOMPSE(1, 0, nullptr, 0, 0).m_sPathFileName;
    }
    const std::string file = std::string(keld_os::szPathSeparator) + "PSE_RPBOM_abc" +
                             std::to_string(::getpid()) + ".log";
};

using ProtocolNameFailing = ProtocolName;

}  // namespace

TEST_F(ProtocolName, HasTheUserIdAndThePathTheProcessIdToo) {
    ::setenv("MV_TMP_DIR", "/somewhere", 1);
    tag_t lines[] = {5, 6};
    const ACPackAndResequenceBOMPSE made(4, 2, lines, 3, 1);
    EXPECT_STREQ("PSE_RPBOM_abc", made.m_sDatasetName);
    EXPECT_STREQ("Text", made.m_sDatasetType);
    EXPECT_EQ(4096, made.m_iFileType);
    EXPECT_EQ("/somewhere" + file, made.m_sPathFileName);
    EXPECT_EQ(NULLTAG, made.m_tagNewDataset);
    EXPECT_EQ(3, made.m_iLevel);
    EXPECT_TRUE(made.m_bSort);
    EXPECT_EQ(4u, made.m_tagTopBOMLine);
    EXPECT_EQ(lines, made.m_vBOMLines);
    EXPECT_EQ(2, made.m_iCountBOMLines);
    EXPECT_THAT(p.calls, ElementsAre("DBO_get_user()", "DBO_ask_user_id(71)"));
    EXPECT_THAT(world.lines(),
                ElementsAre("DatasetName: PSE_RPBOM_abc", "PathFileName: /somewhere" + file));
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(ProtocolName, TheSortingModeTakesAPositiveNumber) {
    for (const int sort : {-1, 0})
        EXPECT_FALSE(ACPackAndResequenceBOMPSE(1, 0, nullptr, 0, sort).m_bSort);
    for (const int sort : {1, 2, 2147483647})
        EXPECT_TRUE(ACPackAndResequenceBOMPSE(1, 0, nullptr, 0, sort).m_bSort);
}

TEST_F(ProtocolName, TheDirectoryIsTheFirstVariableThatIsSetAndNotEmpty) {
    EXPECT_EQ(file, path()) << "none of them";
    ::setenv("TMP", "/third", 1);
    EXPECT_EQ("/third" + file, path());
    ::setenv("TEMP", "/second", 1);
    EXPECT_EQ("/second" + file, path());
    ::setenv("MV_TMP_DIR", "/first", 1);
    EXPECT_EQ("/first" + file, path());
    ::setenv("MV_TMP_DIR", "", 1);
    EXPECT_EQ("/second" + file, path());
    ::setenv("TEMP", "", 1);
    EXPECT_EQ("/third" + file, path());
    ::setenv("TMP", "", 1);
    EXPECT_EQ(file, path()) << "none that isn't empty";
}

TEST_F(ProtocolNameFailing, IsEmptyIfTheUserCantBeRead) {
    ::setenv("MV_TMP_DIR", "/somewhere", 1);
    for (const char* operation : {"DBO_get_user", "DBO_ask_user_id"}) {
        SCOPED_TRACE(operation);
        const std::size_t blocks = world.newBlocks();
        world.clearLog();
        p.fail(operation);
        ACPackAndResequenceBOMPSE made(1, 0, nullptr, 0, 0);
        EXPECT_STREQ("", made.m_sDatasetName);
        EXPECT_STREQ("", made.m_sPathFileName);
        EXPECT_STREQ("Text", made.m_sDatasetType);
        EXPECT_EQ(4096, made.m_iFileType);
        EXPECT_EQ("##QSK_err_4711: " + std::string(operation) + "(...)",
                  bom::messages(world, "E").at(0));
        EXPECT_THAT(world.lines("T"), IsEmpty());
        // The user's name, once it was given.
        EXPECT_EQ(std::string(operation) == "DBO_ask_user_id" ? 1u : 0u,
                  world.newBlocks() - blocks);
        p.fail(operation);
        EXPECT_EQ(line_platform::kFailed, made.initMembers());
    }
}

TEST_F(ProtocolName, OfALongUserIdIsCutWithAWarning) {
    p.user_id = std::string(500, 'u');
    const ACPackAndResequenceBOMPSE made(1, 0, nullptr, 0, 0);
    EXPECT_EQ("PSE_RPBOM_" + std::string(229, 'u'), made.m_sDatasetName);
    EXPECT_THAT(world.lines("W"), testing::Contains(StartsWith("Text cut to 239 characters: ")));
}

TEST_F(ProtocolName, APathThatDoesNotFitIsEmptyAndNeverCut) {
    const std::string room(259 - file.size(), 'd');
    ::setenv("MV_TMP_DIR", room.c_str(), 1);
    EXPECT_EQ(room + file, path());
    ::setenv("MV_TMP_DIR", (room + "d").c_str(), 1);
    EXPECT_EQ("", path());
    ::setenv("MV_TMP_DIR", std::string(5000, 'd').c_str(), 1);
    EXPECT_EQ("", path());
}
