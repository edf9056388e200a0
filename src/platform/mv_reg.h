#pragma once

// REG_: item id registry

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Registered becomes 1 or 0; registry unreachable: 100309.
MV_API int REG_is_item_id_registered(const char* itemId, int* registered, int siteId);

// Register; unreachable: 100309.
MV_API int REG_register_item_id(const char* itemId, int siteId);

// Remove; unreachable: 100309.
MV_API int REG_unregister_item_id(const char* itemId, int siteId);

}  // extern "C"
