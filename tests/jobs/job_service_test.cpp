// The create-job service: arguments, defaults, targets, the program.

#include "tests/jobs/jobs.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;

namespace {

class JobService : public jobs::JobTest {
protected:
    JobService() {
        ::setenv("TEMP", directory_.string().c_str(), 1);
        base = directory_ / "job";
        jobs::fs::create_directory(base);
    }
    ~JobService() override { ::unsetenv("TEMP"); }

    struct Sent {
        std::string types, windows, unix, job_type, state, options, all_types, relations, program;
        std::vector<tag_t> targets;
    };
    static std::vector<mervane::Argument> stream(const Sent& sent) {
        return {sent.types,   sent.windows,   sent.unix,      sent.job_type, sent.state,
                sent.options, sent.all_types, sent.relations, sent.program,  sent.targets};
    }
    int call(const std::vector<mervane::Argument>& arguments) {
        world.clearLog();
        world.bench.sendArguments(arguments);
        int slot = 99;
        const int status = KELD_SrvCallCRJFromPortal(&slot);
        EXPECT_EQ(0, slot);
        return status;
    }
    int call(const Sent& sent) { return call(stream(sent)); }
    // The one job directory that has been made, or empty.
    jobs::fs::path jobMade() const {
        jobs::fs::path found;
        for (const auto& entry : jobs::fs::directory_iterator(base)) {
            EXPECT_TRUE(found.empty());
            found = entry.path();
        }
        return found;
    }
    std::vector<std::string> made_contents() const {
        std::vector<std::string> found;
        if (!jobMade().empty())
            for (const auto& file : filesIn(jobMade()))
                found.push_back(file.content);
        return found;
    }
    // The fixed settings of the service with empty job type and state.
    static std::string serviceHeader(const std::string& type, const std::string& id = "000123",
                                     const std::string& revision = "A") {
        return "-typ=" + type + "\n-iid=" + id + "\n-irv=" + revision +
               "\n-user=u4711\n-usersgroup=design.engineering\n-mailto=u4711.mail\n"
               "-city=Brightwater\n-jobtype=\n-state=\n";
    }
    // A program that appends its arguments to a file and exits with a code.
    std::string program(int exit_code, const std::string& name = "batch") {
        const jobs::fs::path path = directory_ / name;
        std::ofstream(path) << "#!/bin/sh\nfor a in \"$@\"; do echo \"<$a>\" >> '"
                            << (directory_ / "started").string() << "'; done\n"
                            << "[ $# -eq 0 ] && echo none >> '" << (directory_ / "started").string()
                            << "'\nexit " << exit_code << "\n";
        jobs::fs::permissions(path, jobs::fs::perms::owner_all);
        return path.string();
    }
    std::string started() const { return jobs::readText(directory_ / "started"); }

    jobs::fs::path base;
};

}  // namespace

// ---- defaults ----

TEST_F(JobService, EmptyArgumentsHaveTheirDefaults) {
    part("part1");
    part("master", "CADMASTER");
    world.bench.relate(made.revision, world.dataset("other", "CADPART"), "VANE_reference");
    Sent sent;
    sent.targets = {made.revision};
    ASSERT_EQ(0, call(sent));
    EXPECT_THAT(made_contents(), ElementsAre(serviceHeader("CADPART") + object("part1")));
    EXPECT_TRUE(jobs::fs::exists(jobMade() / "options.txt"));
    EXPECT_THAT(stack(), IsEmpty());
}

TEST_F(JobService, ASingleBlankCountsAsEmpty) {
    part("master", "CADMASTER");
    Sent sent{" ", " ", " ", " ", " ", " ", " ", " ", " ", {made.revision}};
    ASSERT_EQ(0, call(sent));
    EXPECT_THAT(made_contents(), ElementsAre(HasSubstr("-jobtype= \n-state= \n-obj=master\n")));
    EXPECT_EQ(" ", jobs::readText(jobMade() / "options.txt"));
    EXPECT_THAT(world.lines("T"), Contains("szAllTypesFlag = false"));
    EXPECT_THAT(world.lines("T"), Not(Contains("Calling the command!")));
}

TEST_F(JobService, TheDirectoryElsewhereComesFirstOutsideWindows) {
    Sent sent;
    sent.windows = (directory_ / "nowhere").string();
    sent.unix = base.string();
    ASSERT_EQ(0, call(sent));
    EXPECT_FALSE(jobMade().empty());
    EXPECT_THAT(world.lines("T"), Contains("_UNIX"));
    sent.unix = " ";
    sent.windows = base.string();
    jobs::fs::remove_all(jobMade());
    ASSERT_EQ(0, call(sent));
    EXPECT_FALSE(jobMade().empty());
}

TEST_F(JobService, VariablesOfTheDirectoryAreExtended) {
    ::setenv("KELD_TEST_BASE", base.string().c_str(), 1);
    Sent sent;
    sent.unix = "%KELD_TEST_BASE%";
    ASSERT_EQ(0, call(sent));
    EXPECT_FALSE(jobMade().empty());
    EXPECT_THAT(
        world.lines("T"),
        Contains("Destination-Path with extended path-variable will be <" + base.string() + ">"));
}

TEST_F(JobService, TheClientsTextsReachTheFiles) {
    part("part1");
    Sent sent{"Item", "", "", "PLOT", "frozen", "a=%%", "", "", "", {made.revision}};
    ASSERT_EQ(0, call(sent));
    EXPECT_THAT(made_contents(), ElementsAre(HasSubstr("-jobtype=PLOT\n-state=frozen\n")));
    EXPECT_EQ("a=%", jobs::readText(jobMade() / "options.txt"));
}

TEST_F(JobService, AnEmptyVariableIsNoBaseDirectory) {
    ::setenv("TEMP", "", 1);
    Sent sent;
    sent.relations = "nosuchrelation";  // ends the service before the writer
    EXPECT_EQ(919998, call(sent));
    EXPECT_THAT(world.lines("T"),
                Contains(std::string("Destination-Path with extended path-variable will be <") +
                         (keld_os::bWindows ? "c:\\temp\\job>" : "/tmp/job>")));
}

// ---- all types ----

TEST_F(JobService, OnlyTrueAndFalseAreAllTypesFlags) {
    part("part1");
    part("master", "CADMASTER");
    Sent sent;
    sent.targets = {made.revision};
    sent.all_types = "true";
    ASSERT_EQ(0, call(sent));
    EXPECT_EQ(2u, made_contents().size());
    jobs::fs::remove_all(jobMade());
    for (const char* flag : {"TRUE", "False", "1", "true ", "  "}) {
        sent.all_types = flag;
        const std::size_t errors = stack().size();
        EXPECT_EQ(919998, call(sent)) << flag;
        EXPECT_TRUE(jobMade().empty());
        ASSERT_EQ(errors + 1, stack().size());
        EXPECT_THAT(stack().back(),
                    Pair(919998, HasSubstr("Argument [all_types] value is not valid.")));
        EXPECT_THAT(world.lines("E"), Contains("Argument [all_types] value is not valid."));
        EXPECT_THAT(world.lines("T"), Contains("Vor iRetcode = !QSK_ok "));
        EXPECT_THAT(world.lines("T"), Contains("Nach iRetcode = !QSK_ok "));
    }
}

// ---- relation types ----

TEST_F(JobService, AllSearchesEveryRelation) {
    part("part1");
    world.bench.relate(made.revision, world.dataset("part2", "CADPART"), "VANE_reference");
    Sent sent;
    sent.relations = "all";
    sent.targets = {made.revision};
    ASSERT_EQ(0, call(sent));
    EXPECT_EQ(2u, made_contents().size());
}

TEST_F(JobService, AllIsAWordOfItsOwnAndNoName) {
    Sent sent;
    sent.relations = "all;VANE_specification";
    EXPECT_EQ(919998, call(sent));
    EXPECT_THAT(stack(), ElementsAre(Pair(919998, HasSubstr("type NOT found: no:2; name:all"))));
    EXPECT_TRUE(jobMade().empty());
}

TEST_F(JobService, AnUnknownRelationIsRefusedBeforeTheProgramIsRead) {
    Sent sent;
    sent.relations = "VANE_specification;nosuchrelation";
    const auto calls = world.calls([&] { EXPECT_EQ(919998, call(sent)); });
    EXPECT_THAT(stack(),
                ElementsAre(Pair(919998, HasSubstr("type NOT found: no:2; name:nosuchrelation"))));
    EXPECT_EQ(8, std::count_if(calls.begin(), calls.end(), [](const std::string& made_call) {
                  return made_call.starts_with("SVCARG_get_string_argument");
              }));
    EXPECT_THAT(calls, Not(Contains(HasSubstr("SVCARG_get_tag_array_argument"))));
    EXPECT_THAT(world.lines("T"), Contains(HasSubstr("type found: no:2; name:VANE_specification")));
    EXPECT_THAT(world.lines("E"), Contains("Argument [reference] value is not valid."));
}

TEST_F(JobService, AFailedRelationLookUpIsReturned) {
    Sent sent;
    world.fail("REL_find_relation_type", 1);
    EXPECT_EQ(jobs::kPlanned, call(sent));
    EXPECT_THAT(world.lines("E"), Contains("Argument [reference] value is not valid."));
    EXPECT_THAT(stack(), IsEmpty());
}

// ---- targets ----

TEST_F(JobService, AnItemIsServedThroughItsLatestRevision) {
    world.specification(world.revision(made.item, "B"), "partB", "CADPART");
    part("partA");
    Sent sent;
    sent.targets = {made.item};
    ASSERT_EQ(0, call(sent));
    EXPECT_THAT(made_contents(),
                ElementsAre(serviceHeader("CADPART", "000123", "B") + object("partB")));
    EXPECT_THAT(world.lines("T"), Contains("Latest ItemRevision for Item found."));
}

TEST_F(JobService, AnItemWithoutARevisionCountsAtTheEndOnly) {
    part("part1");
    const auto empty = world.item("000500");
    world.bench.set(empty.revision, "items_tag", {});
    Sent sent;
    sent.targets = {made.revision, empty.item};
    const int last = call(sent);
    EXPECT_NE(0, last);
    EXPECT_TRUE(jobMade().empty());
    EXPECT_THAT(world.lines("T"), Contains("An Item with name <000500> has no revision"));
    // Before the last target it doesn't end the service, so the writer gets a target that is none.
    sent.targets = {empty.item, made.revision};
    EXPECT_NE(0, call(sent));
    EXPECT_FALSE(jobMade().empty());
}

TEST_F(JobService, ALatestRevisionThatCantBeAskedForIsNoFailure) {
    part("part1");
    Sent sent;
    sent.targets = {made.item};
    world.fail("ART_ask_latest_rev");
    EXPECT_EQ(0, call(sent));
    EXPECT_THAT(world.lines("T"), Contains("An Item with name <000123> has no revision"));
    EXPECT_THAT(made_contents(), IsEmpty());
}

TEST_F(JobService, ATargetThatIsNoObjectLeavesAtOnceWithoutCleaningUp) {
    Sent sent;
    sent.targets = {made.revision, NULLTAG};
    const int before = depth();
    const std::size_t blocks = world.blocks();
    EXPECT_NE(0, call(sent));
    EXPECT_EQ(before + 1, depth());
    EXPECT_THAT(world.lines("T"), Not(Contains("Clean up:")));
    EXPECT_THAT(world.lines("E"), Contains(HasSubstr("##QSK_err_")));
    EXPECT_TRUE(jobMade().empty());
    // Nine texts, the targets, the relation types, their list and its one name.
    EXPECT_EQ(blocks + 9 + 1 + 3, world.blocks());
}

TEST_F(JobService, NoTargetsStillStartTheProgram) {
    Sent sent;
    sent.program = program(0);
    ASSERT_EQ(0, call(sent));
    EXPECT_EQ("<" + jobMade().string() + ">\n", started());
}

// ---- the program ----

TEST_F(JobService, NoneStartsNoProgram) {
    part("part1");
    Sent sent;
    sent.program = "none";
    sent.targets = {made.revision};
    ASSERT_EQ(0, call(sent));
    EXPECT_EQ(1u, made_contents().size());
    EXPECT_THAT(world.lines("T"), Not(Contains("Calling the command!")));
}

TEST_F(JobService, ABatchProgramReadsWhatTheServiceWrote) {
    world.occurrence(made.revision, world.item("000200").revision);
    part("part1");
    part("part2");
    Sent sent;
    sent.types = "CADPART;Item";
    sent.all_types = "true";
    sent.program = KELD_BATCH_PROGRAM;
    sent.targets = {made.item};
    ASSERT_EQ(0, call(sent));
    EXPECT_THAT(jobs::readText(jobMade() / "result.txt"),
                HasSubstr("-files=3\n-jobs=3\n-empty=0\n-objects=3\n-options=0\n-problems=0\n"));
}

TEST_F(JobService, TheProgramsExitCodeIsNotLookedAt) {
    Sent sent;
    sent.program = program(7);
    EXPECT_EQ(0, call(sent));
    EXPECT_NE("", started());
    EXPECT_THAT(stack(), IsEmpty());
}

TEST_F(JobService, AProgramThatDoesntExistCountsAsStarted) {
    Sent sent;
    sent.program = (directory_ / "no_such_program").string();
    EXPECT_EQ(0, call(sent));
    EXPECT_THAT(world.lines("T"), Contains("Calling the command!"));
    EXPECT_THAT(stack(), IsEmpty());
}

TEST_F(JobService, ABlankInTheDirectorysPathMakesTwoArguments) {
    base = directory_ / "two words";
    jobs::fs::create_directory(base);
    Sent sent;
    sent.unix = base.string();
    sent.program = program(0);
    ASSERT_EQ(0, call(sent));
    const std::string path = jobMade().string();
    const std::size_t blank = path.find(' ');
    EXPECT_EQ("<" + path.substr(0, blank) + ">\n<" + path.substr(blank + 1) + ">\n", started());
}

TEST_F(JobService, ABlankInTheProgramsNameIsNotQuoted) {
    Sent sent;
    sent.program = program(0, "first") + " second";
    ASSERT_EQ(0, call(sent));
    EXPECT_THAT(started(), HasSubstr("<second>\n<"));
}

TEST_F(JobService, AUsersIdIsNeverReadByTheCommandProcessor) {
    const std::string marker = (directory_ / "marker").string();
    // No user is made with such an id any more, but one may have it from before.
    administer([this] { world.put(user, "user_id", "u;touch $MARK>b|c&d `e` \"f\" .."); });
    ::setenv("MARK", marker.c_str(), 1);
    Sent sent;
    sent.program = program(0);
    EXPECT_EQ(0, call(sent));
    ::unsetenv("MARK");
    EXPECT_FALSE(jobs::fs::exists(marker));
    ASSERT_FALSE(jobMade().empty());
    EXPECT_EQ("u_touch__MARK_b_c_d__e___f__._", jobMade().filename().string().substr(14));
    EXPECT_EQ("<" + jobMade().string() + ">\n", started());
}

TEST_F(JobService, WithoutAJobDirectoryTheCommandEndsInABlank) {
    Sent sent;
    sent.unix = base.string();
    sent.program = program(0);
    world.fail("DBO_get_user_id", 1);
    ASSERT_EQ(0, call(sent));
    EXPECT_EQ("none\n", started());
    EXPECT_THAT(world.lines("T"), Contains("system_command <" + sent.program + " >"));
}

TEST_F(JobService, AFailedWriterStartsNoProgram) {
    Sent sent;
    sent.unix = (directory_ / "missing").string();
    sent.program = program(0);
    EXPECT_EQ(515186, call(sent));
    EXPECT_EQ("", started());
}

// A command can't be run if the environment is larger than the system lets a program have.
TEST_F(JobService, ACommandThatCantBeRunIsRefused) {
    Sent sent;
    sent.program = program(0);
    ::setenv("KELD_HUGE", std::string(4000000, 'h').c_str(), 1);
    EXPECT_EQ(919998, call(sent));
    ::unsetenv("KELD_HUGE");
    EXPECT_EQ("", started());
    EXPECT_FALSE(jobMade().empty());
    const std::string text = "ERROR: \"KELD_CRJ_from_portal\" did not start the server.";
    EXPECT_THAT(stack(), ElementsAre(Pair(919998, HasSubstr(text))));
    EXPECT_THAT(world.lines("E"), ElementsAre(text));
}

// ---- reading ----

namespace {

class JobServiceReads : public JobService, public testing::WithParamInterface<int> {};

}  // namespace

TEST_P(JobServiceReads, AReadFromTheFourthOnEndsTheService) {
    Sent sent;
    sent.program = program(0);
    std::vector<mervane::Argument> arguments = stream(sent);
    arguments.resize(static_cast<std::size_t>(GetParam()) - 1);
    const int before = depth();
    const int status = call(arguments);
    EXPECT_NE(0, status);
    EXPECT_TRUE(jobMade().empty());
    EXPECT_EQ("", started());
    // The platform's own entry and no more.
    ASSERT_EQ(1u, stack().size());
    EXPECT_EQ(status, stack().front().first);
    EXPECT_THAT(world.lines("T"), Contains("Clean up:"));
    EXPECT_EQ(before, depth());
}

INSTANTIATE_TEST_SUITE_P(Each, JobServiceReads, testing::Values(4, 5, 6, 7, 8, 9, 10));

TEST_F(JobService, FailuresOfTheFirstThreeReadsAreDropped) {
    part("part1");
    for (int n = 1; n <= 3; ++n) {
        Sent sent;
        sent.targets = {made.revision};
        std::vector<mervane::Argument> arguments = stream(sent);
        // A failed read leaves its argument in the stream for the next read.
        arguments.erase(arguments.begin(), arguments.begin() + (n == 1 ? 3 : n == 2 ? 2 : 1));
        world.fail("SVCARG_get_string_argument", n);
        EXPECT_EQ(0, call(arguments)) << n;
        world.failNothing();
        EXPECT_EQ(1u, made_contents().size()) << n;
        jobs::fs::remove_all(jobMade());
    }
}

TEST_F(JobService, ReceivedTextsAreFreedApartFromTheAllTypesFlagAndTheArrayOfNames) {
    Sent sent;
    sent.relations = "VANE_specification;VANE_reference";
    const std::size_t before = world.blocks();
    ASSERT_EQ(0, call(sent));
    // The flag, the array of names, and the two texts of the writer's list of types.
    EXPECT_EQ(before + 4, world.blocks());
    EXPECT_THAT(world.lines("T"), Contains("Cleaned up szUnixDestinationPath"));
    EXPECT_THAT(world.lines("T"), Contains("Cleaned up programexe"));
}

TEST_F(JobService, ANullSlotIsTaken) {
    world.bench.sendArguments(stream({}));
    EXPECT_EQ(0, KELD_SrvCallCRJFromPortal(nullptr));
}
