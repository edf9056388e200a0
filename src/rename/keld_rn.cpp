// The entries of the rename: two user services and the call for batch programs.

#include "rename/keld_rn.h"

#include "frame/keld_copytext.h"
#include "frame/keld_entry.h"
#include "frame/keld_trace.h"
#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_art.h"
#include "platform/mv_ent.h"
#include "platform/mv_err.h"
#include "platform/mv_svcarg.h"
#include "rename/keld_rnsettings.h"

namespace {

constexpr int iNoItemId = 919320;
constexpr int iNotModifiable = 919342;
constexpr int iNoSuchRevision = 48053;

// Whether each service has tried to load the settings; never reset.
logical lReNameItemLoaded = false;
logical lReNameItemExtendedLoaded = false;

bool IsEmpty(const char* szText) {
    return KELD_RenameText(szText)[0] == '\0';
}

// Refuse an item that another site owns.
[[nodiscard]] int RefuseReplica(tag_t tagItem) {
    int iRet = QSK_ok;
    char sOldItemId[129] = "";
    KELD_ERROR("KELD_ReNameItem: Replica not modifiable\n");
    KELD_CALL(iRet, ERR_store_error(3, 919342));
    KELD_CALL(iRet, ART_ask_id(tagItem, sOldItemId));
    if (iRet == QSK_ok)
        KELD_TRACE("KELD_ReNameItem  Old Id=%s:%d is a Replica - not modifiable\n", sOldItemId,
                   static_cast<int>(tagItem));
    return iNotModifiable;
}

// Ask the registry, rename, and unregister the old id. Kept: the last step runs also after a
// failure; it leaves an id alone that an item still has.
template <typename Rename>
[[nodiscard]] int RenameRegistered(tag_t tagItem, const char* sNewItemId, Rename rename) {
    char sOldItemId[129] = "";
    logical lOldIdRegistered = false;
    int iMode = 0;
    int iRet = CKELD_ReName::CheckItemIdRegistry(tagItem, sNewItemId, sOldItemId, &lOldIdRegistered,
                                                 &iMode);
    if (iRet == QSK_ok)
        iRet = KELD_Entry(rename);
    if (lOldIdRegistered) {
        const int iUnregister = CKELD_ReName::UnregisterOldItemId(sOldItemId, iMode);
        if (iRet == QSK_ok)
            iRet = iUnregister;
    }
    return iRet;
}

int Finish(int iRet, int* result) {
    KELD_DeletePrefProfile();
    if (result != nullptr)
        *result = iRet;
    return iRet;
}

}  // namespace

// User service: new id, new name, new description, item. Kept: the texts stay allocated, here and
// below.
int KELD_ReNameItem(int* result) {
    const int iDone = KELD_Entry([] {
        char* pcNewId = nullptr;
        char* pcNewName = nullptr;
        char* pcNewDesc = nullptr;
        tag_t tagItem = NULLTAG;
        // Kept: a short argument list shows only in empty values.
        (void)SVCARG_get_string_argument(&pcNewId);
        (void)SVCARG_get_string_argument(&pcNewName);
        (void)SVCARG_get_string_argument(&pcNewDesc);
        (void)SVCARG_get_tag_argument(&tagItem);
        KELD_TRACE("KELD_ReNameItem  Id=%s:%d\n", pcNewId, static_cast<int>(tagItem));
        KELD_TRACE("KELD_ReNameItem  Name=%s\n", pcNewName);
        KELD_TRACE("KELD_ReNameItem  Desc=%s\n", pcNewDesc);
        CKELD_ReName::LoadRenameProfile(&lReNameItemLoaded);

        int iRet = QSK_ok;
        logical lIsReplica = false;
        KELD_CALL(iRet, KELD_isItemReplica(tagItem, &lIsReplica));
        if (iRet == QSK_ok && lIsReplica)
            iRet = RefuseReplica(tagItem);
        else if (iRet == QSK_ok)
            iRet = RenameRegistered(tagItem, pcNewId, [&] {
                return CKELD_ReName::RenameItem(tagItem, pcNewId, pcNewName, pcNewDesc);
            });
        return iRet;
    });
    return Finish(iDone, result);
}

// User service: new item id, new revision id, new name, new description, item, revision, action.
// Kept: the registry steps run in a test pass too, and nobody asks whether it is a replica.
int KELD_ReNameItemExtended(int* result) {
    const int iRet = KELD_Entry([] {
        char* pcNewItemId = nullptr;
        char* pcNewRevId = nullptr;
        char* pcNewName = nullptr;
        char* pcNewDesc = nullptr;
        tag_t tagItem = NULLTAG;
        tag_t tagRev = NULLTAG;
        int iAction = 0;
        (void)SVCARG_get_string_argument(&pcNewItemId);
        (void)SVCARG_get_string_argument(&pcNewRevId);
        (void)SVCARG_get_string_argument(&pcNewName);
        (void)SVCARG_get_string_argument(&pcNewDesc);
        (void)SVCARG_get_tag_argument(&tagItem);
        (void)SVCARG_get_tag_argument(&tagRev);
        (void)SVCARG_get_int_argument(&iAction);
        KELD_TRACE("RenameItemExtended  ItemId=%s:%d\n", pcNewItemId, static_cast<int>(tagItem));
        KELD_TRACE("RenameItemExtended  RevId=%s:%d\n", pcNewRevId, static_cast<int>(tagRev));
        KELD_TRACE("RenameItemExtended  Name=%s\n", pcNewName);
        KELD_TRACE("RenameItemExtended  Desc=%s\n", pcNewDesc);
        CKELD_ReName::LoadRenameProfile(&lReNameItemExtendedLoaded);

        return RenameRegistered(tagItem, pcNewItemId, [&] {
            return CKELD_ReName::RenameItemExtended(tagItem, tagRev, pcNewItemId, pcNewRevId,
                                                    pcNewName, pcNewDesc, iAction);
        });
    });
    return Finish(iRet, result);
}

// For batch programs. Kept: no replica test, no registry, and the settings as they are at the
// moment. Kept: an empty name means the old one here, where the services take the new id.
int KELD_BatchReName(const char* pcItem, const char* pcRev, const char* pcNewItemId,
                     const char* pcNewRevId, const char* pcNewName, const char* pcNewDesc) {
    return KELD_Entry([&] {
        if (IsEmpty(pcItem)) {
            KELD_ERROR("KELD_BatchReName: no ItemId\n");
            return iNoItemId;
        }
        int iRet = QSK_ok;
        tag_t tagItem = NULLTAG;
        tag_t tagRev = NULLTAG;
        KELD_CALL(iRet, KELD_ART_find_item(pcItem, &tagItem));
        if (iRet != QSK_ok)
            return iRet;
        if (!IsEmpty(pcRev)) {
            KELD_CALL(iRet, ART_find_revision(tagItem, pcRev, &tagRev));
            if (iRet != QSK_ok)
                return iRet;
            if (tagRev == NULLTAG)
                return iNoSuchRevision;
        }
        ItemDescription desc{};
        KELD_CALL(iRet, ENT_describe(tagItem, &desc));
        char cNewName[129] = "";
        char cNewDesc[241] = "";
        KELD_CopyText(cNewName, IsEmpty(pcNewName) ? desc.name : pcNewName, "cNewName");
        KELD_CopyText(cNewDesc, IsEmpty(pcNewDesc) ? desc.description : pcNewDesc, "cNewDesc");
        if (iRet != QSK_ok)
            return iRet;
        if (tagRev != NULLTAG)  // kept: one modifying pass without a test pass before it
            return CKELD_ReName::RenameItemExtended(tagItem, tagRev, pcNewItemId, pcNewRevId,
                                                    cNewName, cNewDesc,
                                                    RENAME_REVISIONS | RENAME_ITEM | RENAME_MODIFY);
        return CKELD_ReName::RenameItem(tagItem, pcNewItemId, cNewName, cNewDesc);
    });
}
