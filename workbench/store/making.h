#pragma once

// Making what must be whole or not there: a store, a registry, a copy. It is made in a directory
// that nobody else has and gets its place in one step, which fails if something is there. So two
// processes that make the same thing never touch each other's, however late one of them is.

#include <string>

namespace mervane {

class MakingPlace {
public:
    // A directory beside the path. Failure kStoreFailure if there is something at the path already,
    // kFileFailure if no directory can be made.
    explicit MakingPlace(const std::string& target);
    // Takes the directory away with what is still in it, and nothing else.
    ~MakingPlace();
    MakingPlace(const MakingPlace&) = delete;

    std::string operator/(const std::string& name) const { return directory_ + "/" + name; }
    // Give the file or directory of this name its place, on disk when this returns. Failure
    // kStoreFailure if something is there; kFileFailure if it can't be put there, or not be written
    // to disk, which undoes it.
    void put(const std::string& name, const std::string& to) const;
    // Undo that, unless somebody has opened it: it goes with the directory again.
    void takeBack(const std::string& name, const std::string& from) const noexcept;

private:
    std::string directory_;
};

// Failure kStoreFailure if there is something at the path.
void needNothingAt(const std::string& path);

}  // namespace mervane
