// A run of the status manager, from the service entry through the three passes.

#include "status/keld_statusmanager1.h"

#include "frame/keld_copytext.h"
#include "frame/keld_entry.h"
#include "frame/keld_trace.h"
#include "platform/keld_basetool.h"
#include "platform/mv_acl.h"
#include "platform/mv_svcarg.h"

namespace {

constexpr int iTypeNotConfigured = 919402;

}  // namespace

CKELD_StatusManager::CKELD_StatusManager(const char* status)
    : m_pStatus1(nullptr),
      m_pStatus2(nullptr),
      m_bContinue(false),
      m_cStatus{},
      m_cPrivilegName{},
      m_iLevel(0) {
    KELD_CopyText(m_cStatus, status, "m_cStatus");
    ReadConfigString("GLOBAL", "PrivilegName", m_cPrivilegName, "CHANGE");
}

CKELD_StatusManager::~CKELD_StatusManager() {
    delete m_pStatus1;
    delete m_pStatus2;
}

// Change the status of an object and of all objects that the configuration connects with it.
int CKELD_StatusManager::ManageStatus(tag_t object, const char* type, const char* status) {
    CKELD_StatusManager manager(status);
    return manager.Run(object, type);
}

// The three passes; a failing one ends the run.
int CKELD_StatusManager::Run(tag_t object, const char* type) {
    if (type == nullptr || ReadConfigInt("SelectWSO", type, 0) != 1) {
        KELD_WARNING("CKELD_StatusManager::ManageStatus selected Type:%s not configurated\n", type);
        return iTypeNotConfigured;
    }
    m_bContinue = true;
    KELD_DEBUG("########## Prozess Test #############\n");
    KELD_QSK_CALL(Process(type, object, KELD_STATMGR_CHANGEALL, 1, ""));
    KELD_DEBUG("########## Prozess Attribute #############\n");
    // The test pass has proved the rights. KELD_Entry turns an exception into a status, so that the
    // bypass always goes off again; a failure is logged after that.
    (void)ACL__set_application_bypass(true);
    int iRet = KELD_Entry([&] { return Process(type, object, KELD_STATMGR_CHANGEALL, 0, ""); });
    (void)ACL__set_application_bypass(false);
    KELD_QSK_CALL(iRet);
    KELD_DEBUG("########## Prozess Aktions #############\n");
    KELD_QSK_CALL(Process(type, object, KELD_STATMGR_CHANGEALL, 2, ""));
    return QSK_ok;
}

int KELD_StatusManager_ManageStatus(tag_t object, const char* type, const char* status) {
    return KELD_Entry([&] { return CKELD_StatusManager::ManageStatus(object, type, status); });
}

// User service: target status, object type, object. Kept: the outcome is in the slot alone, and the
// status is 0 in any case.
int KELD_StatusManager(int* result) {
    const int iRet = KELD_Entry([] {
        char* status = nullptr;
        char* type = nullptr;
        tag_t object = NULLTAG;
        // Kept: a short argument list shows only in empty values, and the texts stay allocated.
        (void)SVCARG_get_string_argument(&status);
        (void)SVCARG_get_string_argument(&type);
        (void)SVCARG_get_tag_argument(&object);
        KELD_TRACE("KELD_StatusManager set %s  on %s:%d\n", status, type, static_cast<int>(object));
        return KELD_StatusManager_ManageStatus(object, type, status);
    });
    if (result != nullptr)
        *result = iRet;
    return QSK_ok;
}
