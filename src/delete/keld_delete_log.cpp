// Writing the delete log. Its format is described in docs/delete-backup.md.

#include "delete/keld_delete_log.h"

#include <cctype>
#include <cstring>

#include "delete/keld_delete_deluxe.h"
#include "delete/keld_delete_files.h"
#include "frame/keld_trace.h"
#include "os/keld_os.h"
#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_heap.h"
#include "platform/mv_time.h"

namespace {

constexpr std::size_t uiBufferSize = 65536;

// The log that is open. The buffer is emptied before a line that it can't take whole, so that lines
// of two processes never mix.
struct OpenLog {
    FILE* m_pFile = nullptr;
    std::size_t m_uiWaiting = 0;
    bool m_bFailed = false;
    std::string m_sPath;
    char m_cBuffer[uiBufferSize] = {};
};

OpenLog openLog;

std::string Shown(const char* szText) {
    return szText != nullptr ? szText : "(null)";
}

std::string Text(const char* szText) {
    return szText != nullptr ? szText : "";
}

// Whether a character can't be in a file name of the system.
bool IsForbidden(char c) {
    const auto uc = static_cast<unsigned char>(c);
    return uc < 0x20 || uc == 0x7F || c == '/' ||
           (keld_os::bWindows && std::strchr("\\:*?\"<>|", c) != nullptr);
}

// Whether an id has to be written with escapes: it has a character that can't be in a file name, or
// something that looks like the escape of one.
bool NeedsEscapes(const std::string& sId) {
    const auto isHexAt = [&sId](std::size_t i) {
        return i < sId.size() && std::isxdigit(static_cast<unsigned char>(sId[i])) != 0;
    };
    for (std::size_t i = 0; i < sId.size(); ++i)
        if (IsForbidden(sId[i]) || (sId[i] == '%' && isHexAt(i + 1) && isHexAt(i + 2)))
            return true;
    return false;
}

// A user's id as a part of a file name. It can't lead out of its directory, and two ids never give
// the same name.
std::string FileNamePart(const std::string& sId) {
    if (!NeedsEscapes(sId))
        return sId;
    std::string sPart;
    for (const char c : sId) {
        constexpr char cDigits[] = "0123456789ABCDEF";
        const auto uc = static_cast<unsigned char>(c);
        if (IsForbidden(c) || c == '%')
            sPart += {'%', cDigits[uc >> 4U], cDigits[uc & 15U]};
        else
            sPart += c;
    }
    return sPart;
}

// Line ends as a file in text mode has them. The log itself is a binary file: text mode would write
// it in pieces that end within a line.
std::string WithLineEnds(const std::string& sLine) {
    if (!keld_os::bWindows)
        return sLine;
    std::string sResult;
    for (const char c : sLine)
        sResult += c == '\n' ? std::string("\r\n") : std::string(1, c);
    return sResult;
}

void WriteOut() {
    if (std::fflush(openLog.m_pFile) != 0)
        openLog.m_bFailed = true;
    openLog.m_uiWaiting = 0;
}

void Append(const std::string& sLine) {
    if (openLog.m_uiWaiting + sLine.size() > uiBufferSize)
        WriteOut();
    if (std::fwrite(sLine.data(), 1, sLine.size(), openLog.m_pFile) != sLine.size())
        openLog.m_bFailed = true;
    openLog.m_uiWaiting += sLine.size();
    if (openLog.m_uiWaiting > uiBufferSize)
        WriteOut();
}

}  // namespace

std::string KELD_DeleteLogPath(const char* szCentralBackupDir, const char* szUserId) {
    return Text(szCentralBackupDir) + keld_os::szPathSeparator + "delete_" +
           FileNamePart(Text(szUserId)) + ".log";
}

FILE* KELD_OpenDeleteLog(const std::string& sPath) {
    openLog.m_sPath = sPath;  // may throw: before anything that has to be undone
    FILE* pFile =
        sPath.size() <= uiLongestPath ? keld_os::OpenFile(sPath.c_str(), "ab", false) : nullptr;
    if (pFile == nullptr) {
        KELD_ERROR("The delete log %s can't be opened\n", sPath.c_str());
        return nullptr;
    }
    (void)std::setvbuf(pFile, openLog.m_cBuffer, _IOFBF, uiBufferSize);
    openLog.m_pFile = pFile;
    openLog.m_uiWaiting = 0;
    openLog.m_bFailed = false;
    return pFile;
}

void KELD_CloseDeleteLog(FILE* pDeleteLogFile) {
    if (pDeleteLogFile == nullptr)
        return;
    const bool bClosed = std::fclose(pDeleteLogFile) == 0;
    if (pDeleteLogFile != openLog.m_pFile)
        return;
    openLog.m_pFile = nullptr;
    if (!bClosed || openLog.m_bFailed)
        KELD_ERROR("The delete log %s can't be written, lines are missing\n",
                   openLog.m_sPath.c_str());
}

// Write the line of an exported file.
int WriteToDeleteLog(FILE* pDeleteLogFile, const char* szUserId, const char* szParentObjString,
                     const char* szDatasetName, const char* szDatasetType,
                     const char* sFilePathBuffer) {
    int iRet = QSK_ok;
    date_s curTime{};
    char* szCurDateTime = nullptr;
    (void)KELD_GetTime(&curTime);
    KELD_CALL(iRet, TIME_date_to_string(curTime, "%Y-%m-%d %H:%M:%S", &szCurDateTime));
    if (pDeleteLogFile != nullptr) {
        // Names are written as in the database; a dataset without one leaves its place empty.
        const std::string sLine = Text(szCurDateTime) + "," + Text(szUserId) + ":" +
                                  Shown(szParentObjString) + ";" + Text(szDatasetName) + " (" +
                                  Shown(szDatasetType) + ");" + Shown(sFilePathBuffer) + "\n";
        if (pDeleteLogFile == openLog.m_pFile)
            Append(WithLineEnds(sLine));
        else
            (void)std::fwrite(sLine.data(), 1, sLine.size(), pDeleteLogFile);
    }
    HEAP_free(szCurDateTime);
    return iRet;
}
