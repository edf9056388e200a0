#pragma once

// The attribute copy: properties go from a source object to a destination by display value, then
// down the configured relations from pair to pair. Three preferences say what is copied and which
// relations are followed; they become two lists that the service keeps for the life of the process;
// see docs/settings.md. All functions here return 0 or a status; none removes an entry that it has
// made.

#include "platform/types.h"

// One line of KELD_CopyAttributes_WSO or KELD_CopyAttributes_Form.
struct object_attributes_s {
    char* object_type;     // the source object's exact type; owned, freed with HEAP_free
    char* attribute_name;  // owned, too
    logical copy_empty;    // an empty value is copied as well
};

struct copyList {
    object_attributes_s* object_attributes;  // from HEAP_alloc, one entry longer with each line
    int count;
};

// One line of KELD_CopyAttributes_Relation.
struct relation_combination_s {
    char* primary;            // exact type of the source object; owned, as the next two
    char* secondary;          // exact type of the object at the other end
    char* relation_type;      // name of a relation or named reference, or "revision_list"
    tag_t relation_type_tag;  // NULLTAG: an item's revisions or a dataset's named references
};

struct relList {
    relation_combination_s* relation_combination;  // as above
    int count;
};

// Append the lines of the three preferences to the lists. Each value is cut to 1024 bytes; line
// ends, then blanks are taken off its end; a line that is then shorter than three characters or
// begins with '#' is skipped.
// Returns: the status of the last line that was not skipped, 0 if there was none.
// Frees: the arrays of the values, not the values themselves.
[[nodiscard]] int ReadCopyAttrPref(copyList* objects, relList* relations);

// Split "<object type>;<property>" or "<object type>;<property>;null", the last with copy_empty,
// into fields of at most 240 bytes and add them.
// Returns: 2010 for a line without ';', with an error on the stack; else as KELD_add_attribute.
[[nodiscard]] int AddAttribute(copyList* list, const char* line);

// Split "<primary object type>;<relation>;<secondary object type>" in the same way and add it. The
// relation VANE_master_form_rev is kept as VANE_master_form.
// Returns: 2010 for a line with less than two ';', with an error on the stack; else as
// KELD_add_relation_combination.
[[nodiscard]] int AddRelation(relList* list, const char* line);

// Append an entry, then check it: the entry stays whatever the check says.
// Returns: 0; 2002 if a text couldn't be copied; 2010 for a type or property that doesn't exist,
// with an error on the stack; or the status of a failed platform call.
[[nodiscard]] int KELD_add_attribute(copyList* list, const char* object, const char* attribute,
                                     logical copyEmpty);

// Append an entry and find its relation type: none for the revision_list of an item type and for
// any line of a dataset type. A primary or secondary type that doesn't exist goes on the error
// stack with 39014, but the relation alone decides what is returned. Mind the arguments' order.
// Returns: 0; 35004 for an unknown relation, with an error on the stack; or the status of the
// failed search for it.
[[nodiscard]] int KELD_add_relation_combination(relList* list, const char* primary,
                                                const char* secondary, const char* relation);

// Copy from source to destination, then from their objects below. A destination of another site and
// one that may not be changed keep their values, but the walk goes on below them. Nothing but an
// object being its own destination ends a cycle of the configuration and the data.
// Returns: 0 or the status that ended the walk; what was saved before stays saved.
// Leaves locked: a destination whose values couldn't be copied or saved.
[[nodiscard]] int CopyAttributes(tag_t tSource, tag_t tDest, copyList objects, relList relations);
