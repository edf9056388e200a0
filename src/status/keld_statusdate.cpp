#include "status/keld_statusdate.h"

#include "os/keld_os.h"

date_s KELD_LocalDate() {
    std::tm now{};
    date_s date{};
    if (!keld_os::LocalTime(keld_os::WallClock(), &now))
        return date;
    date.year = static_cast<std::int16_t>(now.tm_year + 1900);
    date.month = static_cast<std::uint8_t>(now.tm_mon);
    date.day = static_cast<std::uint8_t>(now.tm_mday);
    date.hour = static_cast<std::uint8_t>(now.tm_hour);
    date.minute = static_cast<std::uint8_t>(now.tm_min);
    date.second = static_cast<std::uint8_t>(now.tm_sec);
    return date;
}
