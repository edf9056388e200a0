#include "workbench/import/step_text.h"

#include "workbench/import/step_pages.h"
#include "workbench/utf8.h"

namespace mervane {
namespace {

int hexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

class Decoder {
public:
    explicit Decoder(std::string_view raw) : rest_(raw), utf8_(isUtf8(raw)) {}

    std::string decode() {
        while (!rest_.empty()) {
            const char c = rest_[0];
            if (c == '\\') {
                directive();
            } else if (c == '\'') {
                text_ += c;
                drop(rest_.starts_with("''") ? 2 : 1);
            } else {
                if (c != '\n' && c != '\r')
                    plain(c);
                drop(1);
            }
        }
        return std::move(text_);
    }

private:
    void drop(std::size_t count) { rest_.remove_prefix(std::min(count, rest_.size())); }

    void plain(char c) {
        // A string has one encoding, so no byte is judged alone.
        if (utf8_ || static_cast<unsigned char>(c) < 0x80)
            text_ += c;
        else
            appendUtf8(text_, static_cast<unsigned char>(c));
    }

    void character(std::uint32_t code) {
        if (code == 0)
            throw BadStepText("expected a character other than NUL in a string");
        appendUtf8(text_, code);
    }

    // A number of exactly `digits` hexadecimal digits at the start of the rest.
    std::uint32_t hex(std::size_t digits, const char* directive) {
        std::uint32_t code = 0;
        for (std::size_t i = 0; i < digits; ++i) {
            const int digit = i < rest_.size() ? hexDigit(rest_[i]) : -1;
            if (digit < 0)
                throw BadStepText("expected " + std::to_string(digits) +
                                  " hexadecimal digits after " + directive + " in a string");
            code = code << 4 | static_cast<std::uint32_t>(digit);
        }
        drop(digits);
        return code;
    }

    void wide(std::size_t digits, const char* directive) {
        drop(4);
        std::uint32_t high = 0;
        while (true) {
            // A long run may be broken by a line end.
            while (!rest_.empty() && (rest_[0] == '\n' || rest_[0] == '\r'))
                drop(1);
            if (rest_.starts_with("\\X0\\"))
                break;
            if (rest_.empty())
                throw BadStepText(std::string("expected \\X0\\ after ") + directive +
                                  " in a string");
            const std::uint32_t code = hex(digits, directive);
            // A character above U+FFFF comes as two surrogates.
            if (high && code >= 0xDC00 && code <= 0xDFFF) {
                character(0x10000 + ((high - 0xD800) << 10) + (code - 0xDC00));
                high = 0;
                continue;
            }
            if (high)
                character(high);
            high = code >= 0xD800 && code <= 0xDBFF ? code : 0;
            if (!high)
                character(code);
        }
        // Half of a pair at the end becomes U+FFFD.
        if (high)
            character(high);
        drop(4);
    }

    void directive() {
        if (rest_.starts_with("\\\\")) {
            text_ += '\\';
            drop(2);
        } else if (rest_.starts_with("\\X2\\")) {
            wide(4, "\\X2\\");
        } else if (rest_.starts_with("\\X4\\")) {
            wide(8, "\\X4\\");
        } else if (rest_.starts_with("\\X\\")) {
            drop(3);
            character(hex(2, "\\X\\"));
        } else if (rest_.starts_with("\\S\\") && rest_.size() > 3 &&
                   static_cast<unsigned char>(rest_[3]) < 0x80) {
            const auto code = static_cast<unsigned char>(rest_[3]);
            character(pageCharacter(page_, static_cast<unsigned char>(code | 0x80)));
            // The shifted character may be an apostrophe, which is written twice.
            drop(rest_.substr(3).starts_with("''") ? 5 : 4);
        } else if (rest_.size() > 3 && rest_[1] == 'P' && rest_[2] >= 'A' && rest_[2] <= 'I' &&
                   rest_[3] == '\\') {
            page_ = rest_[2];
            drop(4);
        } else if (rest_.starts_with("\\N\\") || rest_.starts_with("\\F\\")) {
            drop(3);
        } else {
            text_ += '\\';
            drop(1);
        }
    }

    std::string_view rest_;
    bool utf8_;
    char page_ = 'A';
    std::string text_;
};

}  // namespace

std::string decodeStepText(std::string_view raw) {
    return Decoder(raw).decode();
}

}  // namespace mervane
