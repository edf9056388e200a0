#pragma once

#include "tests/faults/rules.h"

namespace faults {

// The job files and the job item.
const Rules& jobRules();

}  // namespace faults
