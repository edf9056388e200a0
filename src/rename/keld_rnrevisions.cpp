// The revisions of a rename: which of them may change, and the change of one with its related
// objects and BOM views.

#include "frame/keld_trace.h"
#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_art.h"
#include "platform/mv_ent.h"
#include "platform/mv_err.h"
#include "platform/mv_heap.h"
#include "platform/mv_obj.h"
#include "platform/mv_rel.h"
#include "rename/keld_rn.h"
#include "rename/keld_rnsettings.h"

namespace {

constexpr int iNotModifiable = 919342;
constexpr int iStatusNotAllowed = 919343;
constexpr std::size_t uiLongestName = 128;

// Refuse a revision that is read-only without a status, or checked out.
[[nodiscard]] int RefuseReadOnly() {
    int iRet = QSK_ok;
    KELD_ERROR("Revision readonly or checked out\n");
    KELD_CALL(iRet, ERR_store_error(3, 919342));
    return iNotModifiable;
}

// Refuse a revision for its status.
[[nodiscard]] int RefuseStatus(const char* cLatestReleaseStatus) {
    int iRet = QSK_ok;
    KELD_ERROR("Revision readonly, and has latest Status %s which is not allowed for rename\n",
               cLatestReleaseStatus);
    KELD_CALL(iRet, ERR_store_error(3, 919343));
    return iStatusNotAllowed;
}

// Whether a read-only revision with this status is left as it is, with everything on it.
bool IsPassedOver(const char* cRenameOnStatus, const char* cLatestReleaseStatus) {
    if (!KELD_RenameListed(cRenameOnStatus, cLatestReleaseStatus))
        return false;
    KELD_TRACE("Revision readonly, but is released with latest Status %s so continue with next\n",
               cLatestReleaseStatus);
    return true;
}

// New id, name and description of the revision itself. Kept: the status of its save goes to
// `pSaved` and is no failure here, so the relations are still listed, though not worked on.
// Leaves locked: the revision, if one of the three can't be set.
[[nodiscard]] int ChangeRevisionItself(tag_t tagRev, tag_t tagThisRev, const char* cOldRevId,
                                       const char* cNewItemId, const char* cNewRevId,
                                       const char* pcNewName, const char* pcNewDesc,
                                       logical lChangeRevisionName, logical lChangeRevisionDesc,
                                       int* pSaved) {
    bool bChanged = false;
    char cRevName[129] = "";
    char cRevDesc[241] = "";
    KELD_QSK_CALL(ENT_ask_name(tagThisRev, cRevName));
    KELD_QSK_CALL(ENT_ask_description(tagThisRev, cRevDesc));
    KELD_QSK_CALL(OBJ_refresh(tagThisRev, true));
    if (tagRev == tagThisRev && cNewRevId != nullptr && !KELD_RenameEqual(cNewRevId, cOldRevId)) {
        KELD_QSK_CALL(ART_set_rev_id(tagThisRev, cNewRevId));
        bChanged = true;
    }
    const bool bOwnName = KELD_RenameText(pcNewName)[0] != '\0';
    char cNewName[uiLongestName + 1] = "";
    KELD_RenameCut(cNewName, bOwnName ? pcNewName : cNewItemId, uiLongestName);
    // Kept: every revision takes the new name, not only the one that the rename is about.
    if (lChangeRevisionName && !KELD_RenameEqual(cNewName, cRevName)) {
        KELD_QSK_CALL(ENT_set_name(tagThisRev, cNewName));
        bChanged = true;
    }
    if (lChangeRevisionDesc && pcNewDesc != nullptr && !KELD_RenameEqual(pcNewDesc, cRevDesc)) {
        KELD_QSK_CALL(ENT_set_description(tagThisRev, pcNewDesc));
        bChanged = true;
    }
    if (bChanged)
        KELD_CALL(*pSaved, OBJ_save(tagThisRev));
    (void)OBJ_refresh(tagThisRev, false);  // the save's status counts
    return QSK_ok;
}

}  // namespace

int CKELD_ReName::ChangeRevInfos(tag_t tagRev, tag_t tagThisRev, const char* cItemRevisionType,
                                 const char* cExclRevRelations, const char* cRenameOnStatus,
                                 const char* cOldItemId, const char* cOldRevId,
                                 const char* cOldName, const char* cOldDesc, const char* cNewItemId,
                                 const char* cNewRevId, const char* pcNewName,
                                 const char* pcNewDesc, int iAction, logical lChangeRevisionName,
                                 logical lChangeRevisionDesc) {
    const bool bTestOnly = (iAction & RENAME_MODIFY) == 0;
    const bool bIdOnly = (iAction & RENAME_ID_ONLY) != 0;
    if (!KELD_TestModifiableAndNotCheckout(tagThisRev)) {
        char cLatestReleaseStatus[33] = "";
        KELD_QSK_CALL(KELD_ask_latest_status(tagThisRev, cLatestReleaseStatus));
        if (cLatestReleaseStatus[0] == '\0')
            return RefuseReadOnly();
        if (IsPassedOver(cRenameOnStatus, cLatestReleaseStatus))
            return QSK_ok;
        return RefuseStatus(cLatestReleaseStatus);
    }

    int iRet = QSK_ok;
    if (!bTestOnly) {
        const int iFailed =
            ChangeRevisionItself(tagRev, tagThisRev, cOldRevId, cNewItemId, cNewRevId, pcNewName,
                                 pcNewDesc, lChangeRevisionName, lChangeRevisionDesc, &iRet);
        if (iFailed != QSK_ok)
            return iFailed;
    }

    int iRelationCount = 0;
    rel_entry_s* RelationInfoList = nullptr;
    KELD_QSK_CALL(
        REL_list_secondary_objects(tagThisRev, NULLTAG, &iRelationCount, &RelationInfoList));
    for (int jj = 0; jj < iRelationCount && iRet == QSK_ok; ++jj) {
        logical bChanged = false;
        // Kept: the old name is the item's, not the revision's.
        KELD_CALL(iRet,
                  ProcessRelatedObj(RelationInfoList[jj], cExclRevRelations, cItemRevisionType,
                                    iAction, cOldItemId, cOldRevId, cOldName, cOldDesc, cNewItemId,
                                    cNewRevId, pcNewName, pcNewDesc, &bChanged));
    }
    HEAP_free(RelationInfoList);

    int iBomCount = 0;
    tag_t* BOMList = nullptr;
    if (iRet == QSK_ok)
        KELD_CALL(iRet, ART_rev_list_bom_view_revs(tagThisRev, &iBomCount, &BOMList));
    for (int jj = 0; jj < iBomCount && iRet == QSK_ok; ++jj) {
        if (bTestOnly) {
            if (!KELD_TestModifiableAndNotCheckout(BOMList[jj])) {
                KELD_CALL(iRet, ERR_store_error(3, 919342));
                iRet = iNotModifiable;
            }
        } else if (bIdOnly) {
            KELD_CALL(iRet, RenameObj(BOMList[jj], cNewItemId, cOldItemId, NULL, NULL, NULL, NULL,
                                      NULL, NULL, NULL));
        } else {
            KELD_QSK_CALL(RenameObjExtended(BOMList[jj], cNewItemId, cNewRevId, cOldItemId,
                                            cOldRevId, NULL, NULL, NULL, NULL, NULL, NULL, NULL));
        }
    }
    HEAP_free(BOMList);
    return iRet;
}

int CKELD_ReName::CheckRevisionStatuses(int iRevCount, const tag_t* RevList,
                                        const char* cRenameOnStatus, int* iAction) {
    for (int ii = 0; ii < iRevCount; ++ii) {
        char* pcObjectId = nullptr;
        KELD_QSK_CALL(ENT_ask_object_id_string(RevList[ii], &pcObjectId));
        KELD_TRACE("CKELD_ReName::CheckRevisionStatuses: Revision[%d]:<%s>\n", ii, pcObjectId);
        const logical lModify = KELD_TestModifiableAndNotCheckout(RevList[ii]);
        HEAP_free(pcObjectId);
        if (lModify)
            continue;

        char cLatestReleaseStatus[33] = "";
        KELD_QSK_CALL(KELD_ask_latest_status(RevList[ii], cLatestReleaseStatus));
        if (cLatestReleaseStatus[0] == '\0')
            return RefuseReadOnly();
        if (IsPassedOver(cRenameOnStatus, cLatestReleaseStatus))
            continue;
        if (iAction != nullptr && (*iAction & RENAME_REVISIONS) != 0) {
            char cLatestRelStatusLastRev[33] = "";
            KELD_QSK_CALL(KELD_ask_latest_status(RevList[iRevCount - 1], cLatestRelStatusLastRev));
            // Kept: the newest revision is still in work, so the rename goes on for one revision.
            if (cLatestRelStatusLastRev[0] == '\0') {
                *iAction &= ~RENAME_ITEM;
                return QSK_ok;
            }
        }
        return RefuseStatus(cLatestReleaseStatus);
    }
    return QSK_ok;
}
