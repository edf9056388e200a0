#include "basetool/keld_ini.h"

#include <functional>

#include "basetool/keld_text.h"

namespace {

struct CachedFile {
    keld_os::FileState m_state;
    keld_os::WatchedFile m_watched;
    bool m_bSettled = false;  // an equal state proves an equal file
    CKELD_IniContent m_content;
};

struct PathHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view path) const {
        return std::hash<std::string_view>()(path);
    }
};
using FileCache = std::unordered_map<std::string, CachedFile, PathHash, std::equal_to<>>;

unsigned char Lower(char c) {
    const auto uc = static_cast<unsigned char>(c);
    return uc >= 'A' && uc <= 'Z' ? static_cast<unsigned char>(uc + ('a' - 'A')) : uc;
}

// A file can be written twice within one step of its modification time. As long as that can still
// happen, an unchanged state doesn't prove an unchanged file.
bool IsSettled(const keld_os::FileState& state) {
    constexpr std::int64_t llUnixEpochTicks = 116444736000000000;
    constexpr std::int64_t llUnsettledNs = 100000000;
    const std::int64_t llNowNs = (keld_os::WallClock() - llUnixEpochTicks) * 100;
    return state.m_llModifiedNs < llNowNs - llUnsettledNs;
}

}  // namespace

std::size_t CKELD_NoCaseHash::operator()(std::string_view text) const {
    std::uint64_t ullHash = 14695981039346656037U;
    for (const char c : text)
        ullHash = (ullHash ^ Lower(c)) * 1099511628211U;
    return static_cast<std::size_t>(ullHash);
}

bool CKELD_NoCaseEqual::operator()(std::string_view one, std::string_view other) const {
    if (one.size() != other.size())
        return false;
    for (std::size_t i = 0; i < one.size(); ++i)
        if (Lower(one[i]) != Lower(other[i]))
            return false;
    return true;
}

CKELD_IniLine KELD_ReadIniLine(std::string_view line) {
    CKELD_IniLine result;
    line = KELD_Trim(line);
    if (line.empty() || line.front() == ';' || line.front() == '#') {
        result.m_kind = CKELD_IniLineKind::Comment;
        return result;
    }
    if (line.front() == '[') {
        const std::size_t uiEnd = line.find(']');
        if (uiEnd != std::string_view::npos) {
            result.m_kind = CKELD_IniLineKind::Section;
            result.m_sName = KELD_Trim(line.substr(1, uiEnd - 1));
        }
        return result;
    }
    const std::size_t uiSign = line.find('=');
    if (uiSign == std::string_view::npos)
        return result;
    result.m_sName = KELD_Trim(line.substr(0, uiSign));
    result.m_sValue = KELD_Trim(line.substr(uiSign + 1));
    if (!result.m_sName.empty())
        result.m_kind = CKELD_IniLineKind::Value;
    return result;
}

void CKELD_IniContent::Parse(std::string_view text) {
    constexpr std::string_view signature = "\xEF\xBB\xBF";
    if (text.substr(0, signature.size()) == signature)
        text.remove_prefix(signature.size());
    CKELD_IniSection* pSection = nullptr;  // keys before the first section aren't read
    while (!text.empty()) {
        const std::size_t uiEnd = text.find('\n');
        std::string_view line = text.substr(0, uiEnd);
        text.remove_prefix(uiEnd == std::string_view::npos ? text.size() : uiEnd + 1);
        if (!line.empty() && line.back() == '\r')
            line.remove_suffix(1);
        const CKELD_IniLine read = KELD_ReadIniLine(line);
        if (read.m_kind == CKELD_IniLineKind::Section) {
            pSection = &m_sections.try_emplace(std::string(read.m_sName)).first->second;
        } else if (read.m_kind == CKELD_IniLineKind::Value && pSection != nullptr) {
            std::string_view value = read.m_sValue;
            if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
                value = value.substr(1, value.size() - 2);
            pSection->try_emplace(std::string(read.m_sName), value);  // the first of equal keys
        }
    }
}

const CKELD_IniSection* CKELD_IniContent::Section(const char* szSection) const {
    const auto it = m_sections.find(std::string_view(szSection != nullptr ? szSection : ""));
    return it != m_sections.end() ? &it->second : nullptr;
}

const std::string* KELD_FindValue(const CKELD_IniSection* pSection, const char* szKey) {
    if (pSection == nullptr || szKey == nullptr)
        return nullptr;
    const auto it = pSection->find(std::string_view(szKey));
    return it != pSection->end() ? &it->second : nullptr;
}

const CKELD_IniContent* KELD_ReadIniFile(const char* szPath) {
    // Never destroyed: services may still read while the process ends.
    static auto* pCache = new FileCache;
    if (szPath == nullptr)
        return nullptr;
    auto it = pCache->find(std::string_view(szPath));
    if (it != pCache->end()) {
        CachedFile& file = it->second;
        if (file.m_bSettled && file.m_watched.Is(szPath, file.m_state))
            return &file.m_content;
    }
    std::string sText;
    keld_os::FileState state;
    if (!keld_os::ReadFile(szPath, &sText, &state)) {
        if (it != pCache->end())
            pCache->erase(it);
        return nullptr;
    }
    CKELD_IniContent content;
    content.Parse(sText);
    CachedFile& file = it != pCache->end() ? it->second : (*pCache)[szPath];
    file.m_watched.Release();
    file.m_state = state;
    file.m_bSettled = IsSettled(state);
    file.m_content = std::move(content);
    return &file.m_content;
}
