#pragma once

// Everything that keld_statusmanager.ini can say: forms of sections, their keys, and the entries of
// walk lists, with meaning, default and limit. The check, the explanation and the documentation
// have it from here. Texts are Markdown: names stand in backquotes.

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
    const char* default_value;  // what stands for a missing key
    std::size_t most;           // bytes of the value, of each entry of a form list
    bool line;                  // counts in a section for BOM lines
    const char* meaning;
};

struct WalkKind {
    const char* name;   // first part of an entry
    const char* entry;  // the whole of it
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
// In the order in which a visit comes to them, those of a form in the order of their use; without
// those that end in OnEmpty, of which each key of a form has one.
const std::vector<ConfigKey>& configKeys();
const std::vector<WalkKind>& walkKinds();

// A key by its name, ASCII case aside, also one with OnEmpty behind it; null if there is none.
const ConfigKey* findKey(SectionKind section, std::string_view name);
bool isOnEmpty(std::string_view name);
// All that a section may have, with those that end in OnEmpty.
std::vector<std::string> keyNames(SectionKind section);
// Those that count for a BOM line.
std::vector<std::string> lineKeyNames();
std::vector<std::string> walkKindNames();
// The same without backquotes.
std::string plain(std::string_view markdown);
// "at most 32 bytes", or nothing if it is no other than that of every value.
std::string limitOf(const ConfigKey& key);

}  // namespace keld
