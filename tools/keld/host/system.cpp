#include "tools/keld/host/system.h"

#include "tools/keld/host/context.h"

namespace keld {

namespace {

// Requires: nothing can be made in the temporary directory. If there is none, that is thrown.
[[noreturn]] void refuseTemporary(const std::string& what) {
    throw CommandError("can't make " + what + " in " +
                       std::filesystem::temp_directory_path().string());
}

}  // namespace

std::string makeTemporaryDirectory(const std::string& prefix) {
    std::string path = mervane::system::makeTemporaryDirectory(prefix);
    if (path.empty())
        refuseTemporary("a directory");
    return path;
}

std::string makeTemporaryFile(const std::string& prefix) {
    std::string path = mervane::system::makeTemporaryFile(prefix);
    if (path.empty())
        refuseTemporary("a temporary file");
    return path;
}

}  // namespace keld
