#include "platform/mv_time.h"

#include <clocale>

#include "tests/modules/interface.h"

namespace mervane::test {

class Dates : public InterfaceTest {
protected:
    struct Read {
        int month = -1, day = -1, year = -1, hour = -1, minute = -1, second = -1;
        bool operator==(const Read&) const = default;
    };
    int read(const char* text, const char* format, Read& out) {
        return TIME_string_to_date(text, format, &out.month, &out.day, &out.year, &out.hour,
                                   &out.minute, &out.second);
    }
    std::string written(date_s date, const char* format) {
        char* text = nullptr;
        EXPECT_EQ(TIME_date_to_string(date, format, &text), 0);
        return taken(text);
    }
};

TEST_F(Dates, AreReadWithTheMonthCountedFromZero) {
    Read out;
    EXPECT_EQ(read("31.12.2013", "%d.%m.%Y", out), 0);
    EXPECT_EQ(out, (Read{11, 31, 2013, 0, 0, 0}));
    EXPECT_EQ(read("2024-02-29 23:59:58", "%Y-%m-%d %H:%M:%S", out), 0);
    EXPECT_EQ(out, (Read{1, 29, 2024, 23, 59, 58}));
}

TEST_F(Dates, MayHaveFewerDigitsThanTheFormatWrites) {
    Read out;
    EXPECT_EQ(read("1.2.2013", "%d.%m.%Y", out), 0);
    EXPECT_EQ(out, (Read{1, 1, 2013, 0, 0, 0}));
}

TEST_F(Dates, HaveTwoDigitYearsAroundTheTurnOfTheCentury) {
    Read out;
    EXPECT_EQ(read("01.01.69", "%d.%m.%y", out), 0);
    EXPECT_EQ(out.year, 1969);
    EXPECT_EQ(read("01.01.68", "%d.%m.%y", out), 0);
    EXPECT_EQ(out.year, 2068);
}

TEST_F(Dates, HaveMonthNamesInAnyCaseAndNoLocale) {
    const std::string before = std::setlocale(LC_ALL, nullptr);
    std::setlocale(LC_ALL, "de_DE.UTF-8");
    Read out;
    EXPECT_EQ(read("05-mAr-2020", "%d-%b-%Y", out), 0);
    EXPECT_EQ(out.month, 2);
    EXPECT_EQ(written({2020, 4, 5, 0, 0, 0}, "%d-%b-%Y"), "05-May-2020");
    std::setlocale(LC_ALL, before.c_str());
}

TEST_F(Dates, ThatCannotBeReadLeaveEverythingAsItWas) {
    for (const auto& [text, format] :
         std::vector<std::pair<const char*, const char*>>{{"30.02.2024", "%d.%m.%Y"},
                                                          {"29.02.2023", "%d.%m.%Y"},
                                                          {"29.02.1900", "%d.%m.%Y"},
                                                          {"32.01.2024", "%d.%m.%Y"},
                                                          {"00.01.2024", "%d.%m.%Y"},
                                                          {"01.13.2024", "%d.%m.%Y"},
                                                          {"01.00.2024", "%d.%m.%Y"},
                                                          {"01.01.0000", "%d.%m.%Y"},
                                                          {"01.01", "%d.%m.%Y"},
                                                          {"01.01.2024x", "%d.%m.%Y"},
                                                          {"", "%d.%m.%Y"},
                                                          {"xx", "%d.%m.%Y"},
                                                          {"-1.01.2024", "%d.%m.%Y"},
                                                          {"24:00", "%H:%M"},
                                                          {"10:60", "%H:%M"},
                                                          {"10:10:60", "%H:%M:%S"},
                                                          {"01-Foo-2024", "%d-%b-%Y"},
                                                          {"01", "%q"},
                                                          {"01", "%d%"},
                                                          {"99999", "%Y"}}) {
        Read out;
        EXPECT_EQ(read(text, format, out), kBadDate) << text << " " << format;
        EXPECT_EQ(out, Read{}) << text;
    }
}

TEST_F(Dates, AreWrittenWithLeadingZeros) {
    EXPECT_EQ(written({2013, 0, 9, 1, 2, 3}, "%d.%m.%Y"), "09.01.2013");
    EXPECT_EQ(written({813, 0, 9, 1, 2, 3}, "%Y-%m-%d %H:%M:%S"), "0813-01-09 01:02:03");
    EXPECT_EQ(written({2013, 0, 9, 1, 2, 3}, "%y 100%% x"), "13 100% x");
    EXPECT_EQ(written({2013, 0, 9, 1, 2, 3}, ""), "");
    EXPECT_EQ(blocks(), 0u);
}

TEST_F(Dates, ThatDoNotExistAreNotWritten) {
    char* text = nullptr;
    EXPECT_EQ(TIME_date_to_string({}, "%d", &text), kBadDate);
    EXPECT_EQ(TIME_date_to_string({2023, 1, 29, 0, 0, 0}, "%d", &text), kBadDate);
    EXPECT_EQ(TIME_date_to_string({2023, 1, 28, 24, 0, 0}, "%d", &text), kBadDate);
    EXPECT_EQ(TIME_date_to_string({2023, 1, 28, 0, 0, 0}, "%Q", &text), kBadDate);
    EXPECT_EQ(TIME_date_to_string({2023, 1, 28, 0, 0, 0}, "%", &text), kBadDate);
    EXPECT_EQ(text, nullptr);
}

TEST_F(Dates, EveryDayOfFourHundredYearsComesBackAsItWasWritten) {
    for (int year = 1999; year <= 2399; year += 1)
        for (int month = 0; month < 12; ++month)
            for (int day : {1, 28}) {
                const date_s date{static_cast<std::int16_t>(year),
                                  static_cast<std::uint8_t>(month),
                                  static_cast<std::uint8_t>(day),
                                  23,
                                  0,
                                  59};
                Read out;
                ASSERT_EQ(
                    read(written(date, "%Y-%m-%d %H:%M:%S").c_str(), "%Y-%m-%d %H:%M:%S", out), 0);
                ASSERT_EQ(out, (Read{month, day, year, 23, 0, 59}));
            }
}

}  // namespace mervane::test
