#pragma once

// What the property operations need of BOM lines, which are no objects of the store. Defined beside
// the BOM windows.

#include <string>
#include <string_view>

#include "workbench/session/session.h"

namespace mervane {

inline bool isLine(tag_t tag) {
    return isHandle(tag, HandleKind::BomLine);
}

// Properties of a line: its attributes, its notes, and object_name, object_type, object_string.
// Failure kUnknownObject for a line of no open window, kUnknownAttribute for an unknown name.
Session::Property lineProperty(Session& session, tag_t line, std::string_view name);
// Needs no lock; Failure kReadOnly for what can't be written.
void setLineProperty(Session& session, tag_t line, std::string_view name, const Values& values);

}  // namespace mervane
