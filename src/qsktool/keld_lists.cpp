// Lists of texts and tags.

#include <cstring>
#include <limits>

#include "os/keld_guard.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_heap.h"
#include "platform/mv_mv.h"
#include "qsktool/keld_qsktext.h"

namespace {

// The number of entries: an empty one between two separators counts, one after the last doesn't.
std::size_t CountEntries(const char* szText, const char* szSeparators) {
    std::size_t uiCount = 0;
    while (*szText != '\0') {
        ++uiCount;
        szText += std::strcspn(szText, szSeparators);
        if (*szText != '\0')
            ++szText;
    }
    return uiCount;
}

char* CopyEntry(const char* szText, std::size_t uiLength) {
    auto* szCopy = static_cast<char*>(HEAP_alloc(uiLength + 1));
    if (szCopy != nullptr) {
        std::memcpy(szCopy, szText, uiLength);
        szCopy[uiLength] = '\0';
    }
    return szCopy;
}

}  // namespace

int KELD_splitItemString(const char* text, const char* separators, int* count, char*** items) {
    return KELD_GuardedStatus([&] {
        if (count == nullptr || items == nullptr)
            return iNoPlace;
        text = KELD_QskText(text);
        separators = KELD_QskText(separators);
        const std::size_t uiCount = CountEntries(text, separators);
        if (uiCount > static_cast<std::size_t>(std::numeric_limits<int>::max()))
            return iNoPlace;
        char** pszItems = nullptr;
        if (uiCount > 0) {
            pszItems = static_cast<char**>(HEAP_alloc((uiCount + 1) * sizeof(char*)));
            if (pszItems == nullptr)
                return iNoPlace;
        }
        for (std::size_t i = 0; i < uiCount; ++i) {
            const std::size_t uiLength = std::strcspn(text, separators);
            pszItems[i] = CopyEntry(text, uiLength);
            if (pszItems[i] == nullptr) {
                MV_free_strings(pszItems);  // the null entry ends the list
                return iNoPlace;
            }
            pszItems[i + 1] = nullptr;
            text += uiLength;
            if (*text != '\0')
                ++text;
        }
        *count = static_cast<int>(uiCount);
        *items = pszItems;
        return QSK_ok;
    });
}

int KELD_searchElementInArray(tag_t tag, const tag_t* array, int count, logical* found) {
    if (found == nullptr)
        return iNoPlace;
    *found = false;
    for (int i = 0; i < count && array != nullptr && !*found; ++i)
        *found = array[i] == tag;
    return QSK_ok;
}
