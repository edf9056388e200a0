#include "tests/keld/program.h"

using namespace keld_test;
using testing::HasSubstr;

using Log = ProgramWithStore;

TEST_F(Log, TheLogLiesBesideTheStoreUnlessSetElsewhere) {
    EXPECT_EQ(done({"log", "path"}).out, path("keld.log").string() + "\n");
    EXPECT_EQ(done({"log"}).out, path("keld.log").string() + "\n");
    EXPECT_EQ(done({"log", "path", "--store", path("else/x.db").string()}).out,
              path("else/keld.log").string() + "\n");
    environment()["KELD_LOG_FILE"] = "/tmp/other.log";
    EXPECT_EQ(done({"log", "path"}).out, "/tmp/other.log\n");
}

TEST_F(Log, TailShowsTheLastLines) {
    done({"call", "KELD_SrvCall", "i:0", "i:0", "s:first"});
    done({"call", "KELD_SrvCall", "i:0", "i:0", "s:second"});
    const auto lines = done({"log", "tail", "-n", "2", "--json"}).json()["lines"];
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_THAT(done({"log", "tail"}).out, HasSubstr("first\n"));
    EXPECT_EQ(done({"log", "tail", "-n", "0"}).out, "");
}

TEST_F(Log, TailWithoutALogSaysSo) {
    const Result result = keld({"log", "tail"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("keld.log"));
}

TEST_F(Log, TailRefusesANegativeNumber) {
    EXPECT_EQ(keld({"log", "tail", "-n", "-1"}).exit_code, 2);
}

TEST_F(Log, LevelTellsWhereItComesFrom) {
    EXPECT_EQ(done({"log", "level", "--json"}).json()["from"], "default");
    done({"log", "level", "2"});
    EXPECT_EQ(done({"log", "level", "--json"}).json()["from"], "store");
    environment()["KELD_LOG_LEVEL"] = "4";
    EXPECT_EQ(done({"log", "level", "--json"}).json()["from"], "environment");
    EXPECT_EQ(done({"log", "level", "--json", "--log-level", "1"}).json()["level"], 1);
}

TEST_F(Log, ALevelThatIsNoNumberIsRefused) {
    EXPECT_EQ(keld({"log", "level", "loud"}).exit_code, 2);
}
