#pragma once

// Preferences with a default, read anew on each call.

#include <cstddef>

#include "platform/types.h"

class ACPreference {
public:
    // Start the platform's preferences, once in the life of the process.
    // Returns: 0 or the status of the failed call.
    static int init();
    // The first value; the default, with a warning, for a preference that doesn't exist, and
    // without one if the preferences can't be started.
    // Returns: 0, also with the default; else the status of the failed read: the buffer then holds
    // the default.
    static int getStringValue(const char* p_sKey, const char* p_sDefault, char* p_sBuffer,
                              std::size_t p_iSize);
    // The same for an integer.
    static int getIntValue(const char* p_sKey, int p_iDefault, int* p_pValue);

    static logical m_bInitialized;
};
