#pragma once

// The texts by which people look for objects: ids and names. Each is a single text of its class.

namespace mervane {

struct SearchedText {
    const char *cls, *attribute;
};

inline constexpr SearchedText kSearchedTexts[] = {{"Item", "item_id"},
                                                  {"WorkspaceObject", "object_name"},
                                                  {"ReleaseStatus", "name"},
                                                  {"User", "user_id"},
                                                  {"User", "user_name"},
                                                  {"Group", "group_name"},
                                                  {"Person", "person_name"},
                                                  {"Site", "site_name"},
                                                  {"NoteType", "note_name"},
                                                  {"VaneFile", "original_file_name"},
                                                  {"icm0", "id"}};

}  // namespace mervane
