#pragma once

// A reader of INI files for the configuration check. It has the syntax of the library's reader, but
// keeps what that one drops: line numbers, ignored lines and repeated keys.

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace keld {

struct IniEntry {
    std::string key, value;
    int line = 0;
};

struct IniSection {
    std::string name;
    int line = 0;
    std::vector<IniEntry> entries;  // in file order, equal keys included
};

struct IniIgnored {
    int line = 0;
    std::string text, reason;
};

// Look-ups use indexes, since a file may have a million sections.
class IniFile {
public:
    std::vector<IniSection> sections;  // in file order, one for each header
    std::vector<IniIgnored> ignored;   // at most kMostIgnored of them
    std::vector<IniIgnored> foreign;   // lines that aren't UTF-8; only the first of them
    std::size_t more_ignored = 0;
    int lines = 0;
    int cut = 0;  // last line that was read, if the file is too long; 0: it was read to its end

    // The entry whose value the library reads: among all sections of this name the first with the
    // key; null if there is none. ASCII case doesn't matter.
    const IniEntry* find(std::string_view section, std::string_view key) const;
    bool hasSection(std::string_view section) const;
    // The entries of a section that count: of equal keys the first.
    std::vector<const IniEntry*> entries(std::string_view section) const;
    // The first section of this name; null if there is none.
    const IniSection* first(std::string_view section) const;
    // The first section of each name.
    std::vector<const IniSection*> distinctSections() const;

private:
    friend IniFile parseIni(std::string_view text);
    void index();
    using Place = std::pair<std::size_t, std::size_t>;                   // section, entry
    std::unordered_map<std::string, std::vector<std::size_t>> by_name_;  // lower-case name
    std::unordered_map<std::string, Place> by_key_;  // lower-case name, line feed, lower-case key
};

inline constexpr std::size_t kMostIgnored = 10000;
// Limit for reading a file; the rest of a longer one is left out.
inline constexpr std::size_t kMostIniBytes = 4 << 20;

IniFile parseIni(std::string_view text);

std::string asciiLower(std::string_view text);
bool equalNoCase(std::string_view a, std::string_view b);
// Read an integer like the library: leading blanks, sign, digits; 0 without digits.
std::int64_t iniInteger(std::string_view value);
// Split like the library: empty entries count, but a separator at the end begins no entry.
std::vector<std::string> splitList(std::string_view text, char separator);

}  // namespace keld
