#include "libkeld_flow/keld_par/keld_seqno.h"

#include <limits>

int KELD_SeqNoValue(const char* szText) {
    while (*szText == ' ')
        ++szText;
    const bool bNegative = *szText == '-';
    if (bNegative || *szText == '+')
        ++szText;
    long long llValue = 0;
    for (; *szText >= '0' && *szText <= '9'; ++szText) {
        llValue = llValue * 10 + (*szText - '0');
        if (llValue > std::numeric_limits<int>::max())
            return bNegative ? std::numeric_limits<int>::min() : std::numeric_limits<int>::max();
    }
    return static_cast<int>(bNegative ? -llValue : llValue);
}
