#pragma once

#include "tools/keld/host/context.h"

namespace keld {

// bom add, bom remove, bom set.
void addBomEditVerbs(Verbs& verbs, CLI::App* group);
// bom import.
void addBomImportVerb(Verbs& verbs, CLI::App* group);

// What guards the lines of a revision: its view, or itself as long as it has none.
tag_t guardOfLines(tag_t revision);

}  // namespace keld
