#pragma once

// libkeld_qsktool: conveniences over the platform interface.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Stack and text of the status go to the log; stack and status unchanged.
KELD_QSK_API void KELD_ReportLastQskError(int status);

// Fresh copy, freed with HEAP_free; null if there is no memory or text is null.
KELD_QSK_API char* KELD_CopyString(const char* text);

// ---- objects: status, a failed call counts as a failed platform call ----

// Class equal or below; class name of the instance, then MVTYPE_find_type(thatName, className).
KELD_QSK_API int KELD_isObjectOfClass(tag_t object, const char* className, logical* result);

// The same at the level of the object's type.
KELD_QSK_API int KELD_isObjectOfTypeExt(tag_t object, const char* typeName, logical* result,
                                        logical withSubtypes /*true*/);

// Name of a relation type; the job file writer names 33 bytes: pass 129 and cut only what is
// written to 32.
KELD_QSK_API int KELD_MVTYPE_ask_name(tag_t type, char* name /*129*/);

// Item by id; none: status 0, NULLTAG.
KELD_QSK_API int KELD_ART_find_item(const char* itemId, tag_t* item);

// Master form of an item or revision, or NULLTAG.
KELD_QSK_API int KELD_GetMasterForm(tag_t object, tag_t* form);

// Form under this named reference, or NULLTAG; form is set on every outcome.
KELD_QSK_API int KELD_GetNamedRefForm(tag_t dataset, const char* refName, tag_t* form,
                                      logical load /*true*/, void* reserved /*null*/);

// Field as text, cut at maxLength characters: out has maxLength + 1 bytes; actualLength is the
// length before the cut, 0 exactly when the field is empty; unknown field: failing status.
KELD_QSK_API int KELD_SHEET_ask_value(tag_t form, const char* field, int maxLength, char* out,
                                      int* actualLength);

// Name of the last loadable entry of release_status_list, cut at 32; empty if there is none.
KELD_QSK_API int KELD_ask_latest_status(tag_t object, char* status /*33*/);

// No status: modifiable and not checked out by anybody; a failed platform call gives false.
KELD_QSK_API logical KELD_TestModifiableAndNotCheckout(tag_t object);

// Owned by another site.
KELD_QSK_API int KELD_isItemReplica(tag_t item, logical* result);

// Current local date and time, month 0-based; status not looked at.
KELD_QSK_API int KELD_GetTime(date_s* now);

// ---- preferences; unknown preference is never a failure ----

// All values as string array; unknown: status 0, count 0, null.
KELD_QSK_API int KELD_GetPreferenceArray(const char* name, int* count, char*** values, int scope);

// First value, allocated; unknown: status 0, null.
KELD_QSK_API int KELD_GetPreferenceValue(const char* name, char** value,
                                         const char* defaultValue /*null*/, int scope = 0);

// Value or a copy of the default, allocated in both cases.
KELD_QSK_API int KELD_get_string_pref(int scope, const char* name, char** value,
                                      const char* defaultValue);

// Value or default.
KELD_QSK_API int KELD_get_logical_pref(int scope, const char* name, logical* value,
                                       logical defaultValue);

// ---- strings, lists, names ----

// Replace special characters in place, never longer; nothing left may mean anything to a path or a
// command line.
KELD_QSK_API void KELD_RepSpecialChar(char* text);

// Separate strings as string array; empty entries as in CKELD_ParamLine.
KELD_QSK_API int KELD_splitItemString(const char* text, const char* separators, int* count,
                                      char*** items);

// Is the tag in the array.
KELD_QSK_API int KELD_searchElementInArray(tag_t tag, const tag_t* array, int count,
                                           logical* found);

// Expand variables of a path; in and out may be the same buffer.
KELD_QSK_API int KELD_ExtendPathVar(const char* in, char* out /*1024*/);

// Full path of a new file in directory, new for each counter; too long: failing status.
KELD_QSK_API int KELD_buildFileNameNew(tag_t object, const char* directory, char* out /*256*/,
                                       const char* extension, logical fileOnlyPid, int counter);

}  // extern "C"
