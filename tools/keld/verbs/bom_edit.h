#pragma once

#include "tools/keld/host/context.h"

namespace keld {

// Add bom add, bom remove, bom set.
void addBomEditVerbs(Verbs& verbs, CLI::App* group);
// Add bom import.
void addBomImportVerb(Verbs& verbs, CLI::App* group);

// The object whose lock guards the lines of a revision: its view, or the revision if it has none.
tag_t guardOfLines(tag_t revision);

}  // namespace keld
