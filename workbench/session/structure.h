#pragma once

// Stored structures: BOM views, their revisions, occurrences.
//
// Attributes used here:
//   STRBOMView          parent_item -> Item
//   STRBOMViewRevision  bom_view -> STRBOMView, parent_revision -> ItemRevision
//   STROccurrence       parent_bvr -> STRBOMViewRevision, child -> ItemRevision,
//                       quantity, seq_no (string), order_no (int),
//                       note_names, note_values (string[]), in parallel
//   NoteType            note_name (string)
// Occurrences of a view revision are in the order of order_no, equal ones in that of their tags.

#include <map>
#include <string>
#include <vector>

#include "workbench/session/session.h"

namespace mervane {

// Failure kWrongClass for a revision that is no item revision, but not from viewRevisionsOf() and
// newOccurrence().

// The view revision of a revision, made with its view and stored if there is none.
tag_t bomViewRevision(Session& session, tag_t revision);
// The view revisions of a revision, the views of an item, in the order in which they were made.
std::vector<tag_t> viewRevisionsOf(Session& session, tag_t revision);
std::vector<tag_t> viewsOf(Session& session, tag_t item);
// An occurrence that is not yet saved, without any test; for whoever makes whole structures.
Object& newOccurrence(Session& session, tag_t view_revision, tag_t child_revision,
                      std::int64_t order);
// A further occurrence after the others, stored; the names of its notes become note types. Failure
// kBadValue for a quantity that is no decimal number and for one that would make a cycle. Note
// types and a view revision that were made stay after a failure.
tag_t addOccurrence(Session& session, tag_t parent_revision, tag_t child_revision,
                    const std::string& quantity, const std::string& sequence_no,
                    const std::map<std::string, std::string>& notes = {});
// In their order, those that can be loaded.
std::vector<tag_t> occurrencesOf(Session& session, tag_t view_revision);
// Give a revision the occurrences of another one. Returns: how many. Failure kBadValue if it has
// some already, or one would make a cycle: those before it stay, unless a batch takes them back.
int copyStructure(Session& session, tag_t from_revision, tag_t to_revision);
// Make a note type known to BOM lines; one that is known stays. Failure kBadValue for an empty
// name.
void defineNoteType(Session& session, const std::string& name);

struct Use {
    tag_t parent = NULLTAG;  // revision
    int level = 0;           // 1: uses it directly
};
// Who uses the revision, each once at its lowest level, by level and tag. Levels below 1: all.
std::vector<Use> whereUsed(Session& session, tag_t revision, int levels);

// Count what is stored below a revision. At most `most` revisions are looked at; 0: all.
StructureSize measureStructure(Session& session, tag_t revision, std::size_t most);

}  // namespace mervane
