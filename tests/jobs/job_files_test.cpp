// The content of job files and which of them are written.

#include "tests/jobs/jobs.h"
#include "tests/support/patterns.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;

namespace {

class JobFiles : public jobs::JobTest {};

}  // namespace

TEST_F(JobFiles, EachAttachmentGetsAFileWithHeaderAndObjectLines) {
    part("part1");
    part("part2");
    ASSERT_EQ(0, write(forRevision()));
    EXPECT_THAT(contents(), ElementsAre(header("CADPART") + object("part1"),
                                        header("CADPART") + object("part2")));
    EXPECT_TRUE(hasOptions());
}

TEST_F(JobFiles, BomLinesAreBetweenHeaderAndObject) {
    world.occurrence(made.revision, world.item("000200").revision);
    part("part1");
    ASSERT_EQ(0, write(forRevision()));
    const tag_t bvr = world.bench.bomViewRevision(made.revision);
    const auto found = world.bench.describe(bvr);
    EXPECT_FALSE(found.name.empty());
    EXPECT_THAT(contents(), ElementsAre(header("CADPART") + "-bom_rev_type=" + found.type +
                                        "\n-bom_rev_name=" + found.name + "\n" + object("part1")));
}

TEST_F(JobFiles, ABomViewRevisionWithoutOccurrencesHasNoLines) {
    world.bench.bomViewRevision(made.revision);
    part("part1");
    ASSERT_EQ(0, write(forRevision()));
    EXPECT_THAT(contents(), ElementsAre(header("CADPART") + object("part1")));
}

TEST_F(JobFiles, WithOneFileForEachTypeItsDatasetsFollowEachOther) {
    world.occurrence(made.revision, world.item("000200").revision);
    part("part1");
    part("part2");
    auto call = forRevision();
    call.file_flag = "true";
    ASSERT_EQ(0, write(call));
    const std::string text = contents().front();
    EXPECT_EQ(1u, contents().size());
    EXPECT_EQ(text.find("-typ="), text.rfind("-typ="));
    EXPECT_EQ(text.find("-bom_rev_type="), text.rfind("-bom_rev_type="));
    EXPECT_TRUE(text.ends_with(object("part1") + object("part2")));
}

TEST_F(JobFiles, AnItemJobNamesTheItemItsTypeAndNoRelation) {
    world.put(made.item, "object_name", "Pump");
    auto call = forRevision();
    call.type = "Item";
    ASSERT_EQ(0, write(call));
    EXPECT_THAT(contents(), ElementsAre(header("Item") + object("Pump", "")));
}

TEST_F(JobFiles, AnItemJobWithOneFileForEachTypeLeavesAnEmptyFileBesideItsOwn) {
    auto call = forRevision();
    call.type = "Item";
    call.file_flag = "true";
    ASSERT_EQ(0, write(call));
    EXPECT_THAT(contents(), ElementsAre("", header("Item") + object("000123", "")));
}

TEST_F(JobFiles, NamesHaveTheTargetsIdUnlessOnlyTheProcessIsWanted) {
    part("part1");
    auto call = forRevision();
    ASSERT_EQ(0, write(call));
    EXPECT_THAT(filesIn(jobDirectory()).front().name,
                MatchesRegex("000123_A_" DIGIT "+_0001\\.job"));
    call.only_pid = true;
    call.destination = (directory_ / "second").string();
    jobs::fs::create_directory(call.destination);
    ASSERT_EQ(0, write(call));
    EXPECT_THAT(filesIn(jobDirectory()).front().name, MatchesRegex(DIGIT "+_0001\\.job"));
}

TEST_F(JobFiles, TheCounterRunsOnOverTypesAndTargets) {
    part("part1");
    const auto other = world.item("000300");
    world.specification(other.revision, "part2", "CADMASTER");
    auto call = forRevision();
    call.targets.push_back(other.revision);
    call.type = "CADPART;CADMASTER";
    call.file_flag = "true";
    ASSERT_EQ(0, write(call));
    const auto files = filesIn(jobDirectory());
    ASSERT_EQ(3u, files.size());
    EXPECT_THAT(files[2].name, HasSubstr("_0003.job"));
    EXPECT_EQ(header("CADMASTER", "000300") + object("part2"), files[2].content);
}

TEST_F(JobFiles, NoTargetsMakeADirectoryWithOptionsOnly) {
    EXPECT_EQ(0, write({}));
    EXPECT_THAT(contents(), IsEmpty());
    EXPECT_TRUE(hasOptions());
}

TEST_F(JobFiles, ATargetThatIsNoRevisionIsPassedOver) {
    part("part1");
    auto call = forRevision();
    call.targets = {made.item, world.dataset("lonely", "CADPART"), made.revision};
    ASSERT_EQ(0, write(call));
    EXPECT_EQ(1u, contents().size());
}

TEST_F(JobFiles, ARevisionWithoutAMatchGetsNoFile) {
    part("text", "Text");
    ASSERT_EQ(0, write(forRevision()));
    EXPECT_THAT(contents(), IsEmpty());
}

TEST_F(JobFiles, WithOneFileForEachTypeATypeWithoutAMatchLeavesAnEmptyOne) {
    auto call = forRevision();
    call.type = "CADPART;CADMASTER";
    call.file_flag = "true";
    ASSERT_EQ(0, write(call));
    EXPECT_THAT(contents(), ElementsAre("", ""));
}

TEST_F(JobFiles, TheFirstTypeThatFindsSomethingIsTheOnlyOne) {
    part("master", "CADMASTER");
    auto call = forRevision();
    call.type = "CADPART;CADMASTER";
    ASSERT_EQ(0, write(call));
    EXPECT_EQ("CADMASTER", value("typ"));
    EXPECT_EQ(1u, contents().size());

    part("part1");
    part("part2");
    call.destination = (directory_ / "second").string();
    jobs::fs::create_directory(call.destination);
    ASSERT_EQ(0, write(call));
    EXPECT_THAT(contents(), ElementsAre(header("CADPART") + object("part1"),
                                        header("CADPART") + object("part2")));
}

TEST_F(JobFiles, AllTypesServeEveryTypeInTheListsOrder) {
    part("part1");
    part("master", "CADMASTER");
    auto call = forRevision();
    call.type = "CADMASTER;Item;CADPART";
    call.all_types = "true";
    ASSERT_EQ(0, write(call));
    EXPECT_THAT(contents(), ElementsAre(header("CADMASTER") + object("master"),
                                        header("Item") + object("000123", ""),
                                        header("CADPART") + object("part1")));
}

TEST_F(JobFiles, OnlyTheWordTrueInSmallLettersMeansAllTypes) {
    part("part1");
    part("master", "CADMASTER");
    int number = 0;
    for (const char* flag : {"TRUE", "True", "true ", "1", "yes"}) {
        auto call = forRevision();
        call.type = "CADPART;CADMASTER";
        call.all_types = flag;
        call.destination = (directory_ / ("flag_" + std::to_string(++number))).string();
        jobs::fs::create_directory(call.destination);
        ASSERT_EQ(0, write(call));
        EXPECT_EQ(1u, contents().size()) << flag;
    }
}

TEST_F(JobFiles, AnItemJobEndsTheListUnlessAllTypesAreWanted) {
    part("part1");
    auto call = forRevision();
    call.type = "Item;CADPART";
    ASSERT_EQ(0, write(call));
    EXPECT_THAT(contents(), ElementsAre(header("Item") + object("000123", "")));
}

TEST_F(JobFiles, ADatasetThatTwoSearchedRelationsAttachCountsTwice) {
    world.bench.relate(made.revision, part("part1"), "VANE_reference");
    auto call = forRevision();
    call.relation_types = {jobs::relationType("VANE_reference"),
                           jobs::relationType("VANE_specification")};
    ASSERT_EQ(0, write(call));
    // In the order of the relation types, not in that of their making.
    EXPECT_THAT(contents(), ElementsAre(header("CADPART") + object("part1", "VANE_reference"),
                                        header("CADPART") + object("part1")));
    call.file_flag = "true";
    call.destination = (directory_ / "second").string();
    jobs::fs::create_directory(call.destination);
    ASSERT_EQ(0, write(call));
    EXPECT_THAT(contents(), ElementsAre(header("CADPART") + object("part1", "VANE_reference") +
                                        object("part1")));
}

TEST_F(JobFiles, NoRelationTypeInTheListStandsForAll) {
    part("part1");
    world.bench.relate(made.revision, world.dataset("part2", "CADPART"), "VANE_reference");
    auto call = forRevision();
    call.relation_types = {NULLTAG};
    ASSERT_EQ(0, write(call));
    EXPECT_THAT(contents(), ElementsAre(header("CADPART") + object("part1"),
                                        header("CADPART") + object("part2", "VANE_reference")));
}

TEST_F(JobFiles, ASubtypeDoesntFit) {
    world.bench.defineType("CADPART_DRAFT", "CADPART", {});
    part("draft", "CADPART_DRAFT");
    ASSERT_EQ(0, write(forRevision()));
    EXPECT_THAT(contents(), IsEmpty());
}

TEST_F(JobFiles, WhatIsNoDatasetDoesntFitWhateverItsType) {
    world.bench.relate(made.revision, world.item("000400").item, "VANE_specification");
    auto call = forRevision();
    call.type = "ItemRevision;Item Master;Form";
    call.relation_types = {NULLTAG};
    ASSERT_EQ(0, write(call));
    EXPECT_THAT(contents(), IsEmpty());
    EXPECT_THAT(world.lines("T"), Contains("This attachment not a dataset"));
    EXPECT_THAT(world.lines("T"), Contains("Answer: 0"));
    EXPECT_THAT(world.lines("T"), Not(Contains("Answer: 1")));
    part("part1");
    call.destination = (directory_ / "second").string();
    jobs::fs::create_directory(call.destination);
    ASSERT_EQ(0, write(call));
    EXPECT_THAT(world.lines("T"), Contains("Answer: 1"));
}

TEST_F(JobFiles, WithTheTargetFlagAnAttachmentCountsOnlyAsATarget) {
    part("part1");
    const tag_t wanted = part("part2");
    auto call = forRevision();
    call.targets = {made.revision, wanted};
    call.target_flag = "true";
    ASSERT_EQ(0, write(call));
    EXPECT_THAT(contents(), ElementsAre(header("CADPART") + object("part2")));
    EXPECT_THAT(world.lines("T"),
                Contains("Attachment no. 0 is no target, so continue with next attachment."));
}

TEST_F(JobFiles, TheTargetFlagIsOffUnlessItIsTheWholeWord) {
    part("part1");
    auto call = forRevision();
    for (const char* word : {"TRUE", "true ", "tru", "1", ""}) {
        call.target_flag = word;
        call.destination = (directory_ / ("flag " + std::string(word))).string();
        jobs::fs::create_directory(call.destination);
        ASSERT_EQ(0, write(call));
        EXPECT_EQ(1u, contents().size()) << word;
    }
}

TEST_F(JobFiles, AFileFlagOfNeitherWordWritesItemJobsOnly) {
    part("part1");
    part("master", "CADMASTER");
    auto call = forRevision();
    call.file_flag = "maybe";
    call.type = "CADPART;Item";
    ASSERT_EQ(0, write(call));
    // The type found something, so the item's turn doesn't come.
    EXPECT_THAT(contents(), IsEmpty());
    call.type = "Item;CADPART";
    call.destination = (directory_ / "second").string();
    jobs::fs::create_directory(call.destination);
    ASSERT_EQ(0, write(call));
    EXPECT_THAT(contents(), ElementsAre(header("Item") + object("000123", "")));
}

TEST_F(JobFiles, ValuesGoInAsTheyAre) {
    world.put(made.item, "object_name", "100%s =\xC3\xA4;\\n");
    auto call = forRevision();
    call.type = "Item";
    call.job_type = "%n%s";
    call.state = "";
    ASSERT_EQ(0, write(call));
    EXPECT_EQ("100%s =\xC3\xA4;\\n", value("obj"));
    EXPECT_EQ("%n%s", value("jobtype"));
    EXPECT_EQ("", value("state"));
}

TEST_F(JobFiles, OptionsAreInTheirFileWithNothingAdded) {
    const std::pair<std::string, std::string> texts[] = {
        {"", ""},          {"a=b\nc", "a=b\nc"},
        {"100%%", "100%"}, {"%%%", "%%"},
        {"%%%%", "%%"},    {"%s", "%s"},
        {"%n", "%n"},      {"%d%%%s%n%%s", "%d%%s%n%s"},
        {"%", "%"},        {"%.999999d", "%.999999d"},
    };
    int number = 0;
    for (const auto& [given, stored] : texts) {
        jobs::WriterCall call;
        call.options = given;
        call.destination = (directory_ / std::to_string(number++)).string();
        jobs::fs::create_directory(call.destination);
        ASSERT_EQ(0, write(call));
        EXPECT_EQ(stored, options());
    }
}

TEST_F(JobFiles, NothingInThePlatformChanges) {
    part("part1");
    world.occurrence(made.revision, world.item("000200").revision);
    const std::string before = world.everything();
    ASSERT_EQ(0, write(forRevision()));
    EXPECT_EQ(before, world.everything());
    EXPECT_EQ(0u, world.bench.heldLocks());
}

TEST_F(JobFiles, TheListOfTypesKeepsItsTextsAndTheTraceItsIds) {
    part("part1");
    const std::size_t before = world.blocks();
    auto call = forRevision();
    call.type = "CADMASTER;CADPART;Text";
    ASSERT_EQ(0, write(call));
    // Three texts of the list, one display id of a target.
    EXPECT_EQ(before + 3 + 1, world.blocks());
}

TEST_F(JobFiles, ArgumentsAreTracedInOrder) {
    ASSERT_EQ(0, write({}));
    const auto lines = world.lines("T");
    const std::vector<std::string> expected = {
        "destination_path = " + directory_.string(),
        "type = CADPART",
        "all_types = false",
        "target_flag = false",
        "iRelationTypeCount = 1",
        "jobtype = PRINT",
        "options = ",
        "state_flag = released",
        "file_flag = false",
        "user_flag = currentUserId",
        "mail_flag = true",
        "city_flag = true",
        "new_status = IREV",
        "new_owner = IREV",
        "new_group = IREV",
        "bFileOnlyPid = 0",
        "szTyp <CADPART> szFileFlag <false> szJobtype <PRINT>",
        "szFilePath <" + directory_.string() + ">",
        "spTypes[0]=CADPART",
    };
    ASSERT_GE(lines.size(), expected.size());
    EXPECT_EQ(expected, std::vector<std::string>(lines.begin(), lines.begin() + 19));
}

TEST_F(JobFiles, NullTextsCountAsEmpty) {
    char job_directory[1024] = "";
    const int status = KELD_fct_CRJ_from_portal(
        nullptr, nullptr, nullptr, nullptr, nullptr, 3, nullptr, nullptr, nullptr, nullptr, nullptr,
        nullptr, nullptr, nullptr, nullptr, nullptr, false, 2, nullptr, job_directory);
    // The directory would be in the root, where only the root user may write.
    if (status == 0)
        jobs::fs::remove_all(job_directory);
    else
        EXPECT_EQ(515186, status);
    EXPECT_THAT(world.lines("T"), Contains("destination_path = (null)"));
    EXPECT_EQ(0, KELD_write_bom_infos(nullptr, made.revision));
    EXPECT_EQ(0, KELD_buildDirName(nullptr));
    EXPECT_EQ(0, KELD_getGroupFullName(group, nullptr));
}
