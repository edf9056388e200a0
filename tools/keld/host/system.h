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

// A write past the limit for the size of a file fails, and doesn't end the process. Programs that
// are started have their own way with it.
void failBeyondTheFileSizeLimit();

bool outputIsTerminal();
bool errorIsTerminal();
std::size_t outputWidth();  // of the terminal; 0: standard output is none
// Show what goes to the terminal from here on through this program, until it has ended. Standard
// output counts as the terminal that it was. False: it is none, or the system has no pagers.
bool startPager(const std::string& command);
void endPager() noexcept;
// Why nothing can be added to the file at the path, or none made there; empty: it can. Makes none.
std::string whyNotAppendable(const std::string& path);

// A new directory or an empty new file in the system's temporary directory. Failure: CommandError.
std::string makeTemporaryDirectory(const std::string& prefix);
std::string makeTemporaryFile(const std::string& prefix);

// A new, empty file beside the path under a name that nobody else has. Failure: CommandError.
std::string makeFileBeside(const std::string& path);
// From here on nobody may read or write what this process and its programs make who may not do so
// with the file at the path.
void limitRights(const std::string& path);

// Name of the device that swallows everything.
extern const char* const kNullDevice;
// Send standard output to a file (made anew) or, without a path, to standard error. Gives what
// restoreOutput needs. Failure: CommandError.
int redirectOutput(const std::string& path);
void restoreOutput(int kept) noexcept;

// A program that is started: the first word is its name or path. Standard input is nothing, what it
// writes goes to files, which are made anew.
struct ProgramCall {
    std::vector<std::string> words;
    std::string directory, out, err;
};
// Run it to its end, or for so many seconds; then it is killed. Gives its exit code, 128 and the
// number of the signal that ended it. May be called from several threads. Failure: CommandError if
// it can't be started.
int runProgram(const ProgramCall& call, int seconds);
// The path of this program.
std::string ownProgram();
// Processors that this process may use, at least 1.
unsigned processors();

// A function by its undecorated name in the modules of this process; null: none exports it.
void* findFunction(const std::string& name);
// The module that a function belongs to.
struct Module {
    std::string file;     // with its directory, links followed
    std::string version;  // empty: the module doesn't say
};
Module moduleOf(const void* function);

}  // namespace keld
