#pragma once

// An input read as decisions. After its end they are made up from its content, so that a short
// input is a whole call too, and the same input is always the same call.

#include <span>
#include <string>

#include "tests/fuzz/mutator.h"

namespace fuzz {

class Decisions {
public:
    Decisions(const std::uint8_t* data, std::size_t size)
        : left_(data, size), more_(seedOf(left_)) {}
    std::uint8_t byte() {
        if (left_.empty())
            return static_cast<std::uint8_t>(more_.next());
        const std::uint8_t first = left_.front();
        left_ = left_.subspan(1);
        return first;
    }
    std::size_t below(std::size_t count) {
        const std::size_t high = byte();
        return (high << 8U | byte()) % count;
    }
    bool oneIn(std::size_t count) { return below(count) == 0; }
    template <typename List>
    auto& pick(List& list) {
        return list[below(std::size(list))];
    }
    int number();
    // 0 to 100,000 bytes; never with a zero byte.
    std::string text();
    // Words that the services know, one or some with separators, and sometimes anything.
    std::string word();
    // One of the list mostly.
    template <typename List>
    std::string wordOf(List& list) {
        return oneIn(8) ? word() : pick(list);
    }

private:
    static std::uint64_t seedOf(std::span<const std::uint8_t> bytes) {
        std::uint64_t hash = 14695981039346656037U;
        for (const std::uint8_t byte : bytes)
            hash = (hash ^ byte) * 1099511628211U;
        return hash;
    }
    std::span<const std::uint8_t> left_;
    Random more_;
};

}  // namespace fuzz
