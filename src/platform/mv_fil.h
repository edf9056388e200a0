#pragma once

// FIL_: stored files

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Original name; may be empty.
MV_API int FIL_ask_original_file_name(tag_t file, char* name /*133*/);

// Set on the locked file object, at most 132 characters.
MV_API int FIL_set_original_file_name(tag_t file, const char* name);

// New file object from a file on disk; descriptor not used further.
MV_API int FIL_import_file(const char* path, const char* newName /*null*/, int fileType,
                           tag_t* file, int* fileDescriptor);

// Write the contents to the path.
MV_API int FIL_export_file(tag_t file, const char* path);

}  // extern "C"
