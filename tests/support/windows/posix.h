#pragma once

// Included before every test source of the Windows build: the few calls of other systems that tests
// use and Windows has under other names.

#include <direct.h>
#include <process.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

// Without windows.h, whose macros no test expects.
extern "C" __declspec(dllimport) int __stdcall SetEnvironmentVariableW(const wchar_t*,
                                                                       const wchar_t*);
extern "C" __declspec(dllimport) int __stdcall MultiByteToWideChar(unsigned, unsigned long,
                                                                   const char*, int, wchar_t*, int);

namespace keld_test {

inline std::wstring utf16(const char* utf8) {
    const int size = MultiByteToWideChar(65001, 0, utf8, -1, nullptr, 0);
    std::wstring text(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(65001, 0, utf8, -1, text.data(), size);
    text.pop_back();
    return text;
}

}  // namespace keld_test

// The C library can't have empty variables, but the system can.
inline int setenv(const char* name, const char* value, int) {
    _putenv_s(name, value);
    return SetEnvironmentVariableW(keld_test::utf16(name).c_str(), keld_test::utf16(value).c_str())
               ? 0
               : -1;
}

inline int unsetenv(const char* name) {
    _putenv_s(name, "");
    SetEnvironmentVariableW(keld_test::utf16(name).c_str(), nullptr);
    return 0;
}

// Replace the six X at the end by a number.
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
#define WIFEXITED(status) true
#define WEXITSTATUS(status) (status)
