// The library's own formatting: conversions made from the input give what the C library gives, and
// a format of arbitrary bytes never leaves its arguments.

#include <algorithm>
#include <cstdarg>
#include <string>

#include "basetool/keld_text.h"
#include "tests/fuzz/fuzz.h"

namespace {

std::string formatted(const char* format, ...) {
    CKELD_TextBuffer buffer;
    va_list arguments;
    va_start(arguments, format);
    fuzz::require(KELD_AppendFormat(&buffer, format, arguments), "there is memory");
    va_end(arguments);
    const std::string text(buffer.Size() > 0 ? buffer.Data() : "", buffer.Size());
    buffer.Free();
    return text;
}

std::string libraryFormatted(const char* format, ...) {
    va_list arguments, again;
    va_start(arguments, format);
    va_copy(again, arguments);
    const int size = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    std::string text(static_cast<std::size_t>(size) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, again);
    va_end(again);
    text.pop_back();
    return text;
}

template <typename... Arguments>
void compare(const std::string& format, Arguments... arguments) {
    const fuzz::Text exact(format);
    const std::string ours = formatted(exact.data(), arguments...);
    const std::string theirs = libraryFormatted(exact.data(), arguments...);
    if (ours != theirs)
        std::fprintf(stderr, "%s gives %s, not %s\n", format.c_str(), ours.c_str(), theirs.c_str());
    fuzz::require(ours == theirs, "as the C library has it");
}

// Flags that mean something for the conversion, width and precision.
std::string conversion(fuzz::Input& input, std::string_view flags, const std::string& type) {
    std::string text = "<%";
    const std::uint8_t bits = input.byte();
    for (std::size_t i = 0; i < flags.size(); ++i)
        if ((bits >> i & 1) != 0)
            text += flags[i];
    const std::uint8_t width = input.byte();
    if (width % 2 == 1)
        text += std::to_string(width * 8);
    const std::uint8_t precision = input.byte();
    if (precision % 2 == 1)
        text += "." + (precision == 1 ? std::string() : std::to_string(precision));
    return text + type + ">";
}

void compareConversions(fuzz::Input input) {
    static constexpr const char* integers[] = {"d", "i", "u", "o", "x", "X"};
    static constexpr const char* doubles[] = {"f", "e", "E", "g", "G", "a"};
    for (int i = 0; i < 4 && !input.isEmpty(); ++i) {
        const std::uint8_t which = input.byte();
        const std::string type = integers[which % 6];
        const std::string_view flags = which % 6 < 2 ? "-+ 0" : which % 6 == 2 ? "-0" : "-#0";
        const std::int32_t number = input.number();
        const long long large = static_cast<long long>(number) << 32 | input.number();
        compare(conversion(input, flags, type), number);
        compare(conversion(input, flags, "l" + type), static_cast<long>(large));
        compare(conversion(input, flags, "ll" + type), large);
        compare(conversion(input, flags, "z" + type), static_cast<std::size_t>(large));
        compare(conversion(input, flags, "h" + type), number);
        compare(conversion(input, flags, "hh" + type), number);
        double real = 0;
        std::memcpy(&real, &large, sizeof real);
        compare(conversion(input, "-+ #0", doubles[which % 6]), real);
        compare(conversion(input, "-", "c"), static_cast<int>(which));
        const fuzz::Text text(input.upTo('\n'));
        compare(conversion(input, "-", "s"), text.data());
        compare("a%s%%%d" + conversion(input, "-", "s"), text.data(), number, text.data());
        compare("%*.*s|", number % 4000, number % 300, text.data());
    }
    fuzz::require(formatted("%s|%5s", nullptr, nullptr) == "(null)|(null)", "a null text");
}

// Every argument is a text; its pointer also serves as a number.
void readArbitraryFormat(std::string_view format) {
    const std::string_view seen = format.substr(0, format.find('\0'));
    std::ptrdiff_t needed = 0;
    for (const char c : seen)
        needed += c == 'L' ? 3 : c == '%' || c == '*' ? 1 : 0;
    if (needed > 30)
        return;
    const fuzz::Text exact(format);
    const char* t = "an argument";
    const std::string text =
        formatted(exact.data(), t, t, t, t, t, t, t, t, t, t, t, t, t, t, t, t, t, t, t, t, t, t, t,
                  t, t, t, t, t, t, t, t, t, t, t, t, t, t, t, t);
    if (needed == 0)
        fuzz::require(text == seen, "without conversions it stays as it is");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    compareConversions({data, size});
    readArbitraryFormat({reinterpret_cast<const char*>(data), size});
    return 0;
}
