#include "platform/keld_version.h"
#include "tests/keld/program.h"
#include "tests/support/patterns.h"

using namespace keld_test;
using testing::HasSubstr;

using Call = ProgramWithStore;

TEST_F(Call, ADiagnosticServiceAnswersWithAText) {
    const auto outcome = done({"call", "KELD_SrvCall", "i:1", "i:0", "s:", "--json"}).json();
    EXPECT_EQ(outcome["status"], 0);
    EXPECT_EQ(outcome["slot"]["kind"], "text");
    EXPECT_EQ(outcome["slot"]["value"], path("keld.log").string());
    EXPECT_EQ(outcome["log"], path("keld.log").string());
}

TEST_F(Call, TheOptionSetsTheLevelThatTheServiceSees) {
    const auto level = [&](std::vector<std::string> more) {
        std::vector<std::string> arguments = {"call", "KELD_SrvCall", "i:3", "i:0", "s:", "--json"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return done(arguments).json()["slot"]["value"].get<std::string>();
    };
    EXPECT_EQ(level({}), "3");
    done({"log", "level", "2"});
    EXPECT_EQ(level({}), "2");
    environment()["KELD_LOG_LEVEL"] = "4";
    EXPECT_EQ(level({}), "4");
    EXPECT_EQ(level({"--log-level", "1"}), "1");
}

TEST_F(Call, AFailureInTheSlotIsAFailure) {
    const Result result = keld({"call", "KELD_StatusManager", "s:Frozen", "s:Form", "t:000100/A"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.out, HasSubstr("status  0"));
    EXPECT_THAT(result.out, HasSubstr("result  919402"));
    EXPECT_THAT(result.out, HasSubstr("selected Type:Form not configurated"));
    EXPECT_THAT(result.out, HasSubstr("log in  "));
}

TEST_F(Call, AFailedReadIsAFailure) {
    const Result result = keld({"call", "KELD_SrvCallGetEnv", "--json"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_NE(result.json()["status"], 0);
    EXPECT_EQ(result.json()["slot"]["value"], nullptr);
    EXPECT_THAT(result.err, HasSubstr("reads string"));
}

TEST_F(Call, AStatusChangeIsStored) {
    done({"call", "KELD_StatusManager", "s:Frozen", "s:ItemRevision", "t:000102/A"});
    EXPECT_EQ(done({"status", "show", "000102/A", "--json"}).json()["status"], "Frozen");
}

TEST_F(Call, ADryRunShowsWhatWouldChangeAndChangesNothing) {
    const std::string before = done({"export"}).out;
    const auto outcome = done({"call", "KELD_StatusManager", "s:Frozen", "s:ItemRevision",
                               "t:000102/A", "--dry-run", "--json"})
                             .json();
    bool released = false;
    for (const auto& change : outcome["changes"])
        if (change["object"] == "000102/A")
            for (const auto& value : change["values"])
                released |= value["attribute"] == "release_status_list";
    EXPECT_TRUE(released) << outcome["changes"];
    EXPECT_EQ(done({"export"}).out, before);
    EXPECT_FALSE(fs::exists(path("keld.log"))) << "the log of a dry run is private";
}

TEST_F(Call, ThereIsNoDryRunOfWhatReachesOutside) {
    const Result result = keld({"call", "KELD_SrvCallCRJFromPortal", "--dry-run"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("no dry run"));
}

TEST_F(Call, AnUnknownServiceIsAnsweredWithTheNearestOne) {
    const Result result = keld({"call", "KELD_StatusManger"});
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_THAT(result.err, HasSubstr("Did you mean KELD_StatusManager?"));
    EXPECT_THAT(keld({"call", "CopyAtr"}).err, HasSubstr("KELD_CopyAttr"));
}

TEST_F(Call, ArgumentsOfNoKindAreUsageErrors) {
    for (const char* argument : {"3", "x:3", "i:", "i:3x", "i:99999999999", "i:-", ""}) {
        const Result result = keld({"call", "KELD_SrvCall", argument});
        EXPECT_EQ(result.exit_code, 2) << argument;
        EXPECT_THAT(result.err, HasSubstr("expected i:"));
    }
}

TEST_F(Call, ATagArgumentOfAnUnknownObjectIsRefused) {
    EXPECT_EQ(keld({"call", "KELD_DeleteDeluxe", "ts:000100,999999"}).exit_code, 1);
}

TEST_F(Call, EnvShowsWhatServicesSee) {
    environment()["KELD_TEST_VALUE"] = "seen";
    EXPECT_EQ(done({"env", "KELD_TEST_VALUE"}).out, "seen\n");
    const auto unset = done({"env", "KELD_TEST_NOTHING", "--json"}).json();
    EXPECT_EQ(unset["set"], false);
    EXPECT_EQ(unset["value"], "");
}

TEST_F(Call, VersionShowsTheLinesOfTheLibrary) {
    const Result result = done({"version"});
    EXPECT_THAT(result.out, HasSubstr("KELD Server Exits                  (V10.1.1.0)"));
    EXPECT_THAT(result.out, HasSubstr("   KELD_ReNameItemExtended         (V10.1.1.0)\n"));
    EXPECT_EQ(done({"version", "--json"}).json()["lines"].size(), 11u);
}

TEST_F(Call, VersionNamesTheBuildTheLibrariesAndThePlatformInUse) {
    const auto shown = done({"version", "--json"}).json();
    EXPECT_EQ(shown["version"], KELD_VERSION);
    EXPECT_THAT(shown["lines"][0].get<std::string>(),
                testing::EndsWith("  " + shown["built"].get<std::string>()));
    EXPECT_THAT(shown["built"].get<std::string>(),
                testing::ContainsRegex("^... ." DIGIT " 20" DIGIT DIGIT " " DIGIT DIGIT ":"));
    ASSERT_EQ(shown["libraries"].size(), 3u);
    for (const auto& library : shown["libraries"]) {
        EXPECT_EQ(library["version"], KELD_VERSION) << library;
        EXPECT_THAT(library["file"].get<std::string>(),
                    HasSubstr(library["name"].get<std::string>()));
    }
    EXPECT_EQ(shown["platform"]["version"], KELD_VERSION);
    EXPECT_THAT(shown["platform"]["file"].get<std::string>(), HasSubstr("mervane"));
    EXPECT_THAT(done({"version"}).out, HasSubstr("\nkeld           " KELD_VERSION "\n"));
}
