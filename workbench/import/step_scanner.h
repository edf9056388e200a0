#pragma once

// Tokens of an ISO 10303-21 file. The file is read once, front to back, through a buffer of fixed
// size; texts are kept only on request, so that geometry costs no memory.

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace mervane {

// What a file may have at most; beyond it the file is refused, so that an endless stream ends.
inline constexpr std::size_t kMaxBlankBytes = 16u << 20;   // white space and comments in one run
inline constexpr std::size_t kMaxStringBytes = 16u << 20;  // of one string
inline constexpr std::size_t kMaxProductBytes = 4u << 20;  // of one entity that is kept
inline constexpr std::size_t kMaxEntityBytes = 1u << 30;   // of one entity that is skipped
inline constexpr int kMaxNesting = 256;                    // of parentheses in one entity

enum class StepToken {
    Keyword,
    Instance,  // #12
    String,
    Number,
    Enumeration,
    Binary,
    ValueRef,  // @12
    Resource,  // <...>
    Dollar,
    Star,
    Open,
    Close,
    Comma,
    Semicolon,
    Equals,
    End
};

class StepScanner {
public:
    // A copy of every byte read goes to `copy` unless it is null.
    StepScanner(std::istream& in, std::string source_name, std::ostream* copy);

    // Read the next token. Throws Failure kBadImport.
    StepToken next();
    StepToken token() const { return token_; }
    // The keyword; the raw contents of a string that was read with keepStrings(true).
    std::string_view text() const { return text_; }
    std::string decodedText() const;
    std::uint64_t number() const { return number_; }  // of an instance
    std::uint64_t line() const { return token_line_; }
    std::uint64_t bytesRead() const { return bytes_before_ + position_; }
    void keepStrings(bool keep) { keep_strings_ = keep; }

    // Refuse: "SOURCE:LINE: expected WHAT, found the token".
    [[noreturn]] void failExpected(const std::string& what) const;
    [[noreturn]] void fail(std::uint64_t line, const std::string& text) const;

    // Read the rest of the source without looking at it, up to the limit for one run of blanks.
    void skipRest();

private:
    static constexpr int kEnd = -1;

    int peek() {
        return position_ < filled_ || fill() ? static_cast<unsigned char>(buffer_[position_])
                                             : kEnd;
    }
    void advance() { ++position_; }
    bool fill();
    void countLine(int c);
    void skipBlanks();
    void skipComment(std::uint64_t run_start);
    void scanKeyword();
    void scanString();
    void scanNumber();
    void scanEnumeration();
    void scanDelimited(char end, const char* what);
    std::uint64_t scanDigits(const char* what);
    std::string shownToken() const;
    std::string shownCharacter();
    [[noreturn]] void failAtCharacter(const std::string& expected);

    std::istream& in_;
    std::ostream* copy_;
    std::string source_;
    std::vector<char> buffer_;
    std::size_t position_ = 0, filled_ = 0;
    std::uint64_t bytes_before_ = 0;  // of the buffers already used up
    std::uint64_t line_ = 1, token_line_ = 1;
    bool after_return_ = false;  // the last line end was a carriage return
    bool keep_strings_ = false;
    StepToken token_ = StepToken::End;
    std::string text_;
    std::uint64_t number_ = 0;
};

}  // namespace mervane
