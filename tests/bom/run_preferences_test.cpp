// The preferences that steer a run.

#include "tests/bom/bom_service.h"

using testing::Contains;
using testing::ElementsAre;

namespace {

class RunPreferences : public bom::BomService {
protected:
    RunPreferences() {
        use("100", "X", "50");
        use("100", "Y", "50");
        use("100", "Z", "10");
        top = open("100");
    }
    void set(const std::string& key, const std::string& value) {
        world.bench.setPreference("PackAndResequenceBOM." + key, {value});
    }
    tag_t top = NULLTAG;
};

}  // namespace

TEST_F(RunPreferences, UnsetOnesWarnAndGiveTheirDefaults) {
    run(top, {top}, 1, 1);
    EXPECT_THAT(world.lines("W"),
                ElementsAre("Pref:PackAndResequenceBOM.SEQNO_INCR not set use default=10",
                            "Pref:PackAndResequenceBOM.SetDefaultQuantity not set use default=",
                            "Pref:PackAndResequenceBOM.SEQNO_FIRST not set use default=10"));
    EXPECT_THAT(shown(top), ElementsAre("X[10]", "Y[20]", "Z[30]"));
}

TEST_F(RunPreferences, TheIncrementHoldsInTheKeepingMode) {
    set("SEQNO_INCR", "40");
    run(top, {top});
    EXPECT_THAT(shown(top), ElementsAre("X[50]", "Y[50]", "Z[10]")) << "unchecked, the clash stays";
    EXPECT_THAT(protocol(), testing::HasSubstr("\t\tY/A\t\t50\t\t50\t\tmodified\n"));
}

TEST_F(RunPreferences, AnIncrementOfNothingMakesEveryFreshNumberTheCounters) {
    set("SEQNO_INCR", "0");
    run(top, {top});
    EXPECT_THAT(shown(top), ElementsAre("X[50]", "Y[10]", "Z[10]"));
}

TEST_F(RunPreferences, ANegativeIncrementCountsDown) {
    set("SEQNO_INCR", "-3");
    run(top, {top});
    EXPECT_THAT(shown(top), ElementsAre("X[50]", "Y[7]", "Z[10]"));
}

TEST_F(RunPreferences, FirstNumberAndIncrementHoldInTheSortingMode) {
    set("SEQNO_INCR", "5");
    set("SEQNO_FIRST", "100");
    run(top, {top}, 0, 1);
    EXPECT_THAT(shown(top), ElementsAre("X[100]", "Y[105]", "Z[110]"));
}

TEST_F(RunPreferences, AreReadAnewForEachRun) {
    set("SEQNO_FIRST", "100");
    run(top, {top}, 0, 1);
    set("SEQNO_FIRST", "200");
    run(top, {top}, 0, 1);
    EXPECT_THAT(shown(top), ElementsAre("X[200]", "Y[210]", "Z[220]"));
}

TEST_F(RunPreferences, OneThatIsNoNumberIsReportedAndTheDefaultTaken) {
    set("SEQNO_INCR", "many");
    EXPECT_EQ(0, run(top, {top}).status);
    EXPECT_THAT(bom::remarks(world, "E"), Contains("##QSK_err_710016: OPT_ask_int_value(...)"));
    EXPECT_THAT(shown(top), ElementsAre("X[50]", "Y[20]", "Z[10]"));
}
