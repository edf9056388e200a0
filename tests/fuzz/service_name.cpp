// Which service a target calls.

#include "tests/fuzz/service_name.h"

#include <type_traits>

#include "platform/keld_se.h"

namespace fuzz {
namespace {

template <typename Slot>
int callWith(int (*service)(Slot*), Result& result) {
    if constexpr (std::is_same_v<Slot, int>)
        return service(&result.number);
    else if constexpr (std::is_same_v<Slot, tag_t>)
        return service(&result.tag);
    else
        return service(&result.text);
}

}  // namespace

int callFuzzedService(Result& result) {
    return callWith(KELD_FUZZED_SERVICE, result);
}

#define KELD_TEXT_OF(name) #name
#define KELD_NAME_OF(name) KELD_TEXT_OF(name)
const char* const fuzzed_service = KELD_NAME_OF(KELD_FUZZED_SERVICE);

}  // namespace fuzz
