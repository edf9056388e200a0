#pragma once

// A number for each of many texts, in little more memory than the texts have: an export of a
// million items has seven million labels.

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mervane {

class TextTable {
public:
    // Returns: false, and nothing is changed, if it is there. Failure kNoMemory if there is no room
    // for it within 4 GiB of texts.
    bool add(std::string_view text, std::uint32_t value);
    // Null: it isn't there. Good until the next one is added.
    const char* find(std::string_view text) const;
    static std::uint32_t valueOf(const char* entry);
    std::size_t size() const { return count_; }
    // each(text, std::uint32_t& value), in the order in which they were added.
    template <typename Each>
    void forEach(Each&& each) {
        for (const Block& block : blocks_)
            for (std::size_t at = 0; at < block.used;) {
                char* const entry = block.bytes.get() + at;
                const std::string_view text = textOf(entry);
                std::uint32_t value = valueOf(entry);
                each(text, value);
                setValue(entry, value);
                at = static_cast<std::size_t>(text.data() + text.size() - block.bytes.get());
            }
    }

private:
    // An entry is its value, the length of the text, and the text. A block has many, or one that is
    // longer than a block.
    static constexpr std::size_t kBlock = 1u << 18;
    struct Block {
        std::unique_ptr<char[]> bytes;
        std::size_t used = 0;
    };
    std::vector<Block> blocks_;
    std::vector<std::uint32_t> slots_;  // 1 + number of a block * kBlock + place in it; 0: free
    std::size_t count_ = 0;

    static void setValue(char* entry, std::uint32_t value);
    static std::string_view textOf(const char* entry);
    const char* entryOf(std::uint32_t slot) const;
    // The slot that has the text, or the free one where it belongs.
    std::size_t slotOf(std::string_view text) const;
    void grow();
};

// The labels of a document, each with a number. Those of an export, "o1", "o2" and so on, need no
// more than the number.
class Labels {
public:
    // Returns: false, and nothing is changed, if it is there.
    bool add(std::string_view label, std::uint32_t value);
    // Nothing: it isn't there.
    std::optional<std::uint32_t> find(std::string_view label) const;
    // each(label, std::uint32_t& value), in the order in which they were added.
    template <typename Each>
    void forEach(Each&& each) {
        for (std::size_t i = 0; i < counted_.size(); ++i)
            each(std::string_view(counted(i)), counted_[i]);
        others_.forEach(each);
    }

private:
    std::deque<std::uint32_t> counted_;  // a deque doesn't copy all of them when it grows
    TextTable others_;

    static std::string counted(std::size_t index) { return "o" + std::to_string(index + 1); }
};

}  // namespace mervane
