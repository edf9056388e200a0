#if !defined(_WIN32)

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include "os/keld_os.h"

namespace keld_os {

namespace {

FileState StateOf(const struct stat& status) {
    FileState state;
    state.m_llSize = status.st_size;
    state.m_llModifiedNs =
        static_cast<std::int64_t>(status.st_mtim.tv_sec) * 1000000000 + status.st_mtim.tv_nsec;
    state.m_ullDevice = status.st_dev;
    state.m_ullId = status.st_ino;
    return state;
}

// Open without waiting for the other end of a pipe; only a regular file stays open.
int OpenRegular(const char* szPath, int iFlags) {
    const int iFile = open(szPath, iFlags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0666);
    if (iFile == -1)
        return -1;
    struct stat status {};
    if (fstat(iFile, &status) != 0 || !S_ISREG(status.st_mode)) {
        close(iFile);
        errno = EINVAL;
        return -1;
    }
    return iFile;
}

// Close a file at the end of a block, also after an exception.
class ClosedAtEnd {
public:
    explicit ClosedAtEnd(int iFile) : m_iFile(iFile) {}
    ClosedAtEnd(const ClosedAtEnd&) = delete;
    ClosedAtEnd& operator=(const ClosedAtEnd&) = delete;
    ~ClosedAtEnd() { close(m_iFile); }

private:
    int m_iFile;
};

// Flags of open for a mode of fopen.
bool OpenFlags(const char* szMode, int* pFlags) {
    const bool bUpdate = std::strchr(szMode, '+') != nullptr;
    const int iWrite = bUpdate ? O_RDWR : O_WRONLY;
    switch (szMode[0]) {
        case 'r':
            *pFlags = bUpdate ? O_RDWR : O_RDONLY;
            return true;
        case 'w':
            *pFlags = iWrite | O_CREAT | O_TRUNC;
            return true;
        case 'a':
            *pFlags = iWrite | O_CREAT | O_APPEND;
            return true;
        default:
            return false;
    }
}

int MakeParents(const std::string& sPath) {
    for (std::size_t uiEnd = sPath.find('/', 1); uiEnd != std::string::npos;
         uiEnd = sPath.find('/', uiEnd + 1)) {
        if (uiEnd + 1 == sPath.size())
            break;
        if (mkdir(sPath.substr(0, uiEnd).c_str(), 0777) != 0 && errno != EEXIST)
            return errno;
    }
    return 0;
}

}  // namespace

FILE* OpenFile(const char* szPath, const char* szMode, bool bFollowLinks) {
    int iFlags = 0;
    if (szPath == nullptr || szMode == nullptr || !OpenFlags(szMode, &iFlags))
        return nullptr;
    // O_TRUNC would empty it at once: that waits until it is known to be a regular file.
    const bool bEmpty = (iFlags & O_TRUNC) != 0;
    const int iFile = OpenRegular(szPath, (iFlags & ~O_TRUNC) | (bFollowLinks ? 0 : O_NOFOLLOW));
    if (iFile == -1)
        return nullptr;
    if (bEmpty && ftruncate(iFile, 0) != 0) {
        close(iFile);
        return nullptr;
    }
    FILE* pFile = fdopen(iFile, szMode);
    if (pFile == nullptr)
        close(iFile);
    return pFile;
}

int MakeDirectory(const char* szPath, bool bParents) {
    if (szPath == nullptr)
        return ENOENT;
    if (bParents) {
        const int iParents = MakeParents(szPath);
        if (iParents != 0)
            return iParents;
    }
    return mkdir(szPath, 0777) == 0 ? 0 : errno;
}

int GrantEverybody(const char* szPath) {
    if (szPath == nullptr)
        return ENOENT;
    struct stat status {};
    if (stat(szPath, &status) != 0)
        return errno;
    return chmod(szPath, S_ISDIR(status.st_mode) ? 0777 : 0666) == 0 ? 0 : errno;
}

int RemoveFile(const char* szPath) {
    if (szPath == nullptr)
        return ENOENT;
    return unlink(szPath) == 0 ? 0 : errno;
}

int RenameFile(const char* szFrom, const char* szTo) {
    if (szFrom == nullptr || szTo == nullptr)
        return ENOENT;
    return std::rename(szFrom, szTo) == 0 ? 0 : errno;
}

std::string AbsolutePath(const std::string& sPath) {
    if (sPath.empty() || sPath.front() == '/')
        return sPath;
    std::string sDirectory(256, '\0');
    while (getcwd(sDirectory.data(), sDirectory.size()) == nullptr) {
        if (errno != ERANGE)
            return sPath;
        sDirectory.resize(sDirectory.size() * 2);
    }
    sDirectory.resize(std::strlen(sDirectory.c_str()));
    if (sDirectory.back() != '/')
        sDirectory += '/';
    return sDirectory + sPath;
}

PathKind KindOf(const char* szPath) {
    struct stat status {};
    if (szPath == nullptr || lstat(szPath, &status) != 0)
        return PathKind::None;
    if (S_ISREG(status.st_mode))
        return PathKind::File;
    return S_ISDIR(status.st_mode) ? PathKind::Directory : PathKind::Other;
}

bool GetFileState(const char* szPath, FileState* pState) {
    struct stat status {};
    if (szPath == nullptr || stat(szPath, &status) != 0 || !S_ISREG(status.st_mode))
        return false;
    *pState = StateOf(status);
    return true;
}

namespace {

std::int64_t Nanoseconds(const timespec& time) {
    return static_cast<std::int64_t>(time.tv_sec) * 1000000000 + time.tv_nsec;
}

std::int64_t Ticks(clockid_t clock) {
    timespec now{};
    (void)clock_gettime(clock, &now);
    return Nanoseconds(now);
}

// A change that follows another one within a step of the system's clock has the same time.
constexpr std::int64_t llStepNs = 100000000;

// Programs read few settings files; those above this number are looked up by their paths.
constexpr int iMostHeld = 8;
int iHeld = 0;

}  // namespace

bool WatchedFile::Is(const char* szPath, const FileState& state) {
    const std::int64_t llTick = Ticks(CLOCK_MONOTONIC_COARSE);
    struct stat status {};
    if (m_iFile != iClosed) {
        // A host that closes descriptors which it doesn't know may have another file under this
        // number by now; that one is left open.
        const bool bOurs = fstat(m_iFile, &status) == 0 && status.st_dev == state.m_ullDevice &&
                           status.st_ino == state.m_ullId;
        if (bOurs && llTick == m_llTick && Nanoseconds(status.st_ctim) == m_llChangedNs)
            return true;
        if (!bOurs) {
            m_iFile = iClosed;
            --iHeld;
        }
    }
    Release();
    if (szPath == nullptr || stat(szPath, &status) != 0 || !S_ISREG(status.st_mode) ||
        !(StateOf(status) == state))
        return false;
    m_llTick = llTick;
    m_llChangedNs = Nanoseconds(status.st_ctim);
    if (iHeld < iMostHeld && m_llChangedNs < Ticks(CLOCK_REALTIME_COARSE) - llStepNs)
        Hold(szPath, state);
    return true;
}

void WatchedFile::Hold(const char* szPath, const FileState& state) {
    const int iFile = OpenRegular(szPath, O_RDONLY);
    if (iFile == -1)
        return;
    m_iFile = iFile;
    ++iHeld;
    // The path may lead to another file since the caller looked at it.
    struct stat status {};
    if (fstat(m_iFile, &status) != 0 || !(StateOf(status) == state))
        Release();
}

void WatchedFile::Release() {
    if (m_iFile == iClosed)
        return;
    close(m_iFile);
    m_iFile = iClosed;
    --iHeld;
}

bool ReadFile(const char* szPath, std::string* pContent, FileState* pState) {
    const int iFile = szPath != nullptr ? OpenRegular(szPath, O_RDONLY) : -1;
    if (iFile == -1)
        return false;
    const ClosedAtEnd closed(iFile);
    struct stat status {};
    // The state is asked first: a change while the file is read then shows as another state.
    bool bRead = fstat(iFile, &status) == 0;
    std::string sContent;
    char cPiece[16384];
    while (bRead) {
        const ssize_t iGot = read(iFile, cPiece, sizeof(cPiece));
        if (iGot == -1 && errno == EINTR)
            continue;
        bRead = iGot != -1;
        if (iGot <= 0)
            break;
        sContent.append(cPiece, static_cast<std::size_t>(iGot));
    }
    if (!bRead)
        return false;
    *pContent = std::move(sContent);
    *pState = StateOf(status);
    return true;
}

bool AppendFile::Open(const char* szPath) {
    Close();
    if (szPath == nullptr)
        return false;
    // A log may go to a terminal or a pipe, so any kind of file will do; but opening doesn't wait
    // for a reader of the pipe.
    constexpr int iFlags = O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY;
    const int iFile = open(szPath, iFlags | O_NONBLOCK, 0666);
    if (iFile == -1)
        return false;
    (void)fcntl(iFile, F_SETFL, O_APPEND);  // without O_NONBLOCK: writes do wait
    m_iHandle = iFile;
    return true;
}

std::size_t AppendFile::Write(const char* pData, std::size_t uiSize) {
    std::size_t uiDone = 0;
    while (uiDone < uiSize) {
        const ssize_t iWritten =
            write(static_cast<int>(m_iHandle), pData + uiDone, uiSize - uiDone);
        if (iWritten == -1 && errno == EINTR)
            continue;
        if (iWritten <= 0)
            break;
        uiDone += static_cast<std::size_t>(iWritten);
    }
    return uiDone;
}

bool AppendFile::GetState(FileState* pState) const {
    struct stat status {};
    if (fstat(static_cast<int>(m_iHandle), &status) != 0)
        return false;
    *pState = StateOf(status);
    return true;
}

bool AppendFile::Lock() {
    for (int i = 0; i < iLockTries && !m_bLocked; ++i) {
        if (i > 0) {
            const timespec pause{0, iLockPauseMs * 1000000L};
            (void)nanosleep(&pause, nullptr);
        }
        m_bLocked = flock(static_cast<int>(m_iHandle), LOCK_EX | LOCK_NB) == 0;
        if (!m_bLocked && errno != EWOULDBLOCK && errno != EINTR)
            return true;  // files can't be locked here
    }
    return m_bLocked;
}

void AppendFile::Close() {
    // A child of the host that has inherited the file must not go on holding the lock.
    if (m_bLocked)
        (void)flock(static_cast<int>(m_iHandle), LOCK_UN);
    m_bLocked = false;
    if (IsOpen())
        close(static_cast<int>(m_iHandle));
    m_iHandle = iClosed;
}

}  // namespace keld_os

#endif
