// The copy itself: the values of one pair of objects, then the pairs below it. CopyAttributes calls
// itself through the functions of each way, so none of them keeps a large field on the stack.

#include <cstring>

#include "copy/keld_cpattr.h"
#include "frame/keld_trace.h"
#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_art.h"
#include "platform/mv_dst.h"
#include "platform/mv_ent.h"
#include "platform/mv_heap.h"
#include "platform/mv_obj.h"
#include "platform/mv_rel.h"

namespace {

constexpr std::size_t uiNameSize = 129;

// Whether an entry's type is exactly the object's; a type that couldn't be read matches no entry.
bool IsType(const char* szEntryType, const char* szType) {
    return szEntryType != nullptr && szType[0] != '\0' && std::strcmp(szEntryType, szType) == 0;
}

bool IsWorkspaceObject(tag_t tObject) {
    logical lIs = false;
    return KELD_isObjectOfClass(tObject, "WorkspaceObject", &lIs) == QSK_ok && lIs;
}

// Read both objects anew and the source's type.
// Returns: whether the destination takes values; true also if the question fails, with the status
// in *piRet.
bool TakesValues(tag_t tSource, tag_t tDest, char* sObjectType, int* piRet) {
    int& iRet = *piRet;
    tag_t tOwningSite = NULLTAG;
    KELD_CALL(iRet, OBJ_refresh(tSource, false));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, OBJ_refresh(tDest, false));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, ENT_ask_object_type(tSource, sObjectType));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, OBJ_get_value_tag(tDest, "owning_site", &tOwningSite));
    if (tOwningSite != NULLTAG)
        return false;
    logical lIsModifiable = true;
    if (iRet == QSK_ok)
        KELD_CALL(iRet, OBJ_ask_value_logical(tDest, "is_modifiable", &lIsModifiable));
    return iRet != QSK_ok || lIsModifiable;
}

// Copy one property. Returns: the status; *pbChanged becomes true once the destination was set.
int CopyValue(tag_t tSource, tag_t tDest, const object_attributes_s& entry, bool* pbChanged) {
    const char* const attribute_name = entry.attribute_name != nullptr ? entry.attribute_name : "";
    int iRet = QSK_ok;
    char* spValue = nullptr;
    KELD_CALL(iRet, OBJ_UIF_ask_value(tSource, attribute_name, &spValue));
    if (iRet == QSK_ok && (entry.copy_empty || (spValue != nullptr && spValue[0] != '\0'))) {
        KELD_CALL(iRet, OBJ_UIF_set_value(tDest, attribute_name, spValue));
        *pbChanged = true;
    }
    HEAP_free(spValue);
    return iRet;
}

// Copy the properties that are configured for the source's type. Leaves locked: the destination,
// after a failure.
int CopyValues(tag_t tSource, tag_t tDest, const char* sObjectType, const copyList& objects) {
    int iRet = QSK_ok;
    bool bChanged = false;
    KELD_CALL(iRet, OBJ_refresh(tDest, true));
    for (int i = 0; iRet == QSK_ok && i < objects.count; ++i)
        if (IsType(objects.object_attributes[i].object_type, sObjectType))
            iRet = CopyValue(tSource, tDest, objects.object_attributes[i], &bChanged);
    if (iRet == QSK_ok && bChanged)
        KELD_CALL(iRet, OBJ_save(tDest));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, OBJ_refresh(tDest, false));
    return iRet;
}

// ---- attachments ----

// Find the source attachment for the destination's attachment x, NULLTAG if there is none or x is
// of another type than the relation line names.
int MatchAttachment(const tag_t* tpDestAtt, int x, const char* szSecondary,
                    const tag_t* tpSourceAtt, int iSourceAttCount, tag_t* ptSourceRef) {
    *ptSourceRef = NULLTAG;
    if (!IsWorkspaceObject(tpDestAtt[x]))
        return QSK_ok;
    int iRet = QSK_ok;
    char sDestRefType[uiNameSize] = "";
    KELD_CALL(iRet, ENT_ask_object_type(tpDestAtt[x], sDestRefType));
    if (iRet != QSK_ok || !IsType(szSecondary, sDestRefType))
        return iRet;
    tag_t tSourceRef = NULLTAG;
    char sDestRefName[uiNameSize] = "";
    KELD_CALL(iRet, ENT_ask_name(tpDestAtt[x], sDestRefName));
    for (int k = 0; iRet == QSK_ok && k < iSourceAttCount; ++k) {
        if (!IsWorkspaceObject(tpSourceAtt[k]))
            continue;
        char sSourceRefType[uiNameSize] = "";
        KELD_CALL(iRet, ENT_ask_object_type(tpSourceAtt[k], sSourceRefType));
        if (iRet != QSK_ok || std::strcmp(sSourceRefType, sDestRefType) != 0)
            continue;
        if (tSourceRef == NULLTAG)
            tSourceRef = tpSourceAtt[k];
        // Kept: the name is that of the source attachment at the destination's place, not that of
        // the one under test; so the first of the type is taken in any case. Without one at that
        // place there is no name to compare.
        if (x >= iSourceAttCount)
            continue;
        char sSourceRefName[uiNameSize] = "";
        KELD_CALL(iRet, ENT_ask_name(tpSourceAtt[x], sSourceRefName));
        if (iRet == QSK_ok && std::strcmp(sSourceRefName, sDestRefName) == 0) {
            tSourceRef = tpSourceAtt[k];
            break;
        }
    }
    *ptSourceRef = tSourceRef;
    return iRet;
}

// Copy the pairs that a relation leads to.
int CopyAttachments(tag_t tSource, tag_t tDest, const relation_combination_s& entry,
                    const copyList& objects, const relList& relations) {
    const tag_t relation_type_tag = entry.relation_type_tag;
    int iRet = QSK_ok;
    int iDestAttCount = 0;
    tag_t* tpDestAtt = nullptr;
    int iSourceAttCount = 0;
    tag_t* tpSourceAtt = nullptr;
    KELD_CALL(iRet, REL_list_secondary_objects_only(tDest, relation_type_tag, &iDestAttCount,
                                                    &tpDestAtt));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, REL_list_secondary_objects_only(tSource, relation_type_tag,
                                                        &iSourceAttCount, &tpSourceAtt));
    for (int x = 0; iRet == QSK_ok && x < iDestAttCount; ++x) {
        tag_t tSourceRef = NULLTAG;
        iRet = MatchAttachment(tpDestAtt, x, entry.secondary, tpSourceAtt, iSourceAttCount,
                               &tSourceRef);
        if (iRet == QSK_ok && tSourceRef != NULLTAG)
            iRet = CopyAttributes(tSourceRef, tpDestAtt[x], objects, relations);
    }
    HEAP_free(tpDestAtt);
    HEAP_free(tpSourceAtt);
    return iRet;
}

// ---- revisions ----

// Find the source's revision of the same id. Kept: without one it is the latest.
int MatchRevision(tag_t tSource, const tag_t* tpDestRevList, int x, tag_t* ptSourceRev) {
    int iRet = QSK_ok;
    tag_t tSourceRev = NULLTAG;
    char sDestRevId[uiNameSize] = "";
    KELD_CALL(iRet, ART_ask_rev_id(tpDestRevList[x], sDestRevId));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, ART_find_revision(tSource, sDestRevId, &tSourceRev));
    if (iRet == QSK_ok && tSourceRev == NULLTAG)
        KELD_CALL(iRet, ART_ask_latest_rev(tSource, &tSourceRev));
    *ptSourceRev = tSourceRev;
    return iRet;
}

// Copy the pairs of an item's revisions.
int CopyRevisions(tag_t tSource, tag_t tDest, const copyList& objects, const relList& relations) {
    int iRet = QSK_ok;
    int iDestRevCount = 0;
    tag_t* tpDestRevList = nullptr;
    KELD_CALL(iRet, ART_list_all_revs(tDest, &iDestRevCount, &tpDestRevList));
    for (int x = 0; iRet == QSK_ok && x < iDestRevCount; ++x) {
        tag_t tSourceRev = NULLTAG;
        iRet = MatchRevision(tSource, tpDestRevList, x, &tSourceRev);
        if (iRet == QSK_ok && tSourceRev != NULLTAG)
            iRet = CopyAttributes(tSourceRev, tpDestRevList[x], objects, relations);
    }
    HEAP_free(tpDestRevList);
    return iRet;
}

// ---- named references ----

// Find the source's reference for the destination's reference x: the one of its type and name,
// else the first of its type.
int MatchNamedRef(const tag_t* tpDestNamedRefs, int x, const char* szSecondary,
                  const tag_t* tpSourceNamedRefs, int iSourceNamedRefsCount, tag_t* ptSourceRef) {
    *ptSourceRef = NULLTAG;
    if (!IsWorkspaceObject(tpDestNamedRefs[x]))
        return QSK_ok;
    int iRet = QSK_ok;
    char sDestRefType[uiNameSize] = "";
    KELD_CALL(iRet, ENT_ask_object_type(tpDestNamedRefs[x], sDestRefType));
    if (iRet != QSK_ok || !IsType(szSecondary, sDestRefType))
        return iRet;
    tag_t tSourceRef = NULLTAG;
    char sDestRefName[uiNameSize] = "";
    KELD_CALL(iRet, ENT_ask_name(tpDestNamedRefs[x], sDestRefName));
    for (int k = 0; iRet == QSK_ok && k < iSourceNamedRefsCount; ++k) {
        if (!IsWorkspaceObject(tpSourceNamedRefs[k]))
            continue;
        char sSourceRefType[uiNameSize] = "";
        KELD_CALL(iRet, ENT_ask_object_type(tpSourceNamedRefs[k], sSourceRefType));
        if (iRet != QSK_ok || std::strcmp(sSourceRefType, sDestRefType) != 0)
            continue;
        if (tSourceRef == NULLTAG)
            tSourceRef = tpSourceNamedRefs[k];
        char sSourceRefName[uiNameSize] = "";
        KELD_CALL(iRet, ENT_ask_name(tpSourceNamedRefs[k], sSourceRefName));
        if (iRet == QSK_ok && std::strcmp(sSourceRefName, sDestRefName) == 0) {
            tSourceRef = tpSourceNamedRefs[k];
            break;
        }
    }
    *ptSourceRef = tSourceRef;
    return iRet;
}

// Copy the pairs under a named reference.
int CopyNamedRefs(tag_t tSource, tag_t tDest, const relation_combination_s& entry,
                  const copyList& objects, const relList& relations) {
    const char* const relation_type = entry.relation_type != nullptr ? entry.relation_type : "";
    int iRet = QSK_ok;
    int iDestNamedRefsCount = 0;
    tag_t* tpDestNamedRefs = nullptr;
    int iSourceNamedRefsCount = 0;
    tag_t* tpSourceNamedRefs = nullptr;
    KELD_CALL(iRet, DST_ask_all_dataset_named_refs(tDest, relation_type, &iDestNamedRefsCount,
                                                   &tpDestNamedRefs));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, DST_ask_all_dataset_named_refs(tSource, relation_type,
                                                       &iSourceNamedRefsCount, &tpSourceNamedRefs));
    for (int x = 0; iRet == QSK_ok && x < iDestNamedRefsCount; ++x) {
        tag_t tSourceRef = NULLTAG;
        iRet = MatchNamedRef(tpDestNamedRefs, x, entry.secondary, tpSourceNamedRefs,
                             iSourceNamedRefsCount, &tSourceRef);
        if (iRet == QSK_ok && tSourceRef != NULLTAG)
            iRet = CopyAttributes(tSourceRef, tpDestNamedRefs[x], objects, relations);
    }
    HEAP_free(tpDestNamedRefs);
    HEAP_free(tpSourceNamedRefs);
    return iRet;
}

// ---- ways ----

// Follow a line without a relation type; the destination's class says what the line means.
int CopyWithoutRelation(tag_t tSource, tag_t tDest, const relation_combination_s& entry,
                        const copyList& objects, const relList& relations) {
    int iRet = QSK_ok;
    logical lIsItem = false;
    logical lIsDataset = false;
    KELD_CALL(iRet, KELD_isObjectOfClass(tDest, "Item", &lIsItem));
    if (iRet == QSK_ok && !lIsItem)
        KELD_CALL(iRet, KELD_isObjectOfClass(tDest, "Dataset", &lIsDataset));
    if (iRet != QSK_ok)
        return iRet;
    if (lIsDataset)
        return CopyNamedRefs(tSource, tDest, entry, objects, relations);
    if (lIsItem && entry.relation_type != nullptr &&
        std::strcmp(entry.relation_type, "revision_list") == 0)
        return CopyRevisions(tSource, tDest, objects, relations);
    return QSK_ok;
}

// Kept: below a destination that takes no values the walk goes on.
int CopyPair(tag_t tSource, tag_t tDest, const copyList& objects, const relList& relations) {
    int iRet = QSK_ok;
    char sObjectType[uiNameSize] = "";
    // Kept: after a failed question the values are tried all the same, and the lock's status takes
    // the place of the failure's.
    if (TakesValues(tSource, tDest, sObjectType, &iRet))
        iRet = CopyValues(tSource, tDest, sObjectType, objects);
    for (int i = 0; iRet == QSK_ok && i < relations.count; ++i) {
        const relation_combination_s& entry = relations.relation_combination[i];
        if (!IsType(entry.primary, sObjectType))
            continue;
        iRet = entry.relation_type_tag != NULLTAG
                   ? CopyAttachments(tSource, tDest, entry, objects, relations)
                   : CopyWithoutRelation(tSource, tDest, entry, objects, relations);
    }
    return iRet;
}

}  // namespace

// Copy a pair of objects and the pairs below it.
int CopyAttributes(tag_t tSource, tag_t tDest, copyList objects, relList relations) {
    KELD_FUNC_ENTER("CopyAttributes");
    int iRet = QSK_ok;
    if (tSource == tDest)
        KELD_TRACE(
            "The source and destination objects are the same, so skip this objects and all "
            "references.\n");
    else
        iRet = CopyPair(tSource, tDest, objects, relations);
    KELD_FUNC_LEAVE("CopyAttributes");
    return iRet;
}
