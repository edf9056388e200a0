// Forms of items, revisions and datasets.

#include <cstring>

#include "os/keld_guard.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_dst.h"
#include "platform/mv_heap.h"
#include "platform/mv_obj.h"
#include "platform/mv_rel.h"
#include "qsktool/keld_qsktext.h"

namespace {

// The first form of a list, or NULLTAG.
int FirstForm(int iCount, const tag_t* ptObjects, tag_t* ptForm) {
    for (int i = 0; i < iCount && ptObjects != nullptr; ++i) {
        logical lIsForm = false;
        if (const int iRet = KELD_isObjectOfClass(ptObjects[i], "Form", &lIsForm); iRet != QSK_ok)
            return iRet;
        if (lIsForm) {
            *ptForm = ptObjects[i];
            return QSK_ok;
        }
    }
    return QSK_ok;
}

}  // namespace

int KELD_GetMasterForm(tag_t object, tag_t* form) {
    return KELD_GuardedStatus([&] {
        if (form == nullptr)
            return iNoPlace;
        tag_t tForm = NULLTAG;
        for (const char* szRelation : {"VANE_master_form", "VANE_master_form_rev"}) {
            tag_t tRelation = NULLTAG;
            if (const int iRet = REL_find_relation_type(szRelation, &tRelation); iRet != QSK_ok)
                return iRet;
            if (tRelation == NULLTAG)  // it would list the objects of every relation
                continue;
            int iCount = 0;
            tag_t* ptObjects = nullptr;
            if (const int iRet =
                    REL_list_secondary_objects_only(object, tRelation, &iCount, &ptObjects);
                iRet != QSK_ok)
                return iRet;
            const int iRet = FirstForm(iCount, ptObjects, &tForm);
            HEAP_free(ptObjects);
            if (iRet != QSK_ok)
                return iRet;
            if (tForm != NULLTAG)
                break;
        }
        *form = tForm;
        return QSK_ok;
    });
}

int KELD_GetNamedRefForm(tag_t dataset, const char* refName, tag_t* form, logical load, void*) {
    return KELD_GuardedStatus([&] {
        if (form == nullptr)
            return iNoPlace;
        *form = NULLTAG;
        int iCount = 0;
        tag_t* ptReferences = nullptr;
        if (const int iRet = DST_ask_all_dataset_named_refs(dataset, KELD_QskText(refName), &iCount,
                                                            &ptReferences);
            iRet != QSK_ok)
            return iRet;
        tag_t tForm = NULLTAG;
        int iRet = FirstForm(iCount, ptReferences, &tForm);
        HEAP_free(ptReferences);
        if (iRet == QSK_ok && tForm != NULLTAG && load)
            iRet = OBJ_load(tForm);
        if (iRet == QSK_ok)
            *form = tForm;
        return iRet;
    });
}

int KELD_SHEET_ask_value(tag_t form, const char* field, int maxLength, char* out,
                         int* actualLength) {
    return KELD_GuardedStatus([&] {
        char* szValue = nullptr;
        if (const int iRet = OBJ_UIF_ask_value(form, KELD_QskText(field), &szValue); iRet != QSK_ok)
            return iRet;
        const std::size_t uiLength = std::strlen(KELD_QskText(szValue));
        if (out != nullptr && maxLength >= 0) {  // kept: cut at this byte, inside a character too
            const std::size_t uiLimit = static_cast<std::size_t>(maxLength);
            const std::size_t uiCut = uiLength < uiLimit ? uiLength : uiLimit;
            std::memcpy(out, KELD_QskText(szValue), uiCut);
            out[uiCut] = '\0';
        }
        if (actualLength != nullptr)
            *actualLength = static_cast<int>(uiLength);
        HEAP_free(szValue);
        return QSK_ok;
    });
}
