#pragma once

// What keld asks of the operating system. Texts are UTF-8 on every system. What the workbench asks
// as well is in workbench/system/.

#include <string>
#include <vector>

#include "workbench/system/system.h"

namespace keld {

using mervane::system::environment;
using mervane::system::isSet;
using mervane::system::mayWrite;
using mervane::system::pathOf;
using mervane::system::setEnvironment;

// The arguments of main.
std::vector<std::string> programArguments(int argc, char** argv);

// Make a write beyond the file size limit fail instead of ending the process. Programs that this
// one starts behave as usual.
void failBeyondTheFileSizeLimit();

bool outputIsTerminal();
bool errorIsTerminal();
std::size_t outputWidth();  // width of the terminal; 0: standard output is none
// Show the output through this program until endPager. Standard output still counts as a terminal.
// False: it isn't one, or the system has no pagers.
bool startPager(const std::string& command);
void endPager() noexcept;
// Why nothing can be appended to the file at the path, or no file made there; empty: it can. Makes
// no file.
std::string whyNotAppendable(const std::string& path);

// A new directory or an empty new file in the system's temporary directory. Failure: CommandError.
std::string makeTemporaryDirectory(const std::string& prefix);
std::string makeTemporaryFile(const std::string& prefix);

// Make an empty file in the directory of the path, with a name of its own. Failure: CommandError.
std::string makeFileBeside(const std::string& path);
// Limit the rights of files that this process and its programs make from now on: group and others
// get no more than they have on the file at the path.
void limitRights(const std::string& path);

// Name of the device that drops everything.
extern const char* const kNullDevice;
// Redirect standard output to a file, emptied first, or without a path to standard error. Gives
// what restoreOutput needs. Failure: CommandError.
int redirectOutput(const std::string& path);
void restoreOutput(int kept) noexcept;

// A program to start; the first word is its name or path. Its standard input is empty, and its
// output goes to files, emptied first.
struct ProgramCall {
    std::vector<std::string> words;
    std::string directory, out, err;
};
// Run it to its end; after so many seconds it is killed. Gives its exit code, or 128 plus the
// number of the signal that ended it. May be called from several threads. Failure: CommandError if
// it can't be started.
int runProgram(const ProgramCall& call, int seconds);
std::string ownProgram();
// Processors that this process may use, at least 1.
unsigned processors();

// A function by its undecorated name in the modules of this process; null: none exports it.
void* findFunction(const std::string& name);
// The module that a function belongs to.
struct Module {
    std::string file;     // with its directory, symbolic links resolved
    std::string version;  // empty: unknown
};
Module moduleOf(const void* function);

}  // namespace keld
