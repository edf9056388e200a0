#include "workbench/import/step_scanner.h"

#include <cstdio>
#include <istream>
#include <ostream>

#include "workbench/import/step_text.h"
#include "workbench/model/status.h"
#include "workbench/workbench.h"

namespace mervane {
namespace {

constexpr std::size_t kBufferBytes = 256u << 10;
constexpr std::size_t kMaxKeywordBytes = 256;
constexpr std::string_view kFileStart = "ISO-10303-21";
constexpr std::string_view kFileEnd = "END-ISO-10303-21";

bool isDigit(int c) {
    return c >= '0' && c <= '9';
}
bool isUpper(int c) {
    return (c >= 'A' && c <= 'Z') || c == '_';
}

}  // namespace

StepScanner::StepScanner(std::istream& in, std::string source_name, std::ostream* copy)
    : in_(in), copy_(copy), source_(std::move(source_name)), buffer_(kBufferBytes) {
    // A byte order mark says nothing here.
    if (peek() == 0xEF && filled_ >= 3 && buffer_[1] == '\xBB' && buffer_[2] == '\xBF')
        position_ = 3;
}

bool StepScanner::fill() {
    bytes_before_ += filled_;
    position_ = filled_ = 0;
    in_.read(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
    if (in_.bad())
        throw Failure(kBadImport, source_ + ": the file can't be read");
    filled_ = static_cast<std::size_t>(in_.gcount());
    // The copy gets whole buffers, so it has each byte, also those that no token takes.
    if (copy_ && filled_) {
        copy_->write(buffer_.data(), static_cast<std::streamsize>(filled_));
        if (!*copy_)
            throw Failure(kFileFailure, source_ + ": no room for a copy of the file");
    }
    return filled_ > 0;
}

void StepScanner::countLine(int c) {
    // A line feed after a carriage return ends the same line.
    if (c == '\r' || (c == '\n' && !after_return_))
        ++line_;
    after_return_ = c == '\r';
}

void StepScanner::skipBlanks() {
    const std::uint64_t start = bytesRead();
    while (true) {
        const int c = peek();
        if (c == '\n' || c == '\r') {
            countLine(c);
        } else if (c == '/') {
            // One limit holds for all that is between two tokens, comments included.
            skipComment(start);
            continue;
        } else if (c != ' ' && c != '\t' && c != '\f' && c != '\v') {
            return;
        } else {
            after_return_ = false;
        }
        advance();
        if (bytesRead() - start > kMaxBlankBytes)
            fail(line_, "expected a token within " + std::to_string(kMaxBlankBytes >> 20) +
                            " MiB, found only white space");
    }
}

void StepScanner::skipComment(std::uint64_t run_start) {
    const std::uint64_t first_line = line_;
    advance();
    if (peek() != '*')
        failAtCharacter("'*' after '/'");
    advance();
    for (bool star = false;;) {
        const int c = peek();
        if (c == kEnd)
            fail(first_line,
                 "expected the end of the comment that begins here, found the end of the file");
        countLine(c);
        advance();
        if (star && c == '/')
            return;
        star = c == '*';
        if (bytesRead() - run_start > kMaxBlankBytes)
            fail(first_line,
                 "expected a comment of at most " + std::to_string(kMaxBlankBytes >> 20) + " MiB");
    }
}

StepToken StepScanner::next() {
    skipBlanks();
    token_line_ = line_;
    // A token is in between now, so a line feed after it is a line end of its own.
    after_return_ = false;
    const int c = peek();
    const auto single = [&](StepToken token) {
        advance();
        return token_ = token;
    };
    switch (c) {
        case kEnd:
            return token_ = StepToken::End;
        case '(':
            return single(StepToken::Open);
        case ')':
            return single(StepToken::Close);
        case ',':
            return single(StepToken::Comma);
        case ';':
            return single(StepToken::Semicolon);
        case '=':
            return single(StepToken::Equals);
        case '$':
            return single(StepToken::Dollar);
        case '*':
            return single(StepToken::Star);
        case '#':
            advance();
            number_ = scanDigits("the digits of an instance number after '#'");
            return token_ = StepToken::Instance;
        case '@':
            advance();
            number_ = scanDigits("the digits of a value number after '@'");
            return token_ = StepToken::ValueRef;
        case '\'':
            scanString();
            return token_ = StepToken::String;
        case '"':
            scanDelimited('"', "binary value");
            return token_ = StepToken::Binary;
        case '<':
            scanDelimited('>', "resource");
            return token_ = StepToken::Resource;
        case '.':
            scanEnumeration();
            return token_ = StepToken::Enumeration;
        default:
            break;
    }
    if (isDigit(c) || c == '-' || c == '+') {
        scanNumber();
        return token_ = StepToken::Number;
    }
    if (isUpper(c) || c == '!') {
        scanKeyword();
        return token_ = StepToken::Keyword;
    }
    if (c >= 'a' && c <= 'z')
        failAtCharacter("a keyword in upper case");
    failAtCharacter("a token");
}

void StepScanner::scanKeyword() {
    text_.assign(1, static_cast<char>(peek()));
    advance();
    while (true) {
        const int c = peek();
        // Only the marks at the two ends of a file have hyphens.
        const bool hyphen =
            c == '-' && (kFileStart.starts_with(text_) || kFileEnd.starts_with(text_));
        if (!isUpper(c) && !isDigit(c) && !hyphen)
            break;
        text_ += static_cast<char>(c);
        advance();
        if (text_.size() > kMaxKeywordBytes)
            fail(token_line_, "expected a keyword of at most " + std::to_string(kMaxKeywordBytes) +
                                  " characters");
    }
    if (text_ == "!")
        failAtCharacter("a name in upper case after '!'");
}

void StepScanner::scanString() {
    const std::uint64_t start = bytesRead();
    text_.clear();
    advance();
    while (true) {
        const int c = peek();
        if (c == kEnd)
            fail(token_line_,
                 "expected the end of the string that begins here, found the end of the file");
        if (c == 0)
            fail(line_, "expected a character other than NUL in a string");
        if (c == '\n' || c == '\r')
            countLine(c);
        else
            after_return_ = false;
        advance();
        if (c == '\'') {
            if (peek() != '\'')
                return;
            // A doubled apostrophe is kept as two: the decoder takes the text as the file has it.
            if (keep_strings_)
                text_ += '\'';
            advance();
        }
        if (keep_strings_)
            text_ += static_cast<char>(c);
        if (bytesRead() - start > kMaxStringBytes)
            fail(token_line_,
                 "expected a string of at most " + std::to_string(kMaxStringBytes >> 20) + " MiB");
    }
}

std::uint64_t StepScanner::scanDigits(const char* what) {
    if (!isDigit(peek()))
        failAtCharacter(what);
    std::uint64_t value = 0;
    while (isDigit(peek())) {
        if (value > 99'999'999'999'999'999u)
            fail(token_line_, "expected a number of at most 18 digits");
        value = value * 10 + static_cast<std::uint64_t>(peek() - '0');
        advance();
    }
    return value;
}

void StepScanner::scanNumber() {
    // Nobody asks for the value of a number, so only its form is read.
    const auto digits = [&] {
        int count = 0;
        while (isDigit(peek())) {
            advance();
            // A stream of digits must come to an end, too.
            if (++count > 4096)
                fail(token_line_, "expected a number of at most 4096 digits");
        }
        return count;
    };
    if (!isDigit(peek()))
        advance();
    if (digits() == 0)
        failAtCharacter("the digits of a number");
    if (peek() != '.')
        return;
    advance();
    digits();
    if (peek() != 'E' && peek() != 'e')
        return;
    advance();
    if (peek() == '+' || peek() == '-')
        advance();
    if (digits() == 0)
        failAtCharacter("the digits of an exponent");
}

void StepScanner::scanEnumeration() {
    advance();
    std::size_t count = 0;
    while (isUpper(peek()) || (count > 0 && isDigit(peek()))) {
        advance();
        if (++count > kMaxKeywordBytes)
            fail(token_line_, "expected an enumeration value of at most " +
                                  std::to_string(kMaxKeywordBytes) + " characters");
    }
    if (count == 0)
        failAtCharacter("the name of an enumeration value after '.'");
    if (peek() != '.')
        failAtCharacter("'.' after an enumeration value");
    advance();
}

void StepScanner::scanDelimited(char end, const char* what) {
    const std::uint64_t start = bytesRead();
    advance();
    while (peek() != end) {
        const int c = peek();
        if (c == kEnd || c < 0x20)
            failAtCharacter(std::string("the end of a ") + what);
        advance();
        if (bytesRead() - start > kMaxStringBytes)
            fail(token_line_, std::string("expected a ") + what + " of at most " +
                                  std::to_string(kMaxStringBytes >> 20) + " MiB");
    }
    advance();
}

std::string StepScanner::decodedText() const {
    try {
        return decodeStepText(text_);
    } catch (const BadStepText& bad) {
        fail(token_line_, bad.what());
    }
}

void StepScanner::skipRest() {
    const std::uint64_t start = bytesRead();
    while (peek() != kEnd) {
        // fill() writes each buffer to the copy, and nobody looks at the bytes.
        position_ = filled_;
        if (bytesRead() - start > kMaxBlankBytes)
            fail(line_, "expected the end of the file");
    }
}

std::string StepScanner::shownToken() const {
    switch (token_) {
        case StepToken::Keyword:
            return text_;
        case StepToken::Instance:
            return "#" + std::to_string(number_);
        case StepToken::String:
            return "a string";
        case StepToken::Number:
            return "a number";
        case StepToken::Enumeration:
            return "an enumeration value";
        case StepToken::Binary:
            return "a binary value";
        case StepToken::ValueRef:
            return "@" + std::to_string(number_);
        case StepToken::Resource:
            return "a resource";
        case StepToken::Dollar:
            return "'$'";
        case StepToken::Star:
            return "'*'";
        case StepToken::Open:
            return "'('";
        case StepToken::Close:
            return "')'";
        case StepToken::Comma:
            return "','";
        case StepToken::Semicolon:
            return "';'";
        case StepToken::Equals:
            return "'='";
        case StepToken::End:
            break;
    }
    return "the end of the file";
}

std::string StepScanner::shownCharacter() {
    const int c = peek();
    if (c == kEnd)
        return "the end of the file";
    if (c > 0x20 && c < 0x7F)
        return std::string("'") + static_cast<char>(c) + "'";
    if (c == ' ')
        return "a blank";
    if (c == '\n' || c == '\r')
        return "the end of the line";
    char text[32];
    std::snprintf(text, sizeof text, "a byte of value %02X", static_cast<unsigned>(c));
    return text;
}

void StepScanner::failExpected(const std::string& what) const {
    fail(token_line_, "expected " + what + ", found " + shownToken());
}

void StepScanner::failAtCharacter(const std::string& expected) {
    fail(line_, "expected " + expected + ", found " + shownCharacter());
}

void StepScanner::fail(std::uint64_t line, const std::string& text) const {
    throw Failure(kBadImport, source_ + ":" + std::to_string(line) + ": " + text);
}

}  // namespace mervane
