// Cases of `keld config test`: what their files say, and how outputs are compared.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/keld/host/config_case.h"

namespace {

using namespace keld;
using testing::ElementsAre;
using testing::HasSubstr;

using Lines = std::vector<std::string>;

}  // namespace

TEST(ConfigCaseFile, SaysWorldConfigurationCommandsAndWhatIsExpected) {
    const ConfigCase made = parseCase("a",
                                      "; a comment\nworld ../w.json\r\nconfig my ini\n\n"
                                      "before keld checkout '#26' --comment \"new thread\"\n"
                                      "run keld status set 000100/B Frozen\nexpect\n"
                                      "OBJECT\n  000100/B\n\n");
    EXPECT_EQ(made.problem, "");
    EXPECT_EQ(made.world, "../w.json");
    EXPECT_EQ(made.config, "my ini");
    ASSERT_EQ(made.before.size(), 1u);
    EXPECT_THAT(made.before[0], ElementsAre("checkout", "#26", "--comment", "new thread"));
    EXPECT_THAT(made.run, ElementsAre("status", "set", "000100/B", "Frozen"));
    EXPECT_THAT(made.expected, ElementsAre("OBJECT", "  000100/B"));
    EXPECT_THAT(made.head, testing::EndsWith("Frozen\nexpect\n"));
}

TEST(ConfigCaseFile, IsRefusedWithTheLine) {
    EXPECT_EQ(parseCase("a", "run keld show 1\nexpekt\n").problem.substr(0, 7), "line 2:");
    EXPECT_THAT(parseCase("a", "run ls -l\n").problem, HasSubstr("line 1: 'ls -l' is no command"));
    EXPECT_THAT(parseCase("a", "run keld show 'x\n").problem, HasSubstr("is no command"));
    EXPECT_THAT(parseCase("a", "run keld show 1\nrun keld show 2\n").problem, HasSubstr("line 2"));
    EXPECT_THAT(parseCase("a", "world\n").problem, HasSubstr("line 1"));
    EXPECT_THAT(parseCase("a", "; only this\nexpect\n").problem, HasSubstr("no command to run"));
    EXPECT_THAT(parseCase("a", "").problem, HasSubstr("no command to run"));
}

TEST(ConfigCaseLines, AreFreeOfTimesNumbersAndPlaces) {
    EXPECT_THAT(
        caseLines("held since 2026-11-22 07:25:52\nstarted the job STATMGR_1795332352\nrun 5\n"
                  "log in /tmp/x/keld.log\n",
                  "keld: refused: 919405\nkeld:   section  [A] in /tmp/x/a.ini, line 48\n"
                  "keld:   log: Frg\n\n",
                  1, "/tmp/x"),
        ElementsAre("held since <time>", "started the job STATMGR_<time>", "refused: 919405",
                    "  section  [A] in a.ini"));
    EXPECT_THAT(caseLines("", "keld: bad\n", 2, "/x"), ElementsAre("bad", "exit code 2"));
}

TEST(ConfigCaseLines, MatchWhateverTheBlanksBetweenWords) {
    EXPECT_TRUE(matchesCase(Lines{"a  b", "c"}, Lines{"  a b ", "c"}));
    EXPECT_FALSE(matchesCase(Lines{"a b"}, Lines{"ab"}));
    EXPECT_FALSE(matchesCase(Lines{"a"}, Lines{"a", "b"}));
    EXPECT_FALSE(matchesCase(Lines{"a", "b"}, Lines{"a"}));
    EXPECT_TRUE(matchesCase({}, {}));
    EXPECT_FALSE(matchesCase({}, Lines{"a"}));
}

TEST(ConfigCaseLines, ThreePointsStandForAnyLines) {
    EXPECT_TRUE(matchesCase(Lines{"..."}, {}));
    EXPECT_TRUE(matchesCase(Lines{"a", "...", "d"}, Lines{"a", "b", "c", "d"}));
    EXPECT_TRUE(matchesCase(Lines{"...", "d", "..."}, Lines{"a", "d"}));
    EXPECT_FALSE(matchesCase(Lines{"a", "...", "d"}, Lines{"a", "b", "c"}));
    EXPECT_TRUE(matchesCase(Lines(200, "..."), Lines(2000, "a"))) << "in good time";
}

TEST(ConfigCaseLines, DifferByWhatIsMissingAndWhatIsThere) {
    EXPECT_THAT(caseDifference(Lines{"a", "b", "c"}, Lines{"a", "x", "c", "d"}),
                ElementsAre("  a", "- b", "+ x", "  c", "+ d"));
}

TEST(ConfigCaseReport, IsJUnitXmlWithWhatXmlTakes) {
    const std::string xml = asJUnit("cases & co", {{"one", true, false, 0.25, {}, {}},
                                                   {"two", false, false, 0.5, {"- <a>\x01"}, {}},
                                                   {"three", false, true, 0, {"no world"}, {}}});
    EXPECT_THAT(xml, HasSubstr("<testsuite name=\"cases &amp; co\" tests=\"3\" failures=\"1\" "
                               "errors=\"1\" time=\"0.750\">"));
    EXPECT_THAT(xml, HasSubstr("name=\"one\" time=\"0.250\"/>"));
    EXPECT_THAT(xml, HasSubstr("<failure message=\"the output differs\">- &lt;a&gt;?\n</failure>"));
    EXPECT_THAT(xml, HasSubstr("<error message=\"it can't be run\">no world\n</error>"));
}
