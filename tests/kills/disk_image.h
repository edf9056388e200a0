#pragma once

// The content of a directory after a power failure: of each file what was synchronised last, of
// each directory the names at its last synchronisation. The files themselves are written as usual,
// like the system's cache; the image beside them is the disk. Processes share it.

#include <functional>
#include <string>

namespace kills {

class DiskImage {
public:
    // `image`: a directory of its own on the same file system.
    DiskImage(std::string root, std::string image);

    // Everything is on disk from here on. Requires: nobody works on the directory.
    void reset();
    // Replaces fsync. Returns: 0, or -1 with errno.
    int sync(int file);
    // Let the power fail. Where `kept` says so, the system had already written a file, or a
    // directory's names, without being asked. Requires: nobody works on the directory.
    void fail(const std::function<bool()>& kept);

private:
    std::string root_, image_;

    void syncFile(int file, const std::string& path);
    void syncNames(const std::string& path);
    void rebuild(const std::string& from, const std::string& to, const std::function<bool()>& kept);
    void resetBelow(const std::string& path);
    std::string namesOf(const std::string& path) const;
};

}  // namespace kills
