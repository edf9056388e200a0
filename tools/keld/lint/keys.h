#pragma once

// Everything that keld_statusmanager.ini can contain: forms of sections, their keys, and the
// entries of walk lists, with meaning, default and limit. The check, the explanation and the
// documentation use this table. Texts are Markdown: names are in backquotes.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace keld {

enum class SectionKind { Global, Select, Process, Form };

struct SectionForm {
    SectionKind kind;
    const char* name;     // "<status>_<type>"
    const char* meaning;  // what it holds
};

// How a value is written.
enum class ValueForm { Text, Integer, Statuses, Walks, Fields, Forms, Deletions, FormList };

struct ConfigKey {
    SectionKind section;
    const char* name;
    ValueForm form;
    const char* value;          // how it is written, for people
    const char* default_value;  // value of a missing key
    std::size_t most;           // limit in bytes of the value, or of each entry of a form list
    bool line;                  // whether it counts in a section for BOM lines
    const char* meaning;
};

struct WalkKind {
    const char* name;   // first part of an entry
    const char* entry;  // the whole entry
    const char* meaning;
};

inline constexpr std::size_t kValueLimit = 1024;
inline constexpr std::size_t kKeyLimit = 100;
inline constexpr std::size_t kSectionLimit = 199;
inline constexpr std::size_t kTargetLimit = 99;
inline constexpr std::size_t kStatusLimit = 32;
inline constexpr std::size_t kJobPrefixLimit = 88;  // with ten digits and a sign in 100 bytes
inline constexpr std::size_t kFormEntryLimit = 99;
inline constexpr std::size_t kFormValueLimit = 199;
inline constexpr std::size_t kEntryLimit = 128;  // the walk's entry index is one signed byte
inline constexpr char kOnEmpty[] = "OnEmpty";

const std::vector<SectionForm>& sectionForms();
// The keys in the order in which a visit uses them. Those that end in OnEmpty are left out; each
// key of a form has one.
const std::vector<ConfigKey>& configKeys();
const std::vector<WalkKind>& walkKinds();

// Find a key by its name, ASCII case aside, also with OnEmpty at the end; null if there is none.
const ConfigKey* findKey(SectionKind section, std::string_view name);
bool isOnEmpty(std::string_view name);
// All keys of a section, those that end in OnEmpty included.
std::vector<std::string> keyNames(SectionKind section);
// The keys that count for a BOM line.
std::vector<std::string> lineKeyNames();
std::vector<std::string> walkKindNames();
// The text without backquotes.
std::string plain(std::string_view markdown);
// "at most 32 bytes"; empty if the limit is that of all values.
std::string limitOf(const ConfigKey& key);

}  // namespace keld
