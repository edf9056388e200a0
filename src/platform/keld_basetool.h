#pragma once

// libkeld_basetool: log, settings and texts. Nothing is thrown through any function.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// ---- log ----

// A line at the indentation of the moment, of any length; both numbers are 1 and mean trace level.
// Format as in printf; a null text shows as "(null)". Line breaks at the end are reduced to one.
// Never fails: a line that can't be written, or for which there is no memory, is dropped; the next
// one is tried again. The same holds for the next four.
KELD_BASE_API void KELD_LOG(int p1 /*1*/, int p2 /*1*/, const char* format, ...);

// A line at trace level (3).
KELD_BASE_API void KELD_TRACE(const char* format, ...);

// A line at debug level (4).
KELD_BASE_API void KELD_DEBUG(const char* format, ...);

// A line at warning level (2); it reaches the file at once.
KELD_BASE_API void KELD_WARNING(const char* format, ...);

// A line at error level (1); it reaches the file at once.
KELD_BASE_API void KELD_ERROR(const char* format, ...);

// One step more indentation. There is one counter in the process.
KELD_BASE_API void KELD_IncTraceSpaces(void);

// One step less; never below none.
KELD_BASE_API void KELD_DecTraceSpaces(void);

// Write a text unchanged: never taken as a format, at every level, without time or indentation; a
// line break is added if there is none. Null counts as empty.
KELD_BASE_API void KELD_PRINTLOG(const char* text);

// A line of the version report: to standard output, and to the log at trace level.
KELD_BASE_API void KELD_PRINT_VERINFO(const char* format, ...);

// Absolute path of the log file; null if it can't be opened or there is no memory for it. Writes
// what is waiting. Not to be freed; good for the life of the process.
KELD_BASE_API const char* KELD_GetLogFilePath(void);

// The level: lines above it are not written. 3 at the start unless KELD_LOG_LEVEL in the
// environment says otherwise; any integer, 0 or less writes nothing.
KELD_BASE_API int KELD_GetLogLevel(void);

// Set the level, from the next line on; any integer is kept unchanged.
KELD_BASE_API void KELD_SetLogLevel(int level);

// ---- configuration ----

// Configuration directory without a separator at its end: KELD_CFG_PATH of the environment, else
// the current directory. Null only without memory; not to be freed; good for the life of the
// process.
KELD_BASE_API const char* KELD_GetCfgPath(void);

// Value of a key in a section of an INI file, else the default (null counts as empty). At most 1024
// bytes and the terminator; a longer value is cut with a warning. Section and key are compared
// without regard to case. A file that can't be read, or for which there is no memory, has no
// values.
KELD_BASE_API void KELD_GetProfileString(const char* section, const char* key, char* out /*1025*/,
                                         const char* defaultValue, const char* file);

// The value as a decimal integer; 0 if the key is there without digits, the default if there is no
// key.
KELD_BASE_API int KELD_GetProfileInt(const char* section, const char* key, int defaultValue,
                                     const char* file);

// Value of the process's own settings, else the default, into 1025 bytes as KELD_GetProfileString.
// `defaultValue` may be `out` itself, which then stays as it is if there is no value.
KELD_BASE_API void KELD_GetIniString(const char* section, const char* key, char* out /*1025*/,
                                     const char* defaultValue);

// The value of the process's own settings as KELD_GetProfileInt.
KELD_BASE_API int KELD_GetIniInt(const char* section, const char* key, int defaultValue);

// Fill the section `prefName` of the process's settings from lines "key=value", in place of an
// earlier content; lines without "=" are left out with a warning, comments and blank lines without.
// The values stay the caller's. Without memory the earlier content stays. `storeName` names the
// origin in the log, `flag` has no effect.
KELD_BASE_API void KELD_CreateProfileFromPref(
    const char* prefName, int count, char** values,
    const char* storeName /*"KELD_ConvertedBaseIniSettings"*/, int flag /*0*/);

// Drop the sections so filled, but only while KELD_IsLocPrefCacheDisabled() is true.
KELD_BASE_API void KELD_DeletePrefProfile(void);

// True: preferences are to be read anew on every call. KELD_DISABLE_LOCPREF_CACHE of the
// environment is neither empty nor "0"; looked at on each call. False without memory.
KELD_BASE_API logical KELD_IsLocPrefCacheDisabled(void);

// ---- text ----

// Turn ASCII letters to lower case in place; null is allowed.
KELD_BASE_API void KELD_StringToLower(char* text);

// Take control characters, \ / : * ? " < > | and blanks at both ends out of a name, in place; never
// longer than before. Null is allowed.
KELD_BASE_API void KELD_KillExtraChars(char* text);

}  // extern "C"

// A text that is split by a separator. An empty part between two separators counts and is empty; an
// empty text has no part, and none follows a separator at the end. No destructor, no virtual
// operation.
class CKELD_ParamLine {
public:
    // Copies the text, at most 1024 bytes; a longer one is cut with a warning. Null counts as
    // empty.
    KELD_BASE_API CKELD_ParamLine(const char* text, char separator);
    CKELD_ParamLine(const CKELD_ParamLine&) = default;
    // Bytewise copy; defined and exported by libkeld_se.
    KELD_SE_API CKELD_ParamLine& operator=(const CKELD_ParamLine& other);
    // Returns: 1, and the part of this index (from 0) in `out`; 0 if there is none or the index is
    // negative: `out` then keeps what it held. Blanks stay.
    KELD_BASE_API int GetParamString(int index, char* const out /*1025*/);

private:
    char m_sLine[1025];
    char m_cSeparator;
};

class CKELD_String {
public:
    CKELD_String() = default;
    CKELD_String(const CKELD_String&) = default;
    // Defined and exported by libkeld_se; there is nothing to copy.
    KELD_SE_API CKELD_String& operator=(const CKELD_String& other);
    // Turn ASCII letters to lower case in place; null is allowed.
    KELD_BASE_API static void string_to_lower(char* text);
};

// A date as a value.
class CKELD_Datum {
public:
    CKELD_Datum() = default;
    CKELD_Datum(const CKELD_Datum&) = default;
    // Bytewise copy; defined and exported by libkeld_se.
    KELD_SE_API CKELD_Datum& operator=(const CKELD_Datum& other);
    date_s m_dsDate{};
};
