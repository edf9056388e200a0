#pragma once

#include "tests/faults/rules.h"

namespace faults {

// Pack and resequence, and the upload of its protocol.
const Rules& bomRules();

}  // namespace faults
