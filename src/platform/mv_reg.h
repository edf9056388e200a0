#pragma once

// REG_: the registry of item ids; one, for every site number.
// The rules of every call are in platform/types.h.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// `registered` becomes 1 or 0.
// Returns: 0; 100309 if the registry can't be reached.
MV_API int REG_is_item_id_registered(const char* itemId, int* registered, int siteId);

// Register an id of 1 to 128 bytes, at once and whatever becomes of the item.
// Returns: 0; 100309 if the registry can't be reached; another failing status if it is registered
// already.
MV_API int REG_register_item_id(const char* itemId, int siteId);

// Remove an id, at once.
// Returns: 0; 100309 if the registry can't be reached; another failing status if it isn't
// registered.
MV_API int REG_unregister_item_id(const char* itemId, int siteId);

}  // extern "C"
