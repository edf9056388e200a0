#pragma once

// The volume: the stored files, each under the tag of its object, in a directory or a database. A
// file is complete and on disk before it has its name. A process that ends before the object is
// stored, or after it was deleted, leaves at most a file that no object owns.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/types.h"
#include "workbench/store/sha256.h"
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
    virtual ~Volume() = default;

    // Put a copy of the file at the path, or of the bytes, into the volume; it replaces the file of
    // the tag, if there is one, and is on disk when this returns. Failure too if the path is no
    // regular file.
    FileFacts place(tag_t tag, const std::string& path);
    FileFacts placeBytes(tag_t tag, const std::string& bytes);
    // Take the file out; one that isn't there is no failure. A backup that runs still finds it.
    virtual void remove(tag_t tag) noexcept = 0;
    // Read, write to a path where nothing is, or only look at the contents. They are what was
    // stored: Damage for a file that is missing, is no regular one, can't be read or has other
    // contents. Links are never followed. After a failure nothing of it is left at the path.
    std::string read(const StoredFile& file) const;
    void writeTo(const StoredFile& file, const std::string& path) const;
    void compare(const StoredFile& file) const;
    virtual bool exists(tag_t tag) const = 0;

    // The tags that have a file, sorted, and other names in the directory: left-overs.
    virtual std::vector<tag_t> tags() const = 0;
    virtual std::vector<std::string> leftOvers() const = 0;
    // Remove a left-over, or a file by its name. Returns: false if a copy that is being made needs
    // it.
    virtual bool removeLeftOver(const std::string& name) = 0;

    // Copy these files into another volume while others work on this one: a file that is taken out
    // meanwhile is copied too. Returns: the texts of the damaged ones, which are left out.
    // Requires: a Hold that has lived since the files were listed.
    std::vector<std::string> copyTo(Volume& copy, const std::vector<StoredFile>& files) const;
    // While it lives, files that are taken out stay readable.
    class Hold {
    public:
        virtual ~Hold() = default;
    };
    virtual std::unique_ptr<Hold> hold() const = 0;

protected:
    using Receiver = std::function<void(const char* bytes, std::size_t size)>;
    // Give the contents to the receiver, block by block. Damage, at the end, if they aren't those
    // that were stored.
    virtual void tell(const StoredFile& file, const Receiver& receiver) const = 0;
    // Store what `fill` gives to its receiver, as place() does.
    virtual FileFacts take(tag_t tag, const std::function<void(const Receiver&)>& fill) = 0;
};

// The sum of what is told, to compare it with what was stored.
class ToldContents {
public:
    void add(const char* bytes, std::size_t size) {
        sum_.add(bytes, size);
        size_ += static_cast<std::int64_t>(size);
    }
    FileFacts facts() { return {size_, sum_.hex()}; }
    // Damage if they aren't those of the file.
    void compare(const StoredFile& file);

private:
    Sha256 sum_;
    std::int64_t size_ = 0;
};

}  // namespace mervane
