// This program brings functions of the platform itself, and the library calls those: another kind
// of platform, and one whose memory runs out at a single place.

#include <dlfcn.h>

#include "tests/jobs/jobs.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

static bool without_master_forms = false;
static std::string long_user;
static std::filesystem::path blocked;  // in every directory here the name of the options is taken
static int refused_allocation = 0;     // counted down, at 1 the block is refused
static int allocations = 0;

extern "C" KELD_EXPORT int REL_find_relation_type(const char* name, tag_t* type) {
    static const auto own =
        reinterpret_cast<int (*)(const char*, tag_t*)>(dlsym(RTLD_NEXT, "REL_find_relation_type"));
    if (without_master_forms && std::string(name) == "VANE_master_form") {
        *type = NULLTAG;
        return 0;
    }
    return own(name, type);
}

extern "C" KELD_EXPORT int DBO_get_user_id(char** id) {
    static const auto own = reinterpret_cast<int (*)(char**)>(dlsym(RTLD_NEXT, "DBO_get_user_id"));
    if (long_user.empty())
        return own(id);
    *id = static_cast<char*>(HEAP_alloc(long_user.size() + 1));
    std::strcpy(*id, long_user.c_str());
    return 0;
}

// The library calls this after making the job directory and before the options.
extern "C" KELD_EXPORT int ORG_ask_current_groupmember(tag_t* member) {
    static const auto own =
        reinterpret_cast<int (*)(tag_t*)>(dlsym(RTLD_NEXT, "ORG_ask_current_groupmember"));
    if (!blocked.empty())
        for (const auto& entry : std::filesystem::directory_iterator(blocked))
            std::filesystem::create_directory(entry.path() / "options.txt");
    return own(member);
}

extern "C" KELD_EXPORT void* HEAP_alloc(std::size_t size) {
    static const auto own =
        reinterpret_cast<void* (*)(std::size_t)>(dlsym(RTLD_NEXT, "HEAP_alloc"));
    ++allocations;
    if (refused_allocation > 0 && --refused_allocation == 0)
        return nullptr;
    return own(size);
}

namespace {

class OwnPlatform : public jobs::JobTest {
protected:
    OwnPlatform() {
        part("part1");
        without_master_forms = false;
        long_user.clear();
        blocked.clear();
    }
    int createItem(const char* relation) {
        return KELD_createJobItem(1, &made.revision, NULLTAG, "queue", "type", false, false,
                                  relation, "jobtype", "", "", "", "", "");
    }
    // The service, without a batch program.
    int createFiles(const std::string& relations, const std::string& options = "",
                    bool with_target = true) {
        std::vector<tag_t> targets;
        if (with_target)
            targets.push_back(made.revision);
        world.bench.sendArguments({std::string("CADPART"), directory_.string(), directory_.string(),
                                   std::string(), std::string(), options, std::string("false"),
                                   relations, std::string(), targets});
        int slot = 99;
        const int status = KELD_SrvCallCRJFromPortal(&slot);
        EXPECT_EQ(0, slot);
        return status;
    }
    std::vector<jobs::fs::path> madeDirectories() const {
        std::vector<jobs::fs::path> found;
        for (const auto& entry : jobs::fs::directory_iterator(directory_))
            if (entry.is_directory())
                found.push_back(entry.path());
        return found;
    }
};

}  // namespace

// ---- a platform without master forms ----

TEST_F(OwnPlatform, WithoutMasterFormsTheRefusalNamesTheClientsRelation) {
    without_master_forms = true;
    testing::internal::CaptureStderr();
    EXPECT_EQ(2010, createItem("client's"));
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("ERROR: unknown relation type client's\n"));
    EXPECT_THAT(stack(), ElementsAre(Pair(2010, HasSubstr("Unknown relation type client's"))));
    // The job item stays, and it and its revision stay locked.
    EXPECT_EQ(1, world.count("ORLAJob"));
    EXPECT_EQ(2u, world.bench.heldLocks());
}

TEST_F(OwnPlatform, WithoutMasterFormsAndRelationTheRefusalNamesNull) {
    without_master_forms = true;
    testing::internal::CaptureStderr();
    EXPECT_EQ(2010, createItem(nullptr));
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("ERROR: unknown relation type (null)\n"));
    EXPECT_THAT(stack(), ElementsAre(Pair(2010, HasSubstr("Unknown relation type (null)"))));
}

TEST_F(OwnPlatform, TheRefusalIsCutToTheLengthOfAMessage) {
    without_master_forms = true;
    testing::internal::CaptureStderr();
    EXPECT_EQ(2010, createItem(std::string(3000, 'r').c_str()));
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr(std::string(3000, 'r') + "\n"));
    ASSERT_EQ(1u, stack().size());
    EXPECT_THAT(stack().front().second, HasSubstr(std::string(1000 - 22, 'r')));
    EXPECT_THAT(stack().front().second, testing::Not(HasSubstr(std::string(1000 - 21, 'r'))));
    EXPECT_THAT(world.lines("W"), Contains("Text cut to 1000 characters: buffer"));
}

// ---- the job directory's name ----

TEST_F(OwnPlatform, ANameOfTheJobDirectoryThatDoesntFitIsEmpty) {
    // Every directory of the name is the destination itself, which exists already.
    long_user = std::string(300, 'u');
    EXPECT_EQ(515186, createFiles("VANE_specification"));
    EXPECT_THAT(world.lines("T"), Contains("dirName:<>"));
    EXPECT_THAT(madeDirectories(), IsEmpty());
}

// ---- files ----

TEST_F(OwnPlatform, OptionsThatCantBeWrittenAreAnError) {
    blocked = directory_;
    EXPECT_EQ(2010, createFiles("VANE_specification", "x", false));
    ASSERT_EQ(1u, madeDirectories().size());
    EXPECT_TRUE(jobs::fs::is_directory(madeDirectories().front() / "options.txt"));
    const std::string text = "ERROR: File " + (madeDirectories().front() / "options.txt").string() +
                             " couldn't be created!";
    EXPECT_THAT(world.lines("E"), ElementsAre(text));
    EXPECT_THAT(stack(), Contains(Pair(2010, HasSubstr(text))));
}

// ---- memory ----

TEST_F(OwnPlatform, WithoutMemoryForTheRelationTypesNoDirectoryIsMade) {
    for (const char* relations : {"all", "VANE_specification;VANE_reference"}) {
        for (const auto& old : madeDirectories())
            jobs::fs::remove_all(old);
        allocations = 0;
        ASSERT_EQ(0, createFiles(relations));
        const int needed = allocations;
        int refused = 0;
        for (int n = 1; n <= needed; ++n) {
            for (const auto& old : madeDirectories())
                jobs::fs::remove_all(old);
            refused_allocation = n;
            const int status = createFiles(relations);
            refused_allocation = 0;
            if (status != 2002)
                continue;
            // Other lists are refused later, after the job directory is made.
            refused += madeDirectories().empty();
        }
        EXPECT_GT(refused, 0) << relations;
    }
}
