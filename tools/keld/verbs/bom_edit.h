#pragma once

#include "tools/keld/host/context.h"

namespace keld {

// bom add, bom remove, bom set.
void addBomEditVerbs(Verbs& verbs, CLI::App* group);

}  // namespace keld
