#pragma once

// Basic types and constants of the platform interface, and the rules of its calls.
//
// The following holds for every call that returns a status, unless the call says otherwise.
// - 0 (QSK_ok) is success. On any other status every out parameter keeps what the caller put there
//   and nothing is handed out; the error stack has an entry whose text names the object, the
//   operation and the reason.
// - NULLTAG and unknown tags as object, and null pointers where a value or a place for one is
//   needed, give a failing status.
// - What is handed out through a pointer to a pointer is one block of the platform's heap, given
//   back with HEAP_free. An empty list is count 0 and a null pointer. An array of strings is one
//   block of count + 1 pointers, the last one null, and a block for each string.
// - A buffer of the caller has the size in bytes that the comment after its parameter gives,
//   terminator included. The call writes the text and one terminator; it leaves the rest alone and
//   never writes past the size.
// - Texts are UTF-8 and measured in bytes. What is passed in stays the caller's.
// - The modify lock belongs to the session and isn't counted. A stored object is written under its
//   lock; a new one, a new relation and a BOM line without. A call that takes a lock says so; a
//   failing call leaves the locks as they are.

#include <cstddef>
#include <cstdint>
#include <cstdio>

typedef uint32_t tag_t;      // object, class, attribute, relation type, type
typedef bool logical;        // one byte
typedef tag_t* vectorTag_t;  // array of tags owned by the caller

struct date_s {     // 8 bytes, the last one padding: compare by field
    int16_t year;   // full year
    uint8_t month;  // 0 is January
    uint8_t day, hour, minute, second;
};

struct rel_entry_s {         // relation list entry, five 32-bit fields
    uint32_t relation;       // the relation object
    uint32_t primary;        // the object that was asked about; not read
    uint32_t secondary;      // the object found at the other end, in BOTH list calls
    uint32_t relation_type;  // its relation type
    uint32_t user_data;      // not read
};

struct ItemDescription {  // record of ENT_describe
    char name[129];
    char description[241];
};

static_assert(sizeof(logical) == 1 && sizeof(date_s) == 8 && sizeof(rel_entry_s) == 20);

inline constexpr int QSK_ok = 0;
inline constexpr tag_t NULLTAG = 0;    // no object; as relation type: all types
inline constexpr int DBO_no_lock = 0;  // lock modes
inline constexpr int DBO_modify_lock = 1;
inline constexpr int DBO_in_ds_and_db = 9003;  // mode of DBO_referencers_of_instance
inline constexpr int ERR_severity_error = 3;   // the only severity in use
inline constexpr int MV_preference_site = 4;   // preference scope; 0 is no particular scope
#ifndef TRUE
#define TRUE true  // as traced calls write them
#define FALSE false
#endif
