// Names and paths of files.

#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>

#include "os/keld_guard.h"
#include "os/keld_os.h"
#include "os/keld_os_text.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_ent.h"
#include "platform/mv_heap.h"
#include "qsktool/keld_qsktext.h"

namespace {

constexpr std::size_t uiExtendedSize = 1024;
constexpr std::size_t uiFileNameSize = 256;
constexpr std::size_t uiIdLimit = 64;

bool IsAsciiAlnum(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// The length of the well-formed UTF-8 character above U+007F at the text's start, or 0.
std::size_t Utf8Length(const char* szText) {
    const auto byte = [szText](std::size_t i) {
        return static_cast<unsigned>(static_cast<unsigned char>(szText[i]));
    };
    const unsigned uiLead = byte(0);
    std::size_t uiLength = 0;
    unsigned uiLow = 0x80, uiHigh = 0xBF;  // of the second byte: no overlong forms, no surrogates
    if (uiLead >= 0xC2 && uiLead <= 0xDF) {
        uiLength = 2;
    } else if (uiLead >= 0xE0 && uiLead <= 0xEF) {
        uiLength = 3;
        if (uiLead == 0xE0)
            uiLow = 0xA0;
        if (uiLead == 0xED)
            uiHigh = 0x9F;
    } else if (uiLead >= 0xF0 && uiLead <= 0xF4) {
        uiLength = 4;
        if (uiLead == 0xF0)
            uiLow = 0x90;
        if (uiLead == 0xF4)
            uiHigh = 0x8F;
    } else {
        return 0;
    }
    if (byte(1) < uiLow || byte(1) > uiHigh)
        return 0;
    for (std::size_t i = 2; i < uiLength; ++i)  // stops at a terminator: nothing after it is read
        if (byte(i) < 0x80 || byte(i) > 0xBF)
            return 0;
    return uiLength;
}

char ToUpper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

// Compare without regard to ASCII case; the other text is in upper case.
bool EqualNoCase(std::string_view sText, std::string_view sUpper) {
    if (sText.size() != sUpper.size())
        return false;
    for (std::size_t i = 0; i < sText.size(); ++i)
        if (ToUpper(sText[i]) != sUpper[i])
            return false;
    return true;
}

// Whether Windows keeps the name for a device, with or without an extension.
bool IsDeviceName(std::string_view sName) {
    // In place: a name must be cleaned also when there is no memory.
    const std::string_view sBase = sName.substr(0, sName.find('.'));
    const std::string_view sStart = sBase.substr(0, 3);
    const auto isOneOf = [](std::string_view sText, std::initializer_list<const char*> names) {
        for (const char* szName : names)
            if (EqualNoCase(sText, szName))
                return true;
        return false;
    };
    if (isOneOf(sBase, {"CON", "PRN", "AUX", "NUL"}))
        return true;
    if (!isOneOf(sStart, {"COM", "LPT"}))
        return false;
    const std::string_view sPort = sBase.substr(3);
    // The superscripts one, two and three count as digits there.
    return (sPort.size() == 1 && sPort[0] >= '0' && sPort[0] <= '9') || sPort == "\xC2\xB9" ||
           sPort == "\xC2\xB2" || sPort == "\xC2\xB3";
}

// The length of a variable's name at the text's start.
std::size_t NameLength(const std::string& sText, std::size_t uiStart) {
    std::size_t uiEnd = uiStart;
    while (uiEnd < sText.size() && (IsAsciiAlnum(sText[uiEnd]) || sText[uiEnd] == '_'))
        ++uiEnd;
    return uiEnd - uiStart;
}

// The object's id text as it goes into a file name: at most 64 bytes, cleaned.
int AskFileNamePart(tag_t object, std::string* psPart) {
    char* szId = nullptr;
    if (const int iRet = ENT_ask_id_string(object, &szId); iRet != QSK_ok)
        return iRet;
    const int iRet = KELD_GuardedStatus([&] {
        psPart->assign(KELD_QskText(szId), KELD_CutLength(KELD_QskText(szId), uiIdLimit));
        return QSK_ok;
    });
    HEAP_free(szId);
    KELD_RepSpecialChar(psPart->data());
    return iRet;
}

// Find the variable that is written at this place: its name and the length of the whole reference.
bool FindVariable(const std::string& sText, std::size_t uiAt, std::string* psName,
                  std::size_t* puiLength) {
    if (sText[uiAt] == '%') {
        const std::size_t uiEnd = sText.find('%', uiAt + 1);
        if (uiEnd == std::string::npos || uiEnd == uiAt + 1)
            return false;
        *psName = sText.substr(uiAt + 1, uiEnd - uiAt - 1);
        *puiLength = uiEnd + 1 - uiAt;
        return true;
    }
    if (keld_os::bWindows || sText[uiAt] != '$')
        return false;
    const bool bBraced = uiAt + 1 < sText.size() && sText[uiAt + 1] == '{';
    const std::size_t uiStart = uiAt + (bBraced ? 2 : 1);
    const std::size_t uiLength = NameLength(sText, uiStart);
    const std::size_t uiEnd = uiStart + uiLength;
    if (uiLength == 0 || (bBraced && (uiEnd >= sText.size() || sText[uiEnd] != '}')))
        return false;
    *psName = sText.substr(uiStart, uiLength);
    *puiLength = uiEnd + (bBraced ? 1 : 0) - uiAt;
    return true;
}

}  // namespace

void KELD_RepSpecialChar(char* text) {
    if (text == nullptr)
        return;
    for (char* sz = text; *sz != '\0';) {
        if (const std::size_t uiLength = Utf8Length(sz); uiLength > 0) {
            sz += uiLength;
            continue;
        }
        if (!IsAsciiAlnum(*sz) && std::strchr(".-_+@", *sz) == nullptr)
            *sz = '_';
        ++sz;
    }
    const std::size_t uiLength = std::strlen(text);
    if (uiLength == 0)
        return;
    if (text[0] == '.')
        text[0] = '_';
    if (text[uiLength - 1] == '.')
        text[uiLength - 1] = '_';
    if (IsDeviceName(text))
        text[0] = '_';
}

int KELD_ExtendPathVar(const char* in, char* out) {
    if (out == nullptr)
        return iNoPlace;
    return KELD_GuardedStatus([=] {
        const std::string sIn = KELD_QskText(in);
        std::string sOut;
        for (std::size_t i = 0; i < sIn.size();) {
            std::string sName, sValue;
            std::size_t uiLength = 0;
            if (FindVariable(sIn, i, &sName, &uiLength) &&
                keld_os::GetEnv(sName.c_str(), &sValue)) {
                sOut += sValue;
                i += uiLength;
            } else {
                sOut += sIn[i++];  // an unset variable stays as it is written
            }
        }
        if (sOut.size() >= uiExtendedSize)  // a path is never cut
            return iPathTooLong;
        std::memcpy(out, sOut.c_str(), sOut.size() + 1);
        return QSK_ok;
    });
}

int KELD_buildFileNameNew(tag_t object, const char* directory, char* out, const char* extension,
                          logical fileOnlyPid, int counter) {
    if (out == nullptr)
        return iNoPlace;
    const int iRet = KELD_GuardedStatus([=] {
        std::string sPath = KELD_QskText(directory);
        sPath += keld_os::cPathSeparator;
        const std::string sExtension = KELD_QskText(extension);  // copied: it may be out itself
        out[0] = '\0';
        if (!fileOnlyPid) {
            std::string sId;
            if (const int iAsked = AskFileNamePart(object, &sId); iAsked != QSK_ok)
                return iAsked;
            sPath += sId + "_";
        }
        std::string sCounter = std::to_string(counter);
        if (sCounter.size() < 4)
            sCounter.insert(0, 4 - sCounter.size(), '0');
        sPath += std::to_string(keld_os::ProcessId()) + "_" + sCounter + "." + sExtension;
        if (sPath.size() >= uiFileNameSize)
            return iPathTooLong;
        std::memcpy(out, sPath.c_str(), sPath.size() + 1);
        return QSK_ok;
    });
    if (iRet != QSK_ok)
        out[0] = '\0';
    return iRet;
}
