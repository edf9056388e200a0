#pragma once

// Reading the rename's settings and handling its texts: a missing setting gives its default and is
// never an error, and nothing is written past a buffer.

#include <cstddef>
#include <string>

#include "platform/types.h"

inline constexpr std::size_t KELD_RenameValueSize = 1025;

// The text itself; an empty one for null.
const char* KELD_RenameText(const char* szText);

// The text as a key has it: "(null)" for null.
std::string KELD_RenameKeyPart(const char* szText);

bool KELD_RenameEqual(const char* szLeft, const char* szRight);

// Whether the bare name occurs in the list: a part of a listed name counts as listed, and so does
// an empty name.
bool KELD_RenameListed(const char* szList, const char* szName);

// Copy at most uiLimit bytes and the terminator into a buffer of uiLimit + 1. Kept: a longer text
// is cut without a warning.
void KELD_RenameCut(char* szOut, const char* szText, std::size_t uiLimit);

// One setting; a key of more than 100 characters is read as absent. The default may be the buffer.
void KELD_ReadRenameSetting(const std::string& sKey, char* cOut /*1025*/, const char* szDefault);
int KELD_ReadRenameNumber(const std::string& sKey, int iDefault);

// The plain key's value, overridden by the type key's.
void KELD_ReadGeneralFirst(const char* szKey, const char* szType, char* cOut /*1025*/,
                           const char* szDefault);

// The type key's value if it isn't empty, else the plain key's. Kept: so an empty type value can't
// switch the plain one off.
void KELD_ReadTypeFirst(const char* szKey, const char* szType, char* cOut /*1025*/,
                        const char* szDefault);

// Put a value between semicolons, in its own buffer.
void KELD_RenameList(char* cValue /*1025*/, const char* szField);
