#pragma once

#include "tests/faults/rules.h"

namespace faults {

const Rules& deleteRules();

}  // namespace faults
