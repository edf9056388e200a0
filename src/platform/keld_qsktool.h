#pragma once

// libkeld_qsktool: conveniences over the platform interface. Nothing is thrown through any
// function; one that returns a status gives 2002 if memory runs out, its out parameters then keep
// what they held.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Write the error stack and the text of the status to the log; stack and status stay as they are.
KELD_QSK_API void KELD_ReportLastQskError(int status);

// A fresh copy; null if there is no memory or `text` is null.
// Frees: the receiver, with HEAP_free.
KELD_QSK_API char* KELD_CopyString(const char* text);

// ---- objects: status, a failed call counts as a failed platform call ----

// Whether the object's class is this class or below it. An unknown class name gives false.
// Returns: 0; a failing status of the platform call that failed. `result` then keeps its value.
KELD_QSK_API int KELD_isObjectOfClass(tag_t object, const char* className, logical* result);

// The same at the level of the object's type; `withSubtypes` false: only exactly this type.
// Returns: 0; a failing status of the platform call that failed. `result` then keeps its value.
KELD_QSK_API int KELD_isObjectOfTypeExt(tag_t object, const char* typeName, logical* result,
                                        logical withSubtypes /*true*/);

// Name of a type or relation type, at most 128 bytes and the terminator.
// Returns: 0; a failing status of the platform call that failed. `name` then keeps what it held.
KELD_QSK_API int KELD_MVTYPE_ask_name(tag_t type, char* name /*129*/);

// Item by its id; none: status 0, NULLTAG.
// Returns: 0; a failing status of the platform call that failed.
KELD_QSK_API int KELD_ART_find_item(const char* itemId, tag_t* item);

// Master form of an item or revision (VANE_master_form, else VANE_master_form_rev); NULLTAG if
// there is none.
// Returns: 0; a failing status of the platform call that failed.
KELD_QSK_API int KELD_GetMasterForm(tag_t object, tag_t* form);

// The form under this named reference of a dataset, loaded if `load` is true. `form` is set on
// every outcome, to NULLTAG if there is none; `reserved` is null.
// Returns: 0; a failing status of the platform call that failed.
KELD_QSK_API int KELD_GetNamedRefForm(tag_t dataset, const char* refName, tag_t* form,
                                      logical load /*true*/, void* reserved /*null*/);

// A field's display text, cut at `maxLength` bytes: `out` has maxLength + 1 bytes. `actualLength`
// becomes the length before the cut, 0 exactly when the field is empty.
// Returns: 0; a failing status for an unknown field or form. Both out parameters then keep what
// they held.
KELD_QSK_API int KELD_SHEET_ask_value(tag_t form, const char* field, int maxLength, char* out,
                                      int* actualLength);

// Name of the last entry of release_status_list that can be loaded, cut at 32 bytes and terminated;
// empty if there is none.
// Returns: 0; a failing status of the platform call that failed.
KELD_QSK_API int KELD_ask_latest_status(tag_t object, char* status /*33*/);

// True if this user may change the object and nobody has it checked out. No status: a platform call
// that fails gives false.
KELD_QSK_API logical KELD_TestModifiableAndNotCheckout(tag_t object);

// Whether another site owns the item.
// Returns: 0; a failing status of the platform call that failed. `result` then keeps its value.
KELD_QSK_API int KELD_isItemReplica(tag_t item, logical* result);

// Date and time now, in the process's time zone; month 0 is January.
// Returns: 0.
KELD_QSK_API int KELD_GetTime(date_s* now);

// ---- preferences; unknown preference is never a failure ----

// All values of a preference, as an array of strings that ends with a null entry; unknown: status
// 0, count 0, null. `scope` is 0 or MV_preference_site and makes no difference.
// Returns: 0; a failing status of the platform call that failed.
// Frees: the receiver, HEAP_free of each string and of the array, or MV_free_strings.
KELD_QSK_API int KELD_GetPreferenceArray(const char* name, int* count, char*** values, int scope);

// The first value; unknown: status 0 and null. Only null is passed as default.
// Returns: 0; a failing status of the platform call that failed.
// Frees: the receiver, with HEAP_free.
KELD_QSK_API int KELD_GetPreferenceValue(const char* name, char** value,
                                         const char* defaultValue /*null*/, int scope = 0);

// The first value, or a copy of the default.
// Returns: 0; a failing status of the platform call that failed.
// Frees: the receiver, with HEAP_free, in both cases.
KELD_QSK_API int KELD_get_string_pref(int scope, const char* name, char** value,
                                      const char* defaultValue);

// The first value as logical, or the default.
// Returns: 0; a failing status of the platform call that failed.
KELD_QSK_API int KELD_get_logical_pref(int scope, const char* name, logical* value,
                                       logical defaultValue);

// ---- strings, lists, names ----

// Replace, in place and never longer, all characters that could mean something in a path or a
// command line; null is allowed.
KELD_QSK_API void KELD_RepSpecialChar(char* text);

// The parts of a list text as an array of strings that ends with a null entry. An empty part
// between two separators counts, one after the last separator doesn't; an empty text has none:
// count 0, null.
// Returns: 0; a failing status if there is no memory.
// Frees: the receiver, HEAP_free of each string and of the array, or MV_free_strings.
KELD_QSK_API int KELD_splitItemString(const char* text, const char* separators, int* count,
                                      char*** items);

// Whether the tag is in the array, which stays the caller's and may be null for count 0.
// Returns: 0.
KELD_QSK_API int KELD_searchElementInArray(tag_t tag, const tag_t* array, int count,
                                           logical* found);

// Expand the environment's variables in a path, at most 1023 bytes and the terminator; an unset
// name stays as written. `in` and `out` may be the same buffer.
// Returns: 0; a failing status if the result doesn't fit. `out` then keeps what it held.
KELD_QSK_API int KELD_ExtendPathVar(const char* in, char* out /*1024*/);

// Full path of a file in `directory` for this object, at most 255 bytes and the terminator;
// different for each process and counter. `fileOnlyPid` true leaves the object's id out of the
// name. The file isn't made.
// Returns: 0; a failing status and an empty text if the path doesn't fit; a failing status of the
// platform call that failed.
KELD_QSK_API int KELD_buildFileNameNew(tag_t object, const char* directory, char* out /*256*/,
                                       const char* extension, logical fileOnlyPid, int counter);

}  // extern "C"
