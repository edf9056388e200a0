// Diagnostic services: a client looks into the running server process and steers its log.

#include <cstdio>
#include <string>

#include "frame/keld_entry.h"
#include "frame/keld_trace.h"
#include "os/keld_os.h"
#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/keld_se.h"
#include "platform/mv_svcarg.h"

namespace {

// Type codes of KELD_SrvCall.
constexpr int iTypePrintLog = 0;
constexpr int iTypeGetLogFilePath = 1;
constexpr int iTypeSetLogLevel = 2;
constexpr int iTypeGetLogLevel = 3;
constexpr int iTypeGetEnv = 10;

// Hand over a copy, which belongs to the caller of the service. Returns: 0, or 2002.
int SetResult(char** result, const char* szText) {
    if (result == nullptr)
        return QSK_ok;
    *result = KELD_CopyString(szText);
    return *result != nullptr ? QSK_ok : KELD_iNoMemory;
}

// Give the variable's value, or the empty text and a warning. Kept: both services warn under the
// name of one.
int SetResultFromEnv(char** result, const char* szName) {
    std::string sValue;
    if (!keld_os::GetEnv(szName, &sValue))
        KELD_WARNING("KELD_SrvCallGetEnv: env:%s not found\n", szName);
    return SetResult(result, sValue.c_str());
}

}  // namespace

// The status is 0 by contract; without memory there is no text.
int KELD_SrvCall(char** result) {
    const int iRet = KELD_Entry([&] {
        int iType = 0;
        int iLevel = 0;
        char* szText = nullptr;
        char cLevel[20] = {};

        // Unchecked by contract: what a client leaves out is empty. Kept: the text stays allocated.
        (void)SVCARG_get_int_argument(&iType);
        (void)SVCARG_get_int_argument(&iLevel);
        (void)SVCARG_get_string_argument(&szText);

        switch (iType) {
            case iTypePrintLog:
                KELD_PRINTLOG(szText);
                return SetResult(result, "SRV_call_ok");
            case iTypeGetLogFilePath: {
                const char* szPath = KELD_GetLogFilePath();
                return SetResult(result, szPath != nullptr ? szPath : "SRV_call_fail");
            }
            case iTypeSetLogLevel:
                KELD_SetLogLevel(iLevel);
                return SetResult(result, "SRV_call_ok");
            case iTypeGetLogLevel:
                std::snprintf(cLevel, sizeof(cLevel), "%d", KELD_GetLogLevel());
                return SetResult(result, cLevel);
            case iTypeGetEnv:
                return SetResultFromEnv(result, szText);
            default:
                KELD_WARNING("KELD_SrvCall Type:%d not supported\n", iType);
                return SetResult(result, "SRV_call_ok");  // kept: an unknown type is no failure
        }
    });
    if (iRet != QSK_ok && result != nullptr)
        *result = nullptr;
    return QSK_ok;
}

int KELD_SrvCallGetEnv(char** result) {
    return KELD_Entry([&] {
        char* cEnvVar = nullptr;
        KELD_QSK_CALL(SVCARG_get_string_argument(&cEnvVar));
        KELD_TRACE("KELD_SrvCallGetEnv: cEnvVar\n");  // kept: without the variable's name
        return SetResultFromEnv(result, cEnvVar);
    });
}
