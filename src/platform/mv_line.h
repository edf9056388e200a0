#pragma once

// LINE_: BOM lines.
// The rules of every call are in platform/types.h.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Number of a line attribute or note by its name; the same for the life of the process.
// Returns: 0; a failing status for an unknown name.
MV_API int LINE_look_up_attribute(const char* name, int* attribute);

// A tag-valued line attribute, for instance bl_revision; NULLTAG if unset.
// Returns: 0; a failing status for a line of no open window, or an attribute that is unknown or of
// another kind.
MV_API int LINE_ask_attribute_tag(tag_t line, int attribute, tag_t* value);

// The lines below, in stored order, without those that are packed into another; none is count 0 and
// a null pointer. Lines live as long as their window.
// Returns: 0; a failing status for a line of no open window, or if there is no memory.
// Frees: the receiver, HEAP_free of `children`.
MV_API int LINE_ask_child_lines(tag_t line, int* count, tag_t** children);

// Merge all like lines into this one: same parent, component revision, notes and number, byte for
// byte. The line then shows the summed quantity, in which an empty one counts as 1: its bl_quantity
// is that sum and can't be set (OBJ_set_value_string fails) until the line is unpacked. A line
// merged into another keeps its tag and is packed without effect.
// Returns: 0; a failing status for a line of no open window.
MV_API int LINE_pack(tag_t line);

// Give the merged lines back with the quantities that they had; without effect on a line that isn't
// packed.
// Returns: 0; a failing status, always above 0, for a line of no open window.
MV_API int LINE_unpack(tag_t line);

}  // extern "C"
