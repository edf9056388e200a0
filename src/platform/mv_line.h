#pragma once

// LINE_: BOM lines

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Numeric id of a line attribute.
MV_API int LINE_look_up_attribute(const char* name, int* attribute);

// Tag-valued attribute; NULLTAG if unset.
MV_API int LINE_ask_attribute_tag(tag_t line, int attribute, tag_t* value);

// Child lines in platform order, allocated.
MV_API int LINE_ask_child_lines(tag_t line, int* count, tag_t** children);

// Merge the line with like lines of equal number.
MV_API int LINE_pack(tag_t line);

// Undo packing of the line; statuses are positive numbers.
MV_API int LINE_unpack(tag_t line);

}  // extern "C"
