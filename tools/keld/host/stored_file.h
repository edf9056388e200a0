#pragma once

// Files out of the store's volume.

#include <string>

#include "tools/keld/host/context.h"

namespace keld {

struct StoredFile {
    std::string reference, name;  // named reference and original name
    std::string content;
};

// The first file of a dataset under a named reference; under any if that is empty. Refused if there
// is none.
StoredFile readStoredFile(Context& context, tag_t dataset, const std::string& reference);

void addStoredFileVerb(Verbs& verbs);

}  // namespace keld
