// RLS_: release statuses.

#include "platform/mv_rls.h"

#include "workbench/modules/support.h"

using namespace mervane;

extern "C" {

int RLS_create_release_status(const char* name, tag_t* status) {
    return call(
        "RLS_create_release_status",
        [&] {
            need(name, "name");
            need(status, "status");
            Session& session = currentSession();
            Object& made = session.create(*session.model().findType("ReleaseStatus"));
            try {
                session.set(made, "name", {std::string(name)});
            } catch (...) {
                session.unload(made.tag);
                throw;
            }
            *status = made.tag;
        },
        name, status);
}

int RLS_refresh_job(tag_t job) {
    return call(
        "RLS_refresh_job",
        [&] {
            Session& session = currentSession();
            Object& process = session.object(job, standardClass(session, "FLOWProcess"));
            session.refresh(process, process.locked);
        },
        job);
}

}  // extern "C"
