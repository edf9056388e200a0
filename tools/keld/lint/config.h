#pragma once

// The status manager's configuration file and the names of the store that it may use.

#include <optional>
#include <string>

#include "tools/keld/host/context.h"
#include "tools/keld/lint/ini_check.h"

namespace keld {

// Where the services look for it.
std::string statusConfigPath();
// Null if there is no such file. Of a longer one than kMostIniBytes the start is read.
std::optional<IniFile> readIniFile(const std::string& path);
std::string whyNoIni(const std::string& path);

struct ConfigFile {
    std::string path;
    IniFile ini;
};
// The file at the path or in the directory of that name; without one that of the services.
// Failure: CommandError if there is none, or it is too long.
ConfigFile needIni(const std::string& path);

// Open the store, or, where there is none, an empty one with the standard data model.
void openOrStandard(Context& context);
KnownNames knownNames(const Context& context);

}  // namespace keld
