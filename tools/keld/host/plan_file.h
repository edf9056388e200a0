#pragma once

// Words of a plan's file.

#include <string>

#include "workbench/workbench.h"

namespace keld {

inline constexpr int kPlanVersion = 1;

const char* changeName(mervane::RunChange change);
// False: no change has this name.
bool changeNamed(const std::string& name, mervane::RunChange* change);
const char* resultWord(mervane::RunResult result);

}  // namespace keld
