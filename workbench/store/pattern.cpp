#include "workbench/store/pattern.h"

#include "workbench/utf8.h"

namespace mervane {

namespace {

// The bytes of the character at this place; a byte that begins none counts as one.
std::size_t characterLength(std::string_view text, std::size_t at) {
    const auto first = static_cast<unsigned char>(text[at]);
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : first >= 0xC0 ? 2 : 1;
    for (std::size_t i = 1; i < length; ++i)
        if (at + i >= text.size() || !continuesCharacter(text[at + i]))
            return 1;
    return length;
}

// Any pattern; goes back to the last star only, so its time is bounded by the product of lengths.
bool matchesAny(std::string_view pattern, std::string_view text) {
    std::size_t p = 0, t = 0;
    std::size_t star = std::string_view::npos, resume = 0;
    while (t < text.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            resume = t;
        } else if (p < pattern.size() && pattern[p] == '?') {
            ++p;
            t += characterLength(text, t);
        } else if (p < pattern.size() && pattern[p] == text[t]) {
            ++p;
            ++t;
        } else if (star != std::string_view::npos) {
            p = star + 1;
            resume += characterLength(text, resume);
            t = resume;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == '*')
        ++p;
    return p == pattern.size();
}

}  // namespace

Pattern::Pattern(std::string_view text) : text_(text), single_(text.find('?') != text.npos) {
    std::size_t start = 0;
    for (std::size_t star; (star = text.find('*', start)) != text.npos; start = star + 1)
        pieces_.emplace_back(text.substr(start, star - start));
    pieces_.emplace_back(text.substr(start));
}

bool Pattern::matches(std::string_view text) const {
    if (single_)
        return matchesAny(text_, text);
    const std::string &first = pieces_.front(), &last = pieces_.back();
    if (pieces_.size() == 1)
        return text == first;
    if (text.size() < first.size() + last.size() || !text.starts_with(first) ||
        !text.ends_with(last))
        return false;
    std::size_t at = first.size();
    const std::string_view middle = text.substr(0, text.size() - last.size());
    for (std::size_t i = 1; i + 1 < pieces_.size(); ++i) {
        // The first place will do: a later one leaves less room for the pieces that follow.
        const std::size_t found = middle.find(pieces_[i], at);
        if (found == middle.npos)
            return false;
        at = found + pieces_[i].size();
    }
    return true;
}

}  // namespace mervane
