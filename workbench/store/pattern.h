#pragma once

// Patterns as people type them: * matches any text, ? one character.

#include <string>
#include <string_view>
#include <vector>

namespace mervane {

class Pattern {
public:
    explicit Pattern(std::string_view text);
    bool matches(std::string_view text) const;

private:
    std::string text_;
    bool single_ = false;              // has a question mark
    std::vector<std::string> pieces_;  // between the stars
};

}  // namespace mervane
