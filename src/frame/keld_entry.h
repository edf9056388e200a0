#pragma once

// The outermost frame of an exported function: no exception gets past it. After one, it restores
// the log's indentation, since the traced calls that were under way didn't take their steps back.

#include "frame/keld_trace.h"
#include "os/keld_guard.h"

// Do the work of a function that returns a status. Returns: its status, or 2002 if it throws.
template <typename Work>
int KELD_Entry(const Work& work) noexcept {
    const int iSteps = KELD_TraceSteps();
    bool bThrown = true;
    const int iRet = KELD_GuardedStatus([&] {
        const int iStatus = work();
        bThrown = false;
        return iStatus;
    });
    if (bThrown)
        KELD_TraceBackTo(iSteps);
    return iRet;
}
