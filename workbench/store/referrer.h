#pragma once

#include "platform/types.h"

namespace mervane {

struct StoredReferrer {
    tag_t tag = NULLTAG, attribute = NULLTAG;
    tag_t type = NULLTAG;  // NULLTAG: it doesn't count: it refers no more, or isn't stored
};

}  // namespace mervane
