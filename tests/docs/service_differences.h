#pragma once

// The description of the services, tools/keld/services.cpp, against every place that tells of them
// too: the public header, the exported names, the document, the fuzzing targets, the fault sweep
// and the refused allocations.

#include <filesystem>
#include <string>
#include <vector>

#include "tools/keld/services.h"

namespace docs {

// A line for each difference, which begins with the file's path. `project` is the directory of the
// sources. Throws std::runtime_error for a file that can't be read.
std::vector<std::string> serviceDifferences(const std::vector<keld::Service>& services,
                                            const std::filesystem::path& project);

}  // namespace docs
