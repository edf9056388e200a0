// The related objects of an item or a revision: whether one takes part, and what is renamed with
// it.

#include <cstring>

#include "frame/keld_trace.h"
#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_clf.h"
#include "platform/mv_dbo.h"
#include "platform/mv_dst.h"
#include "platform/mv_ent.h"
#include "platform/mv_err.h"
#include "platform/mv_heap.h"
#include "platform/mv_obj.h"
#include "rename/keld_rn.h"
#include "rename/keld_rnsettings.h"

namespace {

constexpr int iNotModifiable = 919342;
constexpr int iNoOlderVersion = 9112;

tag_t tIcoIdAttrId = NULLTAG;  // found once per process

// The traced calls below show the bare name.
constexpr auto* RenameNamedRef = &CKELD_ReName::RenameNamedRef;

// Give the older versions of a dataset its name, and let their named references follow. A version
// that can't be changed is passed over, and the chain goes on past it.
[[nodiscard]] int RenameOlderVersions(tag_t secondary, const char* szOrigObjName,
                                      char* szDatasetName, int iStatus) {
    int iRet = iStatus;
    tag_t tCurrentDatasetRev = secondary;
    for (;;) {
        tag_t tPreviousDatasetRev = NULLTAG;
        int prot_mark = 0;
        if (iRet == QSK_ok)
            KELD_CALL(iRet, ERR_set_protect_mark(&prot_mark));
        if (iRet == QSK_ok)
            KELD_CALL(iRet, DST_ask_dataset_prev_rev(tCurrentDatasetRev, &tPreviousDatasetRev));
        KELD_TRACE("tCurrentDatasetRev=%d\n", static_cast<int>(tCurrentDatasetRev));
        KELD_TRACE("tPreviousDatasetRev=%d\n", static_cast<int>(tPreviousDatasetRev));
        if (iRet == iNoOlderVersion || tPreviousDatasetRev == tCurrentDatasetRev) {
            tPreviousDatasetRev = NULLTAG;
            // Kept: this takes the errors from before the mark away too.
            KELD_QSK_CALL(ERR_clear_errors());
            iRet = QSK_ok;
        }
        if (prot_mark > 0) {
            int iCleared = QSK_ok;
            KELD_CALL(iCleared, ERR_clear_protect_mark(prot_mark));
        }
        if (tPreviousDatasetRev == NULLTAG)
            return iRet;
        if (KELD_TestModifiableAndNotCheckout(tPreviousDatasetRev)) {
            KELD_TRACE("ReName PreviousDatasetRev=%s\n", szDatasetName);
            KELD_QSK_CALL(OBJ_refresh(tPreviousDatasetRev, true));
            KELD_QSK_CALL(ENT_set_name(tPreviousDatasetRev, szDatasetName));
            KELD_QSK_CALL(DST_save_myself(tPreviousDatasetRev));
            KELD_QSK_CALL(OBJ_refresh(tPreviousDatasetRev, false));
            KELD_QSK_CALL(RenameNamedRef(tPreviousDatasetRev, szOrigObjName, szDatasetName));
        }
        tCurrentDatasetRev = tPreviousDatasetRev;
    }
}

// Rename the named references and the older versions of a renamed dataset.
[[nodiscard]] int RenameDatasetParts(tag_t secondary, const char* szOrigObjName) {
    int iRet = QSK_ok;
    logical lIsDataset = false;
    KELD_CALL(iRet, KELD_isObjectOfClass(secondary, "Dataset", &lIsDataset));
    if (!lIsDataset)
        return iRet;
    char* szDatasetName = nullptr;
    KELD_CALL(iRet, ENT_ask_id_string(secondary, &szDatasetName));
    if (iRet == QSK_ok && szDatasetName != nullptr)
        KELD_CALL(iRet, RenameNamedRef(secondary, szOrigObjName, szDatasetName));
    iRet = RenameOlderVersions(secondary, szOrigObjName, szDatasetName, iRet);
    HEAP_free(szDatasetName);
    return iRet;
}

}  // namespace

int CKELD_ReName::ProcessRelatedObj(rel_entry_s RelationInfo, const char* cExclRelations,
                                    const char* cPrimaryType, int iAction, const char* cOldItemId,
                                    const char* cOldRevId, const char* cOldName,
                                    const char* cOldDesc, const char* cNewItemId,
                                    const char* cNewRevId, const char* pcNewName,
                                    const char* pcNewDesc, logical* p_bChanged) {
    const bool bTestOnly = (iAction & RENAME_MODIFY) == 0;
    const bool bIdOnly = (iAction & RENAME_ID_ONLY) != 0;
    const tag_t secondary = RelationInfo.secondary;
    int iRet = QSK_ok;
    logical lIsWSO = true;
    logical lIsICO = true;

    char cRelTypeName[129] = "";
    KELD_CALL(iRet, KELD_MVTYPE_ask_name(RelationInfo.relation_type, cRelTypeName));
    if (KELD_RenameListed(cExclRelations, cRelTypeName)) {
        KELD_TRACE("Rename Skip Relation:%s\n", cRelTypeName);
        return iRet;
    }
    if (iRet == QSK_ok)
        KELD_CALL(iRet, KELD_isObjectOfClass(RelationInfo.secondary, "WorkspaceObject", &lIsWSO));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, KELD_isObjectOfClass(RelationInfo.secondary, "icm0", &lIsICO));
    if (!lIsWSO && !lIsICO) {
        KELD_TRACE("Rename Skip non WorkspaceObjects/ICOs in Relation:%s\n", cRelTypeName);
        return iRet;
    }
    const logical lModify = lIsICO || KELD_TestModifiableAndNotCheckout(secondary);
    const logical lIgnore = lIsICO || IgnoreNoWriteAccess(cPrimaryType, cRelTypeName, secondary);
    KELD_TRACE("bTestOnly = %d, modify=%d, ignore=%d\n", bTestOnly, lModify, lIgnore);
    if (bTestOnly) {
        // Kept: older versions and named references of a dataset aren't tested.
        if (lModify || lIgnore)
            return iRet;
        KELD_CALL(iRet, ERR_store_error(3, 919342));
        return iNotModifiable;
    }

    char* szOrigObjName = nullptr;
    char cObjType[129] = "";
    if (lIsICO) {
        KELD_TRACE("RenameAttachment: icm0 (ICO)\n");
    } else {
        if (iRet == QSK_ok)
            KELD_CALL(iRet, ENT_ask_id_string(secondary, &szOrigObjName));
        if (iRet == QSK_ok)
            KELD_CALL(iRet, ENT_ask_object_type(secondary, cObjType));
        KELD_TRACE("RenameAttachment:%s\n", cObjType);
    }

    if (iRet == QSK_ok && lIsICO)
        iRet = ChangeIcoId(secondary, cOldItemId, cOldRevId, cNewItemId, cNewRevId, iAction);
    else if (iRet == QSK_ok && (lModify || lIgnore))  // kept: lIgnore waives the test, not the lock
        iRet = !bIdOnly && cNewRevId != nullptr
                   ? RenameObjExtended(secondary, cNewItemId, cNewRevId, cOldItemId, cOldRevId,
                                       p_bChanged, cOldName, cOldDesc, pcNewName, pcNewDesc,
                                       cPrimaryType, cRelTypeName)
                   : RenameObj(secondary, cNewItemId, cOldItemId, p_bChanged, cOldName, cOldDesc,
                               pcNewName, pcNewDesc, cPrimaryType, cRelTypeName);
    if (p_bChanged != nullptr && *p_bChanged && iRet == QSK_ok)
        iRet = RenameDatasetParts(secondary, szOrigObjName);
    HEAP_free(szOrigObjName);
    return iRet;
}

int CKELD_ReName::ChangeIcoId(tag_t tIco, const char* cOldItemId, const char* cOldRevId,
                              const char* cNewItemId, const char* cNewRevId, int iAction) {
    const bool bIdOnly = (iAction & RENAME_ID_ONLY) != 0;
    int iRet = QSK_ok;
    char* szOldIcoId = nullptr;
    if (tIcoIdAttrId == NULLTAG)
        KELD_CALL(iRet, DBO_attr_id_of_attr("id", "icm0", &tIcoIdAttrId));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, CLF_ask_classification_object_id(tIco, &szOldIcoId));
    if (szOldIcoId == nullptr)
        return iRet;

    char sNewIcoId[KELD_RenameValueSize] = "";
    const logical bHit = !bIdOnly && cNewRevId != nullptr
                             ? ChangeStringExtended(szOldIcoId, cOldItemId, cOldRevId, cNewItemId,
                                                    cNewRevId, sNewIcoId)
                             : ChangeString(szOldIcoId, cOldItemId, cNewItemId, sNewIcoId);
    if (bHit && tIcoIdAttrId != NULLTAG) {
        if (iRet == QSK_ok)
            KELD_CALL(iRet, DBO_refresh_instances_any_class(1, &tIco, DBO_modify_lock));
        if (iRet == QSK_ok)
            KELD_CALL(iRet, DBO_set_attr_string(1, &tIco, tIcoIdAttrId, sNewIcoId));
        if (iRet == QSK_ok)
            KELD_CALL(iRet, DBO_save_instances(1, &tIco, false));
        (void)DBO_refresh_instances_any_class(1, &tIco, DBO_no_lock);  // the status before counts
    }
    HEAP_free(szOldIcoId);
    return iRet;
}
