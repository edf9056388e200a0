// A file layer that forgets: linked to a program, its fsync and fdatasync win over the system's for
// every library of the process. They write nothing to disk but tell a disk image, from which the
// files are made anew after a failure of the power.
//
// KELD_DISK_ROOT and KELD_DISK_IMAGE name the directories. KELD_DISK_DEAF is a part of a path: a
// sync of what has it in its path isn't heard.

#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tests/kills/disk_image.h"

namespace {

bool isDeafTo(int file) {
    const char* part = std::getenv("KELD_DISK_DEAF");
    if (!part)
        return false;
    std::array<char, 4096> path{};
    const std::string link = "/proc/self/fd/" + std::to_string(file);
    return ::readlink(link.c_str(), path.data(), path.size() - 1) > 0 &&
           std::strstr(path.data(), part);
}

int heard(int file) {
    static kills::DiskImage image(std::getenv("KELD_DISK_ROOT"), std::getenv("KELD_DISK_IMAGE"));
    return isDeafTo(file) ? 0 : image.sync(file);
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) int fsync(int file) {
    return heard(file);
}

__attribute__((visibility("default"))) int fdatasync(int file) {
    return heard(file);
}

}  // extern "C"
