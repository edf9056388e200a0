#pragma once

#include <ostream>
#include <string>
#include <string_view>

namespace mervane {

// A file in the system's temporary directory, gone with its object.
class TemporaryFile {
public:
    TemporaryFile();  // Failure kFileFailure
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;

    const std::string& path() const { return path_; }
    void write(std::string_view bytes);  // Failure kFileFailure

private:
    std::string path_;
};

}  // namespace mervane
