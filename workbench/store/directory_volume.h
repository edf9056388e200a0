#pragma once

// A volume in a directory: one file under the tag of its object.

#include <string>
#include <vector>

#include "workbench/store/volume.h"

namespace mervane {

class DirectoryVolume : public Volume {
public:
    // A file of the directory that says whose it is, if several places are possible.
    static constexpr const char* kMarkName = ".volume";

    // Nothing is made yet. An empty directory name: a temporary directory that is made when it is
    // needed and removed with the volume. Directory and files are for those who may read and write
    // the file `like`.
    explicit DirectoryVolume(std::string directory, std::string like = "");
    ~DirectoryVolume() override;
    DirectoryVolume(const DirectoryVolume&) = delete;

    // One that is there already stays.
    void makeDirectory();
    void remove(tag_t tag) noexcept override;
    bool exists(tag_t tag) const override;
    std::vector<tag_t> tags() const override;
    std::vector<std::string> leftOvers() const override;
    bool removeLeftOver(const std::string& name) override;
    std::unique_ptr<Hold> hold() const override;
    // The path of the file, for reading only.
    std::string pathOf(tag_t tag) const;
    const std::string& directory() const { return directory_; }

protected:
    // Whether somebody copies now. Whoever begins later needs nothing that was taken out before.
    virtual bool isCopied() const;
    // The names of files that were taken out while somebody copied.
    std::vector<std::string> takenOut() const;
    void tell(const StoredFile& file, const Receiver& receiver) const override;
    FileFacts take(tag_t tag, const std::function<void(const Receiver&)>& fill) override;

private:
    class DirectoryHold;

    std::string directory_, like_;
    bool temporary_;

    std::string holdPath() const;
    int openStored(const StoredFile& file) const;
};

}  // namespace mervane
