// Loads the sibling library's function over the workbench and looks at what it leaves.
#include <cstdio>

#include "platform/types.h"
#include "workbench/workbench.h"

extern "C" int freezeAndOrderJob(tag_t revision);

int main() {
    mervane::Workbench& workbench = *mervane_workbench();
    workbench.openSession(workbench.openStore(":memory:"), {});
    tag_t revision = NULLTAG;
    workbench.createItem("000123", "Housing", "", "A", &revision);
    const int status = freezeAndOrderJob(revision);
    const mervane::Values statuses = workbench.get(revision, "release_status_list");
    const auto jobs = workbench.find({"", "ORLAJob", "", 0});
    std::printf("status %d, %zu release status, %zu job item\n", status, statuses.size(),
                jobs.size());
    return status == 0 && statuses.size() == 1 && jobs.size() == 1 ? 0 : 1;
}
