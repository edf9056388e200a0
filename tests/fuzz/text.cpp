// Names, paths and lists as texts: no byte outside them is read or written, and the result is that
// of a plain reading of each rule.

#include <cctype>
#include <map>
#include <string>
#include <vector>

#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_heap.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/plain.h"

namespace {

// Bytes of the character above U+007F at this place, or 0 if it isn't well formed.
std::size_t characterSize(std::string_view text, std::size_t at) {
    const auto lead = static_cast<unsigned char>(text[at]);
    const std::size_t size = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 0;
    if (size == 0 || lead > 0xF7 || at + size > text.size())
        return 0;
    std::uint32_t character = lead & (0xFFU >> (size + 1));
    for (std::size_t i = 1; i < size; ++i) {
        const auto byte = static_cast<unsigned char>(text[at + i]);
        if (byte >> 6 != 2)
            return 0;
        character = character << 6 | (byte & 0x3FU);
    }
    static constexpr std::uint32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
    return character >= least[size] && character <= 0x10FFFF && !surrogate ? size : 0;
}

bool isDevice(const std::string& name) {
    const std::string base = fuzz::lower(name.substr(0, name.find('.')));
    if (base == "con" || base == "prn" || base == "aux" || base == "nul")
        return true;
    for (const char* port : {"com", "lpt"})
        for (const char* digit :
             {"0", "1", "2", "3", "4", "5", "6", "7", "8", "9", "\u00B9", "\u00B2", "\u00B3"})
            if (base == std::string(port) + digit)
                return true;
    return false;
}

std::string cleanedName(std::string_view text) {
    std::string name;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t size = characterSize(text, i);
        if (size > 0)
            name += text.substr(i, size);
        else if (std::isalnum(static_cast<unsigned char>(text[i])) != 0 ||
                 std::string_view(".-_+@").find(text[i]) != std::string_view::npos)
            name += text[i];
        else
            name += '_';
        i += size > 0 ? size : 1;
    }
    if (name.starts_with('.'))
        name.front() = '_';
    if (name.ends_with('.'))
        name.back() = '_';
    if (isDevice(name))
        name.front() = '_';
    return name;
}

std::string withoutExtra(std::string_view text) {
    std::string name;
    for (const char c : text)
        if (static_cast<unsigned char>(c) >= 0x20 && c != 0x7F &&
            std::string_view("\\/:*?\"<>|").find(c) == std::string_view::npos)
            name += c;
    while (name.starts_with(' '))
        name.erase(0, 1);
    while (name.ends_with(' '))
        name.pop_back();
    return name;
}

const std::map<std::string, std::string>& variables() {
    static const std::map<std::string, std::string> set = {{"FZ", "/tmp/x"},
                                                           {"FZ_EMPTY", ""},
                                                           {"FZ_SELF", "%FZ%"},
                                                           {"FZ LONG", std::string(600, 'l')}};
    return set;
}

std::string extended(std::string_view text) {
    std::string path;
    for (std::size_t i = 0; i < text.size();) {
        const std::string* value = nullptr;
        std::size_t taken = 0;
        for (const auto& [name, set] : variables()) {
            const bool plain = name.find(' ') == std::string::npos;
            for (const std::string& form : {"%" + name + "%", "${" + name + "}", "$" + name}) {
                if (!text.substr(i).starts_with(form) || (form[0] == '$' && !plain))
                    continue;
                const std::size_t end = i + form.size();
                // A bare name goes as far as it can.
                if (form[1] != '{' && form[0] == '$' && end < text.size() &&
                    (std::isalnum(static_cast<unsigned char>(text[end])) != 0 || text[end] == '_'))
                    continue;
                value = &set;
                taken = form.size();
            }
        }
        path += value != nullptr ? *value : std::string(1, text[i]);
        i += value != nullptr ? taken : 1;
    }
    return path;
}

void changeInPlace(std::string_view text, void (*change)(char*), const std::string& expected,
                   const char* what) {
    fuzz::Text place(text);
    change(place.data());
    fuzz::require(place.asRead() == expected, what);
    change(place.data());
    fuzz::require(place.asRead() == expected, "a second time changes nothing");
    change(nullptr);
}

void extendPath(std::string_view text) {
    const fuzz::Text in(text);
    fuzz::Room out(1024);
    const std::string expected = extended(in.asRead());
    const int status = KELD_ExtendPathVar(in.data(), out.data());
    fuzz::require((status == 0) == (expected.size() < 1024), "a path that fits");
    fuzz::require(status != 0 || out.text() == expected, "a path with its variables");
    fuzz::require(status == 0 || out.isUntouched(), "a path that doesn't fit changes nothing");
    if (in.asRead().size() < 1024) {
        fuzz::Room same(1024);
        std::memcpy(same.data(), in.data(), in.asRead().size() + 1);
        const int again = KELD_ExtendPathVar(same.data(), same.data());
        fuzz::require(again == status, "the same in one buffer");
        fuzz::require(same.text() == (status == 0 ? expected : in.asRead()), "one buffer");
    }
}

void splitList(std::string_view text, std::string_view separators) {
    const fuzz::Text list(text), between(separators);
    std::vector<std::string> expected;
    std::string part;
    bool open = false;
    for (const char c : list.asRead()) {
        open = between.asRead().find(c) == std::string_view::npos;
        if (open) {
            part += c;
            continue;
        }
        expected.push_back(part);
        part.clear();
    }
    if (open)
        expected.push_back(part);
    int count = -1;
    char** items = nullptr;
    fuzz::require(KELD_splitItemString(list.data(), between.data(), &count, &items) == 0, "split");
    fuzz::require(count == static_cast<int>(expected.size()), "as many parts");
    fuzz::require((items == nullptr) == expected.empty(), "no array without parts");
    for (std::size_t i = 0; i < expected.size(); ++i) {
        fuzz::require(items[i] == expected[i], "a part is as written");
        HEAP_free(items[i]);
    }
    fuzz::require(items == nullptr || items[expected.size()] == nullptr, "a null entry at the end");
    HEAP_free(items);
}

}  // namespace

int LLVMFuzzerInitialize(int*, char***) {
    clearenv();  // so that no other variable is there to be named
    setenv("KELD_LOG_FILE", "/dev/null", 1);
    for (const auto& [name, value] : variables())
        setenv(name.c_str(), value.c_str(), 1);
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::string_view separators = input.upTo('\n');
    const std::string text(fuzz::Text(input.rest()).asRead());
    changeInPlace(text, KELD_StringToLower, fuzz::lower(text), "lower case");
    changeInPlace(text, CKELD_String::string_to_lower, fuzz::lower(text), "lower case");
    changeInPlace(text, KELD_KillExtraChars, withoutExtra(text), "without extra characters");
    changeInPlace(text, KELD_RepSpecialChar, cleanedName(text), "a cleaned name");
    extendPath(text);
    splitList(text, separators);
    return 0;
}
