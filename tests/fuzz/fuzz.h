#pragma once

// What a fuzzing target uses. A target is one source with the function below; it runs under the
// driver here (driver.cpp) and, built with KELD_FUZZ, under libFuzzer.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

extern "C" {
// Run one input. Returns 0; a broken property ends the process.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
// Called once before the first input, if the target has it.
int LLVMFuzzerInitialize(int* argc, char*** argv);
}

// Of the program, for the driver: its name and the corpus's (target.cpp).
extern const char* const fuzz_target;
extern const char* const fuzz_corpus;

namespace fuzz {

// A property of the target: if it doesn't hold, say so and end.
inline void require(bool holds, const char* what, const char* file = __builtin_FILE(),
                    int line = __builtin_LINE()) {
    if (holds)
        return;
    std::fprintf(stderr, "%s:%d: broken: %s\n", file, line, what);
    std::abort();
}

// A text in memory of exactly its size, so that the sanitizer sees each byte read past its end.
class Text {
public:
    explicit Text(std::string_view text) : size_(text.size()), bytes_(new char[text.size() + 1]) {
        if (!text.empty())
            std::memcpy(bytes_.get(), text.data(), text.size());
        bytes_[text.size()] = '\0';
    }
    [[nodiscard]] char* data() { return bytes_.get(); }
    [[nodiscard]] const char* data() const { return bytes_.get(); }
    [[nodiscard]] std::size_t size() const { return size_; }
    // Up to the first zero byte, as the library sees it.
    [[nodiscard]] std::string_view asRead() const { return bytes_.get(); }

private:
    std::size_t size_;
    std::unique_ptr<char[]> bytes_;
};

// Memory of exactly this size for an output, filled with a byte that nobody writes.
class Room {
public:
    explicit Room(std::size_t size) : size_(size), bytes_(new char[size]) {
        std::memset(bytes_.get(), filler, size);
    }
    [[nodiscard]] char* data() { return bytes_.get(); }
    // True: there is a terminator inside.
    [[nodiscard]] bool isText() const { return std::memchr(bytes_.get(), '\0', size_) != nullptr; }
    [[nodiscard]] std::string_view text() const {
        return isText() ? std::string_view(bytes_.get()) : std::string_view();
    }
    [[nodiscard]] bool isUntouched() const {
        for (std::size_t i = 0; i < size_; ++i)
            if (bytes_[i] != filler)
                return false;
        return true;
    }

private:
    static constexpr char filler = '\x5a';
    std::size_t size_;
    std::unique_ptr<char[]> bytes_;
};

// An input taken apart: numbers from its front, texts up to the next line feed or zero byte.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size)
        : rest_(reinterpret_cast<const char*>(data), size) {}
    [[nodiscard]] bool isEmpty() const { return rest_.empty(); }
    // 0 after the end.
    std::uint8_t byte() {
        if (rest_.empty())
            return 0;
        const auto result = static_cast<std::uint8_t>(rest_.front());
        rest_.remove_prefix(1);
        return result;
    }
    std::int32_t number() {
        std::uint32_t result = 0;
        for (int i = 0; i < 4; ++i)
            result = result << 8 | byte();
        return static_cast<std::int32_t>(result);
    }
    // The text up to the sign, which is taken too; all that is left if there is none.
    std::string_view upTo(char sign) {
        const std::size_t end = rest_.find(sign);
        const std::string_view result = rest_.substr(0, end);
        rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + 1);
        return result;
    }
    std::string_view rest() {
        const std::string_view result = rest_;
        rest_ = {};
        return result;
    }

private:
    std::string_view rest_;
};

}  // namespace fuzz
