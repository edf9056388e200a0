#pragma once

// The directory beside a store that holds its files: each under the tag of its file object. A file
// is complete and on disk before its object can be stored, so a process that ends in between leaves
// a file that no object owns, never an object without its file.

#include <cstdint>
#include <string>
#include <vector>

#include "platform/types.h"

namespace mervane {

class Volume {
public:
    // The directory is made with the first file.
    explicit Volume(std::string directory) : directory_(std::move(directory)) {}

    struct Content {
        std::int64_t size = 0;
        std::string sha256;  // lower-case hexadecimal
    };

    const std::string& directory() const { return directory_; }
    std::string path(tag_t file) const;
    bool has(tag_t file) const;
    // Copy a regular file into the volume. Failure kFileFailure: nothing is left.
    Content take(tag_t file, const std::string& source);
    // Copy out to a path at which nothing stands yet, not even a link. Failure kFileFailure.
    void give(tag_t file, const std::string& destination) const;
    Content content(tag_t file) const;
    void remove(tag_t file) noexcept;
    // Tags of the files that are there, ascending; what an interrupted copy left is not among them.
    std::vector<tag_t> files() const;
    // Names of everything else in the directory, for the check of a store.
    std::vector<std::string> leftovers() const;
    void removeLeftover(const std::string& name) noexcept;

private:
    std::string directory_;
};

}  // namespace mervane
