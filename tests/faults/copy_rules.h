#pragma once

#include "tests/faults/rules.h"

namespace faults {

const Rules& copyRules();

}  // namespace faults
