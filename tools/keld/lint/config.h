#pragma once

// The status manager's configuration file and the names of the store that it may use.

#include <optional>
#include <string>

#include "tools/keld/host/context.h"
#include "tools/keld/lint/ini_check.h"

namespace keld {

// The path at which services look for the file.
std::string statusConfigPath();
// Null if there is no such file. Only the first kMostIniBytes are read.
std::optional<IniFile> readIniFile(const std::string& path);
std::string whyNoIni(const std::string& path);

struct ConfigFile {
    std::string path;
    IniFile ini;
};
// Read the file at the path, or in the directory of that name; an empty path is that of the
// services. Failure: CommandError if there is no file, or it is too long.
ConfigFile needIni(const std::string& path);

// Open the store; if there is none, an empty one with the standard data model.
void openOrStandard(Context& context);
KnownNames knownNames(const Context& context);

}  // namespace keld
