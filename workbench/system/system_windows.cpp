#if defined(_WIN32)

#include <windows.h>
// after windows.h
#include <fcntl.h>
#include <io.h>
#include <process.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "workbench/system/system.h"
#include "workbench/system/wide.h"

namespace mervane::system {

namespace {

// Far after any content, since others can't read a locked range.
constexpr DWORD kLockAt = 0x7FFFFFFF;

// False, with the last error of the system as errno.
bool failed() {
    switch (GetLastError()) {
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
        case ERROR_INVALID_NAME:
            errno = ENOENT;
            break;
        case ERROR_FILE_EXISTS:
        case ERROR_ALREADY_EXISTS:
            errno = EEXIST;
            break;
        case ERROR_ACCESS_DENIED:
        case ERROR_SHARING_VIOLATION:
            errno = EACCES;
            break;
        case ERROR_LOCK_VIOLATION:
        case ERROR_IO_PENDING:
            errno = EAGAIN;
            break;
        case ERROR_DISK_FULL:
            errno = ENOSPC;
            break;
        default:
            errno = EIO;
    }
    return false;
}

bool check(BOOL done) {
    return done != 0 || failed();
}

HANDLE handleOf(int file) {
    return reinterpret_cast<HANDLE>(_get_osfhandle(file));
}

// Empty: there is no temporary directory.
std::string freshPath(const std::string& prefix) {
    std::error_code error;
    const auto directory = std::filesystem::temp_directory_path(error);
    return error ? "" : (directory / wide(prefix + "-" + randomName())).string();
}

}  // namespace

std::wstring wide(const std::string& text) {
    const int length = static_cast<int>(text.size());
    std::wstring result(
        static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0)),
        L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), length, result.data(),
                        static_cast<int>(result.size()));
    return result;
}

std::string narrow(std::wstring_view text) {
    const int length = static_cast<int>(text.size());
    std::string result(static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, text.data(), length,
                                                                    nullptr, 0, nullptr, nullptr)),
                       '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, result.data(),
                        static_cast<int>(result.size()), nullptr, nullptr);
    return result;
}

std::filesystem::path pathOf(const std::string& text) {
    return {std::u8string(text.begin(), text.end())};
}

std::string hostName() {
    char name[MAX_COMPUTERNAME_LENGTH + 1] = "";
    DWORD size = sizeof name;
    return GetComputerNameA(name, &size) ? name : "";
}

int processNumber() {
    return _getpid();
}

std::tm localTime(std::time_t seconds) {
    std::tm local{};
    (void)localtime_s(&local, &seconds);
    return local;
}

std::string environment(const std::string& name) {
    const wchar_t* value = _wgetenv(wide(name).c_str());
    return value ? narrow(value) : "";
}

bool isSet(const std::string& name) {
    return _wgetenv(wide(name).c_str()) != nullptr;
}

void setEnvironment(const std::string& name, const std::string& value) {
    _wputenv((wide(name) + L"=" + wide(value)).c_str());
}

// Rights come from the directory in which it is made.
bool makeDirectory(const std::string& path, const std::string&) {
    return check(CreateDirectoryW(pathOf(path).c_str(), nullptr));
}

bool makePrivateDirectory(const std::string& path) {
    return makeDirectory(path);
}

bool somethingAt(const std::string& path) {
    return GetFileAttributesW(pathOf(path).c_str()) != INVALID_FILE_ATTRIBUTES || failed();
}

bool mayWrite(const std::string& path) {
    constexpr int kWrite = 2;
    return _waccess(pathOf(path).c_str(), kWrite) == 0;
}

bool regularFileAt(const std::string& path) {
    const DWORD attributes = GetFileAttributesW(pathOf(path).c_str());
    return attributes == INVALID_FILE_ATTRIBUTES
               ? failed()
               : (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT |
                                FILE_ATTRIBUTE_DEVICE)) == 0;
}

bool removeFile(const std::string& path) {
    return check(DeleteFileW(pathOf(path).c_str()));
}

bool rename(const std::string& from, const std::string& to) {
    // syncDirectory() relies on the flag to write through.
    return check(MoveFileExW(pathOf(from).c_str(), pathOf(to).c_str(),
                             MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH));
}

// Without the flag to replace it fails if something is there.
bool place(const std::string& from, const std::string& to) {
    return check(MoveFileExW(pathOf(from).c_str(), pathOf(to).c_str(), MOVEFILE_WRITE_THROUGH));
}

bool placeInTwoSteps(const std::string& from, const std::string& to) {
    return place(from, to);
}

// Names are on disk when the call that gave them returns.
bool syncDirectory(const std::string& path) {
    return somethingAt(path);
}

std::string makeTemporaryDirectory(const std::string& prefix) {
    std::string path = freshPath(prefix);
    return !path.empty() && makeDirectory(path) ? path : "";
}

std::string makeTemporaryFile(const std::string& prefix) {
    std::string path = freshPath(prefix);
    const int file = path.empty() ? -1 : open(path, Open::WriteNew);
    if (file < 0)
        return "";
    close(file);
    return path;
}

int open(const std::string& path, Open how, const std::string&) {
    DWORD access = GENERIC_READ;
    DWORD disposition = OPEN_EXISTING;
    DWORD flags = FILE_ATTRIBUTE_NORMAL;
    switch (how) {
        case Open::Read:
            break;
        case Open::ReadInPlace:
            // The link itself is opened then, and isRegular() tells it from a file.
            flags |= FILE_FLAG_OPEN_REPARSE_POINT;
            break;
        case Open::WriteNew:
            access = GENERIC_WRITE;
            disposition = CREATE_NEW;
            break;
        case Open::Lock:
            access = GENERIC_READ | GENERIC_WRITE;
            disposition = OPEN_ALWAYS;
            flags |= FILE_FLAG_OPEN_REPARSE_POINT;
            break;
        case Open::LockExisting:
            access = GENERIC_READ | GENERIC_WRITE;
            flags |= FILE_FLAG_OPEN_REPARSE_POINT;
            break;
    }
    // Others may remove and rename a file that is open, as on other systems.
    const HANDLE handle = CreateFileW(pathOf(path).c_str(), access,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, disposition, flags, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        failed();
        return -1;
    }
    const int file =
        _open_osfhandle(reinterpret_cast<std::intptr_t>(handle),
                        _O_BINARY | _O_NOINHERIT |
                            (how == Open::Read || how == Open::ReadInPlace ? _O_RDONLY : _O_RDWR));
    if (file < 0)
        // Only a descriptor that was made owns the handle.
        CloseHandle(handle);
    return file;
}

std::FILE* openForAppending(const std::string& path) {
    // The N keeps child processes from inheriting the file.
    return _wfopen(pathOf(path).c_str(), L"aN");
}

bool isRegular(int file) {
    BY_HANDLE_FILE_INFORMATION info;
    return GetFileType(handleOf(file)) == FILE_TYPE_DISK &&
           GetFileInformationByHandle(handleOf(file), &info) != 0 &&
           (info.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) == 0;
}

std::ptrdiff_t read(int file, char* bytes, std::size_t size) {
    // The call counts bytes in an `int`.
    return _read(file, bytes, static_cast<unsigned>(std::min<std::size_t>(size, 1U << 30U)));
}

std::ptrdiff_t write(int file, const char* bytes, std::size_t size) {
    return _write(file, bytes, static_cast<unsigned>(std::min<std::size_t>(size, 1U << 30U)));
}

bool sync(int file) {
    return check(FlushFileBuffers(handleOf(file)));
}

bool close(int file) {
    return _close(file) == 0;
}

// The opening's own lock would be in the way of a new one: it is given up first.
bool lockExclusive(int file) {
    OVERLAPPED range{};
    range.OffsetHigh = kLockAt;
    UnlockFileEx(handleOf(file), 0, 1, 0, &range);
    return check(LockFileEx(handleOf(file), LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0,
                            1, 0, &range));
}

bool lockShared(int file) {
    OVERLAPPED range{};
    range.OffsetHigh = kLockAt;
    UnlockFileEx(handleOf(file), 0, 1, 0, &range);
    return check(LockFileEx(handleOf(file), LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &range));
}

bool unlock(int file) {
    OVERLAPPED range{};
    range.OffsetHigh = kLockAt;
    return check(UnlockFileEx(handleOf(file), 0, 1, 0, &range));
}

std::int64_t sizeOf(int file) {
    LARGE_INTEGER size;
    return check(GetFileSizeEx(handleOf(file), &size)) ? std::int64_t{size.QuadPart} : -1;
}

bool reserve(int file, std::uint64_t size) {
    const std::int64_t now = sizeOf(file);
    if (now < 0 || static_cast<std::uint64_t>(now) >= size)
        return now >= 0;
    LARGE_INTEGER end;
    end.QuadPart = static_cast<LONGLONG>(size);
    return check(SetFilePointerEx(handleOf(file), end, nullptr, FILE_BEGIN)) &&
           check(SetEndOfFile(handleOf(file)));
}

bool makeEmpty(int file) {
    return check(SetFilePointerEx(handleOf(file), LARGE_INTEGER{}, nullptr, FILE_BEGIN)) &&
           check(SetEndOfFile(handleOf(file)));
}

void* map(int file, std::uint64_t offset, std::size_t size) {
    const HANDLE whole = CreateFileMappingW(handleOf(file), nullptr, PAGE_READWRITE, 0, 0, nullptr);
    if (!whole) {
        failed();
        return nullptr;
    }
    void* part =
        MapViewOfFile(whole, FILE_MAP_READ | FILE_MAP_WRITE, static_cast<DWORD>(offset >> 32U),
                      static_cast<DWORD>(offset & 0xFFFFFFFFU), size);
    if (!part)
        failed();
    // The view keeps what it needs of it.
    CloseHandle(whole);
    return part;
}

void unmap(void* part, std::size_t) {
    UnmapViewOfFile(part);
}

// The system doesn't tell.
int lockHolder(const std::string&) {
    return 0;
}

}  // namespace mervane::system

#endif
