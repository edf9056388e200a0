#pragma once

// Reading the status manager's INI file into texts of their own size: the walk calls itself, so no
// buffer of a setting's full length may stay on the stack.

#include <string>

#include "platform/types.h"

// The value of a key, or the default.
std::string KELD_ReadConfigText(const char* section, const char* key,
                                const char* defaultValue = "");

// The entry of a list by index from 0: true and *pEntry, or false if there is none.
[[nodiscard]] bool KELD_GetListEntry(const std::string& list, char separator, int index,
                                     std::string* pEntry);
// The same, with an empty text for an entry that isn't there.
std::string KELD_ListEntry(const std::string& list, char separator, int index);

// Section names have at most 199 bytes; what is longer is cut there.
std::string KELD_ProcessSection(const char* status, const char* prefix, const char* type);
std::string KELD_FormSection(const char* section, const char* form);

// Whether the object's type is exactly this one; an empty type matches no object.
bool KELD_HasObjectType(tag_t object, const std::string& type);
