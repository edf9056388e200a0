#pragma once

#include "tests/faults/rules.h"

namespace faults {

// The status manager, CKELD_Status1, CKELD_Status and the form values.
const Rules& statusRules();

}  // namespace faults
