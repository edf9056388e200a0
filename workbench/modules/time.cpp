// TIME_: dates and texts.

#include "platform/mv_time.h"

#include "workbench/session/dates.h"
#include "workbench/session/interface.h"

using namespace mervane;

extern "C" {

int TIME_string_to_date(const char* text, const char* format, int* month, int* day, int* year,
                        int* hour, int* minute, int* second) {
    return call(
        "TIME_string_to_date",
        [&] {
            need(text, "text");
            need(format, "format");
            need(month, "month");
            need(day, "day");
            need(year, "year");
            need(hour, "hour");
            need(minute, "minute");
            need(second, "second");
            const date_s date = parseDate(text, format);
            *month = date.month;
            *day = date.day;
            *year = date.year;
            *hour = date.hour;
            *minute = date.minute;
            *second = date.second;
        },
        text, format, month, day, year, hour, minute, second);
}

int TIME_date_to_string(date_s date, const char* format, char** text) {
    return call(
        "TIME_date_to_string",
        [&] {
            need(format, "format");
            need(text, "text");
            *text = copyText(formatDate(date, format));
        },
        date, format, text);
}

}  // extern "C"
