#pragma once

// A reader of INI files for the configuration check. It follows the same syntax as the library's
// own reader but keeps what that one throws away: line numbers, ignored lines and second mentions.

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

// A file may have a million sections: no look-up walks them.
class IniFile {
public:
    std::vector<IniSection> sections;  // in file order, one for each header
    std::vector<IniIgnored> ignored;   // at most kMostIgnored of them
    std::vector<IniIgnored> foreign;   // lines that are no UTF-8, the first of them
    std::size_t more_ignored = 0;
    int lines = 0;
    int cut = 0;  // the last line that was read of a file that is too long; 0: all was

    // The value that the library would read: the first of equal keys over all sections of the name;
    // null if there is none. Names are compared without regard to ASCII case.
    const IniEntry* find(std::string_view section, std::string_view key) const;
    bool hasSection(std::string_view section) const;
    // The entries that count in a section, first mentions only.
    std::vector<const IniEntry*> entries(std::string_view section) const;
    // First mention of a section; null if there is none.
    const IniSection* first(std::string_view section) const;
    // First spelling of each section name.
    std::vector<const IniSection*> distinctSections() const;

private:
    friend IniFile parseIni(std::string_view text);
    void index();
    using Place = std::pair<std::size_t, std::size_t>;                   // section, entry
    std::unordered_map<std::string, std::vector<std::size_t>> by_name_;  // lower-case name
    std::unordered_map<std::string, Place> by_key_;  // lower-case name, line feed, lower-case key
};

inline constexpr std::size_t kMostIgnored = 10000;
// What is read of a file; the rest of a longer one isn't looked at.
inline constexpr std::size_t kMostIniBytes = 4 << 20;

IniFile parseIni(std::string_view text);

std::string asciiLower(std::string_view text);
bool equalNoCase(std::string_view a, std::string_view b);
// Integer as the library reads it: leading blanks, sign, digits; no digits give 0.
std::int64_t iniInteger(std::string_view value);
// Split as the library does: empty entries count, a trailing separator yields none after it.
std::vector<std::string> splitList(std::string_view text, char separator);

}  // namespace keld
