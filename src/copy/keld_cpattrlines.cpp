// The three preferences of the attribute copy, line by line.

#include <cstring>
#include <iterator>
#include <string>

#include "copy/keld_cpattr.h"
#include "frame/keld_copytext.h"
#include "frame/keld_trace.h"
#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_err.h"
#include "platform/mv_heap.h"

namespace {

constexpr const char* szPreferences[] = {
    "KELD_CopyAttributes_WSO",
    "KELD_CopyAttributes_Form",
    "KELD_CopyAttributes_Relation",
};
constexpr std::size_t uiRelationPreference = 2;

constexpr std::size_t uiLineSize = 1025;
constexpr std::size_t uiFieldSize = 241;
constexpr int iBadLine = 2010;

// Copy a value, without line ends and blanks at its end. Returns: false for a line that is skipped.
bool TakeLine(const char* szValue, char (&cLine)[uiLineSize]) {
    std::size_t uiLength = 0;
    for (; uiLength + 1 < uiLineSize && szValue[uiLength] != '\0'; ++uiLength)
        cLine[uiLength] = szValue[uiLength];
    while (uiLength > 0 && (cLine[uiLength - 1] == '\n' || cLine[uiLength - 1] == '\r'))
        --uiLength;
    // Kept: a line feed before a blank stays.
    while (uiLength > 0 && (cLine[uiLength - 1] == ' ' || cLine[uiLength - 1] == '\r'))
        --uiLength;
    cLine[uiLength] = '\0';
    return uiLength >= 3 && cLine[0] != '#';
}

void TakeField(char (&cOut)[uiFieldSize], const char* szFrom, const char* szEnd,
               const char* szField) {
    KELD_CopyText(cOut, std::string(szFrom, szEnd).c_str(), szField);
}

// Refuse a line: client and log learn what it should look like.
int RefuseLine(const char* line, const char* szExpected) {
    const std::string sText = std::string("Syntax error in preference line: ") +
                              (line != nullptr ? line : "(null)") + "\n" + szExpected +
                              " expected\n";
    const char* const text = sText.c_str();
    int iRet = QSK_ok;
    KELD_CALL(iRet, ERR_store_error_s1(3, 2010, text));
    KELD_ERROR("ERROR: syntax error in preference line: %s\n", line);
    KELD_ERROR("       %s expected\n", szExpected);
    return iBadLine;
}

int SplitAttribute(copyList* list, const char* line) {
    const char* const szLine = line != nullptr ? line : "";
    const char* const szFirst = std::strchr(szLine, ';');
    if (szFirst == nullptr)
        return RefuseLine(line, "combination <object type>;<property>");
    char object[uiFieldSize] = "";
    char attribute[uiFieldSize] = "";
    logical copyEmpty = false;
    TakeField(object, szLine, szFirst, "object type");
    const char* const szRest = szFirst + 1;
    if (const char* const szSecond = std::strchr(szRest, ';'); szSecond != nullptr) {
        TakeField(attribute, szRest, szSecond, "property");
        copyEmpty = std::strcmp(szSecond + 1, "null") == 0;  // kept: any other word is ignored
    } else {
        TakeField(attribute, szRest, szRest + std::strlen(szRest), "property");
    }
    return KELD_add_attribute(list, object, attribute, copyEmpty);
}

int SplitRelation(relList* list, const char* line) {
    const char* const szLine = line != nullptr ? line : "";
    const char* const szFirst = std::strchr(szLine, ';');
    const char* const szSecond = szFirst != nullptr ? std::strchr(szFirst + 1, ';') : nullptr;
    if (szSecond == nullptr)
        return RefuseLine(line,
                          "combination <primary object type>;<relation>;<secondary object type>");
    char primary[uiFieldSize] = "";
    char relation[uiFieldSize] = "";
    char secondary[uiFieldSize] = "";
    TakeField(primary, szLine, szFirst, "primary object type");
    TakeField(relation, szFirst + 1, szSecond, "relation");
    // A further ';' is part of the type's name.
    TakeField(secondary, szSecond + 1, szSecond + 1 + std::strlen(szSecond + 1),
              "secondary object type");
    // Kept: cut to VANE_master_form, by which the master forms of revisions are attached too.
    if (std::strcmp(relation, "VANE_master_form_rev") == 0)
        relation[16] = '\0';
    return KELD_add_relation_combination(list, primary, secondary, relation);
}

}  // namespace

// Add a line's type and property to the list.
int AddAttribute(copyList* list, const char* line) {
    KELD_FUNC_ENTER("AddAttribute");
    const int iRet = SplitAttribute(list, line);
    KELD_FUNC_LEAVE("AddAttribute");
    return iRet;
}

// Add a line's types and relation to the list.
int AddRelation(relList* list, const char* line) {
    KELD_FUNC_ENTER("AddRelation");
    const int iRet = SplitRelation(list, line);
    KELD_FUNC_LEAVE("AddRelation");
    return iRet;
}

// Read all lines. Kept: the last one alone decides, so an earlier fault doesn't hold up the copy.
int ReadCopyAttrPref(copyList* objects, relList* relations) {
    KELD_FUNC_ENTER("ReadCopyAttrPref");
    int iRet = QSK_ok;
    for (std::size_t iPref = 0; iPref < std::size(szPreferences); ++iPref) {
        const char* const name = szPreferences[iPref];
        int count = 0;
        char** values = nullptr;
        int iPrefRet = QSK_ok;  // a preference that can't be read is an empty one
        KELD_CALL(iPrefRet, KELD_GetPreferenceArray(name, &count, &values, 0));
        for (int i = 0; values != nullptr && i < count; ++i) {
            char cLine[uiLineSize] = "";
            if (values[i] == nullptr || !TakeLine(values[i], cLine))
                continue;
            iRet = iPref == uiRelationPreference ? AddRelation(relations, cLine)
                                                 : AddAttribute(objects, cLine);
        }
        HEAP_free(values);  // kept: the values themselves stay allocated
    }
    KELD_FUNC_LEAVE("ReadCopyAttrPref");
    return iRet;
}
