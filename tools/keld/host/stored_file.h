#pragma once

// Files out of the store's volume.

#include <string>

#include "tools/keld/host/context.h"

namespace keld {

struct StoredFile {
    std::string reference, name;  // named reference and original name
    std::string content;
};

// Read the first file of a dataset with this named reference, or with any if it is empty. Failure:
// CommandError if there is none.
StoredFile readStoredFile(Context& context, tag_t dataset, const std::string& reference);

void addStoredFileVerb(Verbs& verbs);

}  // namespace keld
