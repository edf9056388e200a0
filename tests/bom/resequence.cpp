#include "tests/bom/resequence.h"

#include <unistd.h>

#include <filesystem>
#include <iostream>
#include <stdexcept>

namespace bom {

namespace {

std::FILE* temporaryFile() {
#if defined(_WIN32)
    // std::tmpfile would take the root of the drive. "D" removes the file with its last handle.
    const auto path =
        std::filesystem::temp_directory_path() / ("keld_bom_output_" + std::to_string(::getpid()));
    return std::fopen(path.string().c_str(), "w+bD");
#else
    return std::tmpfile();
#endif
}

}  // namespace

StandardOutput::StandardOutput() : file_(temporaryFile()), kept_(dup(STDOUT_FILENO)) {
    std::fflush(stdout);
    if (file_ == nullptr || kept_ < 0 || dup2(fileno(file_), STDOUT_FILENO) < 0)
        throw std::runtime_error("standard output can't be taken");
}

StandardOutput::~StandardOutput() {
    std::fflush(stdout);
    dup2(kept_, STDOUT_FILENO);
    close(kept_);
    std::fclose(file_);
}

std::string StandardOutput::text() {
    std::cout.flush();
    std::fflush(stdout);
    const off_t size = lseek(STDOUT_FILENO, 0, SEEK_END);
    std::string all(static_cast<std::size_t>(size), '\0');
    if (lseek(STDOUT_FILENO, 0, SEEK_SET) != 0 ||
        read(STDOUT_FILENO, all.data(), static_cast<unsigned>(size)) != size ||
        ftruncate(STDOUT_FILENO, 0) != 0 || lseek(STDOUT_FILENO, 0, SEEK_SET) != 0)
        throw std::runtime_error("standard output can't be read");
    return all;
}

Outcome Resequence::run(int increment, bool sort, const char* default_quantity) {
    ACBOMLineChildrenObjects children(line_platform::kParent);
    p.calls.clear();
    output.text();
    EXPECT_EQ(0, children.resequenceAndPack(increment, default_quantity, sort));
    Outcome run;
    run.printed = output.text();
    run.calls = p.calls;
    run.last_number = children.m_iLastSeqNo;
    for (int i = 0; i < children.m_iBomLineObjCount; ++i) {
        ACBOMLineObject* object = children.m_ppBomLineObj[i];
        run.items.push_back(object->getItemId());
        run.numbers.push_back(object->getSeqNo());
        run.assigned.push_back(object->m_sNewSeqNo);
        run.statuses.push_back(object->getStatus());
        delete object;  // the library releases nothing; thousands of runs need the room
    }
    return run;
}

std::vector<bom_model::Component> Resequence::components(
    const std::vector<line_platform::Line>& lines) {
    std::vector<bom_model::Component> list;
    for (const line_platform::Line& line : lines)
        list.push_back({line.item + "###", line.number});
    return list;
}

}  // namespace bom
