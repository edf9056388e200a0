#pragma once

// The seam to the operating system: the only place that knows it. Each library carries its own copy
// with hidden names; a test can bring its own clock and environment instead.
//
// All texts are UTF-8. On Windows they are turned into UTF-16 for the wide calls; a text that is no
// valid UTF-8 is a path that can't be opened. A null pointer is a name or path that doesn't exist.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string>

namespace keld_os {

#if defined(_WIN32)
inline constexpr bool bWindows = true;
inline constexpr char cPathSeparator = '\\';
inline constexpr char szPathSeparator[] = "\\";
#else
inline constexpr bool bWindows = false;
inline constexpr char cPathSeparator = '/';
inline constexpr char szPathSeparator[] = "/";
#endif

// ---- clock ----

// The wall clock in ticks of 100 ns since 1601-01-01 UTC.
std::int64_t WallClock();
// The same clock at the resolution of the system's timer interrupt (some milliseconds), for stamps
// that have to be cheap.
std::int64_t CoarseWallClock();
// The coarse clock again, for measuring calls; a separate function, so that its readings can be
// counted apart from those for the stamps.
std::int64_t IntervalClock();
// The process's local time of a reading; true and *pTime, or false and *pTime unchanged.
[[nodiscard]] bool LocalTime(std::int64_t llTicks, std::tm* pTime);

// ---- process ----

// A variable of the environment: true and its value (which may be empty) if it is set, else false
// and *pValue unchanged.
[[nodiscard]] bool GetEnv(const char* szName, std::string* pValue);
// The system's directory for temporary files, without trailing separator.
std::string TempDirectory();
std::uint32_t ProcessId();
// Run a command line through the command processor, with the null device as its standard input, and
// wait for its end. Returns: the exit code of the command processor, or -1 if it could not be run.
[[nodiscard]] int RunCommand(const char* szCommand);
// A function by its undecorated name in the modules that the process has loaded, or null.
void* FindFunction(const char* szName);
// Have a function called in every child that the process forks from now on. On a system without
// fork there is nothing to do. False: no memory.
[[nodiscard]] bool CallInForkedChild(void (*pFunction)());

// ---- files and directories ----
// Functions that return an int give 0 or the system's error number.

// Open a file as the C library does. Mode "a" writes each piece at the end of the file, also when
// other processes append to it too (on Windows with append-only access). Without bFollowLinks a
// path whose last component is a link can't be opened. A directory or device can't be opened.
// Returns: the file, closed with fclose, or null.
FILE* OpenFile(const char* szPath, const char* szMode, bool bFollowLinks = true);
// Make one directory; with bParents also the missing ones above it. A directory that exists counts
// as an error (EEXIST), as with the system's own command.
[[nodiscard]] int MakeDirectory(const char* szPath, bool bParents);
// Give everybody full access to a directory or file.
[[nodiscard]] int GrantEverybody(const char* szPath);
// Delete a file, never a directory.
[[nodiscard]] int RemoveFile(const char* szPath);
// Rename, replacing a file of the new name.
[[nodiscard]] int RenameFile(const char* szFrom, const char* szTo);

// The absolute form of a path: it names the same place after the current directory has changed. A
// path that can't be made absolute stays as it is.
std::string AbsolutePath(const std::string& sPath);

// What is at a path; a link is not followed.
enum class PathKind { None, File, Directory, Other };
PathKind KindOf(const char* szPath);

// Size, modification time and identity of the file that a path leads to. Two equal states are the
// same unchanged file.
struct FileState {
    std::int64_t m_llSize = -1;
    std::int64_t m_llModifiedNs = 0;  // since 1970-01-01 UTC
    std::uint64_t m_ullDevice = 0;
    std::uint64_t m_ullId = 0;
    bool operator==(const FileState&) const = default;
};
[[nodiscard]] bool GetFileState(const char* szPath, FileState* pState);
// Read a whole regular file with the state that it had when it was read. False: it can't be read.
[[nodiscard]] bool ReadFile(const char* szPath, std::string* pContent, FileState* pState);

// Tells whether the file at a path is still the same, at less cost than GetFileState. It holds the
// file open: within one tick of the system's coarse clock it looks only at the open file, whose
// state shows a change, a removal or a replacement, and after that at the path again. On Windows an
// open file would hinder whoever replaces it, so there it looks at the path each time.
class WatchedFile {
public:
    WatchedFile() = default;
    WatchedFile(const WatchedFile&) = delete;
    WatchedFile& operator=(const WatchedFile&) = delete;
    ~WatchedFile() { Release(); }

    // Whether the path leads to a file of this state. The path is the same at each call.
    [[nodiscard]] bool Is(const char* szPath, const FileState& state);
    void Release();

private:
    void Hold(const char* szPath, const FileState& state);

    static constexpr int iClosed = -1;
    int m_iFile = iClosed;
    std::int64_t m_llTick = 0;       // of the last look at the path
    std::int64_t m_llChangedNs = 0;  // when the file's links, rights or content changed last
};

// A file that several processes append to: each Write goes in one piece to the end of the file.
class AppendFile {
public:
    AppendFile() = default;
    AppendFile(const AppendFile&) = delete;
    AppendFile& operator=(const AppendFile&) = delete;

    [[nodiscard]] bool Open(const char* szPath);
    bool IsOpen() const { return m_iHandle != iClosed; }
    // Returns: how many bytes were written; fewer than uiSize if not everything could be.
    [[nodiscard]] std::size_t Write(const char* pData, std::size_t uiSize);
    [[nodiscard]] bool GetState(FileState* pState) const;
    // Lock the file against other processes that lock it too, until Close. Waits for a second at
    // most: the process that has it may hang. False: another process has it. True where files can't
    // be locked at all.
    [[nodiscard]] bool Lock();
    void Close();

private:
    static constexpr std::intptr_t iClosed = -1;
    static constexpr int iLockTries = 100, iLockPauseMs = 10;
    bool m_bLocked = false;
    std::intptr_t m_iHandle = iClosed;  // not closed at the end of the process: the log needs it
};

}  // namespace keld_os
