#pragma once

// The status manager's configuration file and the names of the store that it may use.

#include <optional>
#include <string>

#include "tools/keld/host/context.h"
#include "tools/keld/lint/ini_check.h"

namespace keld {

// Where the services look for it.
std::string statusConfigPath();
// Null if there is no such file.
std::optional<IniFile> readIniFile(const std::string& path);
KnownNames knownNames(const Context& context);

}  // namespace keld
