#include "jobs/keld_jobtargets.h"

#include <cstring>

#include "frame/keld_trace.h"
#include "jobs/keld_fct_cjf_from_portal.h"
#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_art.h"
#include "platform/mv_ent.h"
#include "platform/mv_heap.h"
#include "platform/mv_rel.h"

namespace {

constexpr std::size_t uiNameSize = 129;
constexpr std::size_t uiPathSize = 256;
constexpr int iNoMemory = 2002;

// One target with its attachments.
struct Target {
    tag_t m_tRev = NULLTAG;
    tag_t m_tItem = NULLTAG;
    rel_entry_s* m_pAttachments = nullptr;
    int m_iAttachments = 0;
    bool m_bFound = false;  // a type has found something
};

void FreeAttachments(Target* pTarget) {
    if (pTarget->m_pAttachments != nullptr)
        HEAP_free(pTarget->m_pAttachments);
    pTarget->m_pAttachments = nullptr;
    pTarget->m_iAttachments = 0;
}

// Append the entries of one relation type to the target's list. Without memory the list stays as it
// was.
int AppendAttachments(Target* pTarget, const rel_entry_s* list, int count) {
    const auto uiOld = static_cast<std::size_t>(pTarget->m_iAttachments);
    const std::size_t uiNew = uiOld + static_cast<std::size_t>(count);
    void* pGrown = uiOld == 0 ? HEAP_alloc(uiNew * sizeof(rel_entry_s))
                              : HEAP_realloc(pTarget->m_pAttachments, uiNew * sizeof(rel_entry_s));
    if (pGrown == nullptr)
        return iNoMemory;
    pTarget->m_pAttachments = static_cast<rel_entry_s*>(pGrown);
    pTarget->m_iAttachments += count;
    std::memcpy(pTarget->m_pAttachments + uiOld, list,
                static_cast<std::size_t>(count) * sizeof(rel_entry_s));
    return QSK_ok;
}

// List the objects attached to the target by the wanted relation types, in their order.
void ListAttachments(KELD_JobRun* pRun, tag_t target, Target* pTarget) {
    for (int i = 0; i < pRun->m_iRelationTypes && pRun->m_iRet == QSK_ok; ++i) {
        const tag_t relation_type = pRun->m_ptRelationTypes[i];
        int count = 0;
        rel_entry_s* list = nullptr;
        KELD_CALL(pRun->m_iRet, REL_list_secondary_objects(target, relation_type, &count, &list));
        if (pRun->m_iRet == QSK_ok && count > 0 && list != nullptr)
            pRun->m_iRet = AppendAttachments(pTarget, list, count);
        if (list != nullptr)
            HEAP_free(list);
    }
}

// Item id and revision id for the header.
void AskIds(KELD_JobRun* pRun, tag_t rev, tag_t* ptItem) {
    tag_t item = NULLTAG;
    char* const szItemId = pRun->m_fields.m_szItemId;
    char* const szRevId = pRun->m_fields.m_szRevId;
    szItemId[0] = '\0';
    szRevId[0] = '\0';
    if (pRun->m_iRet == QSK_ok)
        KELD_CALL(pRun->m_iRet, ART_ask_item_of_rev(rev, &item));
    if (pRun->m_iRet == QSK_ok)
        KELD_CALL(pRun->m_iRet, ART_ask_id(item, szItemId));
    if (pRun->m_iRet == QSK_ok)
        KELD_CALL(pRun->m_iRet, ART_ask_rev_id(rev, szRevId));
    *ptItem = item;
}

// Name the next file. Without a name none can be opened, so a failure ends the job there.
int NextFileName(KELD_JobRun* pRun, const Target& target, char (&szFileName)[uiPathSize]) {
    szFileName[0] = '\0';
    const int iRet = KELD_buildFileNameNew(target.m_tRev, pRun->m_sFilePath.c_str(), szFileName,
                                           "job", pRun->m_bFileOnlyPid, pRun->m_iFileCounter);
    ++pRun->m_iFileCounter;
    return iRet;
}

// Keep the first failure: a later status doesn't overwrite it.
void KeepFirst(int* piRet, int iRet) {
    if (*piRet == QSK_ok)
        *piRet = iRet;
}

// False: the file can't be opened, and the writer leaves at once. Kept: the attachments then stay
// allocated.
bool OpenFile(KELD_JobRun* pRun, const char* szFileName, FILE** ppFile) {
    const int iRet = KELD_OpenJobFile(szFileName, ppFile);
    if (iRet != QSK_ok)
        pRun->m_iRet = iRet;
    return iRet == QSK_ok;
}

// The job of the target's item. False: leave at once.
bool WriteItemJob(KELD_JobRun* pRun, Target* pTarget) {
    KELD_TRACE("type of attachment is Item, so do something!\n");
    pTarget->m_bFound = true;
    char szFileName[uiPathSize];
    FILE* pFile = nullptr;
    (void)NextFileName(pRun, *pTarget, szFileName);  // without a name the opening fails
    if (!OpenFile(pRun, szFileName, &pFile))
        return false;
    const tag_t item = pTarget->m_tItem;
    char szItemType[uiNameSize] = "";
    char szItemName[uiNameSize] = "";
    int iIgnored = QSK_ok;
    KELD_CALL(iIgnored, ENT_ask_object_type(item, szItemType));
    KELD_CALL(pRun->m_iRet, ART_ask_name(item, szItemName));
    KELD_WriteJobHeader(pFile, szItemType, pRun->m_fields);
    (void)KELD_write_bom_infos(pFile, pTarget->m_tRev);  // always 0
    KELD_WriteJobObject(pFile, szItemName, "");
    KELD_TRACE("close file\n");
    KeepFirst(&pRun->m_iRet, KELD_CloseJobFile(pFile, szFileName));
    return true;
}

// One type of the list, while it is tried on one target.
struct TypeOfTarget {
    const char* m_szType = "";
    char m_szFileName[uiPathSize] = "";
    FILE* m_pFile = nullptr;        // the one file of file_flag "true"
    bool m_bHeaderWritten = false;  // in that file
};

// Write an attachment that fits the type. False: leave at once.
bool WriteAttachment(KELD_JobRun* pRun, Target* pTarget, TypeOfTarget* pType,
                     const rel_entry_s& entry) {
    KELD_TRACE("type of attachment fits, so do something\n");
    pTarget->m_bFound = true;
    const tag_t secondary = entry.secondary;
    char szObjectName[uiNameSize] = "";
    char szRelation[uiNameSize] = "";
    int iIgnored = QSK_ok;
    KELD_CALL(iIgnored, ENT_ask_name(secondary, szObjectName));
    KELD_CALL(pRun->m_iRet, KELD_MVTYPE_ask_name(entry.relation_type, szRelation));
    KELD_TRACE("object_name=%s\n", szObjectName);
    KELD_TRACE("relation_type=%s\n", szRelation);
    if (pRun->m_sFileFlag == "true") {
        KELD_TRACE("file flag true, so append\n");
        if (!pType->m_bHeaderWritten) {
            KELD_WriteJobHeader(pType->m_pFile, pType->m_szType, pRun->m_fields);
            (void)KELD_write_bom_infos(pType->m_pFile, pTarget->m_tRev);  // always 0
            pType->m_bHeaderWritten = true;
        }
        KELD_WriteJobObject(pType->m_pFile, szObjectName, szRelation);
    } else if (pRun->m_sFileFlag == "false") {
        KELD_TRACE("file flag false, so create new jobfile\n");
        FILE* pFile = nullptr;
        KeepFirst(&pRun->m_iRet, NextFileName(pRun, *pTarget, pType->m_szFileName));
        if (!OpenFile(pRun, pType->m_szFileName, &pFile))
            return false;
        KELD_WriteJobHeader(pFile, pType->m_szType, pRun->m_fields);
        (void)KELD_write_bom_infos(pFile, pTarget->m_tRev);  // always 0
        KELD_WriteJobObject(pFile, szObjectName, szRelation);
        KELD_TRACE("close file\n");
        KeepFirst(&pRun->m_iRet, KELD_CloseJobFile(pFile, pType->m_szFileName));
    }
    // Kept: with any other file_flag nothing is written, yet the type counts as found.
    return true;
}

// Leave at once because of this status. Kept: the type's file stays open.
bool Leave(KELD_JobRun* pRun, Target* pTarget, int iRet) {
    pRun->m_iRet = iRet;
    FreeAttachments(pTarget);
    return false;
}

// One entry of the list of attachments. False: leave at once.
bool TryAttachment(KELD_JobRun* pRun, Target* pTarget, TypeOfTarget* pType, int iAttachment) {
    KELD_TRACE("Loop Attachments to search for types to create jobfiles: %d\n", iAttachment);
    const rel_entry_s entry = pTarget->m_pAttachments[iAttachment];
    const tag_t secondary = entry.secondary;
    if (pRun->m_bOnlyTargets) {
        KELD_TRACE("Check if Attachment is a target to the workflow: %d\n", iAttachment);
        logical bIsTarget = false;
        if (const int iRet = KELD_searchElementInArray(secondary, pRun->m_ptTargets,
                                                       pRun->m_iTargets, &bIsTarget);
            iRet != QSK_ok)
            return Leave(pRun, pTarget, iRet);
        KELD_TRACE("Answer: %d\n", bIsTarget ? 1 : 0);
        if (!bIsTarget) {
            KELD_TRACE("Attachment no. %d is no target, so continue with next attachment.\n",
                       iAttachment);
            return true;
        }
    }
    KELD_TRACE("Check Attachment Type: %d\n", iAttachment);
    logical bIsDataset = false;
    if (const int iRet = KELD_isObjectOfClass(secondary, "Dataset", &bIsDataset); iRet != QSK_ok)
        return Leave(pRun, pTarget, iRet);
    KELD_TRACE("Answer: %d\n", bIsDataset ? 1 : 0);
    if (!bIsDataset) {
        KELD_TRACE("This attachment not a dataset\n");
        return true;
    }
    KELD_TRACE("This attachment is a dataset\n");
    char szObjectType[uiNameSize] = "";
    KELD_CALL(pRun->m_iRet, ENT_ask_object_type(secondary, szObjectType));
    KELD_TRACE("type of attachment:<%s> argument to compare with:<%s>\n", szObjectType,
               pType->m_szType);
    // Kept: only exactly this type, a subtype doesn't fit.
    if (pRun->m_iRet != QSK_ok || std::strcmp(szObjectType, pType->m_szType) != 0)
        return true;
    return WriteAttachment(pRun, pTarget, pType, entry);
}

// One type of the list for one target. False: leave at once.
bool WriteType(KELD_JobRun* pRun, Target* pTarget, int iType) {
    TypeOfTarget type;
    type.m_szType = pRun->m_pszTypes[iType];
    KELD_TRACE("Check Attachments for Type[%d] - Attachment No.: %s\n", iType, type.m_szType);
    const bool bOneFile = pRun->m_sFileFlag == "true";
    if (bOneFile) {
        KELD_TRACE("szFilePath <%s>  szFileName <%s> extension <%s>\n", pRun->m_sFilePath.c_str(),
                   type.m_szFileName, "job");
        pRun->m_iRet = NextFileName(pRun, *pTarget, type.m_szFileName);
        KELD_TRACE("fileName:<%s>\n", type.m_szFileName);
        // Kept: before anything is known to match, so a type without a match leaves an empty file.
        if (!OpenFile(pRun, type.m_szFileName, &type.m_pFile))
            return false;
    }
    // Kept: with file_flag "true" the file opened above stays empty and is never closed.
    if (std::strcmp(type.m_szType, "Item") == 0)
        return WriteItemJob(pRun, pTarget);
    for (int i = 0; i < pTarget->m_iAttachments && pRun->m_iRet == QSK_ok; ++i)
        if (!TryAttachment(pRun, pTarget, &type, i))
            return false;
    if (bOneFile) {
        KELD_TRACE("close file\n");
        KeepFirst(&pRun->m_iRet, KELD_CloseJobFile(type.m_pFile, type.m_szFileName));
    }
    return true;
}

}  // namespace

bool KELD_WriteJobTarget(KELD_JobRun* pRun, int iTarget) {
    const tag_t tag = pRun->m_ptTargets[iTarget];
    logical bIsRevision = false;
    pRun->m_iRet = KELD_isObjectOfClass(tag, "ItemRevision", &bIsRevision);
    if (pRun->m_iRet != QSK_ok)
        return false;
    if (!bIsRevision)
        return true;
    Target target;
    target.m_tRev = tag;
    ListAttachments(pRun, tag, &target);
    AskIds(pRun, tag, &target.m_tItem);
    KELD_TRACE("Attachment Count for Target %d = %d\n", iTarget, target.m_iAttachments);
    for (int i = 0; i < pRun->m_iTypes; ++i) {
        if ((target.m_bFound && !pRun->m_bAllTypes) || pRun->m_iRet != QSK_ok)
            break;
        if (!WriteType(pRun, &target, i))
            return false;
    }
    FreeAttachments(&target);
    return true;
}
