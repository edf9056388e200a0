#include "workbench/session/dates.h"

#include <array>
#include <cctype>
#include <cstdio>

#include "workbench/model/status.h"

namespace mervane {

namespace {

constexpr std::array<std::string_view, 12> month_names = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

int daysIn(int year, int month) {
    static constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return days[month] + (month == 1 && leap ? 1 : 0);
}

[[noreturn]] void badDate(std::string_view text, const char* reason) {
    throw Failure(kBadDate, "\"" + std::string(text) + "\" is no date: " + reason);
}

void checkDate(const date_s& date) {
    if (!isValidDate(date))
        throw Failure(kBadDate, "no valid date: year " + std::to_string(date.year) + ", month " +
                                    std::to_string(date.month + 1) + ", day " +
                                    std::to_string(date.day) + ", " + std::to_string(date.hour) +
                                    ":" + std::to_string(date.minute) + ":" +
                                    std::to_string(date.second));
}

std::string padded(int number, int width) {
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "%0*d", width, number);
    return buffer;
}

// A reader of one text along a format.
class Parser {
public:
    explicit Parser(std::string_view text) : text_(text) {}

    int number(std::size_t digits) {
        const std::size_t start = at_;
        int value = 0;
        while (at_ < text_.size() && at_ - start < digits && text_[at_] >= '0' && text_[at_] <= '9')
            value = value * 10 + (text_[at_++] - '0');
        if (at_ == start)
            badDate(text_, "a number is missing");
        return value;
    }
    int monthName() {
        for (std::size_t month = 0; month < month_names.size(); ++month)
            if (same(text_.substr(at_, 3), month_names[month])) {
                at_ += 3;
                return static_cast<int>(month);
            }
        badDate(text_, "a month's name is missing");
    }
    void literal(char wanted) {
        if (wanted == ' ') {
            while (at_ < text_.size() && text_[at_] == ' ')
                ++at_;
            return;
        }
        if (at_ >= text_.size() || text_[at_] != wanted)
            badDate(text_, "it doesn't follow the format");
        ++at_;
    }
    void end() const {
        if (at_ != text_.size())
            badDate(text_, "there is more text than the format takes");
    }

private:
    static bool same(std::string_view a, std::string_view b) {
        if (a.size() != b.size())
            return false;
        for (std::size_t i = 0; i < a.size(); ++i)
            // Upper and lower case differ in this bit, and nothing else becomes a letter by it.
            if ((a[i] | 0x20) != (b[i] | 0x20))
                return false;
        return true;
    }
    std::string_view text_;
    std::size_t at_ = 0;
};

}  // namespace

bool isNullDate(const date_s& date) {
    // Dates are compared by their fields, since the padding may hold anything.
    return Date{date} == Date{};
}

bool isValidDate(const date_s& date) {
    return date.year >= 1 && date.year <= 9999 && date.month < 12 && date.day >= 1 &&
           date.day <= daysIn(date.year, date.month) && date.hour < 24 && date.minute < 60 &&
           date.second < 60;
}

std::string dateText(const date_s& date) {
    return isNullDate(date) ? "" : formatDate(date, "%Y-%m-%d %H:%M:%S");
}

date_s dateFromText(const std::string& text) {
    const date_s date = parseDate(text, "%Y-%m-%d %H:%M:%S");
    // parseDate() takes fewer digits and more blanks, too.
    if (dateText(date) != text)
        badDate(text, "it is not written as YYYY-MM-DD hh:mm:ss");
    return date;
}

Values dateValues(const date_s& date) {
    if (isNullDate(date))
        return {};
    checkDate(date);
    return {Date{date}};
}

std::string formatDate(const date_s& date, std::string_view format) {
    // The month is an index below, so it must be a month.
    checkDate(date);
    std::string text;
    for (std::size_t i = 0; i < format.size(); ++i) {
        if (format[i] != '%') {
            text += format[i];
            continue;
        }
        switch (++i < format.size() ? format[i] : '\0') {
            case 'Y':
                text += padded(date.year, 4);
                break;
            case 'y':
                text += padded(date.year % 100, 2);
                break;
            case 'm':
                text += padded(date.month + 1, 2);
                break;
            case 'b':
                text += month_names[date.month];
                break;
            case 'd':
                text += padded(date.day, 2);
                break;
            case 'H':
                text += padded(date.hour, 2);
                break;
            case 'M':
                text += padded(date.minute, 2);
                break;
            case 'S':
                text += padded(date.second, 2);
                break;
            case '%':
                text += '%';
                break;
            default:
                throw Failure(kBadDate, "unknown conversion in the date format \"" +
                                            std::string(format) + "\"");
        }
    }
    return text;
}

date_s parseDate(std::string_view text, std::string_view format) {
    Parser parser(text);
    int year = 1970, month = 0, day = 1, hour = 0, minute = 0, second = 0;
    for (std::size_t i = 0; i < format.size(); ++i) {
        if (format[i] != '%') {
            parser.literal(format[i]);
            continue;
        }
        switch (++i < format.size() ? format[i] : '\0') {
            case 'Y':
                year = parser.number(4);
                break;
            case 'y':
                // As usual: 69 to 99 are years of the last century, the rest of this one.
                year = parser.number(2);
                year += year < 69 ? 2000 : 1900;
                break;
            case 'm':
                month = parser.number(2) - 1;
                break;
            case 'b':
                month = parser.monthName();
                break;
            case 'd':
                day = parser.number(2);
                break;
            case 'H':
                hour = parser.number(2);
                break;
            case 'M':
                minute = parser.number(2);
                break;
            case 'S':
                second = parser.number(2);
                break;
            case '%':
                parser.literal('%');
                break;
            default:
                throw Failure(kBadDate, "unknown conversion in the date format \"" +
                                            std::string(format) + "\"");
        }
    }
    parser.end();
    if (month < 0)
        badDate(text, "the calendar has no such day or time");
    const date_s date{static_cast<std::int16_t>(year),   static_cast<std::uint8_t>(month),
                      static_cast<std::uint8_t>(day),    static_cast<std::uint8_t>(hour),
                      static_cast<std::uint8_t>(minute), static_cast<std::uint8_t>(second)};
    if (!isValidDate(date))
        badDate(text, "the calendar has no such day or time");
    return date;
}

}  // namespace mervane
