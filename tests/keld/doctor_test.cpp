#include "tests/keld/program.h"

using namespace keld_test;
using testing::HasSubstr;

using Doctor = ProgramWithStore;

// Released and Superseded are meant to be ends.
TEST_F(Doctor, HasNothingButNotesOfItsEndsOnTheSampleConfigurationAndItsWorld) {
    done({"init", "--store", "sample.db"});
    done({"load", KELD_SOURCE_DIR "/samples/gearbox.json", "--store", "sample.db"});
    const auto report =
        done({"doctor", "--json", "--store", "sample.db", "--cfg", KELD_SOURCE_DIR "/samples"})
            .json();
    EXPECT_EQ(report["notes"], 2);
    ASSERT_EQ(report["findings"].size(), 2u);
    EXPECT_THAT(report["findings"][0]["text"], HasSubstr("goes on from the status 'Released'"));
    EXPECT_THAT(report["findings"][1]["text"], HasSubstr("goes on from the status 'Superseded'"));
}

TEST_F(Doctor, ShowsWhereEverythingLies) {
    const auto report = done({"doctor", "--json"}).json();
    EXPECT_EQ(report["errors"], 0);
    EXPECT_EQ(report["warnings"], 0);
    EXPECT_EQ(report["facts"]["store"], path("keld.db").string());
    EXPECT_EQ(report["facts"]["log"], path("keld.log").string());
    EXPECT_THAT(done({"doctor"}).out, HasSubstr("all is well"));
}

TEST_F(Doctor, AMissingStoreIsAnErrorAndTheRestIsStillChecked) {
    const Result result = keld({"doctor", "--store", "none.db"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.out, HasSubstr("error: store"));
    EXPECT_THAT(result.out, HasSubstr("status manager"));
    EXPECT_FALSE(fs::exists(path("none.db")));
}

TEST_F(Doctor, AMissingConfigurationIsAWarning) {
    environment()["KELD_CFG_PATH"] = directory().string();
    const auto report = done({"doctor", "--json"}).json();
    EXPECT_EQ(report["warnings"], 1);
    EXPECT_EQ(report["errors"], 0);
}

TEST_F(Doctor, AConfigurationDirectoryThatIsNotThereIsAnError) {
    EXPECT_EQ(keld({"doctor", "--cfg", path("nowhere").string()}).exit_code, 1);
}

TEST_F(Doctor, AFileNamedByHandMustExist) {
    EXPECT_EQ(keld({"doctor", "--ini", "gone.ini"}).exit_code, 1);
}

TEST_F(Doctor, ALogThatCannotBeWrittenIsAnError) {
    environment()["KELD_LOG_FILE"] = path("no/such/directory/keld.log").string();
    const Result result = keld({"doctor"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.out, HasSubstr("can't be written"));
}

TEST_F(Doctor, ALogLevelThatIsNoNumberIsAWarning) {
    environment()["KELD_LOG_LEVEL"] = "loud";
    EXPECT_EQ(done({"doctor", "--json"}).json()["warnings"], 1);
}

TEST_F(Doctor, ABackupDirectoryThatIsNotThereIsAWarning) {
    done({"prefs", "set", "KELD_DELBackupTopDirCentral", "/no/such/place"});
    EXPECT_THAT(done({"doctor"}).out, HasSubstr("/no/such/place"));
}
