#if defined(_WIN32)

#include <windows.h>
// after windows.h
#include <aclapi.h>
#include <fcntl.h>
#include <io.h>

#include <cerrno>
#include <cstring>

#include "os/keld_os.h"
#include "os/keld_os_wide.h"

namespace keld_os {

namespace {

int LastError() {
    const DWORD ulError = GetLastError();
    return ulError != 0 ? static_cast<int>(ulError) : EINVAL;
}

std::uint64_t Join(DWORD ulHigh, DWORD ulLow) {
    return (static_cast<std::uint64_t>(ulHigh) << 32U) | ulLow;
}

bool StateOf(HANDLE hFile, FileState* pState) {
    BY_HANDLE_FILE_INFORMATION info;
    if (!GetFileInformationByHandle(hFile, &info))
        return false;
    FileState state;
    state.m_llSize = static_cast<std::int64_t>(Join(info.nFileSizeHigh, info.nFileSizeLow));
    constexpr std::int64_t llUnixEpochTicks = 116444736000000000;
    const auto llTicks = static_cast<std::int64_t>(
        Join(info.ftLastWriteTime.dwHighDateTime, info.ftLastWriteTime.dwLowDateTime));
    state.m_llModifiedNs = (llTicks - llUnixEpochTicks) * 100;
    state.m_ullDevice = info.dwVolumeSerialNumber;
    state.m_ullId = Join(info.nFileIndexHigh, info.nFileIndexLow);
    *pState = state;
    return true;
}

bool IsRegular(HANDLE hFile) {
    BY_HANDLE_FILE_INFORMATION info;
    return GetFileType(hFile) == FILE_TYPE_DISK && GetFileInformationByHandle(hFile, &info) &&
           (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

bool IsLink(HANDLE hFile) {
    BY_HANDLE_FILE_INFORMATION info;
    return !GetFileInformationByHandle(hFile, &info) ||
           (info.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

constexpr DWORD ulShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

HANDLE OpenHandle(const char* szPath, DWORD ulAccess, DWORD ulDisposition, DWORD ulFlags) {
    std::wstring sPath;
    if (!ToWide(szPath, &sPath)) {
        SetLastError(ERROR_INVALID_NAME);
        return INVALID_HANDLE_VALUE;
    }
    return CreateFileW(sPath.c_str(), ulAccess, ulShareAll, nullptr, ulDisposition,
                       FILE_ATTRIBUTE_NORMAL | ulFlags, nullptr);
}

// Close a file at the end of a block, also after an exception.
class ClosedAtEnd {
public:
    explicit ClosedAtEnd(HANDLE hFile) : m_hFile(hFile) {}
    ClosedAtEnd(const ClosedAtEnd&) = delete;
    ClosedAtEnd& operator=(const ClosedAtEnd&) = delete;
    ~ClosedAtEnd() { CloseHandle(m_hFile); }

private:
    HANDLE m_hFile;
};

struct OpenMode {
    DWORD m_ulAccess;
    DWORD m_ulDisposition;
    int m_iFlags;
};

// Access, disposition and flags for a mode of fopen.
bool ParseMode(const char* szMode, OpenMode* pMode) {
    const bool bUpdate = std::strchr(szMode, '+') != nullptr;
    const int iText = std::strchr(szMode, 'b') != nullptr ? _O_BINARY : _O_TEXT;
    const DWORD ulRead = bUpdate ? GENERIC_READ : 0;
    switch (szMode[0]) {
        case 'r':
            *pMode = {GENERIC_READ | (bUpdate ? GENERIC_WRITE : 0), OPEN_EXISTING,
                      (bUpdate ? _O_RDWR : _O_RDONLY) | iText};
            return true;
        case 'w':
            // Emptied later, when it is known to be a regular file.
            *pMode = {GENERIC_WRITE | ulRead, OPEN_ALWAYS, (bUpdate ? _O_RDWR : _O_WRONLY) | iText};
            return true;
        case 'a':
            // Without the right to write elsewhere, the system puts each piece at the end.
            *pMode = {FILE_APPEND_DATA | SYNCHRONIZE | FILE_READ_ATTRIBUTES | ulRead, OPEN_ALWAYS,
                      (bUpdate ? _O_RDWR : _O_WRONLY) | _O_APPEND | iText};
            return true;
        default:
            return false;
    }
}

int MakeParents(const std::wstring& sPath) {
    for (std::size_t uiEnd = sPath.find_first_of(L"\\/", 1); uiEnd != std::wstring::npos;
         uiEnd = sPath.find_first_of(L"\\/", uiEnd + 1)) {
        const std::wstring sParent = sPath.substr(0, uiEnd);
        if (uiEnd + 1 == sPath.size() || sParent.back() == L':' || sParent.back() == L'\\')
            continue;
        // In a network path the server and the share can't be made, so failures don't count here;
        // with a parent missing, making the directory itself fails.
        if (!CreateDirectoryW(sParent.c_str(), nullptr) && sPath.compare(0, 2, L"\\\\") != 0 &&
            GetLastError() != ERROR_ALREADY_EXISTS)
            return LastError();
    }
    return 0;
}

}  // namespace

FILE* OpenFile(const char* szPath, const char* szMode, bool bFollowLinks) {
    OpenMode mode{};
    if (szMode == nullptr || !ParseMode(szMode, &mode))
        return nullptr;
    const HANDLE hFile = OpenHandle(szPath, mode.m_ulAccess, mode.m_ulDisposition,
                                    bFollowLinks ? 0 : FILE_FLAG_OPEN_REPARSE_POINT);
    if (hFile == INVALID_HANDLE_VALUE)
        return nullptr;
    if (!IsRegular(hFile) || (!bFollowLinks && IsLink(hFile)) ||
        (szMode[0] == 'w' && !SetEndOfFile(hFile))) {
        CloseHandle(hFile);
        return nullptr;
    }
    const int iFile = _open_osfhandle(reinterpret_cast<std::intptr_t>(hFile), mode.m_iFlags);
    if (iFile == -1) {
        CloseHandle(hFile);
        return nullptr;
    }
    FILE* pFile = _fdopen(iFile, szMode);
    if (pFile == nullptr)
        _close(iFile);
    return pFile;
}

int MakeDirectory(const char* szPath, bool bParents) {
    std::wstring sPath;
    if (!ToWide(szPath, &sPath))
        return EINVAL;
    if (bParents) {
        const int iParents = MakeParents(sPath);
        if (iParents != 0)
            return iParents;
    }
    return CreateDirectoryW(sPath.c_str(), nullptr) ? 0 : LastError();
}

int GrantEverybody(const char* szPath) {
    std::wstring sPath;
    if (!ToWide(szPath, &sPath))
        return EINVAL;
    PACL pOldList = nullptr;
    PSECURITY_DESCRIPTOR pDescriptor = nullptr;
    DWORD ulError = GetNamedSecurityInfoW(sPath.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION,
                                          nullptr, nullptr, &pOldList, nullptr, &pDescriptor);
    if (ulError != ERROR_SUCCESS)
        return static_cast<int>(ulError);

    // The group by its number, since its name differs by language.
    char cEveryone[SECURITY_MAX_SID_SIZE];
    DWORD ulSize = sizeof(cEveryone);
    PACL pNewList = nullptr;
    if (CreateWellKnownSid(WinWorldSid, nullptr, cEveryone, &ulSize)) {
        EXPLICIT_ACCESSW access{};
        access.grfAccessPermissions = GENERIC_ALL;
        access.grfAccessMode = GRANT_ACCESS;
        access.grfInheritance = SUB_CONTAINERS_AND_OBJECTS_INHERIT;
        access.Trustee.TrusteeForm = TRUSTEE_IS_SID;
        access.Trustee.TrusteeType = TRUSTEE_IS_WELL_KNOWN_GROUP;
        access.Trustee.ptstrName = reinterpret_cast<LPWSTR>(cEveryone);
        ulError = SetEntriesInAclW(1, &access, pOldList, &pNewList);
    } else {
        ulError = GetLastError();
    }
    if (ulError == ERROR_SUCCESS)
        ulError = SetNamedSecurityInfoW(sPath.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION,
                                        nullptr, nullptr, pNewList, nullptr);
    if (pNewList != nullptr)
        LocalFree(pNewList);
    LocalFree(pDescriptor);
    return static_cast<int>(ulError);
}

int RemoveFile(const char* szPath) {
    std::wstring sPath;
    if (!ToWide(szPath, &sPath))
        return EINVAL;
    return DeleteFileW(sPath.c_str()) ? 0 : LastError();
}

int RenameFile(const char* szFrom, const char* szTo) {
    std::wstring sFrom;
    std::wstring sTo;
    if (!ToWide(szFrom, &sFrom) || !ToWide(szTo, &sTo))
        return EINVAL;
    return MoveFileExW(sFrom.c_str(), sTo.c_str(), MOVEFILE_REPLACE_EXISTING) ? 0 : LastError();
}

std::string AbsolutePath(const std::string& sPath) {
    std::wstring sWide;
    if (sPath.empty() || !ToWide(sPath.c_str(), &sWide))
        return sPath;
    const DWORD ulSize = GetFullPathNameW(sWide.c_str(), 0, nullptr, nullptr);
    std::wstring sFull(ulSize, L'\0');
    const DWORD ulLength = GetFullPathNameW(sWide.c_str(), ulSize, sFull.data(), nullptr);
    if (ulLength == 0 || ulLength >= ulSize)
        return sPath;
    sFull.resize(ulLength);
    return FromWide(sFull);
}

PathKind KindOf(const char* szPath) {
    std::wstring sPath;
    if (!ToWide(szPath, &sPath))
        return PathKind::None;
    const DWORD ulAttributes = GetFileAttributesW(sPath.c_str());
    if (ulAttributes == INVALID_FILE_ATTRIBUTES)
        return PathKind::None;
    if ((ulAttributes & (FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DEVICE)) != 0)
        return PathKind::Other;
    return (ulAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? PathKind::Directory : PathKind::File;
}

bool GetFileState(const char* szPath, FileState* pState) {
    const HANDLE hFile = OpenHandle(szPath, FILE_READ_ATTRIBUTES, OPEN_EXISTING, 0);
    if (hFile == INVALID_HANDLE_VALUE)
        return false;
    const bool bKnown = IsRegular(hFile) && StateOf(hFile, pState);
    CloseHandle(hFile);
    return bKnown;
}

bool WatchedFile::Is(const char* szPath, const FileState& state) {
    FileState now;
    return GetFileState(szPath, &now) && now == state;
}

void WatchedFile::Release() {
}

bool ReadFile(const char* szPath, std::string* pContent, FileState* pState) {
    const HANDLE hFile = OpenHandle(szPath, GENERIC_READ, OPEN_EXISTING, 0);
    if (hFile == INVALID_HANDLE_VALUE)
        return false;
    const ClosedAtEnd closed(hFile);
    FileState state;
    // The state is asked first: a change while the file is read then shows as another state.
    bool bRead = IsRegular(hFile) && StateOf(hFile, &state);
    std::string sContent;
    char cPiece[16384];
    while (bRead) {
        DWORD ulGot = 0;
        bRead = ::ReadFile(hFile, cPiece, sizeof(cPiece), &ulGot, nullptr) != 0;
        if (!bRead || ulGot == 0)
            break;
        sContent.append(cPiece, ulGot);
    }
    if (!bRead)
        return false;
    *pContent = std::move(sContent);
    *pState = state;
    return true;
}

bool AppendFile::Open(const char* szPath) {
    Close();
    // Append-only access puts each piece at the end; locking needs the right to read.
    const HANDLE hFile = OpenHandle(szPath, FILE_APPEND_DATA | GENERIC_READ, OPEN_ALWAYS, 0);
    if (hFile != INVALID_HANDLE_VALUE)
        m_iHandle = reinterpret_cast<std::intptr_t>(hFile);
    return IsOpen();
}

std::size_t AppendFile::Write(const char* pData, std::size_t uiSize) {
    std::size_t uiDone = 0;
    while (uiDone < uiSize) {
        constexpr std::size_t uiLargest = 1U << 30U;
        const std::size_t uiRest = uiSize - uiDone;
        const auto ulPiece = static_cast<DWORD>(uiRest < uiLargest ? uiRest : uiLargest);
        DWORD ulWritten = 0;
        if (!WriteFile(reinterpret_cast<HANDLE>(m_iHandle), pData + uiDone, ulPiece, &ulWritten,
                       nullptr) ||
            ulWritten == 0)
            break;
        uiDone += ulWritten;
    }
    return uiDone;
}

bool AppendFile::GetState(FileState* pState) const {
    return StateOf(reinterpret_cast<HANDLE>(m_iHandle), pState);
}

bool AppendFile::Lock() {
    for (int i = 0; i < iLockTries && !m_bLocked; ++i) {
        if (i > 0)
            Sleep(iLockPauseMs);
        OVERLAPPED range{};
        range.OffsetHigh = 0x7FFFFFFF;  // far past the content, so that no write meets the lock
        m_bLocked =
            LockFileEx(reinterpret_cast<HANDLE>(m_iHandle),
                       LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &range) != 0;
        if (!m_bLocked && GetLastError() != ERROR_LOCK_VIOLATION)
            return true;  // files can't be locked here
    }
    return m_bLocked;
}

void AppendFile::Close() {
    if (IsOpen())
        CloseHandle(reinterpret_cast<HANDLE>(m_iHandle));  // gives up the lock, too
    m_bLocked = false;
    m_iHandle = iClosed;
}

}  // namespace keld_os

#endif
