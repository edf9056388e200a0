#include "tests/keld/program.h"

using namespace keld_test;
using testing::HasSubstr;

using Usage = Program;

TEST_F(Usage, WithoutAVerbTheExitCodeIsTwo) {
    const Result result = keld({});
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("--help"));
}

TEST_F(Usage, AnUnknownVerbIsAnsweredWithTheNearestOne) {
    const Result result = keld({"chekout", "000100"});
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_THAT(result.err, HasSubstr("no verb 'chekout'"));
    EXPECT_THAT(result.err, HasSubstr("checkout"));
}

TEST_F(Usage, AnUnknownVerbAfterGlobalOptionsIsFound) {
    const Result result = keld({"--store", "x.db", "--log-level", "4", "shwo"});
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_THAT(result.err, HasSubstr("Did you mean show"));
}

TEST_F(Usage, AnUnknownVerbOfAGroupIsAnsweredWithTheNearestOne) {
    const Result result = keld({"prefs", "lst"});
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_THAT(result.err, HasSubstr("no verb 'prefs lst'"));
    EXPECT_THAT(result.err, HasSubstr("list"));
}

TEST_F(Usage, AnUnknownOptionIsAnsweredWithTheNearestOne) {
    const Result result = keld({"status", "set", "000100", "Frozen", "--dryrun"});
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_THAT(result.err, HasSubstr("no option '--dryrun'"));
    EXPECT_THAT(result.err, HasSubstr("--dry-run"));
}

TEST_F(Usage, AMissingArgumentNamesIt) {
    const Result result = keld({"show"});
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_THAT(result.err, HasSubstr("OBJECT"));
    EXPECT_THAT(result.err, HasSubstr("keld show --help"));
}

TEST_F(Usage, ALogLevelThatIsNoNumberIsRefused) {
    EXPECT_EQ(keld({"doctor", "--log-level", "much"}).exit_code, 2);
}

TEST_F(Usage, AUsageErrorIsOneJsonDocumentToo) {
    const Result result = keld({"--json", "nothing"});
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_EQ(result.json()["error"]["exit_code"], 2);
}

TEST_F(Usage, AMissingStoreSaysHowToMakeOne) {
    const Result result = keld({"show", "000100", "--store", "none.db"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("keld init --store none.db"));
}

TEST_F(Usage, EveryVerbHasHelpWithExamples) {
    const std::vector<std::vector<std::string>> verbs = {
        {"init"},          {"check"},         {"backup"},         {"import"},
        {"load"},          {"export"},        {"show"},           {"tree"},
        {"find"},          {"status"},        {"status", "show"}, {"status", "set"},
        {"call"},          {"env"},           {"version"},        {"prefs"},
        {"prefs", "list"}, {"prefs", "get"},  {"prefs", "set"},   {"prefs", "remove"},
        {"users"},         {"users", "list"}, {"users", "add"},   {"checkout"},
        {"checkin"},       {"log"},           {"log", "path"},    {"log", "tail"},
        {"log", "level"},  {"doctor"},        {"config"},         {"config", "test"}};
    for (std::vector<std::string> verb : verbs) {
        verb.push_back("--help");
        const Result result = done(verb);
        EXPECT_THAT(result.out, HasSubstr("Examples:\n  keld ")) << testing::PrintToString(verb);
        EXPECT_EQ(result.err, "");
    }
}

TEST_F(Usage, TheUsageLineNamesTheWholeCommand) {
    EXPECT_THAT(done({"status", "set", "--help"}).out, HasSubstr("Usage: keld status set "));
    EXPECT_THAT(keld({"status", "set"}).err, HasSubstr("see keld status set --help"));
}

TEST_F(Usage, HelpIsAVerbToo) {
    EXPECT_EQ(done({"help"}).out, done({"--help"}).out);
    EXPECT_EQ(done({"help", "tree"}).out, done({"tree", "--help"}).out);
    EXPECT_EQ(done({"help", "status", "set"}).out, done({"status", "set", "--help"}).out);
    const Result unknown = keld({"help", "tre"});
    EXPECT_EQ(unknown.exit_code, 2);
    EXPECT_THAT(unknown.err, HasSubstr("Did you mean tree?"));
}

TEST_F(Usage, TheVersionIsAnOptionAndAVerb) {
    EXPECT_THAT(done({"--version"}).out, HasSubstr("KELD Server Exits"));
    EXPECT_EQ(done({"--version", "--json"}).json()["version"],
              done({"version", "--json"}).json()["version"]);
}

TEST_F(Usage, ValuesOutOfRangeAndEmptyOnesAreRefused) {
    for (const char* level : {"5", "-1", "99"})
        for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
                 {"log", "path", "--log-level", level}, {"log", "level", "--", level}}) {
            const Result result = keld(words);
            EXPECT_EQ(result.exit_code, 2) << level;
            EXPECT_THAT(result.err, HasSubstr("range")) << level;
        }
    for (const char* option : {"--store", "--user", "--group", "--cfg"}) {
        const Result result = keld({"log", "path", option, ""});
        EXPECT_EQ(result.exit_code, 2) << option;
        EXPECT_THAT(result.err, HasSubstr("must not be empty")) << option;
    }
}

TEST_F(Usage, HelpNamesEveryVerb) {
    const Result result = done({"--help"});
    for (const char* verb :
         {"init", "import", "load", "export", "show", "tree", "find", "prefs", "users", "checkout",
          "checkin", "call", "status", "log", "env", "version", "doctor", "check", "backup"})
        EXPECT_THAT(result.out, HasSubstr(std::string("\n  ") + verb)) << verb;
}

TEST_F(Usage, AWordThatIsAVerbCanBeAnArgument) {
    done({"init"});
    EXPECT_EQ(keld({"find", "status"}).exit_code, 0);
}

TEST_F(Usage, OutputThatCannotBeWrittenIsAFailure) {
    if (!fs::exists("/dev/full"))
        GTEST_SKIP() << "no /dev/full on this system";
    done({"init"});
    const std::string command =
        "cd '" + directory().string() + "' && '" KELD_PROGRAM "' users >/dev/full 2>err.txt";
    const int status = std::system(command.c_str());
    EXPECT_EQ(WEXITSTATUS(status), 1);
    EXPECT_THAT(readFile(path("err.txt")), HasSubstr("can't write"));
}
