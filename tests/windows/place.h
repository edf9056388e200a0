#pragma once

// A directory of a test, and files as the wide calls see them.

#include <gtest/gtest.h>
#include <windows.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
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

// Each byte of a file.
inline std::string bytesOf(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

inline void putBytes(const fs::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

class Place {
public:
    Place() {
        std::string pattern = (fs::temp_directory_path() / "keld_XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr)
            throw std::runtime_error("no directory for the test");
        path = pattern;
    }
    ~Place() {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
    fs::path path;
};

}  // namespace windows_test
