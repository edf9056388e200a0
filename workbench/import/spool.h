#pragma once

// Bytes that are put away and read again: in memory as long as they are few, then in a temporary
// file.

#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>

#include "workbench/import/temporary_file.h"

namespace mervane {

// Failure kFileFailure for all but size(), if the file can't be made, written or read.
class Spool {
public:
    // Requires: before finish().
    void append(std::string_view bytes);
    std::uint64_t size() const { return written_ + waiting_.size(); }
    // Nothing is read before and nothing appended afterwards.
    void finish();
    // As many bytes from there on as there are, at most `size`; `into` is overwritten.
    void read(std::uint64_t from, std::size_t size, std::string& into);

private:
    std::string waiting_;  // for the file; all of it if there is none
    std::unique_ptr<TemporaryFile> file_;
    std::uint64_t written_ = 0;
    std::ifstream in_;

    void write(std::string_view bytes);
};

// Reads a spool in order from a place on. Requires: the spool outlives it and is finished.
class SpoolReader {
public:
    SpoolReader(Spool& spool, std::uint64_t from) : spool_(&spool), at_(from) {}
    // Where the next bytes come from.
    std::uint64_t position() const { return at_; }
    void seek(std::uint64_t to) { at_ = to; }
    // Requires: there are so many.
    void read(std::size_t size, std::string& into);

private:
    Spool* spool_;
    std::uint64_t at_;
    std::uint64_t block_at_ = 0;
    std::string block_;
};

}  // namespace mervane
