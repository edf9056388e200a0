// Which service a target calls.
#include "tests/fuzz/service_name.h"
#include "platform/keld_se.h"

namespace fuzz {
namespace {

int callWith(int (*service)(int*), Result& result) {
    return service(&result.number);
}
int callWith(int (*service)(tag_t*), Result& result) {
    return service(&result.tag);
}
int callWith(int (*service)(char**), Result& result) {
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
