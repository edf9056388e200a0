#pragma once

// libkeld_basetool: log, settings and texts.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// ---- log ----

// Line at the indentation of the moment; no length limit.
KELD_BASE_API void KELD_LOG(int p1 /*1*/, int p2 /*1*/, const char* format, ...);

// Line at trace level, indented.
KELD_BASE_API void KELD_TRACE(const char* format, ...);

// Line at debug level.
KELD_BASE_API void KELD_DEBUG(const char* format, ...);

// Line at warning level.
KELD_BASE_API void KELD_WARNING(const char* format, ...);

// Line at error level.
KELD_BASE_API void KELD_ERROR(const char* format, ...);

// One step more indentation; counter process-wide.
KELD_BASE_API void KELD_IncTraceSpaces(void);

// One step less.
KELD_BASE_API void KELD_DecTraceSpaces(void);

// Text as it stands, never a format.
KELD_BASE_API void KELD_PRINTLOG(const char* text);

// Line of the version report.
KELD_BASE_API void KELD_PRINT_VERINFO(const char* format, ...);

// Path or null; not to be freed.
KELD_BASE_API const char* KELD_GetLogFilePath(void);

// Level, may be negative.
KELD_BASE_API int KELD_GetLogLevel(void);

// In force from the next line on.
KELD_BASE_API void KELD_SetLogLevel(int level);

// ---- configuration ----

// Configuration directory without trailing separator; not to be freed.
KELD_BASE_API const char* KELD_GetCfgPath(void);

// Value of an INI file or the default.
KELD_BASE_API void KELD_GetProfileString(const char* section, const char* key, char* out /*1025*/,
                                         const char* defaultValue, const char* file);

// Value as integer or the default.
KELD_BASE_API int KELD_GetProfileInt(const char* section, const char* key, int defaultValue,
                                     const char* file);

// Value of the process's settings store or the default; defaultValue may be out itself, which then
// stays as it is.
KELD_BASE_API void KELD_GetIniString(const char* section, const char* key, char* out /*1025*/,
                                     const char* defaultValue);

// Value or default.
KELD_BASE_API int KELD_GetIniInt(const char* section, const char* key, int defaultValue);

// Fill section prefName anew from "key=value" lines, replacing an earlier content; values stay the
// caller's.
KELD_BASE_API void KELD_CreateProfileFromPref(
    const char* prefName, int count, char** values,
    const char* storeName /*"KELD_ConvertedBaseIniSettings"*/, int flag /*0*/);

// Drop what was so filled, but only while KELD_IsLocPrefCacheDisabled() is true.
KELD_BASE_API void KELD_DeletePrefProfile(void);

// True: read preferences anew on every call.
KELD_BASE_API logical KELD_IsLocPrefCacheDisabled(void);

// ---- text ----

// Lower case in place.
KELD_BASE_API void KELD_StringToLower(char* text);

// Clean a name in place, never longer than before.
KELD_BASE_API void KELD_KillExtraChars(char* text);

}  // extern "C"

class CKELD_ParamLine {  // no destructor, no virtual operation
public:
    KELD_BASE_API CKELD_ParamLine(const char* text,
                                  char separator);  // text up to 1024 characters, longer is cut
    CKELD_ParamLine(const CKELD_ParamLine&) = default;
    KELD_SE_API CKELD_ParamLine& operator=(
        const CKELD_ParamLine& other);  // defined and exported by libkeld_se: bytewise copy
    KELD_BASE_API int GetParamString(
        int index,
        char* const
            out /*1025*/);  // 1: out holds parameter index; 0: none (also index < 0), out unchanged
private:
    char m_sLine[1025];
    char m_cSeparator;
};

class CKELD_String {  //
public:
    CKELD_String() = default;
    CKELD_String(const CKELD_String&) = default;
    KELD_SE_API CKELD_String& operator=(
        const CKELD_String& other);                         // defined and exported by libkeld_se
    KELD_BASE_API static void string_to_lower(char* text);  // lower case in place
};

class CKELD_Datum {  // only copied here
public:
    CKELD_Datum() = default;
    CKELD_Datum(const CKELD_Datum&) = default;
    KELD_SE_API CKELD_Datum& operator=(
        const CKELD_Datum& other);  // defined and exported by libkeld_se: bytewise copy
    date_s m_dsDate{};
};
