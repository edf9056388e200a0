// Texts longer than the writer's and the service's fields, one test for each.

#include "tests/jobs/jobs.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

namespace {

class JobLimits : public jobs::JobTest {
protected:
    JobLimits() { part("part1"); }

    // The longest text that is accepted is written, the next longer one refused.
    void expectLimit(std::string jobs::WriterCall::*field, const std::string& name,
                     std::size_t limit) {
        auto call = forRevision();
        call.destination = (directory_ / "most").string();
        jobs::fs::create_directory(call.destination);
        call.*field = std::string(limit, 'x');
        EXPECT_EQ(0, write(call));
        call.destination = (directory_ / "more").string();
        jobs::fs::create_directory(call.destination);
        for (const std::size_t length : {limit + 1, limit + 100000}) {
            world.clearLog();
            const std::size_t blocks = world.blocks();
            const int before = depth();
            const std::size_t errors = stack().size();
            call.*field = std::string(length, 'x');
            EXPECT_EQ(2010, write(call));
            const std::string text = "Argument " + name + " has " + std::to_string(length) +
                                     " characters, at most " + std::to_string(limit) +
                                     " are allowed.";
            EXPECT_THAT(world.lines("E"), ElementsAre(text));
            ASSERT_EQ(errors + 1, stack().size());
            EXPECT_THAT(stack().back(), Pair(2010, HasSubstr(text)));
            EXPECT_TRUE(jobs::fs::is_empty(call.destination));
            EXPECT_EQ("untouched", jobDirectory());
            EXPECT_EQ(before, depth());
            // Texts of the list of types and the target's traced id.
            EXPECT_EQ(blocks + 2, world.blocks());
        }
    }
};

}  // namespace

TEST_F(JobLimits, AnEntryOfTheTypes) {
    expectLimit(&jobs::WriterCall::type, "type", 128);
}
TEST_F(JobLimits, TheFileFlag) {
    expectLimit(&jobs::WriterCall::file_flag, "file_flag", 128);
}
TEST_F(JobLimits, TheTargetFlag) {
    expectLimit(&jobs::WriterCall::target_flag, "target_flag", 128);
}
TEST_F(JobLimits, TheJobType) {
    expectLimit(&jobs::WriterCall::job_type, "jobtype", 240);
}
TEST_F(JobLimits, TheState) {
    expectLimit(&jobs::WriterCall::state, "state_flag", 240);
}

TEST_F(JobLimits, TheListOfTypesAsAWholeHasNoLimit) {
    auto call = forRevision();
    call.type.clear();
    for (int i = 0; i < 5000; ++i)
        call.type += "NOTHING" + std::to_string(i) + ";";
    call.type += "CADPART";
    ASSERT_EQ(0, write(call));
    EXPECT_EQ("CADPART", value("typ"));
}

TEST_F(JobLimits, TheOptionsHaveNoLimit) {
    auto call = forRevision();
    call.options = std::string(1000000, 'o');
    ASSERT_EQ(0, write(call));
    EXPECT_EQ(call.options, options());
}

TEST_F(JobLimits, FlagsThatAreOnlyCompared) {
    auto call = forRevision();
    call.all_types = call.user_flag = call.mail_flag = call.city_flag = std::string(100000, 'f');
    ASSERT_EQ(0, write(call));
    EXPECT_EQ("", value("user"));
}

TEST_F(JobLimits, TheLongestNamesOfThePlatformGoInWhole) {
    const std::string id(128, 'i'), name(128, 'n'), type(128, 't');
    const auto item = world.item(id);
    world.bench.defineType(type, "Dataset", {});
    world.specification(item.revision, name, type);
    world.put(item.revision, "item_revision_id", std::string(128, 'r'));
    auto call = forRevision();
    call.targets = {item.revision};
    call.type = type;
    ASSERT_EQ(0, write(call));
    EXPECT_EQ(type, value("typ"));
    EXPECT_EQ(id, value("iid"));
    EXPECT_EQ(std::string(128, 'r'), value("irv"));
    EXPECT_EQ(name, value("obj"));
}

TEST_F(JobLimits, ARelationTypesNameIsCutTo32WithoutAMessage) {
    const std::string name = std::string(32, 'R') + "elation";
    world.bench.defineRelationType(name);
    world.bench.relate(made.revision, world.dataset("part2", "CADMASTER"), name);
    auto call = forRevision();
    call.type = "CADMASTER";
    call.relation_types = {NULLTAG};
    ASSERT_EQ(0, write(call));
    EXPECT_EQ(std::string(32, 'R'), value("rel"));
    EXPECT_THAT(world.lines("EW"), IsEmpty());
}

// ---- the service ----

namespace {

class JobServiceLimits : public jobs::JobTest {
protected:
    // The arguments of the service, with one replaced.
    int call(std::size_t index, const std::string& text) {
        std::vector<mervane::Argument> arguments = {
            std::string("CADPART"), directory_.string(), std::string(""), std::string("PRINT"),
            std::string("state"),   std::string("opt"),  std::string(""), std::string(""),
            std::string("none"),    std::vector<tag_t>{}};
        arguments[index] = text;
        world.bench.sendArguments(arguments);
        int slot = 99;
        const int status = KELD_SrvCallCRJFromPortal(&slot);
        EXPECT_EQ(0, slot);
        return status;
    }
    void expectRefused(std::size_t index, const std::string& name) {
        for (const std::size_t length : {std::size_t{1000}, std::size_t{200000}}) {
            world.clearLog();
            const std::size_t errors = stack().size();
            EXPECT_EQ(919998, call(index, std::string(length, 'x')));
            const std::string text = "Argument " + name + " has " + std::to_string(length) +
                                     " characters, at most 999 are allowed.";
            ASSERT_EQ(errors + 1, stack().size());
            EXPECT_THAT(stack().back(), Pair(919998, HasSubstr(text)));
            EXPECT_THAT(world.lines("E"), testing::Contains(text));
            EXPECT_TRUE(jobs::fs::is_empty(directory_));
        }
    }
};

}  // namespace

TEST_F(JobServiceLimits, TheTypes) {
    expectRefused(0, "szTyp");
}
TEST_F(JobServiceLimits, TheDirectoryOnWindows) {
    expectRefused(1, "szWinDestinationPath");
}
TEST_F(JobServiceLimits, TheDirectoryElsewhere) {
    expectRefused(2, "szUnixDestinationPath");
}
TEST_F(JobServiceLimits, TheJobType) {
    expectRefused(3, "szJobType");
}
TEST_F(JobServiceLimits, TheState) {
    expectRefused(4, "szStateFlag");
}
TEST_F(JobServiceLimits, TheOptions) {
    expectRefused(5, "szOptions");
}
TEST_F(JobServiceLimits, TheRelationTypes) {
    expectRefused(7, "szRelation");
}
TEST_F(JobServiceLimits, TheProgram) {
    expectRefused(8, "programexe");
}

TEST_F(JobServiceLimits, TheAllTypesFlagIsComparedWhole) {
    EXPECT_EQ(919998, call(6, std::string(200000, 't')));
}

TEST_F(JobServiceLimits, OptionsOf999CharactersAreWritten) {
    EXPECT_EQ(0, call(5, std::string(999, 'x')));
    for (const auto& entry : jobs::fs::directory_iterator(directory_))
        EXPECT_EQ(std::string(999, 'x'), jobs::readText(entry.path() / "options.txt"));
}

TEST_F(JobServiceLimits, ATextThatFitsTheServiceButNotTheWriterIsTheWritersRefusal) {
    EXPECT_EQ(2010, call(3, std::string(241, 'x')));
    EXPECT_THAT(stack(), ElementsAre(Pair(2010, HasSubstr("Argument jobtype has 241"))));
}

TEST_F(JobServiceLimits, APathWhoseVariablesMakeItTooLongIsAFailure) {
    ::setenv("KELD_LONG", std::string(1100, 'p').c_str(), 1);
    EXPECT_EQ(2010, call(2, "%KELD_LONG%"));
    ::setenv("TEMP", std::string(1100, 'p').c_str(), 1);
    EXPECT_EQ(2010, call(1, ""));
    ::unsetenv("TEMP");
    EXPECT_TRUE(jobs::fs::is_empty(directory_));
}
