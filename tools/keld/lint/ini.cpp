#include "tools/keld/lint/ini.h"

#include <algorithm>
#include <unordered_set>

namespace keld {

namespace {

std::string_view strip(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos)
        return {};
    const auto last = text.find_last_not_of(" \t");
    return text.substr(first, last - first + 1);
}

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string_view unquote(std::string_view value) {
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
        return value.substr(1, value.size() - 2);
    return value;
}

bool isWellFormed(std::string_view text) {
    for (std::size_t i = 0; i < text.size();) {
        const auto first = static_cast<unsigned char>(text[i]);
        const std::size_t size = first < 0x80                     ? 1
                                 : first >= 0xC2 && first <= 0xDF ? 2
                                 : (first & 0xF0) == 0xE0         ? 3
                                 : first >= 0xF0 && first <= 0xF4 ? 4
                                                                  : 0;
        if (size == 0 || first == 0 || i + size > text.size())
            return false;
        for (std::size_t j = 1; j < size; ++j)
            if ((static_cast<unsigned char>(text[i + j]) & 0xC0) != 0x80)
                return false;
        i += size;
    }
    return true;
}

}  // namespace

std::string asciiLower(std::string_view text) {
    std::string result(text);
    std::transform(text.begin(), text.end(), result.begin(), lower);
    return result;
}

bool equalNoCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char one, char other) { return lower(one) == lower(other); });
}

std::int64_t iniInteger(std::string_view value) {
    std::size_t i = 0;
    while (i < value.size() && (value[i] == ' ' || value[i] == '\t'))
        ++i;
    bool negative = false;
    if (i < value.size() && (value[i] == '+' || value[i] == '-'))
        negative = value[i++] == '-';
    std::int64_t number = 0;
    for (; i < value.size() && value[i] >= '0' && value[i] <= '9'; ++i)
        number = std::min<std::int64_t>(number * 10 + (value[i] - '0'), 10'000'000'000);
    return negative ? -number : number;
}

std::vector<std::string> splitList(std::string_view text, char separator) {
    std::vector<std::string> parts;
    while (!text.empty()) {
        const auto end = text.find(separator);
        parts.emplace_back(text.substr(0, end));
        if (end == std::string_view::npos)
            break;
        text.remove_prefix(end + 1);
    }
    return parts;
}

IniFile parseIni(std::string_view text) {
    IniFile file;
    if (text.starts_with("\xEF\xBB\xBF"))
        text.remove_prefix(3);
    const bool wide = text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF");
    if (wide)
        file.foreign.push_back({1, "", "the file is UTF-16"});
    constexpr std::size_t kMostShown = 200, kMostForeign = 100;
    int number = 0;
    const auto ignore = [&](std::string_view line, const char* reason) {
        if (file.ignored.size() < kMostIgnored)
            file.ignored.push_back({number, std::string(line.substr(0, kMostShown)), reason});
        else
            ++file.more_ignored;
    };
    while (!text.empty()) {
        ++number;
        const auto end = text.find('\n');
        std::string_view raw = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (raw.ends_with('\r'))
            raw.remove_suffix(1);
        if (!wide && file.foreign.size() < kMostForeign && !isWellFormed(raw))
            file.foreign.push_back({number, std::string(raw.substr(0, kMostShown)), ""});
        const std::string_view line = strip(raw);
        if (line.empty() || line.front() == ';' || line.front() == '#')
            continue;
        if (line.front() == '[') {
            const auto close = line.find(']');
            if (close == std::string_view::npos)
                ignore(line, "a section has no ']'");
            else
                file.sections.push_back(
                    {std::string(strip(line.substr(1, close - 1))), number, {}});
            continue;
        }
        const auto sign = line.find('=');
        if (sign == std::string_view::npos) {
            ignore(line, "no '=' in it");
        } else if (strip(line.substr(0, sign)).empty()) {
            ignore(line, "no key in front of the '='");
        } else if (file.sections.empty()) {
            ignore(line, "it is before any section");
        } else {
            file.sections.back().entries.push_back(
                {std::string(strip(line.substr(0, sign))),
                 std::string(unquote(strip(line.substr(sign + 1)))), number});
        }
    }
    file.lines = number;
    file.index();
    return file;
}

// A line feed can't be in names or keys, so it separates them.
void IniFile::index() {
    for (std::size_t i = 0; i < sections.size(); ++i) {
        const std::string name = asciiLower(sections[i].name);
        by_name_[name].push_back(i);
        for (std::size_t j = 0; j < sections[i].entries.size(); ++j)
            by_key_.try_emplace(name + '\n' + asciiLower(sections[i].entries[j].key), i, j);
    }
}

const IniEntry* IniFile::find(std::string_view section, std::string_view key) const {
    const auto at = by_key_.find(asciiLower(section) + '\n' + asciiLower(key));
    return at == by_key_.end() ? nullptr : &sections[at->second.first].entries[at->second.second];
}

const IniSection* IniFile::first(std::string_view section) const {
    const auto at = by_name_.find(asciiLower(section));
    return at == by_name_.end() ? nullptr : &sections[at->second.front()];
}

bool IniFile::hasSection(std::string_view section) const {
    return first(section) != nullptr;
}

std::vector<const IniEntry*> IniFile::entries(std::string_view section) const {
    std::vector<const IniEntry*> found;
    const auto at = by_name_.find(asciiLower(section));
    if (at == by_name_.end())
        return found;
    std::unordered_set<std::string> keys;
    for (const std::size_t i : at->second)
        for (const IniEntry& entry : sections[i].entries)
            if (keys.insert(asciiLower(entry.key)).second)
                found.push_back(&entry);
    return found;
}

std::vector<const IniSection*> IniFile::distinctSections() const {
    std::vector<const IniSection*> found;
    found.reserve(by_name_.size());
    for (const IniSection& s : sections)
        if (first(s.name) == &s)
            found.push_back(&s);
    return found;
}

}  // namespace keld
