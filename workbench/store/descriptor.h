#pragma once

// Reading and writing whole files by descriptors.

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "workbench/model/status.h"
#include "workbench/system/system.h"
#include "workbench/workbench.h"

namespace mervane {

// Failure kFileFailure for errno.
[[noreturn]] inline void failOfFile(const std::string& path, const char* what) {
    throw Failure(kFileFailure, path + ": " + what + ": " + std::strerror(errno));
}

class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0)
            system::close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    int get() const { return number_; }
    explicit operator bool() const { return number_ >= 0; }
    bool close() {
        const bool closed = system::close(number_);
        number_ = -1;
        return closed;
    }

private:
    int number_;
};

inline void writeAll(int descriptor, const char* bytes, std::size_t size, const std::string& path) {
    while (size > 0) {
        const std::ptrdiff_t written = system::write(descriptor, bytes, size);
        if (written < 0) {
            if (errno == EINTR)
                continue;
            failOfFile(path, "can't be written");
        }
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
}

// Give every block of the file to the receiver; false, with errno, if it can't be read.
template <typename Receiver>
bool readAll(int descriptor, Receiver&& receiver) {
    std::vector<char> buffer(1 << 16);
    for (;;) {
        const std::ptrdiff_t got = system::read(descriptor, buffer.data(), buffer.size());
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return got == 0;
        receiver(buffer.data(), static_cast<std::size_t>(got));
    }
}

}  // namespace mervane
