#pragma once

// What the substitution has to give, worked out in another way than the library does it.

#include <cstdlib>
#include <optional>
#include <random>
#include <string>

namespace model {

// Random texts over few letters, so that ids occur. KELD_TEST_SEED repeats a run.
class Texts {
public:
    Texts() : seed_(chosenSeed()), random_(seed_) { std::printf("%s\n", replay().c_str()); }
    std::string text(int longest) {
        std::string made(static_cast<std::size_t>(number(0, longest)), ' ');
        for (char& c : made)
            c = "aAbB1-"[number(0, 5)];
        ++made_;
        return made;
    }
    int number(int least, int most) {
        return std::uniform_int_distribution<int>(least, most)(random_);
    }
    int made() const { return made_; }
    std::string replay() const { return "KELD_TEST_SEED=" + std::to_string(seed_); }

private:
    static unsigned chosenSeed() {
        const char* given = std::getenv("KELD_TEST_SEED");
        return given ? static_cast<unsigned>(std::strtoul(given, nullptr, 10))
                     : std::random_device{}();
    }
    unsigned seed_;
    std::mt19937 random_;
    int made_ = 0;
};

// The text with the first occurrence exchanged; nothing if there is none. Each place is tried in
// turn, letter by letter.
inline std::optional<std::string> substituted(const std::string& old, const std::string& old_id,
                                              const std::string& new_id) {
    for (std::size_t at = 0; at + old_id.size() <= old.size(); ++at) {
        bool equal = true;
        for (std::size_t i = 0; i < old_id.size(); ++i)
            equal = equal && old[at + i] == old_id[i];
        if (!equal)
            continue;
        std::string result;
        for (std::size_t i = 0; i < at; ++i)
            result += old[i];
        result += new_id;
        for (std::size_t i = at + old_id.size(); i < old.size(); ++i)
            result += old[i];
        return result;
    }
    return std::nullopt;
}

// Replace the item id, and after it the revision id.
inline std::optional<std::string> substitutedBoth(const std::string& old,
                                                  const std::string& old_item,
                                                  const std::string& old_revision,
                                                  const std::string& new_item,
                                                  const std::string& new_revision) {
    // With a mark in place of the item id, the text divides into the parts before and after it.
    const auto marked = substituted(old, old_item, "\x01");
    if (!marked)
        return std::nullopt;
    std::string before, after;
    bool passed = false;
    for (const char c : *marked) {
        if (c == '\x01')
            passed = true;
        else
            (passed ? after : before) += c;
    }
    return before + new_item + substituted(after, old_revision, new_revision).value_or(after);
}

// The new text of an object under a mode; nothing if it stays.
inline std::optional<std::string> renamed(int mode, const std::string& text,
                                          const std::optional<std::string>& substitution,
                                          const std::string& old_item_text,
                                          const char* new_item_text) {
    const bool same = new_item_text && text == old_item_text;
    switch (mode) {
        case 1:
            return substitution;
        case 2:
            return substitution ? substitution
                                : (same ? std::optional<std::string>(new_item_text) : std::nullopt);
        case 3:
            return same ? std::optional<std::string>(new_item_text) : substitution;
        case 4:
            return same ? std::optional<std::string>(new_item_text) : std::nullopt;
        default:
            return std::nullopt;
    }
}

}  // namespace model
