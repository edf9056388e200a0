// What the writer does when something fails: status, error stack, log, and which files stay.

#include "tests/jobs/jobs.h"
#include "tests/support/patterns.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

namespace {

class JobFailures : public jobs::JobTest {
protected:
    JobFailures() { part("part1"); }
    // A directory for one call.
    std::string fresh(const std::string& name) {
        jobs::fs::create_directory(directory_ / name);
        return (directory_ / name).string();
    }
    // A job type's name long enough that no file's path fits below this base.
    std::string longDirectory(std::size_t job_directory_length) {
        // The name of a job directory has 14 digits and the user's id.
        const std::size_t wanted = job_directory_length - 1 - 14 - 5;
        std::string path = directory_.string();
        while (path.size() < wanted) {
            const std::size_t rest = wanted - path.size();
            // A rest of one character would be a separator without a name.
            std::size_t piece = std::min<std::size_t>(rest - 1, 60);
            if (rest - 1 - piece == 1)
                --piece;
            path += "/" + std::string(piece, 'd');
            jobs::fs::create_directory(path);
        }
        EXPECT_EQ(wanted, path.size());
        return path;
    }
};

}  // namespace

// ---- the job directory ----

TEST_F(JobFailures, AParentThatDoesntExistIsNotMade) {
    auto call = forRevision();
    call.destination = (directory_ / "missing").string();
    const int before = depth();
    const std::size_t blocks = world.blocks();
    EXPECT_EQ(515186, write(call));
    EXPECT_FALSE(jobs::fs::exists(call.destination));
    EXPECT_EQ("untouched", jobDirectory());
    EXPECT_THAT(stack(), ElementsAre(Pair(515186, HasSubstr("KELD_fct_CRJ_from_portal"))));
    EXPECT_THAT(world.lines("E"),
                ElementsAre(testing::MatchesRegex(
                    "ERROR: Unable to create directory .*missing.20" DIGIT "+u4711\\.")));
    EXPECT_THAT(world.lines("T"), Contains(HasSubstr("ERROR:  FilePath:")));
    // The log stays one step deeper; list of targets, list of types with its text, and the traced
    // id stay allocated.
    EXPECT_EQ(before + 1, depth());
    EXPECT_EQ(blocks + 4, world.blocks());
}

TEST_F(JobFailures, AnExistingDirectoryCountsAsAFailure) {
    // The clock runs, so occupy the directory names of the next few seconds.
    const std::string destination = fresh("taken");
    const std::time_t now = std::time(nullptr);
    for (std::time_t time = now; time < now + 5; ++time) {
        std::tm local{};
        char name[32];
        localtime_r(&time, &local);
        std::strftime(name, sizeof(name), "%Y%m%d%H%M%S", &local);
        jobs::fs::create_directory(destination + "/" + name + "u4711");
    }
    auto call = forRevision();
    call.destination = destination;
    EXPECT_EQ(515186, write(call));
    EXPECT_EQ("untouched", jobDirectory());
}

TEST_F(JobFailures, AJobDirectoryOfMoreThan255BytesCantBeMade) {
    auto call = forRevision();
    call.targets.clear();
    call.destination = longDirectory(256);
    EXPECT_EQ(515186, write(call));
    EXPECT_TRUE(jobs::fs::is_empty(call.destination));
}

TEST_F(JobFailures, AVeryLongDestinationIsNeverCut) {
    auto call = forRevision();
    call.destination = directory_.string() + std::string(5000, '/');
    EXPECT_EQ(515186, write(call));
}

TEST_F(JobFailures, ASeparatorAtTheEndOfTheDestinationIsKept) {
    auto call = forRevision();
    const std::string separator = keld_os::szPathSeparator;
    call.destination = directory_.string() + separator;
    ASSERT_EQ(0, write(call));
    EXPECT_THAT(jobDirectory(), HasSubstr(directory_.string() + separator + separator + "2"));
}

TEST_F(JobFailures, WithoutTheUsersIdTheFilesGoIntoTheDestination) {
    auto call = forRevision();
    call.destination = fresh("direct");
    world.fail("DBO_get_user_id", 1);
    EXPECT_EQ(0, write(call));
    EXPECT_EQ("untouched", jobDirectory());
    EXPECT_EQ(1u, filesIn(call.destination).size());
    EXPECT_TRUE(jobs::fs::exists(jobs::fs::path(call.destination) / "options.txt"));
    EXPECT_THAT(stack(), IsEmpty());
}

TEST_F(JobFailures, AFileOfTheSameNameIsEmptiedFirst) {
    auto call = forRevision();
    call.destination = fresh("direct");
    call.options = "a=b";
    for (int run = 0; run < 2; ++run) {
        world.fail("DBO_get_user_id", 1);
        EXPECT_EQ(0, write(call));
        const auto files = filesIn(call.destination);
        ASSERT_EQ(1u, files.size());
        EXPECT_TRUE(files[0].content.starts_with("-typ="));
        EXPECT_EQ(std::string::npos, files[0].content.find("-typ=", 1));
        EXPECT_EQ("a=b", jobs::readText(jobs::fs::path(call.destination) / "options.txt"));
    }
}

// ---- the options file ----

TEST_F(JobFailures, APathOf244CharactersHasRoomForTheOptions) {
    auto call = forRevision();
    call.targets.clear();
    call.destination = longDirectory(244);
    EXPECT_EQ(0, write(call));
    EXPECT_EQ(244u, jobDirectory().size());
    EXPECT_TRUE(hasOptions());
}

TEST_F(JobFailures, APathOf245CharactersHasNot) {
    auto call = forRevision();
    call.targets.clear();
    call.destination = longDirectory(245);
    const int before = depth();
    EXPECT_EQ(2010, write(call));
    EXPECT_EQ(245u, jobDirectory().size());
    EXPECT_FALSE(hasOptions());
    EXPECT_THAT(world.lines("E"), ElementsAre("File Name excekeld allowed file length of 256."));
    EXPECT_THAT(stack(), ElementsAre(Pair(
                             2010, HasSubstr("File Name exceeds allowed file length of 256."))));
    EXPECT_EQ(before, depth());
}

// ---- job files ----

TEST_F(JobFailures, AFileThatCantBeNamedCantBeOpened) {
    auto call = forRevision();
    call.destination = longDirectory(240);
    const int before = depth();
    const std::size_t blocks = world.blocks();
    EXPECT_EQ(2010, write(call));
    EXPECT_THAT(world.lines("E"), ElementsAre("ERROR: File  couldn't be created!"));
    EXPECT_THAT(stack(), ElementsAre(Pair(2010, HasSubstr("ERROR: File  couldn't be created!"))));
    EXPECT_FALSE(hasOptions());
    EXPECT_TRUE(jobs::fs::exists(jobDirectory()));
    EXPECT_EQ(before + 1, depth());
    // The targets are freed; the list of types with its text, the attachments and the traced id
    // aren't.
    EXPECT_EQ(blocks + 4, world.blocks());
}

TEST_F(JobFailures, ForAnItemJobAndOneFileForEachTypeToo) {
    auto call = forRevision();
    call.destination = longDirectory(240);
    call.type = "Item";
    EXPECT_EQ(2010, write(call));
    jobs::fs::remove_all(jobDirectory());
    call.type = "CADPART";
    call.file_flag = "true";
    EXPECT_EQ(2010, write(call));
}

// ---- platform calls ----

TEST_F(JobFailures, AFailedClassTestEndsTheJobAtOnce) {
    auto call = forRevision();
    call.targets = {made.revision, 999999};
    const int before = depth();
    const std::size_t blocks = world.blocks();
    EXPECT_NE(0, write(call));
    EXPECT_EQ(1u, contents().size());
    EXPECT_FALSE(hasOptions());
    EXPECT_EQ(before + 1, depth());
    // The list of types with its text and the first target's id.
    EXPECT_EQ(blocks + 3, world.blocks());
}

TEST_F(JobFailures, AFailedClassTestOfAnAttachmentFreesTheAttachments) {
    const int before = depth();
    const std::size_t blocks = world.blocks();
    // The first question is about the target.
    world.fail("DBO_class_of_instance", 2);
    EXPECT_EQ(jobs::kPlanned, write(forRevision()));
    world.failNothing();
    EXPECT_FALSE(hasOptions());
    EXPECT_EQ(before + 1, depth());
    EXPECT_EQ(blocks + 3, world.blocks());
}

namespace {

struct TargetCall {
    const char* operation;
    int n;
    std::size_t files;
};

class JobTargetCalls : public JobFailures, public testing::WithParamInterface<TargetCall> {};

}  // namespace

TEST_P(JobTargetCalls, AFailureIsReturnedAfterTheNormalEnd) {
    part("part2");
    const std::size_t blocks = world.blocks();
    const int before = depth();
    world.fail(GetParam().operation, GetParam().n);
    EXPECT_EQ(jobs::kPlanned, write(forRevision()));
    world.failNothing();
    EXPECT_EQ(GetParam().files, contents().size());
    EXPECT_FALSE(hasOptions());
    EXPECT_EQ(before, depth());
    // The text of the type's name and the traced id, as after a success.
    EXPECT_EQ(blocks + 2, world.blocks());
}

INSTANTIATE_TEST_SUITE_P(
    All, JobTargetCalls,
    testing::Values(TargetCall{"REL_list_secondary_objects", 1, 0},
                    TargetCall{"ART_ask_item_of_rev", 1, 0}, TargetCall{"ART_ask_id", 1, 0},
                    TargetCall{"ART_ask_rev_id", 1, 0}, TargetCall{"ENT_ask_object_type", 1, 0},
                    TargetCall{"ENT_ask_object_type", 2, 1}),
    [](const auto& tested) {
        return std::string(tested.param.operation) + std::to_string(tested.param.n);
    });

TEST_F(JobFailures, AnUnknownRelationNameLetsTheFileBeFinished) {
    part("part2");
    world.fail("MVTYPE_ask_name", 1);
    EXPECT_EQ(jobs::kPlanned, write(forRevision()));
    world.failNothing();
    EXPECT_THAT(contents(), ElementsAre(header("CADPART") + object("part1", "")));
    EXPECT_FALSE(hasOptions());
}

TEST_F(JobFailures, ADatasetsNameThatCantBeReadIsEmpty) {
    world.fail("ENT_ask_name", 1);
    EXPECT_EQ(0, write(forRevision()));
    EXPECT_EQ("", value("obj"));
}

TEST_F(JobFailures, AnItemsNameThatCantBeReadEndsTheJobAfterItsFile) {
    auto call = forRevision();
    call.type = "Item;CADPART";
    call.all_types = "true";
    world.fail("ART_ask_name", 1);
    EXPECT_EQ(jobs::kPlanned, write(call));
    EXPECT_THAT(contents(), ElementsAre(header("Item") + object("", "")));
    EXPECT_FALSE(hasOptions());
}

TEST_F(JobFailures, AnItemsTypeThatCantBeReadIsEmpty) {
    auto call = forRevision();
    call.type = "Item";
    world.fail("ENT_ask_object_type", 1);
    EXPECT_EQ(0, write(call));
    EXPECT_EQ("", value("typ"));
}

TEST_F(JobFailures, BomLinesThatCantBeReadAreLeftOutOrEmpty) {
    world.occurrence(made.revision, world.item("000200").revision);
    const std::pair<const char*, const char*> calls[] = {
        {"ART_rev_list_bom_view_revs", ""},
        {"STR_list_occurrences_of_bvr", ""},
        {"ENT_ask_object_type", "-bom_rev_type=\n-bom_rev_name="}};
    for (const auto& [operation, lines] : calls) {
        const std::string path = (directory_ / operation).string();
        std::FILE* file = std::fopen(path.c_str(), "w");
        world.fail(operation, 1);
        EXPECT_EQ(0, KELD_write_bom_infos(file, made.revision));
        world.failNothing();
        std::fclose(file);
        const std::string text = jobs::readText(path);
        EXPECT_EQ(lines, text.substr(0, std::strlen(lines))) << operation;
        EXPECT_EQ(*lines == '\0', text.empty()) << operation;
    }
}

TEST_F(JobFailures, AFailedDiagnosisOfATargetChangesNothing) {
    world.fail("ENT_ask_id_string", 1);
    EXPECT_EQ(0, write(forRevision()));
    EXPECT_EQ(1u, contents().size());
}

TEST_F(JobFailures, WithoutMemoryForTheAttachmentsTheStatusIs2002) {
    const auto types = {jobs::relationType("VANE_specification")};
    bool reached = false;
    for (std::size_t allocations = 0; allocations < 40 && !reached; ++allocations) {
        auto call = forRevision();
        call.relation_types = types;
        call.destination = fresh("memory" + std::to_string(allocations));
        tag_t* targets = static_cast<tag_t*>(HEAP_alloc(sizeof(tag_t)));
        *targets = made.revision;
        char job_directory[1024] = "";
        world.bench.failHeapAfter(allocations);
        const int status = KELD_fct_CRJ_from_portal(
            call.destination.c_str(), "CADPART", "false", "false", call.relation_types.data(), 1,
            "", "", "", "false", "", "", "", "", "", "", false, 1, targets, job_directory);
        world.bench.failHeapAfter(std::nullopt);
        reached |= status == 2002;
        if (status == 0)
            break;
    }
    EXPECT_TRUE(reached);
}
