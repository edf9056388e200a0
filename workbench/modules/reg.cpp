// REG_: the registry of item ids, the store's own or a shared one. It holds for every site number.

#include "platform/mv_reg.h"

#include "workbench/modules/support.h"
#include "workbench/store/store.h"

using namespace mervane;

namespace {

std::string checkedId(const char* item_id) {
    need(item_id, "itemId");
    if (*item_id == '\0')
        throw Failure(kBadValue, "an empty item id can't be registered");
    if (std::string_view(item_id).size() >= kNameSize)
        throw Failure(kTooLong, "an item id has at most 128 characters");
    return item_id;
}

}  // namespace

extern "C" {

int REG_is_item_id_registered(const char* itemId, int* registered, int siteId) {
    return call(
        "REG_is_item_id_registered",
        [&] {
            need(itemId, "itemId");
            need(registered, "registered");
            *registered = currentSession().store().registry().has(itemId) ? 1 : 0;
        },
        itemId, registered, siteId);
}

int REG_register_item_id(const char* itemId, int siteId) {
    return call(
        "REG_register_item_id",
        [&] {
            const std::string id = checkedId(itemId);
            currentSession().registerId(id);
        },
        itemId, siteId);
}

int REG_unregister_item_id(const char* itemId, int siteId) {
    return call(
        "REG_unregister_item_id",
        [&] {
            const std::string id = checkedId(itemId);
            currentSession().takeOutId(id);
        },
        itemId, siteId);
}

}  // extern "C"
