// The two lists of the attribute copy: an entry is made first and checked against the platform's
// types then.

#include <cstddef>
#include <cstring>
#include <string>

#include "copy/keld_cpattr.h"
#include "frame/keld_trace.h"
#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_err.h"
#include "platform/mv_heap.h"
#include "platform/mv_mvtype.h"
#include "platform/mv_rel.h"

namespace {

constexpr int iNoCopy = 2002;
constexpr int iBadLine = 2010;
constexpr int iUnknownRelation = 35004;

// Kept for the process once found.
tag_t tItemType = NULLTAG;
tag_t tDatasetType = NULLTAG;

const char* TextOf(const char* szText) {
    return szText != nullptr ? szText : "";
}

// Make room for one more entry, zeroed. Returns: null if there is no memory; the list then stays as
// it was.
template <typename Entry>
Entry* AppendEntry(Entry** ppEntries, int* piCount) {
    const std::size_t uiSize = (static_cast<std::size_t>(*piCount) + 1) * sizeof(Entry);
    void* const pGrown =
        *ppEntries == nullptr ? HEAP_alloc(uiSize) : HEAP_realloc(*ppEntries, uiSize);
    if (pGrown == nullptr)
        return nullptr;
    *ppEntries = static_cast<Entry*>(pGrown);
    Entry* const pEntry = *ppEntries + (*piCount)++;
    *pEntry = Entry();
    return pEntry;
}

void StoreLineError(const std::string& sText) {
    const char* const text = sText.c_str();
    int iRet = QSK_ok;
    KELD_CALL(iRet, ERR_store_error_s1(3, 2010, text));
}

// The type must exist and have the property.
int CheckAttribute(const char* object, const char* attribute) {
    int iRet = QSK_ok;
    tag_t tObjectType = NULLTAG;
    KELD_CALL(iRet, MVTYPE_find_type(object, "WorkspaceObject", &tObjectType));
    if (iRet != QSK_ok)
        return iRet;
    if (tObjectType == NULLTAG) {
        StoreLineError(std::string("The object type ") + object +
                       " specified in preference does not exist or is no "
                       "WorkspaceObject.\n");
        KELD_ERROR(
            "ERROR: the object type %s specified in preference does not exist or is no "
            "WorkspaceObject.\n",
            object);
        return iBadLine;
    }
    tag_t tProperty = NULLTAG;
    KELD_CALL(iRet, MVTYPE_ask_property_by_name(tObjectType, attribute, &tProperty));
    if (iRet != QSK_ok)
        return iRet;
    if (tProperty == NULLTAG) {
        StoreLineError(std::string("The property named ") + attribute +
                       " is not known for object type " + object + ".\n");
        KELD_ERROR("ERROR: the property named %s is not known for object type %s.\n", attribute,
                   object);
        return iBadLine;
    }
    return QSK_ok;
}

// Find the types whose lines may do without a relation type.
int FindBaseTypes() {
    int iRet = QSK_ok;
    if (tItemType == NULLTAG)
        KELD_CALL(iRet, MVTYPE_find_type("Item", "Item", &tItemType));
    if (iRet == QSK_ok && tDatasetType == NULLTAG)
        KELD_CALL(iRet, MVTYPE_find_type("Dataset", "Dataset", &tDatasetType));
    return iRet;
}

// Log a type of a relation line that doesn't exist. Kept: it is no failure of the line.
void TellUnknownType(const char* szType) {
    KELD_ERROR(
        "ERROR: the object type %s, specified in preference, does not exist or is no "
        "WorkspaceObject.\n",
        szType);
}

// Find the primary's type. Returns: false if one of the two can't be found.
bool FindObjectTypes(const char* primary, const char* secondary, tag_t* ptPrimary) {
    int iRet = QSK_ok;
    tag_t tPrimaryObjectType = NULLTAG;
    KELD_CALL(iRet, MVTYPE_find_type(primary, "WorkspaceObject", &tPrimaryObjectType));
    if (iRet != QSK_ok)
        return false;
    if (tPrimaryObjectType == NULLTAG) {
        KELD_CALL(iRet, ERR_store_error_s1(3, 39014, primary));
        TellUnknownType(primary);
        return false;
    }
    tag_t tSecondaryObjectType = NULLTAG;
    KELD_CALL(iRet, MVTYPE_find_type(secondary, "WorkspaceObject", &tSecondaryObjectType));
    if (iRet != QSK_ok)
        return false;
    if (tSecondaryObjectType == NULLTAG) {
        KELD_CALL(iRet, ERR_store_error_s1(3, 39014, secondary));
        TellUnknownType(secondary);
        return false;
    }
    *ptPrimary = tPrimaryObjectType;
    return true;
}

enum class Primary { Other, Item, Dataset };

bool Holds(const tag_t* tSubtypes, int iSubTypeCount, tag_t tType) {
    for (int i = 0; tSubtypes != nullptr && i < iSubTypeCount; ++i)
        if (tSubtypes[i] == tType)
            return true;
    return false;
}

// Find the kind of a relation line's primary. Kept: a failed list of subtypes counts as empty.
Primary KindOfPrimary(tag_t tPrimaryObjectType) {
    if (tPrimaryObjectType == tItemType)
        return Primary::Item;
    if (tPrimaryObjectType == tDatasetType)
        return Primary::Dataset;
    int iRet = QSK_ok;
    int iSubTypeCount = 0;
    tag_t* tSubtypes = nullptr;
    KELD_CALL(iRet, MVTYPE_ask_subtypes(tItemType, false, &iSubTypeCount, &tSubtypes));
    Primary kind =
        Holds(tSubtypes, iSubTypeCount, tPrimaryObjectType) ? Primary::Item : Primary::Other;
    HEAP_free(tSubtypes);
    if (kind != Primary::Other)
        return kind;
    iSubTypeCount = 0;
    tSubtypes = nullptr;
    KELD_CALL(iRet, MVTYPE_ask_subtypes(tDatasetType, false, &iSubTypeCount, &tSubtypes));
    if (Holds(tSubtypes, iSubTypeCount, tPrimaryObjectType))
        kind = Primary::Dataset;
    HEAP_free(tSubtypes);
    return kind;
}

// Find the way from the primary to the secondary. NULLTAG: no relation of the platform.
int FindWay(Primary kind, const char* relation, tag_t* ptWay) {
    *ptWay = NULLTAG;
    if (kind == Primary::Item && std::strcmp(relation, "revision_list") == 0) {
        KELD_TRACE("primary object is an Item so revision_list is valid.\n");
        return QSK_ok;
    }
    int iRet = QSK_ok;
    tag_t tRelationType = NULLTAG;
    KELD_CALL(iRet, REL_find_relation_type(relation, &tRelationType));
    if (kind == Primary::Dataset) {
        // Kept: a dataset's line is always a named reference, also if there is such a relation.
        if (iRet != QSK_ok || tRelationType == NULLTAG)
            KELD_TRACE(
                "primary object is a Dataset and Relation does not exist, so assume this is a "
                "valid NamedReference.\n");
        return QSK_ok;
    }
    if (iRet != QSK_ok)
        return iRet;
    if (tRelationType == NULLTAG) {
        KELD_CALL(iRet, ERR_store_error(3, 35004));
        KELD_ERROR("ERROR: undefined relation type %s specified in preference.\n", relation);
        return iUnknownRelation;
    }
    *ptWay = tRelationType;
    return QSK_ok;
}

}  // namespace

// Append an entry to the attribute list and check it.
int KELD_add_attribute(copyList* list, const char* object, const char* attribute,
                       logical copyEmpty) {
    KELD_FUNC_ENTER("KELD_add_attribute");
    object = TextOf(object);
    attribute = TextOf(attribute);
    int iRet = QSK_ok;
    object_attributes_s* const pEntry =
        list != nullptr ? AppendEntry(&list->object_attributes, &list->count) : nullptr;
    if (pEntry != nullptr) {
        pEntry->object_type = KELD_CopyString(object);
        pEntry->attribute_name = KELD_CopyString(attribute);
        pEntry->copy_empty = copyEmpty;
        if (pEntry->object_type == nullptr || pEntry->attribute_name == nullptr)
            iRet = iNoCopy;
    }
    if (iRet == QSK_ok)
        iRet = CheckAttribute(object, attribute);
    KELD_FUNC_LEAVE("KELD_add_attribute");
    return iRet;
}

// Append an entry to the relation list and find its relation type.
int KELD_add_relation_combination(relList* list, const char* primary, const char* secondary,
                                  const char* relation) {
    KELD_FUNC_ENTER("KELD_add_relation_combination");
    primary = TextOf(primary);
    secondary = TextOf(secondary);
    relation = TextOf(relation);
    bool bGoOn = FindBaseTypes() == QSK_ok;
    relation_combination_s* const pEntry =
        list != nullptr ? AppendEntry(&list->relation_combination, &list->count) : nullptr;
    if (pEntry != nullptr) {
        pEntry->primary = KELD_CopyString(primary);
        pEntry->secondary = KELD_CopyString(secondary);
        pEntry->relation_type = KELD_CopyString(relation);
        bGoOn = bGoOn && pEntry->primary != nullptr && pEntry->secondary != nullptr &&
                pEntry->relation_type != nullptr;
    }
    // Kept: without its types a line goes by its relation alone.
    Primary kind = Primary::Other;
    tag_t tPrimaryObjectType = NULLTAG;
    if (bGoOn && FindObjectTypes(primary, secondary, &tPrimaryObjectType))
        kind = KindOfPrimary(tPrimaryObjectType);
    tag_t tWay = NULLTAG;
    const int iRet = FindWay(kind, relation, &tWay);
    if (pEntry != nullptr)
        pEntry->relation_type_tag = tWay;
    KELD_FUNC_LEAVE("KELD_add_relation_combination");
    return iRet;
}
