#pragma once

// The service that a target calls, and the place for its result.

#include "platform/types.h"

namespace fuzz {

struct Result {
    int number;
    tag_t tag;
    char* text;
};

extern const char* const fuzzed_service;
int callFuzzedService(Result& result);

}  // namespace fuzz
