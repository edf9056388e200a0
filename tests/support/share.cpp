#include "tests/support/share.h"

#include <charconv>
#include <cstring>
#include <stdexcept>

namespace keld_test {

Share readShare(const char* text) {
    if (!text || !*text)
        return {};
    const char* const end = text + std::strlen(text);
    Share share;
    const auto part = std::from_chars(text, end, share.part);
    if (part.ec == std::errc() && part.ptr != end && *part.ptr == '/') {
        const auto of = std::from_chars(part.ptr + 1, end, share.of);
        if (of.ec == std::errc() && of.ptr == end && share.part >= 1 && share.part <= share.of)
            return share;
    }
    throw std::invalid_argument("KELD_SWEEP_SHARE is \"" + std::string(text) +
                                "\", not PART/OF with PART from 1 to OF, as in 2/4");
}

}  // namespace keld_test
