#pragma once

// Settings by section and key, and the INI files that hold them. Names are compared without regard
// to ASCII case. Inside libkeld_basetool only.

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>

#include "os/keld_os.h"

struct CKELD_NoCaseHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const;
};
struct CKELD_NoCaseEqual {
    using is_transparent = void;
    bool operator()(std::string_view one, std::string_view other) const;
};
template <typename T>
using CKELD_NameMap = std::unordered_map<std::string, T, CKELD_NoCaseHash, CKELD_NoCaseEqual>;

// Keys and values of one section.
using CKELD_IniSection = CKELD_NameMap<std::string>;

// The sections of a file or of the profiles.
class CKELD_IniContent {
public:
    // Read a file's text. A line that is no section, key or comment is left out.
    void Parse(std::string_view text);
    // Null: no such section.
    const CKELD_IniSection* Section(const char* szSection) const;

    CKELD_NameMap<CKELD_IniSection> m_sections;
};

// A value by its key, or null.
const std::string* KELD_FindValue(const CKELD_IniSection* pSection, const char* szKey);

// A line of a file or profile. Lines of the kinds Comment and Other aren't read.
enum class CKELD_IniLineKind { Section, Value, Comment, Other };
struct CKELD_IniLine {
    CKELD_IniLineKind m_kind = CKELD_IniLineKind::Other;
    std::string_view m_sName;   // of the section or key
    std::string_view m_sValue;  // with its quotes
};
CKELD_IniLine KELD_ReadIniLine(std::string_view line);

// The content of a file as it is now, or null if it can't be read. It is parsed anew only after the
// file has changed; the pointer holds until the next call.
const CKELD_IniContent* KELD_ReadIniFile(const char* szPath);
