#pragma once

// Basic types and constants of the platform interface.

#include <cstddef>
#include <cstdint>
#include <cstdio>

typedef uint32_t tag_t;      // object, class, attribute, relation type, type
typedef bool logical;        // one byte
typedef tag_t* vectorTag_t;  // array of tags owned by the caller (pack and resequence)

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

struct ItemDescription {  // record of ENT_describe (rename entries)
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
#define TRUE true  // as written at sites of the dataset upload
#define FALSE false
#endif
