// Directories and files of the central backup.

#include "delete/keld_delete_files.h"

#include <cstring>

#include "os/keld_os.h"
#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"

namespace {

bool IsAsciiLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool IsAsciiAlnum(char c) {
    return IsAsciiLetter(c) || (c >= '0' && c <= '9');
}

bool GoesToCommandProcessor(const std::string& sPath) {
    return keld_os::bWindows && KELD_IsPlainPath(sPath, keld_os::cPathSeparator);
}

bool Fits(const std::string& sCommand) {
    return sCommand.size() <= uiLongestPath;
}

// Whether Windows keeps the name for a device.
bool IsDeviceName(const std::string& sName) {
    std::string sBase = sName.substr(0, sName.find('.'));
    sBase.erase(sBase.find_last_not_of(' ') + 1);
    if (sBase.empty() || !IsAsciiLetter(sBase[0]))
        return false;
    const char cFirst = sBase[0];
    KELD_RepSpecialChar(sBase.data());  // changes a leading letter only for a device
    return sBase[0] != cFirst;
}

// "name_2.prt" of "name.prt".
std::string Numbered(const std::string& sName, int iNumber) {
    const std::size_t uiDot = sName.rfind('.');
    const std::size_t uiAt = uiDot == std::string::npos || uiDot == 0 ? sName.size() : uiDot;
    return sName.substr(0, uiAt) + "_" + std::to_string(iNumber) + sName.substr(uiAt);
}

}  // namespace

std::string KELD_MkdirCommand(const std::string& sPath) {
    return "mkdir " + sPath;
}

// Kept: the group has its German name.
std::string KELD_CaclsCommand(const std::string& sPath) {
    return "cacls " + sPath + " /E /G Jeder:F > nul";
}

std::string KELD_DelCommand(const std::string& sPath) {
    return "del " + sPath;
}

bool KELD_IsPlainPath(const std::string& sPath, char cSeparator) {
    for (std::size_t i = 0; i < sPath.size(); ++i) {
        const char c = sPath[i];
        const bool bDrive = i == 1 && c == ':' && IsAsciiLetter(sPath[0]);
        if (!IsAsciiAlnum(c) && c != cSeparator && !bDrive &&
            (c == '\0' || std::strchr(".-_+@", c) == nullptr))
            return false;
    }
    return !sPath.empty();
}

int KELD_RunMkdir(const std::string& sPath) {
    const std::string sCommand = KELD_MkdirCommand(sPath);
    if (!Fits(sCommand))
        return iNotRun;
    return GoesToCommandProcessor(sPath) ? keld_os::RunCommand(sCommand.c_str())
                                         : keld_os::MakeDirectory(sPath.c_str(), true);
}

int KELD_RunCacls(const std::string& sPath) {
    const std::string sCommand = KELD_CaclsCommand(sPath);
    // Through a link the rights of something outside the backup would change.
    if (!Fits(sCommand) || keld_os::KindOf(sPath.c_str()) != keld_os::PathKind::Directory)
        return iNotRun;
    return GoesToCommandProcessor(sPath) ? keld_os::RunCommand(sCommand.c_str())
                                         : keld_os::GrantEverybody(sPath.c_str());
}

int KELD_RunDel(const std::string& sPath) {
    const std::string sCommand = KELD_DelCommand(sPath);
    // Of a directory the command would delete all the files in it.
    if (!Fits(sCommand) || keld_os::KindOf(sPath.c_str()) != keld_os::PathKind::File)
        return iNotRun;
    return GoesToCommandProcessor(sPath) ? keld_os::RunCommand(sCommand.c_str())
                                         : keld_os::RemoveFile(sPath.c_str());
}

void KELD_WarnOfCommand(const std::string& sCommand, int iResult) {
    KELD_WARNING("%s (_WIN32=%d) returned %d\n", sCommand.c_str(), keld_os::bWindows ? 1 : 0,
                 iResult);
}

std::string KELD_PlainFileName(const std::string& sName) {
    std::string sPlain = sName;
    for (char& c : sPlain)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F ||
            std::strchr("\\/:*?\"", c) != nullptr)
            c = '_';
    for (std::size_t i = sPlain.size(); i > 0 && (sPlain[i - 1] == '.' || sPlain[i - 1] == ' ');
         --i)
        sPlain[i - 1] = '_';
    if (IsDeviceName(sPlain))
        sPlain[0] = '_';
    return sPlain;
}

std::string CKELD_BackupNames::NameFor(const std::string& sOriginal) {
    if (const auto known = m_Names.find(sOriginal); known != m_Names.end())
        return known->second;
    const std::string sPlain = KELD_PlainFileName(sOriginal);
    std::string sName = sPlain;
    for (int iNumber = 2; !m_Used.insert(sName).second; ++iNumber)
        sName = Numbered(sPlain, iNumber);
    m_Names.emplace(sOriginal, sName);
    if (sName != sOriginal)
        KELD_WARNING("File <%s> is saved as <%s>\n", sOriginal.c_str(), sName.c_str());
    return sName;
}
