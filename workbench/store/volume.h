#pragma once

// The volume: the directory beside the store in which stored files lie, each under the tag of its
// object. A file is complete and on disk before it has its name. A process that ends before the
// object is stored, or after it was deleted, leaves at most a file that no object owns.

#include <optional>
#include <string>
#include <vector>

#include "platform/types.h"

namespace mervane {

struct FileFacts {
    std::int64_t byte_size = 0;
    std::string sha256;  // hexadecimal
};

class Volume {
public:
    // An empty directory name: a temporary directory that is made when it is needed and removed
    // with the volume.
    explicit Volume(std::string directory);
    ~Volume();
    Volume(const Volume&) = delete;

    void makeDirectory();
    // Put a copy of the file at the path into the volume. Failure kFileFailure.
    FileFacts place(tag_t tag, const std::string& path);
    FileFacts placeBytes(tag_t tag, const std::string& bytes);
    // Take the file out; one that isn't there is fine. A backup that runs still finds it.
    void remove(tag_t tag) noexcept;
    std::string read(tag_t tag) const;
    // Write the contents to a path that doesn't exist yet; links aren't followed.
    void writeTo(tag_t tag, const std::string& path) const;
    bool exists(tag_t tag) const;
    std::optional<FileFacts> facts(tag_t tag) const;  // none: there is no such file
    // Where the file lies, for reading only.
    std::string pathOf(tag_t tag) const;

    // The tags that have a file, and names in the directory that are no file's: left-overs.
    std::vector<tag_t> tags() const;
    std::vector<std::string> leftOvers() const;
    // False: a copy that is being made needs it.
    bool removeLeftOver(const std::string& name);

    // Copy these files into another directory while others work on the volume: a file that is taken
    // out meanwhile is copied too. Gives the tags that have no file.
    std::vector<tag_t> copyTo(const std::string& directory, const std::vector<tag_t>& tags) const;
    // While it lives, files that are taken out stay readable for copyTo.
    class Hold {
    public:
        explicit Hold(const Volume& volume);
        ~Hold();
        Hold(const Hold&) = delete;

    private:
        const Volume& volume_;
        int descriptor_ = -1;
    };

    const std::string& directory() const { return directory_; }

private:
    std::string directory_;
    bool temporary_;

    std::string holdPath() const;
};

}  // namespace mervane
