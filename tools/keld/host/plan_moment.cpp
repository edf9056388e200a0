#include "tools/keld/host/plan_moment.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

namespace keld {

namespace {

std::time_t momentOf(const std::string& text) {
    std::tm local{};
    if (std::sscanf(text.c_str(), "%d-%d-%d %d:%d:%d", &local.tm_year, &local.tm_mon,
                    &local.tm_mday, &local.tm_hour, &local.tm_min, &local.tm_sec) != 6)
        return 0;
    local.tm_year -= 1900;
    local.tm_mon -= 1;
    local.tm_isdst = -1;
    return std::max<std::time_t>(std::mktime(&local), 0);
}

// Parts of a moment as strftime writes them, single and combined.
constexpr const char* kParts[] = {"%Y",     "%y",     "%m",   "%d",          "%H",
                                  "%I",     "%M",     "%S",   "%Y%m%d",      "%y%m%d",
                                  "%d%m%Y", "%H%M%S", "%H%M", "%Y%m%d%H%M%S"};
constexpr std::time_t kMostSeconds = 86400;  // of a longer run only the first day is considered

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

std::string digitsAt(const std::string& text, std::size_t at) {
    std::size_t end = at;
    while (end < text.size() && isDigit(text[end]))
        ++end;
    return text.substr(at, end - at);
}

std::string withoutZeros(const std::string& digits) {
    const auto first = digits.find_first_not_of('0');
    return first == std::string::npos ? "0" : digits.substr(first);
}

}  // namespace

RunDigits::RunDigits(const PlanRunner& runner)
    : user_(runner.user), began_(runner.began), ended_(runner.ended) {
    const std::time_t first = momentOf(began_);
    const std::time_t last = std::min(std::max(momentOf(ended_), first), first + kMostSeconds);
    unsigned bit = 1;
    for (const char* part : kParts) {
        char before[40] = "";
        for (std::time_t moment = first; moment <= last; ++moment) {
            const std::tm* local = std::localtime(&moment);
            char text[40] = "";
            if (!local || std::strftime(text, sizeof text, part, local) == 0)
                break;
            if (std::string_view(text) == before)
                continue;
            std::snprintf(before, sizeof before, "%s", text);
            parts_[text] |= bit;
            parts_[withoutZeros(text)] |= bit;
        }
        bit <<= 1U;
    }
    for (std::time_t moment = first; moment <= last; ++moment)
        parts_[std::to_string(moment)] |= bit;
    parts_[std::to_string(runner.process)] |= bit << 1U;
}

unsigned RunDigits::partsOf(const std::string& digits) const {
    const auto found = parts_.find(digits);
    return found == parts_.end() ? 0 : found->second;
}

bool RunDigits::holds(const mervane::Date& date) const {
    char text[80];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", date.date.year,
                  date.date.month + 1, date.date.day, date.date.hour, date.date.minute,
                  date.date.second);
    return began_ <= text && text <= ended_;
}

bool alikeTexts(const std::string& planned, const RunDigits& plan, const std::string& found,
                const RunDigits& now) {
    std::size_t i = 0, k = 0;
    while (i < planned.size() && k < found.size()) {
        if (!plan.user().empty() && !now.user().empty() &&
            planned.compare(i, plan.user().size(), plan.user()) == 0 &&
            found.compare(k, now.user().size(), now.user()) == 0) {
            i += plan.user().size();
            k += now.user().size();
            continue;
        }
        if (!isDigit(planned[i]) || !isDigit(found[k])) {
            if (planned[i++] != found[k++])
                return false;
            continue;
        }
        const std::string then = digitsAt(planned, i), digits = digitsAt(found, k);
        if (then != digits && (plan.partsOf(then) & now.partsOf(digits)) == 0)
            return false;
        i += then.size();
        k += digits.size();
    }
    return i == planned.size() && k == found.size();
}

}  // namespace keld
