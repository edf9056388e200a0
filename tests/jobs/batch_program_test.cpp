// keld-batch: what it makes of job directories, whole ones and damaged ones, and of its arguments.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#if !defined(_WIN32)
#include <sys/wait.h>
#endif

#include <cstdlib>
#include <filesystem>

#include "tests/support/files.h"
#include "tools/keld-batch/job_file.h"

using keld_batch::JobFile;
using keld_batch::parseJobFile;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

namespace fs = std::filesystem;

constexpr char kHeader[] =
    "-typ=CADPART\n-iid=000123\n-irv=A\n-user=u4711\n-usersgroup=design.engineering\n"
    "-mailto=u4711.mail\n-city=Brightwater\n-jobtype=PRINT\n-state=released\n";
constexpr char kObject[] = "-obj=part1\n-rel=VANE_specification\n";

JobFile parse(const std::string& content) {
    return parseJobFile("test.job", content);
}

class BatchProgram : public testing::Test {
protected:
    void put(const std::string& name, const std::string& content) {
        keld_test::writeFile(directory / name, content);
    }
    // Run the program with these words after its name on a command line.
    int run(const std::string& arguments) {
        const std::string command = std::string(KELD_BATCH_PROGRAM) + " " + arguments + " > " +
                                    (directory / "out").string() + " 2>&1";
        const int status = std::system(command.c_str());
        printed = keld_test::readText(directory / "out");
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    int run() { return run(directory.string()); }
    std::string result() const { return keld_test::readText(directory / "result.txt"); }

    keld_test::Directory directory;
    std::string printed;
};

}  // namespace

// ---- one file ----

TEST(BatchJobFile, AWholeFileIsRead) {
    const JobFile job =
        parse(std::string(kHeader) + "-bom_rev_type=view\n-bom_rev_name=000123/A-view\n" + kObject +
              "-obj=part2\n-rel=\n");
    EXPECT_THAT(job.problems, IsEmpty());
    EXPECT_EQ("CADPART", job.type);
    EXPECT_EQ("000123", job.item);
    EXPECT_EQ("A", job.revision);
    EXPECT_EQ("u4711", job.user);
    EXPECT_EQ("design.engineering", job.users_group);
    EXPECT_EQ("u4711.mail", job.mail_to);
    EXPECT_EQ("Brightwater", job.city);
    EXPECT_EQ("PRINT", job.job_type);
    EXPECT_EQ("released", job.state);
    ASSERT_EQ(1u, job.bom_views.size());
    EXPECT_EQ("000123/A-view", job.bom_views[0].name);
    ASSERT_EQ(2u, job.objects.size());
    EXPECT_EQ("VANE_specification", job.objects[0].relation);
    EXPECT_EQ("part2", job.objects[1].name);
}

TEST(BatchJobFile, LinesOfWindowsAreRead) {
    std::string text = std::string(kHeader) + kObject;
    for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2)
        text.insert(at, "\r");
    const JobFile job = parse(text);
    EXPECT_THAT(job.problems, IsEmpty());
    EXPECT_EQ("released", job.state);
    EXPECT_EQ("part1", job.objects.at(0).name);
}

TEST(BatchJobFile, ValuesMayBeEmptyAndHoldTheSign) {
    const JobFile job = parse(
        "-typ=\n-iid=a=b\n-irv=\n-user=\n-usersgroup=\n-mailto=\n-city=\n-jobtype=\n-state=\n"
        "-obj=\n-rel=\n");
    EXPECT_THAT(job.problems, IsEmpty());
    EXPECT_EQ("a=b", job.item);
    EXPECT_EQ(1u, job.objects.size());
}

TEST(BatchJobFile, AnEmptyFileIsNoJobAndNoProblem) {
    const JobFile job = parse("");
    EXPECT_TRUE(job.empty);
    EXPECT_THAT(job.problems, IsEmpty());
}

TEST(BatchJobFile, EachMissingLineOfTheHeaderIsNamed) {
    const std::string header = kHeader;
    int number = 0;
    for (const char* key :
         {"typ", "iid", "irv", "user", "usersgroup", "mailto", "city", "jobtype", "state"}) {
        ++number;
        const std::size_t start = header.find("-" + std::string(key) + "=");
        const std::size_t end = header.find('\n', start) + 1;
        const JobFile job = parse(header.substr(0, start) + header.substr(end) + kObject);
        ASSERT_EQ(1u, job.problems.size()) << key;
        EXPECT_THAT(job.problems[0],
                    HasSubstr("line " + std::to_string(number) + ": -" + key + "= was expected"));
    }
}

TEST(BatchJobFile, DamagedFilesAreProblems) {
    const std::string header = kHeader;
    for (const std::string& content :
         {header, std::string("\n"), std::string("typ=CADPART\n"), std::string("-typ\n"),
          header + "-obj=part1\n", header + "-obj=part1\n-rel=x\nrubbish\n",
          header + "-bom_rev_type=view\n" + kObject, header + "-rel=x\n-obj=y\n",
          header + kObject + "-bom_rev_type=view\n-bom_rev_name=late\n", header + kObject + "\n",
          header + "-obj=part1\n-rel=cut of", std::string(1, '\0'), std::string(5000, 'x')})
        EXPECT_EQ(1u, parse(content).problems.size()) << content;
}

TEST(BatchJobFile, ALineBreakInANameIsAProblemAndNotTwoValues) {
    const JobFile job = parse(std::string(kHeader) + "-obj=two\nlines\n-rel=x\n");
    ASSERT_EQ(1u, job.problems.size());
    EXPECT_EQ("line 11: -rel= was expected, not \"lines\"", job.problems[0]);
    EXPECT_THAT(job.objects, IsEmpty());
}

// ---- a directory ----

TEST_F(BatchProgram, AJobIsSummedUp) {
    put("000123_A_1_0001.job", std::string(kHeader) + kObject);
    put("000123_A_1_0002.job", "");
    put("options.txt", "a=1");
    put("notes.txt", "no job");
    EXPECT_EQ(0, run());
    EXPECT_EQ(
        "-files=2\n-jobs=1\n-empty=1\n-objects=1\n-options=3\n-problems=0\n"
        "\n-file=000123_A_1_0001.job\n-result=done\n-typ=CADPART\n-iid=000123\n-irv=A\n"
        "-user=u4711\n-jobtype=PRINT\n-state=released\n-bom_views=0\n-obj=part1\n"
        "-rel=VANE_specification\n"
        "\n-file=000123_A_1_0002.job\n-result=empty\n",
        result());
    EXPECT_THAT(printed, HasSubstr("2 job files, 0 problems"));
}

TEST_F(BatchProgram, AProblemIsInTheSummaryAndTheExitCode) {
    put("a.job", "rubbish\n");
    put("b.job", std::string(kHeader) + kObject);
    put("options.txt", "");
    EXPECT_EQ(1, run());
    EXPECT_THAT(result(), HasSubstr("-jobs=1\n-empty=0\n-objects=1\n-options=0\n-problems=1\n"));
    EXPECT_THAT(result(), HasSubstr("-file=a.job\n-result=problem\n-problem=line 1: -typ= was "
                                    "expected, not \"rubbish\"\n"));
}

TEST_F(BatchProgram, WithoutOptionsTheJobIsNotComplete) {
    put("b.job", std::string(kHeader) + kObject);
    EXPECT_EQ(1, run());
    EXPECT_THAT(result(), HasSubstr("-problem=there is no options.txt"));
}

TEST_F(BatchProgram, TheDirectoryIsItsOnlyArgument) {
    EXPECT_EQ(2, run(""));
    EXPECT_THAT(printed, HasSubstr("the only argument"));
    EXPECT_EQ(2, run("''"));
    EXPECT_EQ(2, run((directory / "missing").string()));
    EXPECT_THAT(printed, HasSubstr("there is no directory"));
    EXPECT_EQ(2, run(directory.string() + " " + directory.string()));
    EXPECT_THAT(printed, HasSubstr("may have blanks in it"));
}

TEST_F(BatchProgram, AResultThatCantBeWrittenIsAFailure) {
    put("options.txt", "");
    fs::create_directory(directory / "result.txt");
    EXPECT_EQ(1, run());
    EXPECT_THAT(printed, HasSubstr("can't be written"));
}
