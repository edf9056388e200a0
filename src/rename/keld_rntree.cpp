// The walk of a rename from the item down, and the item's own data.

#include "frame/keld_trace.h"
#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_art.h"
#include "platform/mv_dbo.h"
#include "platform/mv_ent.h"
#include "platform/mv_err.h"
#include "platform/mv_heap.h"
#include "platform/mv_obj.h"
#include "platform/mv_rel.h"
#include "rename/keld_rn.h"
#include "rename/keld_rnsettings.h"

namespace {

constexpr int iNoId = 919320;
constexpr int iNotModifiable = 919342;
constexpr int iNoMemory = 2002;
constexpr std::size_t uiLongestName = 128;

tag_t item_id_att_tag = NULLTAG;  // found once per process

bool IsEmpty(const char* szText) {
    return KELD_RenameText(szText)[0] == '\0';
}

// Refuse a rename without an id of one kind.
[[nodiscard]] int RefuseNoId(const char* szLine) {
    int iRet = QSK_ok;
    KELD_ERROR("%s", szLine);
    KELD_CALL(iRet, ERR_store_error(3, 919320));
    return iNoId;
}

}  // namespace

int CKELD_ReName::RenameItem(tag_t tagItem, const char* pcNewId, const char* pcNewName,
                             const char* pcNewDesc) {
    KELD_TRACE("CKELD_ReName::RenameItem newId=%s<-\n", pcNewId);
    if (IsEmpty(pcNewId)) {
        KELD_ERROR("CKELD_ReName::RenameIdOK no ItemId\n");
        return iNoId;
    }
    // Item and revisions, by the item id alone: 11 is the test pass, 15 the modifying one.
    KELD_QSK_CALL(
        RenameItemTreeCombined(tagItem, NULLTAG, pcNewId, NULL, pcNewName, pcNewDesc, 11));
    KELD_QSK_CALL(
        RenameItemTreeCombined(tagItem, NULLTAG, pcNewId, NULL, pcNewName, pcNewDesc, 15));
    KELD_TRACE("CKELD_ReName::RenameItem finish to %s\n", pcNewId);
    return QSK_ok;
}

int CKELD_ReName::RenameItemExtended(tag_t tagItem, tag_t tagRev, const char* pcNewItemId,
                                     const char* pcNewRevId, const char* pcNewName,
                                     const char* pcNewDesc, int iAction) {
    KELD_TRACE("CKELD_ReName::RenameItemExtended newItemId=%s newRevId=%s<-\n", pcNewItemId,
               pcNewRevId);
    if (IsEmpty(pcNewItemId))
        return RefuseNoId("CKELD_ReName::RenameIdOK no ItemId\n");
    if (IsEmpty(pcNewRevId))
        return RefuseNoId("CKELD_ReName::RenameIdOK no RevisionId\n");
    KELD_QSK_CALL(RenameItemTreeCombined(tagItem, tagRev, pcNewItemId, pcNewRevId, pcNewName,
                                         pcNewDesc, iAction));
    KELD_TRACE("CKELD_ReName::RenameItemExtended finish to %s\n", pcNewItemId);
    return QSK_ok;
}

int CKELD_ReName::RenameItemTreeCombined(tag_t tagItem, tag_t tagRev, const char* cNewItemId,
                                         const char* cNewRevId, const char* pcNewName,
                                         const char* pcNewDesc, int iAction) {
    const bool bTestOnly = (iAction & RENAME_MODIFY) == 0;
    const bool bIdOnly = (iAction & RENAME_ID_ONLY) != 0;
    int iRet = QSK_ok;
    char cOldItemId[129] = "";
    char cOldRevId[129] = "";
    char cOldName[129] = "";
    char cOldDesc[241] = "";
    char cItemType[129] = "";
    char cItemRevisionType[129] = "";
    int iRevCount = 0;
    tag_t* RevList = nullptr;
    int iRelationCount = 0;
    rel_entry_s* RelationInfoList = nullptr;
    int iBomCount = 0;
    tag_t* BOMList = nullptr;

    KELD_CALL(iRet, ART_ask_id(tagItem, cOldItemId));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, ENT_ask_name(tagItem, cOldName));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, ENT_ask_description(tagItem, cOldDesc));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, ENT_ask_object_type(tagItem, cItemType));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, ART_list_all_revs(tagItem, &iRevCount, &RevList));
    if (tagRev == NULLTAG && iRevCount > 0)
        tagRev = RevList[0];
    if (iRet == QSK_ok)
        KELD_CALL(iRet, ART_ask_rev_id(tagRev, cOldRevId));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, ENT_ask_object_type(tagRev, cItemRevisionType));

    logical lChangeRevisionName = false;
    logical lChangeRevisionDesc = false;
    char cExclItemRelations[KELD_RenameValueSize] = "";
    char cExclRevRelations[KELD_RenameValueSize] = "";
    char cRenameOnStatus[KELD_RenameValueSize] = "";
    ReadRenameSettings(cItemType, cItemRevisionType, &lChangeRevisionName, &lChangeRevisionDesc,
                       cExclItemRelations, cExclRevRelations, cRenameOnStatus);

    if ((iAction & RENAME_ITEM) != 0) {
        if (iRet == QSK_ok && bTestOnly) {
            if (!KELD_TestModifiableAndNotCheckout(tagItem)) {
                KELD_CALL(iRet, ERR_store_error(3, 919342));
                iRet = iNotModifiable;
            }
        } else if (iRet == QSK_ok) {
            KELD_CALL(iRet, ChangeItemInfos(tagItem, cOldItemId, cOldName, cOldDesc, cNewItemId,
                                            pcNewName, pcNewDesc));
            if (iRet == QSK_ok)
                KELD_CALL(iRet, SaveOldItemIdToAttribute(tagItem, cOldItemId, false));
        }

        if (iRet == QSK_ok)
            KELD_CALL(iRet, REL_list_secondary_objects(tagItem, NULLTAG, &iRelationCount,
                                                       &RelationInfoList));
        for (int jj = 0; jj < iRelationCount && iRet == QSK_ok; ++jj) {
            logical bChanged = false;
            KELD_CALL(iRet,
                      ProcessRelatedObj(RelationInfoList[jj], cExclItemRelations, cItemType,
                                        iAction, cOldItemId, cOldRevId, cOldName, cOldDesc,
                                        cNewItemId, cNewRevId, pcNewName, pcNewDesc, &bChanged));
        }

        // Kept: by the item id alone in any form; only the revisions' BOM views know a revision id.
        if (iRet == QSK_ok)
            KELD_CALL(iRet, ART_list_bom_views(tagItem, &iBomCount, &BOMList));
        for (int jj = 0; jj < iBomCount && iRet == QSK_ok; ++jj) {
            if (!bTestOnly) {
                KELD_CALL(iRet, RenameObj(BOMList[jj], cNewItemId, cOldItemId, NULL, NULL, NULL,
                                          NULL, NULL, NULL, NULL));
            } else if (!KELD_TestModifiableAndNotCheckout(BOMList[jj])) {
                KELD_CALL(iRet, ERR_store_error(3, 919342));
                iRet = iNotModifiable;
            }
        }

        // Kept: after the item's own change. Without a test pass before it, a refusal here finds
        // the item already changed.
        if (!bIdOnly && iRet == QSK_ok)
            KELD_CALL(iRet, CheckRevisionStatuses(iRevCount, RevList, cRenameOnStatus, &iAction));
    }

    // The check may have taken the item's bit away.
    if ((iAction & RENAME_ITEM) == 0) {
        HEAP_free(RevList);
        RevList = static_cast<tag_t*>(HEAP_alloc(sizeof(tag_t)));
        iRevCount = RevList != nullptr ? 1 : 0;
        if (RevList != nullptr)
            RevList[0] = tagRev;
        else if (iRet == QSK_ok)
            iRet = iNoMemory;
    }

    for (int ii = 0; (iAction & RENAME_REVISIONS) != 0 && ii < iRevCount && iRet == QSK_ok; ++ii) {
        char* pcObjectId = nullptr;
        KELD_CALL(iRet, ENT_ask_object_id_string(RevList[ii], &pcObjectId));
        KELD_TRACE("Revision[%d]:<%s>\n", ii, pcObjectId);
        HEAP_free(pcObjectId);
        if (iRet == QSK_ok)
            KELD_CALL(iRet,
                      ChangeRevInfos(tagRev, RevList[ii], cItemRevisionType, cExclRevRelations,
                                     cRenameOnStatus, cOldItemId, cOldRevId, cOldName, cOldDesc,
                                     cNewItemId, cNewRevId, pcNewName, pcNewDesc, iAction,
                                     lChangeRevisionName, lChangeRevisionDesc));
    }

    // Kept: a new revision id alone starts no workflow.
    if (iRet == QSK_ok && !bTestOnly && !KELD_RenameEqual(cNewItemId, cOldItemId)) {
        if (bIdOnly)
            KELD_CALL(iRet, StartWorkflow(tagItem, NULLTAG));
        else if ((iAction & RENAME_REVISIONS) != 0)
            KELD_CALL(iRet, StartWorkflow(tagItem, tagRev));
    }

    HEAP_free(BOMList);
    HEAP_free(RevList);
    HEAP_free(RelationInfoList);
    return iRet;
}

int CKELD_ReName::ChangeItemInfos(tag_t tagItem, const char* cOldItemId, const char* cOldName,
                                  const char* cOldDesc, const char* cNewItemId,
                                  const char* pcNewName, const char* pcNewDesc) {
    int iRet = QSK_ok;
    bool bChanged = false;
    if (item_id_att_tag == NULLTAG)
        KELD_CALL(iRet, DBO_attr_id_of_attr("item_id", "Item", &item_id_att_tag));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, OBJ_refresh(tagItem, DBO_modify_lock));

    if (cNewItemId != nullptr && !KELD_RenameEqual(cNewItemId, cOldItemId)) {
        const char* const cNewId = cNewItemId;
        if (iRet == QSK_ok)
            KELD_CALL(iRet, DBO_set_attr_string(1, &tagItem, item_id_att_tag, cNewId));
        bChanged = true;
    }

    char sEffectiveNewName[uiLongestName + 1] = "";
    KELD_RenameCut(sEffectiveNewName, IsEmpty(pcNewName) ? cNewItemId : pcNewName, uiLongestName);
    if (!KELD_RenameEqual(sEffectiveNewName, cOldName)) {
        if (iRet == QSK_ok)
            KELD_CALL(iRet, ENT_set_name(tagItem, sEffectiveNewName));
        bChanged = true;
    }

    if (pcNewDesc != nullptr && !KELD_RenameEqual(pcNewDesc, cOldDesc)) {
        const char* const cNewDesc = pcNewDesc;
        if (iRet == QSK_ok)
            KELD_CALL(iRet, ENT_set_description(tagItem, cNewDesc));
        bChanged = true;
    }

    if (bChanged && iRet == QSK_ok)
        KELD_CALL(iRet, OBJ_save(tagItem));
    (void)OBJ_refresh(tagItem, false);  // the status from before it counts
    return iRet;
}
