#pragma once

// What the workbench and keld ask of the operating system: the process and its environment, and
// files that are locked, synced and given their place in one step. Texts and paths are UTF-8. A
// function that gives false or -1 leaves the reason in errno.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <string>

namespace mervane::system {

// A path of the C++ library from UTF-8; not every system takes plain texts for UTF-8.
std::filesystem::path pathOf(const std::string& text);

int processNumber();
std::string hostName();  // empty: unknown
// Local time; all zero if the clock can't be read.
std::tm localTime(std::time_t seconds);
// Sixteen hexadecimal digits: no two processes choose the same, whatever their numbers are.
std::string randomName();

// ---- variables of the environment ----
std::string environment(const std::string& name);  // empty if it isn't set
bool isSet(const std::string& name);
// Visible to the libraries of this process and to programs that it starts.
void setEnvironment(const std::string& name, const std::string& value);

// ---- what has a name ----
// What is made `like` a file belongs to those who may read and write that one, and nobody else;
// without one it is what the process's settings say.
bool makeDirectory(const std::string& path, const std::string& like = "");
bool makePrivateDirectory(const std::string& path);
bool somethingAt(const std::string& path);                    // links aren't followed
bool regularFileAt(const std::string& path);                  // likewise
bool mayWrite(const std::string& path);                       // this process, the file or directory
bool removeFile(const std::string& path);                     // others may have it open
bool rename(const std::string& from, const std::string& to);  // in the place of a file there
// Rename to where nothing is; EEXIST if there is something, which stays. Files and directories.
bool place(const std::string& from, const std::string& to);
// The same on a file system that can't do it in one step: an empty one takes the place first.
bool placeInTwoSteps(const std::string& from, const std::string& to);
bool syncDirectory(const std::string& path);
// New and empty, in the system's temporary directory, under a name that begins with the prefix; on
// POSIX systems for this user alone. Returns: its path; empty: it can't be made.
std::string makeTemporaryDirectory(const std::string& prefix);
std::string makeTemporaryFile(const std::string& prefix);

// ---- an open file ----
// No child process inherits it; others may remove and rename it meanwhile.
enum class Open {
    Read,          // a device or pipe isn't waited for
    ReadInPlace,   // likewise; not through a link
    WriteNew,      // made; refused if there is anything
    Lock,          // made if it isn't there; not through a link
    LockExisting,  // must be there; not through a link
};
int open(const std::string& path, Open how, const std::string& like = "");
// Made if it isn't there. A pipe or a device is refused, and not waited for.
std::FILE* openForAppending(const std::string& path);
bool isRegular(int file);
std::ptrdiff_t read(int file, char* bytes, std::size_t size);
std::ptrdiff_t write(int file, const char* bytes, std::size_t size);
bool sync(int file);
bool close(int file);
// A lock of this opening of the file, gone with it, never waited for: EAGAIN if another opening has
// it. An exclusive one takes the place of a shared one, and the other way round.
bool lockExclusive(int file);
bool lockShared(int file);
bool unlock(int file);
// The size in bytes; -1: unknown.
std::int64_t sizeOf(int file);
// Make it at least so many bytes long, with room on the disk for all of them. What is in it stays.
bool reserve(int file, std::uint64_t size);
bool makeEmpty(int file);
// A part of the file as memory, the same for all processes that map it. The offset is a multiple of
// 65536, and the file has the whole part. The part stays when the file is closed. Null: it can't be
// mapped. Who calls unmaps it, with the same size.
void* map(int file, std::uint64_t offset, std::size_t size);
void unmap(void* part, std::size_t size);
// The process that has this file locked, by whatever kind of lock, for itself alone; 0: unknown.
int lockHolder(const std::string& path);

}  // namespace mervane::system
