#include "workbench/import/temporary_file.h"

#include "workbench/model/status.h"
#include "workbench/system/system.h"
#include "workbench/workbench.h"

namespace mervane {

TemporaryFile::TemporaryFile() {
    path_ = system::makeTemporaryFile("mervane");
    if (path_.empty())
        throw Failure(kFileFailure, "no temporary file can be made");
    stream_.open(system::pathOf(path_), std::ios::binary);
}

TemporaryFile::~TemporaryFile() {
    system::removeFile(path_);
}

void TemporaryFile::close() {
    stream_.close();
    if (!stream_)
        throw Failure(kFileFailure, "temporary file \"" + path_ + "\" can't be written");
}

}  // namespace mervane
