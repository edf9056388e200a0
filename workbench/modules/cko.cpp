// CKO_: check-out.

#include "platform/mv_cko.h"

#include "workbench/modules/support.h"
#include "workbench/session/bom_window.h"

using namespace mervane;

namespace {

// A line is checked out when what it shows is.
tag_t subjectOf(Session& session, tag_t tag) {
    return session.object(isLine(tag) ? session.bomWindows().line(tag).revision : tag).tag;
}

}  // namespace

extern "C" {

int CKO_is_checked_out(tag_t object, logical* checkedOut) {
    return call(
        "CKO_is_checked_out",
        [&] {
            need(checkedOut, "checkedOut");
            Session& session = currentSession();
            *checkedOut = session.checkedOut(subjectOf(session, object), nullptr);
        },
        object, checkedOut);
}

int CKO_assert_object_modifiable(tag_t object) {
    return call(
        "CKO_assert_object_modifiable",
        [&] {
            Session& session = currentSession();
            const tag_t subject = subjectOf(session, object);
            Session::CheckOut by;
            if (session.checkedOut(subject, &by) && by.user != session.user())
                throw Failure(kCheckedOut, session.displayId(subject) +
                                               " can't be changed: it is checked out by " +
                                               session.displayId(by.user));
            session.willChange(session.object(subject));
        },
        object);
}

}  // extern "C"
