#include "libkeld_flow/keld_par/keld_acproperty.h"

#include "frame/keld_copytext.h"
#include "frame/keld_trace.h"
#include "platform/mv_heap.h"
#include "platform/mv_obj.h"

int ACProperty::getStringValue(tag_t p_tag, const char* p_sPropertyName, char* p_sBuffer,
                               std::size_t p_iSize) {
    if (p_sBuffer != nullptr && p_iSize > 0)
        p_sBuffer[0] = '\0';
    std::string sValue;
    const int iRet = getStringValue(p_tag, p_sPropertyName, &sValue);
    if (iRet == QSK_ok)
        KELD_CopyText(p_sBuffer, p_iSize, sValue.c_str(), p_sPropertyName);
    return iRet;
}

int ACProperty::getStringValue(tag_t p_tag, const char* p_sPropertyName, std::string* p_psValue) {
    char* pPropValue = nullptr;
    p_psValue->clear();
    KELD_QSK_CALL(OBJ_ask_value_string(p_tag, p_sPropertyName, &pPropValue));
    if (pPropValue != nullptr)
        *p_psValue = pPropValue;
    HEAP_free(pPropValue);
    return QSK_ok;
}

int ACProperty::setStringValue(tag_t p_tag, const char* p_sPropertyName, const char* p_sValue) {
    KELD_QSK_CALL(OBJ_set_value_string(p_tag, p_sPropertyName, p_sValue));
    return QSK_ok;
}
