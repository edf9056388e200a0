#pragma once

// Files of a test: a temporary directory, and files that are read and written whole.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#if !defined(_WIN32)
#include <unistd.h>
#endif

namespace keld_test {

// A new directory that is removed with its object. It can be given where a path is wanted.
class Directory {
public:
    // Throws std::runtime_error if there can't be one in this place.
    explicit Directory(
        const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
        std::string pattern = (parent / "keld-test-XXXXXX").string();
        if (!::mkdtemp(pattern.data()))
            throw std::runtime_error("no directory for the test: " + pattern);
        path_ = pattern;
    }
    ~Directory() {
        std::error_code ignored;  // Windows keeps a log that is open
        if (!kept_)
            std::filesystem::remove_all(path_, ignored);
    }
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;

    const std::filesystem::path& path() const { return path_; }
    operator const std::filesystem::path&() const { return path_; }
    std::string string() const { return path_.string(); }
    std::filesystem::path operator/(const std::filesystem::path& name) const {
        return path_ / name;
    }
    // The same as a text.
    std::string at(const std::string& name) const { return (path_ / name).string(); }
    // Don't remove it: somebody will look at what is in it.
    void keep() { kept_ = true; }

private:
    std::filesystem::path path_;
    bool kept_ = false;
};

// The bytes of a file; empty if it can't be read.
inline std::string readFile(const std::filesystem::path& path,
                            std::ios::openmode mode = std::ios::binary) {
    std::ifstream in(path, mode);
    // Not by an iterator: a program that isn't optimised would take each byte by itself.
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return std::move(bytes).str();
}

// The same of a file that was written in text mode.
inline std::string readText(const std::filesystem::path& path) {
    return readFile(path, std::ios::in);
}

// Write a file of these bytes in the place of what was there.
inline void writeFile(const std::filesystem::path& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

}  // namespace keld_test
