// INI files: what the library reads is what a plain reading of the syntax gives, from a text and
// through a file.

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "basetool/keld_ini.h"
#include "platform/keld_basetool.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/plain.h"
#include "tests/support/files.h"

namespace {

using Section = std::map<std::string, std::string>;  // lower-case key, value
using Sections = std::map<std::string, Section>;

// Line by line as the administrator's documentation has it.
Sections plainRead(std::string text) {
    Sections sections;
    Section* section = nullptr;
    if (text.starts_with("\xEF\xBB\xBF"))
        text.erase(0, 3);
    std::string line;
    text += '\n';
    for (const char c : text) {
        if (c != '\n') {
            line += c;
            continue;
        }
        if (line.ends_with('\r'))
            line.pop_back();
        const std::string bare(fuzz::trim(line));
        line.clear();
        if (bare.empty() || bare[0] == ';' || bare[0] == '#')
            continue;
        if (bare[0] == '[') {
            if (const std::size_t end = bare.find(']'); end != std::string::npos)
                section = &sections[fuzz::lower(fuzz::trim(bare.substr(1, end - 1)))];
            continue;
        }
        const std::size_t sign = bare.find('=');
        if (sign == std::string::npos || section == nullptr)
            continue;
        const std::string key = fuzz::lower(fuzz::trim(bare.substr(0, sign)));
        std::string value(fuzz::trim(bare.substr(sign + 1)));
        if (value.size() > 1 && value.starts_with('"') && value.ends_with('"'))
            value = value.substr(1, value.size() - 2);
        if (!key.empty() && section->count(key) == 0)
            (*section)[key] = value;
    }
    return sections;
}

void compareText(std::string_view text, const Sections& expected) {
    const std::unique_ptr<char[]> exact(new char[text.size()]);
    std::copy(text.begin(), text.end(), exact.get());
    CKELD_IniContent content;
    content.Parse({exact.get(), text.size()});
    fuzz::require(content.m_sections.size() == expected.size(), "as many sections");
    for (const auto& [name, read] : content.m_sections) {
        const auto section = expected.find(fuzz::lower(name));
        fuzz::require(section != expected.end(), "the section is there");
        fuzz::require(read.size() == section->second.size(), "as many keys");
        for (const auto& [key, value] : read) {
            const auto entry = section->second.find(fuzz::lower(key));
            fuzz::require(entry != section->second.end(), "the key is there");
            fuzz::require(value == entry->second, "the value is what was written");
        }
    }
}

const std::filesystem::path& directory() {
    static const keld_test::Directory made;
    return made;
}

// The name in the other case: no difference to the library.
std::string otherCase(std::string text) {
    for (char& c : text)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 32);
    return text;
}

void compareFile(std::string_view text, const Sections& expected) {
    const std::string base = (directory() / "keld_base.ini").string();
    std::ofstream(base, std::ios::binary)
        .write(text.data(), static_cast<std::streamsize>(text.size()));
    int left = 16;
    for (const auto& [section, entries] : expected) {
        for (const auto& [key, value] : entries) {
            if (left-- == 0)
                return;
            // A name with a zero byte can't be asked for.
            if (key.find('\0') != std::string::npos || section.find('\0') != std::string::npos)
                continue;
            const fuzz::Text asked_section(otherCase(section)), asked_key(otherCase(key));
            const std::string shown(fuzz::cutText(value.c_str(), 1024));
            fuzz::Room one(1025), other(1025);
            KELD_GetProfileString(asked_section.data(), asked_key.data(), one.data(), "none",
                                  base.c_str());
            fuzz::require(one.text() == shown, "the value from the file");
            KELD_GetIniString(asked_section.data(), asked_key.data(), other.data(), nullptr);
            fuzz::require(other.text() == shown, "the value from the base settings");
            const int number = fuzz::integer(value);
            fuzz::require(KELD_GetProfileInt(asked_section.data(), asked_key.data(), 7,
                                             base.c_str()) == number,
                          "the number from the file");
            fuzz::require(KELD_GetIniInt(asked_section.data(), asked_key.data(), 7) == number,
                          "the number from the base settings");
        }
        const fuzz::Text missing("no such key\n");
        fuzz::Room out(1025);
        KELD_GetProfileString(section.c_str(), missing.data(), out.data(), "none", base.c_str());
        fuzz::require(out.text() == "none", "the default of a missing key");
        fuzz::require(KELD_GetIniInt(section.c_str(), missing.data(), 7) == 7,
                      "the default number");
    }
}

}  // namespace

int LLVMFuzzerInitialize(int*, char***) {
    setenv("KELD_LOG_FILE", "/dev/null", 1);
    setenv("KELD_CFG_PATH", directory().c_str(), 1);
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const Sections expected = plainRead(text);
    compareText(text, expected);
    if (size % 4 == 0)  // files take longer
        compareFile(text, expected);
    // Names that hardly any file has, and null ones.
    fuzz::Room out(1025);
    const fuzz::Text name(text);
    KELD_GetProfileString(name.data(), name.data(), out.data(), name.data(), name.data());
    fuzz::require(out.isText(), "the default fits");
    KELD_GetIniString(nullptr, nullptr, out.data(), nullptr);
    fuzz::require(out.text().empty(), "no default is an empty text");
    return 0;
}
