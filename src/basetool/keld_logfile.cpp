#include "basetool/keld_logfile.h"

#include <algorithm>
#include <cstdio>
#include <initializer_list>
#include <memory>

#include "basetool/keld_text.h"

namespace {

// The first of the variables that is set and not empty.
bool FirstOf(std::initializer_list<const char*> names, std::string* pValue) {
    for (const char* szName : names)
        if (keld_os::GetEnv(szName, pValue) && !pValue->empty())
            return true;
    return false;
}

std::string LogPath() {
    std::string sPath;
    if (FirstOf({"KELD_LOG_FILE"}, &sPath))
        return sPath;
    if (!FirstOf({"MV_TMP_DIR", "TEMP", "TMP"}, &sPath))
        sPath = keld_os::TempDirectory();
    if (sPath.back() != keld_os::cPathSeparator)
        sPath += keld_os::cPathSeparator;
    return sPath + "keld_" + std::to_string(keld_os::ProcessId()) + ".log";
}

// Close a file at the end of a block, also after an exception: other processes wait for its lock.
class Closing {
public:
    explicit Closing(keld_os::AppendFile* pFile) : m_pFile(pFile) {}
    Closing(const Closing&) = delete;
    Closing& operator=(const Closing&) = delete;
    ~Closing() { m_pFile->Close(); }

private:
    keld_os::AppendFile* m_pFile;
};

bool SameFile(const keld_os::FileState& one, const keld_os::FileState& other) {
    return one.m_ullDevice == other.m_ullDevice && one.m_ullId == other.m_ullId;
}

}  // namespace

bool CKELD_LogFile::Open() {
    if (m_bTried)
        return m_file.IsOpen();
    if (m_pPath == nullptr) {
        std::string sLimit;
        if (keld_os::GetEnv("KELD_LOG_MAX_MB", &sLimit)) {
            const int iMegabytes = KELD_TextToInt(sLimit);
            m_llLimit = iMegabytes > 0 ? static_cast<std::int64_t>(iMegabytes) * 1024 * 1024 : 0;
        }
        // The host may change its current directory later on.
        auto pPath = std::make_unique<std::string>(keld_os::AbsolutePath(LogPath()));
        m_pOlderPath = new std::string(*pPath + ".1");
        m_pPath = pPath.release();
    }
    return OpenFile();
}

bool CKELD_LogFile::OpenFile() {
    m_bHalfLine = false;
    m_bTried = false;  // without memory the next line tries again
    const bool bOpen = m_file.Open(Path());
    m_bTried = true;
    if (bOpen)
        return true;
    std::fprintf(stderr, "KELD: the log file %s can't be opened, log lines are dropped\n", Path());
    return false;
}

void CKELD_LogFile::Write(const char* pLines, std::size_t uiSize) {
    if (m_llLimit > 0)
        RotateIfTooLarge();
    if (!m_file.IsOpen())
        return;
    // End the line that a full disk has cut, so that the next one isn't joined to it.
    if (m_bHalfLine && m_file.Write("\n", 1) == 0)
        return TellOfDropped();
    m_bHalfLine = false;
    const std::size_t uiWritten = m_file.Write(pLines, uiSize);
    m_bHalfLine = uiWritten > 0 && pLines[uiWritten - 1] != '\n';
    if (uiWritten < uiSize)
        TellOfDropped();
}

// Tell it once in the life of the process, not for each write that fails.
void CKELD_LogFile::TellOfDropped() {
    if (!m_bDroppedTold)
        std::fprintf(stderr, "KELD: the log file %s can't be written, log lines are dropped\n",
                     Path());
    m_bDroppedTold = true;
}

void CKELD_LogFile::RotateIfTooLarge() {
    keld_os::FileState own;
    keld_os::FileState atPath;
    if (!m_file.IsOpen() || !m_file.GetState(&own))
        return;
    const bool bOwn = keld_os::GetFileState(Path(), &atPath) && SameFile(own, atPath);
    if (bOwn && own.m_llSize <= std::max(m_llLimit, m_llTryAgainAt))
        return;
    m_llTryAgainAt = 0;
    m_bTried = false;
    {
        const Closing closing(&m_file);
        if (bOwn)
            MoveAside(own);
    }
    // Open by the path in any case: another process may have renamed the file that was open.
    (void)OpenFile();
}

// Rename the file. Of several processes that come here, one renames, the others find it done.
void CKELD_LogFile::MoveAside(const keld_os::FileState& own) {
    keld_os::FileState atPath;
    // Another process is renaming it now, or hangs while it does: go on with the file as it is, and
    // try again when it has grown by the limit once more.
    if (!m_file.Lock()) {
        m_llTryAgainAt = own.m_llSize + m_llLimit;
        return;
    }
    if (keld_os::GetFileState(Path(), &atPath) && SameFile(own, atPath) &&
        keld_os::RenameFile(Path(), m_pOlderPath->c_str()) != 0) {
        m_llLimit = 0;  // renaming isn't possible here: go on with one file
    }
}
