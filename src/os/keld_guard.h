#pragma once

// Every exception ends here: each exported function of the three libraries does its work through
// one of these. Hosts and the platform call it as a function of C, and no exception may leave that.
// An exception means that there is no memory, or it comes from a function of the host.

inline constexpr int KELD_iNoMemory = 2002;  // status

// Do the work of a function. Returns: what it returns, or the answer if it throws.
template <typename Result, typename Work>
Result KELD_Guarded(Result answer, const Work& work) noexcept {
    try {
        return work();
    } catch (...) {
        return answer;
    }
}

// The same for a function that returns a status: 2002 if it throws.
template <typename Work>
int KELD_GuardedStatus(const Work& work) noexcept {
    return KELD_Guarded(KELD_iNoMemory, work);
}

// The same for a function that returns nothing; what it has done until then stays.
template <typename Work>
void KELD_GuardedCall(const Work& work) noexcept {
    (void)KELD_Guarded(false, [&work] {
        work();
        return true;
    });
}
