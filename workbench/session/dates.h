#pragma once

// Dates as texts, independent of the C library's locale. The null date is a date_s of zeros.

#include <string>
#include <string_view>

#include "workbench/workbench.h"

namespace mervane {

bool isNullDate(const date_s& date);
// A day that the calendar has, in the years 1 to 9999.
bool isValidDate(const date_s& date);
// As values of an attribute: none for the null date. Failure kBadDate for an invalid one.
Values dateValues(const date_s& date);

// "2026-03-31 14:05:00"; empty for the null date.
std::string dateText(const date_s& date);
// Exactly what dateText gives; anything else is a Failure kBadDate.
date_s dateFromText(const std::string& text);

// The text of a date in a format of %Y %m %d %H %M %S %y %b %%; other characters are copied.
// Failure kBadDate for an invalid date or another conversion.
std::string formatDate(const date_s& date, std::string_view format);
// The date that a text in such a format names; what the format leaves out is 1 January 1970, 0:00.
// Numbers may have fewer digits than the format writes; a blank in the format takes any blanks.
// Failure kBadDate for a text that doesn't fit the format, or a date that isn't in the calendar.
date_s parseDate(std::string_view text, std::string_view format);

}  // namespace mervane
