#include "workbench/import/temporary_file.h"

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>

#include "workbench/model/status.h"
#include "workbench/workbench.h"

namespace mervane {

TemporaryFile::TemporaryFile() {
    std::error_code error;
    path_ = std::filesystem::temp_directory_path(error).string() + "/mervane-XXXXXX";
    const int descriptor = error ? -1 : ::mkstemp(path_.data());
    if (descriptor < 0)
        throw Failure(kFileFailure, "no temporary file can be made at \"" + path_ + "\"");
    ::close(descriptor);
    stream_.open(path_, std::ios::binary);
}

TemporaryFile::~TemporaryFile() {
    ::unlink(path_.c_str());
}

void TemporaryFile::close() {
    stream_.close();
    if (!stream_)
        throw Failure(kFileFailure, "temporary file \"" + path_ + "\" can't be written");
}

}  // namespace mervane
