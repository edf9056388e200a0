// ACL_: privileges.

#include "platform/mv_acl.h"

#include "workbench/modules/support.h"
#include "workbench/session/bom_window.h"

using namespace mervane;

extern "C" {

int ACL_check_privilege(tag_t object, const char* privilege, logical* allowed) {
    return call(
        "ACL_check_privilege",
        [&] {
            need(privilege, "privilege");
            need(allowed, "allowed");
            Session& session = currentSession();
            // The rights on a line are those on what it shows.
            const tag_t subject =
                isLine(object) ? session.bomWindows().line(object).revision : object;
            *allowed = session.allowed(session.object(subject), privilege);
        },
        object, privilege, allowed);
}

int ACL__set_application_bypass(logical on) {
    return call(
        "ACL__set_application_bypass", [&] { currentSession().setBypass(on); }, on);
}

}  // extern "C"
