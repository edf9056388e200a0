#pragma once

#include "tests/faults/rules.h"

namespace faults {

// The rename's entries, its walk and what follows it.
const Rules& renameRules();

}  // namespace faults
