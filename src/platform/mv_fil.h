#pragma once

// FIL_: stored files.
// The rules of every call are in platform/types.h.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Name that the file had when it was imported, at most 132 bytes and the terminator; may be empty.
// Returns: 0; a failing status for a tag that is no file. `name` then keeps what it held.
MV_API int FIL_ask_original_file_name(tag_t file, char* name /*133*/);

// Set it on a locked or new file object, at most 132 bytes; OBJ_save stores it.
// Returns: 0; a failing status without the lock, for a longer text or a tag that is no file. The
// old name then stays.
MV_API int FIL_set_original_file_name(tag_t file, const char* name);

// A new file object with a copy of the file at `path`; `newName` null: the original name is the
// path's last part. The file on disk stays. The object is stored by saving it. `fileDescriptor` is
// not used further and may be null.
// Returns: 0; a failing status if the file can't be read or is no regular file. Nothing is made
// then.
MV_API int FIL_import_file(const char* path, const char* newName /*null*/, int fileType,
                           tag_t* file, int* fileDescriptor);

// Write the contents to a path that doesn't exist yet; nothing is overwritten and no link followed.
// Returns: 0; a failing status if the path exists or can't be written, or for a tag that is no
// file.
MV_API int FIL_export_file(tag_t file, const char* path);

}  // extern "C"
