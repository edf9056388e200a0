#include <algorithm>

#include "workbench/model/model.h"
#include "workbench/model/status.h"

// Texts as an administrator wants to read them: what happened, to what, and where to look. "%1$" is
// the place of the parameter that came with the number.

namespace mervane {

namespace {

struct Message {
    int number;
    std::string_view text;
};

// Sorted by number.
constexpr Message kMessages[] = {
    {1100, "The backup directory can't be made: %1$"},
    {1700, "There is no such preference: %1$"},
    {2002, "There was no memory for a copy of a text, or a walk is too deep: %1$"},
    {2010, "A file, type, property or relation type isn't there or can't be used: %1$"},
    {9112, "The dataset has no previous version: %1$"},
    {35004, "The relation type isn't known: %1$"},
    {39014, "The object type isn't known: %1$"},
    {48053, "The item has no such revision: %1$"},
    {100304, "The new item id is registered already: %1$"},
    {100309, "The item id registry can't be reached: %1$"},
    {515001, "There is no write access to the top line of the structure: %1$"},
    {515186, "The job directory can't be made: %1$"},
    {710001, "No session is open: %1$"},
    {710002, "A value or a place for a value is missing: %1$"},
    {710003, "There is no such object: %1$"},
    {710004, "There is no such class: %1$"},
    {710005, "The object has no such attribute or property: %1$"},
    {710006, "There is no such type: %1$"},
    {710007, "The attribute is of another kind: %1$"},
    {710008, "The text is longer than its field: %1$"},
    {710009, "The operation doesn't take objects of this class: %1$"},
    {710010, "The object isn't locked by this session: %1$"},
    {710011, "The object is locked by another session: %1$"},
    {710012, "The object was changed since it was read: %1$"},
    {710013, "The object is still referred to: %1$"},
    {710014, "The property can't be written: %1$"},
    {710015, "There is no entry with this index: %1$"},
    {710016, "The value doesn't fit: %1$"},
    {710017, "The id or name is taken: %1$"},
    {710018, "The service call has no further argument: %1$"},
    {710019, "The next argument of the service call is of another kind: %1$"},
    {710020, "There is no such privilege: %1$"},
    {710021, "The user lacks the right: %1$"},
    {710022, "The object is checked out by another user: %1$"},
    {710023, "The store can't be read or written: %1$"},
    {710024, "The file can't be read or written: %1$"},
    {710025, "There is no memory: %1$"},
    {710026, "The date is not valid: %1$"},
    {710027, "There is no such protect mark: %1$"},
    {710028, "The import was refused, nothing was stored: %1$"},
    {710029, "The workbench failed: %1$"},
    {710030, "The run was interrupted: %1$"},
    {919320, "A new item id or revision id, or the item, is missing: %1$"},
    {919342, "The object can't be changed: it is a replica, read-only or checked out: %1$"},
    {919343, "The object's release status doesn't allow a new name: %1$"},
    {919344, "The setting SaveOldId names nothing that can be written: %1$"},
    {919345, "The item id is registered, and this user may not change it: %1$"},
    {919400, "The job item couldn't be filled and was deleted again: %1$"},
    {919401, "The user may not change the status of the object: %1$"},
    {919402, "The object's type isn't configured for this status: %1$"},
    {919403, "The object doesn't have the status that must come before: %1$"},
    {919404, "A field that is needed for this status is empty: %1$"},
    {919405, "The object is checked out: %1$"},
    {919500, "The folder isn't empty: %1$"},
    {919502, "The revision is used in a structure: %1$"},
    {919998, "The job couldn't be started or an argument was refused: %1$"},
};

}  // namespace

std::string_view messageText(int status) {
    const auto* at = std::lower_bound(
        std::begin(kMessages), std::end(kMessages), status,
        [](const Message& message, int number) { return message.number < number; });
    return at != std::end(kMessages) && at->number == status ? at->text : std::string_view();
}

std::vector<int> messageNumbers() {
    std::vector<int> numbers;
    for (const Message& message : kMessages)
        numbers.push_back(message.number);
    return numbers;
}

}  // namespace mervane
