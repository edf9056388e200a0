// Values on the properties of a form, as a configured list says.

#include <cstring>

#include "frame/keld_copytext.h"
#include "frame/keld_entry.h"
#include "frame/keld_trace.h"
#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/keld_se.h"
#include "platform/mv_dbo.h"
#include "platform/mv_heap.h"
#include "platform/mv_obj.h"
#include "platform/mv_sheet.h"
#include "platform/mv_time.h"

namespace {

constexpr std::size_t uiParamSize = 1025;

enum class ValueType {
    Value,
    Prop,
    PropMF,
    UserId,
    UserName,
    Group,
    StrDate,
    DelDate,
    DateDate,
    Unknown
};

ValueType TypeByName(const char* szName) {
    constexpr const char* szNames[] = {"Value", "Prop",     "PropMF",   "UserId",   "UserName",
                                       "Group", "Str_Date", "Del_Date", "Date_Date"};
    int iType = 0;
    for (const char* sz : szNames) {
        if (szName != nullptr && std::strcmp(szName, sz) == 0)
            break;
        ++iType;
    }
    return static_cast<ValueType>(iType);
}

// The property and its value. Kept: they outlive an entry of the list, so an entry without a value
// gets that of the entry before it.
struct FormValue {
    char cProp[100] = "";
    char cValue[200] = "";
    char cVaneProp[100] = "";  // source property or date format; cleared before each use

    void SetProp(const char* szText) { KELD_CopyText(cProp, szText, "cProp"); }
    void SetValue(const char* szText) { KELD_CopyText(cValue, szText, "cValue"); }
    void SetVaneProp(const char* szText) { KELD_CopyText(cVaneProp, szText, "cVaneProp"); }

    // Take over a text that the platform has handed out.
    void TakeValue(char* szText) {
        SetValue(szText);
        HEAP_free(szText);
    }

    // Read the entry of the list, at most 99 characters.
    bool ReadEntry(CKELD_ParamLine& list, int iIndex) {
        char cParam[uiParamSize] = "";
        if (list.GetParamString(iIndex, cParam) <= 0)
            return false;
        SetProp(cParam);
        return true;
    }

    // Split the entry at its equals signs: the name stays in cProp, the text between the first two
    // goes into the field. Without such a text, as in "name=", the field is left alone.
    template <std::size_t uiSize>
    void SplitEntry(char (&szField)[uiSize], const char* szFieldName) {
        CKELD_ParamLine entry(cProp, '=');
        char cParam[uiParamSize] = "";
        (void)entry.GetParamString(0, cParam);
        SetProp(cParam);
        if (entry.GetParamString(1, cParam) > 0)
            KELD_CopyText(szField, uiSize, cParam, szFieldName);
    }

    void SplitVaneProp() {
        SetVaneProp("");
        SplitEntry(cVaneProp, "cVaneProp");
    }
};

// Work out property and value of an entry; the dates that are set as dates have none.
int FindValue(tag_t form, tag_t object, ValueType type, FormValue& field) {
    char* value = nullptr;
    tag_t user = NULLTAG;
    tag_t group = NULLTAG;
    switch (type) {
        case ValueType::Value:
            field.SplitEntry(field.cValue, "cValue");
            return QSK_ok;
        case ValueType::Prop:
            field.SplitVaneProp();
            KELD_QSK_CALL(OBJ_UIF_ask_value(object, field.cVaneProp, &value));
            break;
        case ValueType::PropMF:
            field.SplitVaneProp();
            KELD_QSK_CALL(OBJ_UIF_ask_value(form, field.cVaneProp, &value));
            break;
        case ValueType::UserId:
            KELD_QSK_CALL(DBO_get_user_id(&value));
            break;
        case ValueType::UserName:
            KELD_QSK_CALL(DBO_get_user(&value, &user));
            break;
        case ValueType::Group:
            KELD_QSK_CALL(DBO_ask_group(&value, &group));
            break;
        case ValueType::StrDate: {
            field.SplitVaneProp();
            if (field.cVaneProp[0] == '\0') {
                char format[uiParamSize] = "";
                KELD_GetIniString("KELD_DateFormat", "DateFormat", format, "%d.%m.%Y");
                field.SetVaneProp(format);
            }
            date_s date{};
            (void)KELD_GetTime(&date);
            KELD_QSK_CALL(TIME_date_to_string(date, field.cVaneProp, &value));
            break;
        }
        default:
            return QSK_ok;
    }
    field.TakeValue(value);
    return QSK_ok;
}

// Give the value to every property of the form whose name begins with the prefix. Kept: a failure
// leaves the names allocated.
int SetByPrefix(tag_t form, const char* szPrefix, const char* cValue) {
    int count = 0;
    char** names = nullptr;
    KELD_QSK_CALL(SHEET_ask_prop_names(form, &count, &names));
    for (int i = 0; i < count; ++i) {
        char* const name = names[i];
        if (name != nullptr && std::strncmp(name, szPrefix, std::strlen(szPrefix)) == 0)
            KELD_QSK_CALL(OBJ_UIF_set_value(form, name, cValue));
        HEAP_free(name);
    }
    HEAP_free(names);
    return QSK_ok;
}

// Apply one entry, whose text is in the field's property.
int ApplyEntry(tag_t form, tag_t object, ValueType type, FormValue& field, bool onlyIfEmpty) {
    const char* const cProp = field.cProp;
    const char* const cValue = field.cValue;
    // Kept: nulled also if only empty properties are to be set.
    if (type == ValueType::DelDate) {
        KELD_QSK_CALL(OBJ_set_value_date(form, cProp, DBO_null_date()));
        return QSK_ok;
    }
    if (const int iRet = FindValue(form, object, type, field); iRet != QSK_ok)
        return iRet;
    if (onlyIfEmpty) {
        char* old = nullptr;
        // Kept: a name with a star is asked for as it is, and an unknown name ends the call.
        KELD_QSK_CALL(OBJ_UIF_ask_value(form, cProp, &old));
        const bool bEmpty = old == nullptr || old[0] == '\0';
        HEAP_free(old);
        if (!bEmpty)
            return QSK_ok;
    }
    if (type == ValueType::DateDate) {  // kept: a star in the name means nothing here
        date_s date{};
        (void)KELD_GetTime(&date);
        KELD_QSK_CALL(OBJ_set_value_date(form, cProp, date));
        return QSK_ok;
    }
    if (char* const szStar = std::strchr(field.cProp, '*'); szStar != nullptr) {
        *szStar = '\0';
        return SetByPrefix(form, cProp, cValue);
    }
    KELD_QSK_CALL(OBJ_UIF_set_value(form, cProp, cValue));
    return QSK_ok;
}

}  // namespace

// Neither locks nor saves: the caller has the form locked and saves it afterwards.
int KELD_SetFormValue_byType(tag_t form, tag_t object, const char* config, const char* configType,
                             bool onlyIfEmpty) {
    return KELD_Entry([&] {
        if (config == nullptr)
            return QSK_ok;
        const ValueType type = TypeByName(configType);
        CKELD_ParamLine list(config, ';');
        FormValue field;
        for (int i = 0; field.ReadEntry(list, i); ++i) {
            if (type == ValueType::Unknown) {
                KELD_ERROR("Wrong ConfigType %s\n", configType);
                continue;
            }
            if (const int iRet = ApplyEntry(form, object, type, field, onlyIfEmpty); iRet != QSK_ok)
                return iRet;
        }
        return QSK_ok;
    });
}
