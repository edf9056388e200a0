#include "tools/keld/host/tree_writer.h"

#include <algorithm>

namespace keld {

namespace {

constexpr std::size_t kMostLevels = 40;  // levels that are drawn or indented

std::string indented(std::string text, std::size_t level) {
    const std::string indent(std::min(level, kMostLevels) * 4, ' ');
    std::string all = indent;
    for (const char c : text) {
        all += c;
        if (c == '\n')
            all += indent;
    }
    return all;
}

}  // namespace

// Branches of the open nodes below the top, from the top downwards.
std::string TreeWriter::branches(std::size_t levels) const {
    std::string all;
    for (std::size_t i = 1; i < std::min(levels, kMostLevels); ++i)
        all += last_[i] ? "   " : "│  ";
    if (levels > kMostLevels)
        all += "(level " + std::to_string(levels) + ") ";
    return all;
}

std::string TreeWriter::lead(bool last) const {
    if (last_.empty())
        return "";
    return branches(last_.size()) + (last ? "└─ " : "├─ ");
}

std::string TreeWriter::leadBelow(const std::string& branch) const {
    return branches(last_.size()) + branch;
}

void TreeWriter::begin(const Json& node, bool last) {
    if (context_.json()) {
        std::string text = dumped(node);
        text.resize(text.rfind('\n'));
        writeBytes((last_.empty()   ? ""
                    : has_children_ ? ",\n"
                                    : "\n") +
                   indented(text + ",\n  \"children\": [", last_.size()));
        context_.document_written = true;
    }
    last_.push_back(last);
    has_children_ = false;
}

void TreeWriter::end() {
    last_.pop_back();
    if (context_.json())
        writeBytes((has_children_ ? "\n" + indented("  ]\n}", last_.size())
                                  : "]\n" + indented("}", last_.size())) +
                   (last_.empty() ? "\n" : ""));
    has_children_ = true;
}

}  // namespace keld
