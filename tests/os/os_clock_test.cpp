#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

#include "os/keld_os.h"

// The real clock's readings are tested with the process.
TEST(OsLocalTime, OfAReadingIsRoundedDownToItsSecondAlsoBefore1601) {
    setenv("TZ", "UTC", 1);
    tzset();
    constexpr std::int64_t ticks_per_second = 10000000;
    const auto local = [](std::int64_t ticks) {
        std::tm time{};
        EXPECT_TRUE(keld_os::LocalTime(ticks, &time));
        char text[64];
        std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &time);
        return std::string(text);
    };
    constexpr std::int64_t unix_epoch = 11644473600 * ticks_per_second;
    EXPECT_EQ(local(unix_epoch), "1970-01-01 00:00:00");
    EXPECT_EQ(local(unix_epoch + ticks_per_second - 1), "1970-01-01 00:00:00");
    EXPECT_EQ(local(unix_epoch - 1), "1969-12-31 23:59:59");
    EXPECT_EQ(local(0), "1601-01-01 00:00:00");
    EXPECT_EQ(local(-1), "1600-12-31 23:59:59");
    EXPECT_EQ(local(-ticks_per_second), "1600-12-31 23:59:59");
    EXPECT_EQ(local(-ticks_per_second - 1), "1600-12-31 23:59:58");
}
