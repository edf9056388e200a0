#pragma once

// One string property of an object. Neither loads, locks nor saves it.

#include <cstddef>
#include <string>

#include "platform/types.h"

class ACProperty {
public:
    // The value, cut at the buffer's end; empty if it is null or can't be read.
    // Returns: 0 or the status of the failed call.
    static int getStringValue(tag_t p_tag, const char* p_sPropertyName, char* p_sBuffer,
                              std::size_t p_iSize);
    // The same, whole.
    static int getStringValue(tag_t p_tag, const char* p_sPropertyName, std::string* p_psValue);
    // Returns: 0 or the status of the failed call.
    static int setStringValue(tag_t p_tag, const char* p_sPropertyName, const char* p_sValue);
};
