// A sibling library as an administrator would write one: it knows keld_se.h and nothing else.
#include "platform/keld_se.h"

extern "C" __attribute__((visibility("default"))) int freezeAndOrderJob(tag_t revision) {
    const int status = CKELD_Status::SetReleaseStatusObj(revision, "Frozen");
    if (status != QSK_ok)
        return status;
    return KELD_createJobItem(1, &revision, NULLTAG, "night", "plot", true, true, "", "print", "",
                              "anna", "new", "berta", "design");
}
