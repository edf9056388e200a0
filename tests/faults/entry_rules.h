#pragma once

#include "tests/faults/rules.h"

namespace faults {

// The status primitives and the diagnostic services.
const Rules& entryRules();

}  // namespace faults
