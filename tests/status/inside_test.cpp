// What no service can bring about: a clock out of the range of local time, and a walk that goes on
// after its end.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/keld_se.h"
#include "status/keld_statusmanager1.h"
#include "tests/support/fixed_os.h"
#include "tests/support/world.h"

namespace {

// The log's place, which the process keeps, before the world's first line is written.
class StatusInside : public testing::Test {
protected:
    StatusInside() : log_(place()), made(world.item("000100")) {}
    ~StatusInside() override {
        std::error_code ignored;
        std::filesystem::remove(log_, ignored);
    }
    static std::string place() {
        const std::string path = (std::filesystem::temp_directory_path() /
                                  ("keld_status_inside_" + std::to_string(::getpid()) + ".log"))
                                     .string();
        fixed_os::setEnv("KELD_LOG_FILE", path);
        return path;
    }

    const std::string log_;
    world::World world;
    world::ItemTags made;
};

}  // namespace

TEST_F(StatusInside, ATimeOutOfRangeIsTheNullDate) {
    EXPECT_EQ(0, CKELD_Status::SetRelDate(made.revision, 1));
    EXPECT_EQ(2013, world.storedDate(made.revision, "date_released").year);
    fixed_os::failLocalTime(true);
    EXPECT_EQ(0, CKELD_Status::SetRelDate(made.revision, 1));
    EXPECT_EQ(0, world.storedDate(made.revision, "date_released").year);
}

TEST_F(StatusInside, ATimeOutOfRangeIsNoTime) {
    date_s now{1, 2, 3, 4, 5, 6};
    EXPECT_EQ(0, KELD_GetTime(&now));
    EXPECT_EQ(2013, now.year);
    fixed_os::failLocalTime(true);
    EXPECT_NE(0, KELD_GetTime(&now));
    EXPECT_EQ(2013, now.year);
}

TEST_F(StatusInside, ANameThatIsNoUtf8IsCutAsItIs) {
    const CKELD_StatusManager none(std::string(200, '\x80').c_str());
    EXPECT_EQ(std::string(99, '\x80'), none.m_cStatus);
    const CKELD_StatusManager some((std::string(97, 'a') + "\xE2\x82\xAC").c_str());
    EXPECT_EQ(std::string(97, 'a'), some.m_cStatus);
}

TEST_F(StatusInside, AManagerWhoseRunHasEndedVisitsNothing) {
    CKELD_StatusManager manager("Frozen");
    for (const bool goes_on : {false, true}) {
        manager.m_bContinue = goes_on;
        const auto before = std::filesystem::file_size(KELD_GetLogFilePath());
        EXPECT_EQ(0,
                  manager.Process("ItemRevision", made.revision, KELD_STATMGR_CHANGENOREK, 2, ""));
        EXPECT_EQ(goes_on, before != std::filesystem::file_size(KELD_GetLogFilePath()));
    }
}
