// Job item service: a client hands a job to the batch server as an item in the database.

#include <cstring>

#include "frame/keld_entry.h"
#include "frame/keld_trace.h"
#include "platform/keld_basetool.h"
#include "platform/keld_se.h"
#include "platform/mv_err.h"
#include "platform/mv_heap.h"
#include "platform/mv_svcarg.h"

namespace {

template <typename T>
void FreeReceived(T** ppReceived) {
    if (*ppReceived != nullptr)
        HEAP_free(*ppReceived);
    *ppReceived = nullptr;
}

}  // namespace

int KELD_SrvCallCRIFromPortal(int* result) {
    return KELD_Entry([&] {
        KELD_FUNC_ENTER("keld_cri_from_portal");
        if (result != nullptr)
            *result = 0;
        int iRet = QSK_ok;
        char* szType = nullptr;
        char* szQueueName = nullptr;
        char* szJobType = nullptr;
        char* szStatus = nullptr;
        char* szOptions = nullptr;
        char* szAllTypes = nullptr;
        char* szRelation = nullptr;
        int iCountTargets = 0;
        tag_t* tagTargets = nullptr;
        logical lAllTypes = false;

        KELD_CALL(iRet, SVCARG_get_string_argument(&szType));
        KELD_TRACE("New szTyp = %s\n", szType);
        if (iRet == QSK_ok) {
            KELD_CALL(iRet, SVCARG_get_string_argument(&szQueueName));
            KELD_TRACE("szQueueName = %s\n", szQueueName);
        }
        if (iRet == QSK_ok) {
            KELD_CALL(iRet, SVCARG_get_string_argument(&szJobType));
            KELD_TRACE("szJobType = %s\n", szJobType);
        }
        if (iRet == QSK_ok) {
            KELD_CALL(iRet, SVCARG_get_string_argument(&szStatus));
            KELD_TRACE("szStatus = %s\n", szStatus);
        }
        if (iRet == QSK_ok) {
            KELD_CALL(iRet, SVCARG_get_string_argument(&szOptions));
            KELD_TRACE("szOptions = %s\n", szOptions);
        }
        if (iRet == QSK_ok) {
            KELD_CALL(iRet, SVCARG_get_string_argument(&szAllTypes));
            KELD_TRACE("szAllTypesFlag = %s\n", szAllTypes);
            KELD_StringToLower(szAllTypes);
            lAllTypes = szAllTypes != nullptr && std::strcmp(szAllTypes, "true") == 0;
        }
        if (iRet == QSK_ok) {
            KELD_CALL(iRet, SVCARG_get_string_argument(&szRelation));
            KELD_TRACE("szRelation = %s\n", szRelation);
        }
        if (iRet == QSK_ok) {
            KELD_CALL(iRet, SVCARG_get_tag_array_argument(&iCountTargets, &tagTargets));
            KELD_TRACE("iCountTargets = %d\n", iCountTargets);
        }

        // Kept: the client's status doesn't reach the form; user, status, owner and group are
        // fixed.
        if (iRet == QSK_ok)
            iRet = KELD_createJobItem(iCountTargets, tagTargets, 0, szQueueName, szType, lAllTypes,
                                      false, szRelation, szJobType, szOptions, "KELDJOBITEMOWNER",
                                      "IREV", "IREV", "IREV");

        FreeReceived(&szType);
        FreeReceived(&szQueueName);
        FreeReceived(&szJobType);
        FreeReceived(&szStatus);
        FreeReceived(&szOptions);
        FreeReceived(&szAllTypes);
        FreeReceived(&szRelation);
        FreeReceived(&tagTargets);
        if (iRet != QSK_ok) {
            const int status = iRet;
            int iStored = QSK_ok;
            KELD_CALL(iStored, ERR_store_error(3, status));
        }
        KELD_FUNC_LEAVE("keld_cri_from_portal");
        return iRet;
    });
}
