// Classes, types and states of objects.

#include <cstring>

#include "os/keld_guard.h"
#include "os/keld_os.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_art.h"
#include "platform/mv_cko.h"
#include "platform/mv_dbo.h"
#include "platform/mv_ent.h"
#include "platform/mv_heap.h"
#include "platform/mv_mvtype.h"
#include "platform/mv_obj.h"
#include "platform/mv_supplement.h"
#include "qsktool/keld_qsktext.h"

namespace {

using FindItem = int (*)(const char* itemId, tag_t* item);
using AskTypeName = int (*)(tag_t type, char* name);

// Null where the platform can't find items by id.
FindItem FindFindItem() {
    if constexpr (keld_os::bWindows) {
        static const auto pFindItem =
            reinterpret_cast<FindItem>(keld_os::FindFunction("ART_find_item"));
        return pFindItem;
    } else {
        return &ART_find_item;
    }
}

// Null where the platform can't tell the names of types.
AskTypeName FindAskTypeName() {
    if constexpr (keld_os::bWindows) {
        static const auto pAskTypeName =
            reinterpret_cast<AskTypeName>(keld_os::FindFunction("MVTYPE_ask_name"));
        return pAskTypeName;
    } else {
        return &MVTYPE_ask_name;
    }
}

constexpr std::size_t uiNameSize = 129;
constexpr std::size_t uiStatusSize = 33;

// The last entry of release_status_list that can be loaded, or NULLTAG.
int LastStatus(tag_t object, tag_t* ptStatus) {
    tag_t tAttr = NULLTAG;
    if (const int iRet = DBO_attr_id_of_attr("release_status_list", "WorkspaceObject", &tAttr);
        iRet != QSK_ok)
        return iRet;
    int iLength = 0;
    if (const int iRet = DBO_length_of_attr(object, tAttr, &iLength); iRet != QSK_ok)
        return iRet;
    if (iLength < 1)
        return QSK_ok;
    tag_t* ptStored = nullptr;
    logical* plIsNull = nullptr;
    logical* plIsEmpty = nullptr;
    if (const int iRet =
            DBO_ask_attr_tags(object, tAttr, 0, iLength, &ptStored, &plIsNull, &plIsEmpty);
        iRet != QSK_ok)
        return iRet;
    int iLoaded = 0;
    tag_t* ptLoaded = nullptr;
    const int iRet = DBO_load_instances_possible(iLength, ptStored, &iLoaded, &ptLoaded);
    if (iRet == QSK_ok && iLoaded > 0 && ptLoaded != nullptr)
        *ptStatus = ptLoaded[iLoaded - 1];
    HEAP_free(ptStored);
    HEAP_free(plIsNull);
    HEAP_free(plIsEmpty);
    HEAP_free(ptLoaded);
    return iRet;
}

}  // namespace

int KELD_isObjectOfClass(tag_t object, const char* className, logical* result) {
    return KELD_GuardedStatus([&] {
        if (result == nullptr)
            return iNoPlace;
        className = KELD_QskText(className);
        tag_t tClass = NULLTAG;
        if (const int iRet = DBO_class_of_instance(object, &tClass); iRet != QSK_ok)
            return iRet;
        char* szClass = nullptr;
        if (const int iRet = DBO_name_of_class(tClass, &szClass); iRet != QSK_ok)
            return iRet;
        int iRet = QSK_ok;
        bool bIs = std::strcmp(KELD_QskText(szClass), className) == 0;
        if (!bIs) {
            // Every class has a type of its name, and no operation tells a class's parent.
            tag_t tType = NULLTAG;
            iRet = MVTYPE_find_type(KELD_QskText(szClass), className, &tType);
            bIs = tType != NULLTAG;
        }
        HEAP_free(szClass);
        if (iRet == QSK_ok)
            *result = bIs;
        return iRet;
    });
}

int KELD_isObjectOfTypeExt(tag_t object, const char* typeName, logical* result,
                           logical withSubtypes) {
    return KELD_GuardedStatus([&] {
        if (result == nullptr)
            return iNoPlace;
        typeName = KELD_QskText(typeName);
        char szType[uiNameSize] = "";
        if (const int iRet = ENT_ask_object_type(object, szType); iRet != QSK_ok)
            return iRet;
        bool bIs = std::strcmp(szType, typeName) == 0;
        if (!bIs && withSubtypes) {
            tag_t tWanted = NULLTAG;
            if (const int iRet = MVTYPE_find_type(typeName, "WorkspaceObject", &tWanted);
                iRet != QSK_ok)
                return iRet;
            tag_t tActual = NULLTAG;
            if (const int iRet = MVTYPE_find_type(szType, "WorkspaceObject", &tActual);
                iRet != QSK_ok)
                return iRet;
            if (tWanted != NULLTAG && tActual != NULLTAG) {
                int iCount = 0;
                tag_t* ptSubtypes = nullptr;
                if (const int iRet = MVTYPE_ask_subtypes(tWanted, false, &iCount, &ptSubtypes);
                    iRet != QSK_ok)
                    return iRet;
                logical lFound = false;
                (void)KELD_searchElementInArray(tActual, ptSubtypes, iCount, &lFound);
                bIs = lFound;
                HEAP_free(ptSubtypes);
            }
        }
        *result = bIs;
        return QSK_ok;
    });
}

int KELD_MVTYPE_ask_name(tag_t type, char* name) {
    return KELD_GuardedStatus([&] {
        if (name == nullptr)
            return iNoPlace;
        if (const auto pAskName = FindAskTypeName(); pAskName != nullptr)
            return pAskName(type, name);
        char* szName = nullptr;
        const int iRet = OBJ_ask_value_string(type, "object_name", &szName);
        if (iRet == QSK_ok)
            KELD_QskCopyText(name, uiNameSize, szName, "type name");
        HEAP_free(szName);
        return iRet;
    });
}

int KELD_ART_find_item(const char* itemId, tag_t* item) {
    return KELD_GuardedStatus([&] {
        if (item == nullptr)
            return iNoPlace;
        if (const auto pFindItem = FindFindItem(); pFindItem != nullptr)
            return pFindItem(KELD_QskText(itemId), item);
        *item = NULLTAG;
        return QSK_ok;
    });
}

int KELD_ask_latest_status(tag_t object, char* status) {
    return KELD_GuardedStatus([&] {
        if (status == nullptr)
            return iNoPlace;
        tag_t tStatus = NULLTAG;
        if (const int iRet = LastStatus(object, &tStatus); iRet != QSK_ok)
            return iRet;
        if (tStatus == NULLTAG) {
            status[0] = '\0';
            return QSK_ok;
        }
        tag_t tAttr = NULLTAG;
        if (const int iRet = DBO_attr_id_of_attr("name", "ReleaseStatus", &tAttr); iRet != QSK_ok)
            return iRet;
        char* szName = nullptr;
        logical lIsNull = false;
        logical lIsValid = false;
        const int iRet = DBO_ask_attr_string(tStatus, tAttr, &szName, &lIsNull, &lIsValid);
        if (iRet == QSK_ok)
            KELD_QskCopyText(status, uiStatusSize, szName, "latest status");
        HEAP_free(szName);
        return iRet;
    });
}

logical KELD_TestModifiableAndNotCheckout(tag_t object) {
    return KELD_Guarded<logical>(false, [&] {
        logical lModifiable = false;
        if (OBJ_ask_if_modifiable(object, &lModifiable) != QSK_ok || !lModifiable)
            return false;
        logical lCheckedOut = true;
        return CKO_is_checked_out(object, &lCheckedOut) == QSK_ok && !lCheckedOut;
    });
}

int KELD_isItemReplica(tag_t item, logical* result) {
    return KELD_GuardedStatus([&] {
        if (result == nullptr)
            return iNoPlace;
        tag_t tSite = NULLTAG;
        const int iRet = OBJ_get_value_tag(item, "owning_site", &tSite);
        if (iRet == QSK_ok)
            *result = tSite != NULLTAG;
        return iRet;
    });
}

int KELD_GetTime(date_s* now) {
    std::tm local{};
    if (now == nullptr || !keld_os::LocalTime(keld_os::WallClock(), &local))
        return iNoPlace;
    now->year = static_cast<std::int16_t>(local.tm_year + 1900);
    now->month = static_cast<std::uint8_t>(local.tm_mon);
    now->day = static_cast<std::uint8_t>(local.tm_mday);
    now->hour = static_cast<std::uint8_t>(local.tm_hour);
    now->minute = static_cast<std::uint8_t>(local.tm_min);
    now->second = static_cast<std::uint8_t>(local.tm_sec);
    return QSK_ok;
}
