#pragma once

#include <fstream>
#include <string>

namespace mervane {

// A file in the system's temporary directory, gone with its object.
class TemporaryFile {
public:
    TemporaryFile();  // Failure kFileFailure
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;

    const std::string& path() const { return path_; }
    std::ostream& stream() { return stream_; }
    void close();  // Failure kFileFailure if not everything could be written

private:
    std::string path_;
    std::ofstream stream_;
};

}  // namespace mervane
