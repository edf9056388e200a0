#include "libkeld_flow/keld_par/keld_acpreference.h"

#include "frame/keld_copytext.h"
#include "frame/keld_trace.h"
#include "platform/mv_heap.h"
#include "platform/mv_opt.h"

namespace {

// The platform's answer for a preference that doesn't exist.
constexpr int iNoSuchPreference = 1700;

// Traced calls in which a missing preference is no failure. All lines of one show the same place.
int AskCharValue(const char* key, char** value) {
    constexpr char szText[] = "OPT_ask_char_value(...)";
    constexpr int iLine = __LINE__;
    const std::uint32_t ulStart = KELD_TraceQskCallEnter(szText, KELD_TRACE_FILE, iLine);
    const int iRet = OPT_ask_char_value(key, 0, value);
    KELD_TraceQskCallLeave(ulStart, iRet == iNoSuchPreference ? QSK_ok : iRet, szText,
                           KELD_TRACE_FILE, iLine);
    return iRet;
}

int AskIntValue(const char* key, int* pValue) {
    constexpr char szText[] = "OPT_ask_int_value(...)";
    constexpr int iLine = __LINE__;
    const std::uint32_t ulStart = KELD_TraceQskCallEnter(szText, KELD_TRACE_FILE, iLine);
    const int iRet = OPT_ask_int_value(key, 0, pValue);
    KELD_TraceQskCallLeave(ulStart, iRet == iNoSuchPreference ? QSK_ok : iRet, szText,
                           KELD_TRACE_FILE, iLine);
    return iRet;
}

}  // namespace

logical ACPreference::m_bInitialized = false;

int ACPreference::init() {
    if (m_bInitialized)
        return QSK_ok;
    KELD_QSK_CALL(OPT_initialize());
    m_bInitialized = true;
    return QSK_ok;
}

int ACPreference::getStringValue(const char* p_sKey, const char* p_sDefault, char* p_sBuffer,
                                 std::size_t p_iSize) {
    KELD_CopyText(p_sBuffer, p_iSize, p_sDefault, p_sKey);
    if (init() == QSK_ok) {
        char* value = nullptr;
        const int iRet = AskCharValue(p_sKey, &value);
        if (iRet != QSK_ok && iRet != iNoSuchPreference)
            return iRet;
        if (iRet == iNoSuchPreference || value == nullptr) {
            KELD_WARNING("Pref:%s not set use default=%s\n", p_sKey, p_sDefault);
        } else {
            KELD_CopyText(p_sBuffer, p_iSize, value, p_sKey);
            HEAP_free(value);
        }
    }
    KELD_TRACE("ACPreference::getStringValue(%s) returns [%s]\n", p_sKey, p_sBuffer);
    return QSK_ok;
}

int ACPreference::getIntValue(const char* p_sKey, int p_iDefault, int* p_pValue) {
    *p_pValue = p_iDefault;
    if (init() == QSK_ok) {
        const int iRet = AskIntValue(p_sKey, p_pValue);
        if (iRet != QSK_ok && iRet != iNoSuchPreference)
            return iRet;
        if (iRet == iNoSuchPreference) {
            KELD_WARNING("Pref:%s not set use default=%d\n", p_sKey, p_iDefault);
            *p_pValue = p_iDefault;
        }
    }
    KELD_TRACE("ACPreference::getIntValue(%s) returns [%d]\n", p_sKey, *p_pValue);
    return QSK_ok;
}
