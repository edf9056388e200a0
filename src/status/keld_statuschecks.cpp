// The checks of the test pass: a refusal stops the run before the first change.

#include <cstring>
#include <string>

#include "frame/keld_trace.h"
#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_acl.h"
#include "platform/mv_cko.h"
#include "platform/mv_ent.h"
#include "platform/mv_obj.h"
#include "status/keld_statusconfig.h"
#include "status/keld_statusmanager1.h"

namespace {

constexpr int iNoPrivilege = 919401;
constexpr int iStatusNotAllowed = 919403;
constexpr int iNeededFieldEmpty = 919404;
constexpr int iCheckedOut = 919405;

// Whether an object with this latest status may change. Kept: the setting isn't split but searched
// for the name, so a part of a listed name counts as listed.
bool IsPreviousStatusAllowed(const std::string& sPrevious, const char* latest) {
    const bool bHasStatus = latest[0] != '\0';
    if (sPrevious.empty())
        return !bHasStatus;
    return sPrevious.find(bHasStatus ? latest : "none") != std::string::npos;
}

}  // namespace

int CKELD_StatusManager::TestObject(const char* section, const char* type, tag_t object,
                                    const char* latest) {
    const std::string sPrevious = KELD_ReadConfigText(section, "PrevReleaseStatus");
    if (!IsPreviousStatusAllowed(sPrevious, latest)) {
        m_bContinue = false;
        const std::string sNewStatus = KELD_ReadConfigText(section, "SetReleaseState");
        KELD_ERROR("ReleaseStatuswechsel von %s nach %s nicht erlaubt\n", latest,
                   sNewStatus.c_str());
        return iStatusNotAllowed;
    }

    logical flag = false;
    char name[129] = "";
    KELD_QSK_CALL(CKO_is_checked_out(object, &flag));
    if (flag) {
        KELD_QSK_CALL(ENT_ask_name(object, name));
        KELD_ERROR("Frg prozess fail: %s %s is checkout\n", type, name);
        m_bContinue = false;
        return iCheckedOut;
    }
    if (CKO_assert_object_modifiable(object) != QSK_ok) {
        flag = false;
        KELD_ERROR("Object is checked out by other user\n");
    } else {
        const std::string sPrivilege =
            KELD_ReadConfigText(section, "PrivilegName", m_cPrivilegName);
        const char* const privilege = sPrivilege.c_str();
        KELD_QSK_CALL(ACL_check_privilege(object, privilege, &flag));
    }
    if (!flag) {
        KELD_QSK_CALL(ENT_ask_name(object, name));
        KELD_ERROR("You have not change privilege on %s %s\n", type, name);
        m_bContinue = false;
        return iNoPrivilege;
    }
    if (const int iRet = CheckNeedFields(section, type, object); iRet != QSK_ok) {
        m_bContinue = false;
        return iRet;
    }
    return QSK_ok;
}

// Refuse an object whose master form lacks a value. Kept: without a line in the log.
int CKELD_StatusManager::CheckNeedFields(const char* section, const char* /*type*/, tag_t object) {
    const std::string sFields = KELD_ReadConfigText(section, "CheckNeedFields");
    if (sFields.empty())
        return QSK_ok;
    KELD_TRACE("CKELD_StatusManager::CheckNeedFields=%s CheckNeedFields=%s\n", section,
               sFields.c_str());
    tag_t form = NULLTAG;
    KELD_QSK_CALL(KELD_GetMasterForm(object, &form));
    KELD_QSK_CALL(OBJ_refresh(form, false));  // the stored values count
    std::string sField;
    for (int i = 0; KELD_GetListEntry(sFields, ';', i, &sField); ++i) {
        const char* const field = sField.c_str();
        char value[241] = "";  // one byte more than the limit, for the terminator
        int length = 0;
        KELD_QSK_CALL(KELD_SHEET_ask_value(form, field, 240, value, &length));
        if (length == 0)
            return iNeededFieldEmpty;
    }
    return QSK_ok;
}
