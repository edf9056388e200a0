// The registry of item ids in a rename: whether the id may change, and what becomes of the old one.

#include "frame/keld_trace.h"
#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_acl.h"
#include "platform/mv_art.h"
#include "platform/mv_dbo.h"
#include "platform/mv_err.h"
#include "platform/mv_heap.h"
#include "platform/mv_obj.h"
#include "platform/mv_org.h"
#include "platform/mv_reg.h"
#include "rename/keld_rn.h"
#include "rename/keld_rnsettings.h"

namespace {

constexpr int iRegistryDown = 100309;
constexpr int iNewIdRegistered = 100304;
constexpr int iOldIdRegistered = 919345;

constexpr int iOnlyForDba = 1;
constexpr int iNever = 2;
constexpr int iOnlyWithPublish = 3;

const char* Shown(logical lValue) {
    return lValue ? "true" : "false";
}

// The mode of ChangeRegisteredItemId for this type.
int ReadMode(const char* sItemType) {
    char cValue[KELD_RenameValueSize] = "";
    KELD_ReadGeneralFirst("ChangeRegisteredItemId", sItemType, cValue, "0");
    return cValue[0] >= '1' && cValue[0] <= '3' ? cValue[0] - '0' : 0;
}

// Whether an id that is registered may change.
bool MayChange(int iMode, const char* sGroupName, logical publish_allowed) {
    switch (iMode) {
        case iOnlyForDba:
            return KELD_RenameEqual(sGroupName, "dba");
        case iNever:
            return false;
        case iOnlyWithPublish:
            return publish_allowed;
        default:
            return true;
    }
}

// Kept: a registry that can't be reached never stops the rename. The preference, which `pAllowed`
// gets, only decides whether the old id is unregistered.
// Returns: the status of reading the preference, in the place of 100309.
[[nodiscard]] int PassRegistryDown(const char* sOldItemId, logical* pAllowed) {
    int iRet = QSK_ok;
    logical lAllowIfRegistryDownsite = false;
    KELD_CALL(iRet, KELD_get_logical_pref(MV_preference_site, "ART_id_allow_if_registry_down",
                                          &lAllowIfRegistryDownsite, false));
    if (iRet == QSK_ok)  // kept: the line shows the id, not the flag
        KELD_TRACE("ART_id_allow_if_registry_downsite=%s\n", sOldItemId);
    if (lAllowIfRegistryDownsite)
        KELD_TRACE("REG_registry_not_available set to true, so continue without error\n");
    *pAllowed = lAllowIfRegistryDownsite;
    return iRet;
}

// Whether the item's present id may change: its registration, the group and the privilege decide.
// Requires: `iRet` is the status so far; after a failure only the privilege is asked for.
[[nodiscard]] int CheckOldId(tag_t tagItem, const char* sOldItemId, int iMode, int iRegistrySiteId,
                             logical* lOldIdRegistered, int iRet) {
    int iIsRegistered = 0;
    char* sGroupName = nullptr;
    tag_t tGroup = NULLTAG;
    logical publish_allowed = false;
    if (iRet == QSK_ok) {
        KELD_CALL(iRet, REG_is_item_id_registered(sOldItemId, &iIsRegistered, iRegistrySiteId));
        *lOldIdRegistered = iRet == QSK_ok && iIsRegistered == 1;
        KELD_TRACE("%s is registered=%s (%d)\n", sOldItemId, Shown(iIsRegistered == 1),
                   iRegistrySiteId);
    }
    if (iRet == QSK_ok)
        KELD_CALL(iRet, DBO_ask_group(&sGroupName, &tGroup));
    if (iMode == iOnlyWithPublish) {
        // Kept: whatever failed before, this status takes its place.
        KELD_CALL(iRet, ACL_check_privilege(tagItem, "PUBLISH", &publish_allowed));
        KELD_TRACE("ChangeRegisteredItemId=%d, publish_allowed : %s\n", iMode,
                   publish_allowed ? "Yes" : "No");
    }
    if (iRet == QSK_ok && iIsRegistered == 1 && !MayChange(iMode, sGroupName, publish_allowed)) {
        // Kept: the same lines in every refusing mode.
        KELD_TRACE("ChangeRegisteredItemId=%d, current group=%s\n", iMode, sGroupName);
        KELD_TRACE("The Item Id is registered, so not allow to rename this Item\n");
        KELD_TRACE("If current group is dba and you want to be able to change the Id\n");
        KELD_TRACE("the ChangeRegisteredItemId mode needs to be set to 1 instead of 2.\n");
        KELD_CALL(iRet, ERR_store_error(3, 919345));
        iRet = iOldIdRegistered;
    }
    HEAP_free(sGroupName);
    return iRet;
}

// Ask for the new id and register it if that is configured. Kept: it is registered before the
// rename, and stays registered if the rename fails.
[[nodiscard]] int TakeNewId(const char* sNewItemId, int iRegistrySiteId,
                            logical lAlwaysRegisterOnCreation) {
    int iRet = QSK_ok;
    int iIsRegistered = 0;
    KELD_CALL(iRet, REG_is_item_id_registered(sNewItemId, &iIsRegistered, iRegistrySiteId));
    KELD_TRACE("%s is registered=%s (%d)\n", sNewItemId, Shown(iIsRegistered == 1),
               iRegistrySiteId);
    if (iRet != QSK_ok)
        return iRet;
    if (iIsRegistered == 1) {
        KELD_CALL(iRet, ERR_store_error_s1(3, 100304, sNewItemId));
        return iNewIdRegistered;
    }
    if (lAlwaysRegisterOnCreation) {
        KELD_TRACE("ART_id_always_register_on_creation set to true, so register new id\n");
        KELD_CALL(iRet, REG_register_item_id(sNewItemId, iRegistrySiteId));
    } else {
        KELD_TRACE("ART_id_always_register_on_creation set to false, so do NOT register new id\n");
    }
    return iRet;
}

}  // namespace

int CKELD_ReName::CheckItemIdRegistry(tag_t tagItem, const char* sNewItemId, char* sOldItemId,
                                      logical* lOldIdRegistered, int* iMode) {
    // A caller without a place for a result goes without it.
    char sOwnOldItemId[129] = "";
    logical lOwnRegistered = false;
    int iOwnMode = 0;
    if (sOldItemId == nullptr)
        sOldItemId = sOwnOldItemId;
    if (lOldIdRegistered == nullptr)
        lOldIdRegistered = &lOwnRegistered;
    if (iMode == nullptr)
        iMode = &iOwnMode;
    *lOldIdRegistered = false;
    *iMode = 0;
    sOldItemId[0] = '\0';
    sNewItemId = KELD_RenameText(sNewItemId);

    int iRet = QSK_ok;
    char* sItemType = nullptr;
    char* spRegistrySite = nullptr;
    logical lItemIdRegistry = false;
    logical lAlwaysRegisterOnCreation = false;
    KELD_CALL(iRet, OBJ_ask_value_string(tagItem, "object_type", &sItemType));
    if (iRet == QSK_ok) {
        *iMode = ReadMode(sItemType);
        HEAP_free(sItemType);
        KELD_CALL(iRet, KELD_get_logical_pref(MV_preference_site, "ART_id_registry",
                                              &lItemIdRegistry, false));
        KELD_TRACE("ART_id_registry=%s\n", Shown(lItemIdRegistry));
        if (iRet == QSK_ok && !lItemIdRegistry)
            return QSK_ok;
    }
    if (iRet == QSK_ok) {
        KELD_CALL(iRet, KELD_get_string_pref(MV_preference_site, "ART_id_registry_site",
                                             &spRegistrySite, ""));
        KELD_TRACE("ART_id_registry_site=%s\n", spRegistrySite);
    }
    if (iRet == QSK_ok) {
        KELD_CALL(iRet,
                  KELD_get_logical_pref(MV_preference_site, "ART_id_always_register_on_creation",
                                        &lAlwaysRegisterOnCreation, false));
        KELD_TRACE("ART_id_always_register_on_creation=%s\n", Shown(lAlwaysRegisterOnCreation));
    }

    tag_t tRegistrySite = NULLTAG;
    char sRegistrySite[129] = "";
    int iRegistrySiteId = 0;
    if (iRet == QSK_ok)
        KELD_CALL(iRet, ORG_find_site(spRegistrySite, &tRegistrySite));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, ORG_ask_site_info(tRegistrySite, sRegistrySite, &iRegistrySiteId));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, ART_ask_id(tagItem, sOldItemId));

    if (iRet == QSK_ok && KELD_RenameEqual(sOldItemId, sNewItemId)) {
        KELD_TRACE("Item Id not Changed %s (sOldItemId) == %s (sNewItemId)\n", sOldItemId,
                   sNewItemId);
        KELD_TRACE("No need to check global registry\n");
    } else {
        iRet = CheckOldId(tagItem, sOldItemId, *iMode, iRegistrySiteId, lOldIdRegistered, iRet);
        if (iRet == QSK_ok)
            iRet = TakeNewId(sNewItemId, iRegistrySiteId, lAlwaysRegisterOnCreation);
    }
    if (iRet == iRegistryDown) {
        logical lAllowed = false;
        iRet = PassRegistryDown(sOldItemId, &lAllowed);
        if (lAllowed)
            *lOldIdRegistered = false;
    }
    HEAP_free(spRegistrySite);
    return iRet;
}

int CKELD_ReName::UnregisterOldItemId(const char* sOldItemId, int iMode) {
    sOldItemId = KELD_RenameText(sOldItemId);
    int iRet = QSK_ok;
    logical lUnregisterOnDelete = true;
    KELD_CALL(iRet, KELD_get_logical_pref(MV_preference_site, "ART_id_unregister_on_delete",
                                          &lUnregisterOnDelete, true));
    if (iRet != QSK_ok)
        return iRet;
    KELD_TRACE("ART_id_unregister_on_delete=%s\n", Shown(lUnregisterOnDelete));
    if (!lUnregisterOnDelete)
        return QSK_ok;

    char* spRegistrySite = nullptr;
    tag_t tRegistrySite = NULLTAG;
    int iIsRegistered = 0;
    KELD_CALL(iRet, KELD_get_string_pref(MV_preference_site, "ART_id_registry_site",
                                         &spRegistrySite, ""));
    KELD_TRACE("ART_id_registry_site=%s\n", spRegistrySite);
    if (iRet == QSK_ok)
        KELD_CALL(iRet, ORG_find_site(spRegistrySite, &tRegistrySite));
    // Kept: the site is found, but its number isn't asked for; 0 is used.
    constexpr int iSiteId = 0;
    if (iRet == QSK_ok)
        KELD_CALL(iRet, REG_is_item_id_registered(sOldItemId, &iIsRegistered, 0));
    if (iRet == QSK_ok && iIsRegistered == 1) {
        tag_t tOldItem = NULLTAG;
        KELD_TRACE("%s is registered=true (%d)\n", sOldItemId, iSiteId);
        // After a failed rename the item may still have the old id.
        KELD_CALL(iRet, KELD_ART_find_item(sOldItemId, &tOldItem));
        if (iMode == iOnlyWithPublish)
            KELD_TRACE("Mode=3; no unregister here\n");
        else if (iRet != QSK_ok || tOldItem != NULLTAG)
            KELD_TRACE("%s still exists in DB, so do not unregister\n", sOldItemId);
        else
            KELD_CALL(iRet, REG_unregister_item_id(sOldItemId, 0));
    } else {
        KELD_TRACE("%s is NOT registered (%d)\n", sOldItemId, iSiteId);
    }
    if (iRet == iRegistryDown) {
        logical lAllowed = false;
        iRet = PassRegistryDown(sOldItemId, &lAllowed);
    }
    HEAP_free(spRegistrySite);
    return iRet;
}
