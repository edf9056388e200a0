#pragma once

// What a directory would hold after the power has failed: of each file what was synchronised last,
// of each directory the names that it had when it was synchronised last. The files themselves are
// written as ever, as the system's cache is; the image beside them is the disk. Processes share
// one.

#include <functional>
#include <string>

namespace kills {

class DiskImage {
public:
    // `image`: a directory of its own on the same file system.
    DiskImage(std::string root, std::string image);

    // All is on disk as it is now. Requires: nobody works on the directory.
    void reset();
    // Replaces fsync. Returns: 0, or -1 with errno.
    int sync(int file);
    // The power fails. Where `kept` says so, the system had written a file or a directory's names
    // to disk before it was asked to. Requires: nobody works on the directory.
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
