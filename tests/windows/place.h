#pragma once

// Texts, paths and variables as the wide calls see them.

#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <string>

namespace windows_test {

namespace fs = std::filesystem;

// UTF-8 of "Prüfung", whatever the sources are compiled as.
inline const std::string kUmlauts = "Pr\xC3\xBC\x66ung";

inline fs::path pathOf(const std::string& utf8) {
    return fs::path(std::u8string(utf8.begin(), utf8.end()));
}

inline std::string textOf(const fs::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

inline void setVariable(const wchar_t* name, const fs::path& value) {
    EXPECT_TRUE(SetEnvironmentVariableW(name, value.empty() ? nullptr : value.c_str()));
}

}  // namespace windows_test
