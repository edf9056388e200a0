#pragma once

// The volume: the directory beside the store with the stored files, each under the tag of its
// object. A file is complete and on disk before it has its name. A process that ends before the
// object is stored, or after it was deleted, leaves at most a file that no object owns.

#include <optional>
#include <string>
#include <vector>

#include "platform/types.h"
#include "workbench/workbench.h"

namespace mervane {

struct FileFacts {
    std::int64_t byte_size = 0;
    std::string sha256;  // hexadecimal
};

// A stored file as the store knows it. What it doesn't know isn't compared.
struct StoredFile {
    tag_t tag = NULLTAG;
    std::string name;  // the original one
    std::optional<std::int64_t> byte_size;
    std::optional<std::string> sha256;
};

// A file of the volume that can't be read as it was stored: Failure kFileFailure, whose text names
// it.
class Damage : public Failure {
public:
    Damage(const StoredFile& file, const std::string& what);
};

// Failure kFileFailure for what can't be read, made or written, besides what is said.
class Volume {
public:
    // Nothing is made yet. An empty directory name: a temporary directory that is made when it is
    // needed and removed with the volume. Directory and files are for those who may read and write
    // the file `like`.
    explicit Volume(std::string directory, std::string like = "");
    ~Volume();
    Volume(const Volume&) = delete;

    // One that is there already stays.
    void makeDirectory();
    // Put a copy of the file at the path, or of the bytes, into the volume; it replaces the file of
    // the tag, if there is one, and is on disk when this returns. Failure too if the path is no
    // regular file.
    FileFacts place(tag_t tag, const std::string& path);
    FileFacts placeBytes(tag_t tag, const std::string& bytes);
    // Take the file out; one that isn't there is no failure. A backup that runs still finds it.
    void remove(tag_t tag) noexcept;
    // Read, write to a path where nothing is, or only look at the contents. They are what was
    // stored: Damage for a file that is missing, is no regular one, can't be read or has other
    // contents. Links are never followed. After a failure nothing of it is left at the path.
    std::string read(const StoredFile& file) const;
    void writeTo(const StoredFile& file, const std::string& path) const;
    void compare(const StoredFile& file) const;
    bool exists(tag_t tag) const;
    // The path of the file, for reading only.
    std::string pathOf(tag_t tag) const;

    // The tags that have a file, sorted, and other names in the directory: left-overs.
    std::vector<tag_t> tags() const;
    std::vector<std::string> leftOvers() const;
    // Remove a left-over, or a file by its name. Returns: false if a copy that is being made needs
    // it.
    bool removeLeftOver(const std::string& name);

    // Copy these files into another volume while others work on this one: a file that is taken out
    // meanwhile is copied too. Returns: the texts of the damaged ones, which are left out.
    // Requires: a Hold that has lived since the files were listed.
    std::vector<std::string> copyTo(const Volume& copy, const std::vector<StoredFile>& files) const;
    // While it lives, files that are taken out stay readable.
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
    std::string directory_, like_;
    bool temporary_;

    std::string holdPath() const;
    int openStored(const StoredFile& file) const;
};

}  // namespace mervane
