#pragma once

// Included before every test source of the Windows build: the few calls of other systems that tests
// use and Windows has under other names.

#include <direct.h>
#include <process.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

inline int setenv(const char* name, const char* value, int) {
    return _putenv_s(name, value);
}

inline int unsetenv(const char* name) {
    return _putenv_s(name, "");
}

// Puts a number in the place of the six X at the end.
inline char* mkdtemp(char* pattern) {
    static unsigned counter = 0;
    char* end = pattern + std::strlen(pattern) - 6;
    for (int tries = 0; tries < 100; ++tries) {
        const unsigned long number =
            (static_cast<unsigned long>(_getpid()) * 131 +
             static_cast<unsigned long>(std::time(nullptr)) * 7 + ++counter) %
            1000000;
        std::string text = std::to_string(number);
        text.insert(0, 6 - text.size(), '0');
        std::memcpy(end, text.c_str(), 6);
        if (_mkdir(pattern) == 0)
            return pattern;
    }
    return nullptr;
}

inline std::tm* gmtime_r(const std::time_t* seconds, std::tm* time) {
    return gmtime_s(time, seconds) == 0 ? time : nullptr;
}

inline std::tm* localtime_r(const std::time_t* seconds, std::tm* time) {
    return localtime_s(time, seconds) == 0 ? time : nullptr;
}

// What std::system gives is the exit code itself.
#define WEXITSTATUS(status) (status)
