#pragma once

// Readers and the writer of whole product structures. Each import is all or nothing: it runs as one
// batch of the session, and a Failure (kBadImport, with the place in the source and what was
// expected there) leaves the store as it was.

#include <iosfwd>
#include <string>

#include "workbench/workbench.h"

namespace mervane {

class Session;

// Reads a world in the form that docs/json-world.md describes. `source_name` is used in messages.
ImportReport importWorld(Session& session, std::istream& in, const std::string& source_name);

// Writes everything that the store holds, as one document; equal stores give equal bytes. The
// contents of stored files that are damaged are left out; gives these.
std::vector<CheckFinding> exportWorld(Session& session, std::ostream& out);

// Reads the product structure of a STEP file (docs/step-import.md). The file itself is kept as a
// dataset, under the last part of `source_name`.
ImportReport importStep(Session& session, std::istream& in, const std::string& source_name);

}  // namespace mervane
