#pragma once

// The commands by which the central backup makes directories and deletes files, and the names that
// it gives to files. The commands are those of Windows; where they aren't run, system calls do the
// work, and the warnings show the commands nevertheless.

#include <cstddef>
#include <map>
#include <set>
#include <string>

// The longest path, file name or command. A longer one is never cut: its step fails.
inline constexpr std::size_t uiLongestPath = 1024;

inline constexpr int iNotRun = -1;  // result of a command that was not run

// ---- the commands' texts ----
std::string KELD_MkdirCommand(const std::string& sPath);
std::string KELD_CaclsCommand(const std::string& sPath);
std::string KELD_DelCommand(const std::string& sPath);

// Whether a path may go to the command processor without quotes: it has only ASCII letters and
// digits, . - _ + @, the separator and a drive's colon. Blanks may not, nor characters above ASCII,
// some of which count as blanks there, nor the other separator, which begins an option.
bool KELD_IsPlainPath(const std::string& sPath, char cSeparator);

// ---- the steps; each gives the result of its command ----
// Make a directory and those above it.
[[nodiscard]] int KELD_RunMkdir(const std::string& sPath);
// Give everybody full access to a directory; anything else is left alone: iNotRun.
[[nodiscard]] int KELD_RunCacls(const std::string& sPath);
// Delete a regular file; anything else is left alone: iNotRun.
[[nodiscard]] int KELD_RunDel(const std::string& sPath);

// The warning of a command that didn't succeed.
void KELD_WarnOfCommand(const std::string& sCommand, int iResult);

// ---- names ----
// A file name that can't leave its directory on any system: separators, colons, wildcards, control
// characters, double quotes, trailing dots and blanks, and the first character of a device's name
// become "_". A plain name stays as it is.
std::string KELD_PlainFileName(const std::string& sName);

// The names of one dataset's files in the backup. Equal original names share one; two that meet
// only because they were changed are told apart by a number.
class CKELD_BackupNames {
public:
    std::string NameFor(const std::string& sOriginal);

private:
    std::map<std::string, std::string> m_Names;  // by original name
    std::set<std::string> m_Used;
};
