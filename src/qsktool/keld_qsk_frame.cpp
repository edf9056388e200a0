// For every service: copies that the platform takes over, and the report of a failed call.

#include <cstring>

#include "os/keld_guard.h"
#include "os/keld_os.h"
#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_err.h"
#include "platform/mv_heap.h"
#include "platform/mv_supplement.h"

namespace {

using AskStack = int (*)(int* count, int** numbers, char*** texts);

// Null where the platform can't show its error stack.
AskStack FindAskStack() {
    if constexpr (keld_os::bWindows) {
        static const auto pAskStack =
            reinterpret_cast<AskStack>(keld_os::FindFunction("ERR_ask_stack"));
        return pAskStack;
    } else {
        return &ERR_ask_stack;
    }
}

void ReportStack() {
    const AskStack pAskStack = FindAskStack();
    int iCount = 0;
    int* piNumbers = nullptr;
    char** pszTexts = nullptr;
    if (pAskStack == nullptr || pAskStack(&iCount, &piNumbers, &pszTexts) != QSK_ok)
        return;
    for (int i = 0; i < iCount && piNumbers != nullptr; ++i) {
        const char* szText = pszTexts != nullptr ? pszTexts[i] : nullptr;
        KELD_ERROR("##QSK_stack_%d: %s\n", piNumbers[i], szText);
    }
    for (int i = 0; i < iCount && pszTexts != nullptr; ++i)
        HEAP_free(pszTexts[i]);
    HEAP_free(pszTexts);
    HEAP_free(piNumbers);
}

}  // namespace

void KELD_ReportLastQskError(int status) {
    KELD_GuardedCall([&] {
        char* szText = nullptr;
        ReportStack();
        (void)ERR_ask_error_text(status, &szText);  // without a text the line shows "(null)"
        KELD_ERROR("##QSK_text_%d: %s\n", status, szText);
        if (szText != nullptr)
            HEAP_free(szText);
    });
}

char* KELD_CopyString(const char* text) {
    return KELD_Guarded<char*>(nullptr, [&]() -> char* {
        if (text == nullptr)
            return nullptr;
        const std::size_t uiSize = std::strlen(text) + 1;
        void* pCopy = HEAP_alloc(uiSize);
        if (pCopy != nullptr)
            std::memcpy(pCopy, text, uiSize);
        return static_cast<char*>(pCopy);
    });
}
