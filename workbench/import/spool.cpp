#include "workbench/import/spool.h"

#include <algorithm>

#include "workbench/model/status.h"
#include "workbench/system/system.h"
#include "workbench/workbench.h"

namespace mervane {
namespace {

// Most documents that people write need no file.
constexpr std::size_t kMostInMemory = 1u << 20;
constexpr std::size_t kBlock = 64u << 10;

}  // namespace

void Spool::append(std::string_view bytes) {
    if (waiting_.size() + bytes.size() <= kMostInMemory) {
        waiting_ += bytes;
        return;
    }
    if (!file_)
        file_ = std::make_unique<TemporaryFile>();
    write(waiting_);
    waiting_.clear();
    write(bytes);
}

void Spool::write(std::string_view bytes) {
    file_->stream() << bytes;
    // A disk that is full is seen at once, not after all of the document was read.
    if (!file_->stream())
        file_->close();
    written_ += bytes.size();
}

void Spool::finish() {
    if (!file_)
        return;
    write(waiting_);
    waiting_ = {};
    file_->close();
    in_.open(system::pathOf(file_->path()), std::ios::binary);
}

void Spool::read(std::uint64_t from, std::size_t size, std::string& into) {
    if (!file_) {
        into = from < waiting_.size() ? std::string_view(waiting_).substr(from, size) : "";
        return;
    }
    into.resize(static_cast<std::size_t>(
        std::min<std::uint64_t>(size, written_ - std::min(from, written_))));
    in_.seekg(static_cast<std::streamoff>(from));
    in_.read(into.data(), static_cast<std::streamsize>(into.size()));
    if (!in_)
        throw Failure(kFileFailure, "temporary file \"" + file_->path() + "\" can't be read");
}

void SpoolReader::read(std::size_t size, std::string& into) {
    into.clear();
    while (into.size() < size) {
        if (at_ < block_at_ || at_ >= block_at_ + block_.size()) {
            block_at_ = at_;
            spool_->read(at_, std::max(kBlock, size - into.size()), block_);
        }
        const std::string_view part = std::string_view(block_).substr(
            static_cast<std::size_t>(at_ - block_at_), size - into.size());
        if (part.empty())
            throw Failure(kFileFailure, "a temporary file is shorter than what was written");
        into += part;
        at_ += part.size();
    }
    // A large block isn't kept for the small ones after it.
    if (block_.size() > kBlock) {
        block_ = {};
        block_at_ = 0;
    }
}

}  // namespace mervane
