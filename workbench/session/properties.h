#pragma once

// Properties are the attributes of an object's type and a few values that are worked out from them.

#include <string>
#include <string_view>

#include "workbench/session/session.h"

namespace mervane {

// Whether every instance of the type has a property of this name.
bool typeHasProperty(const Type& type, std::string_view name);

// Name of the latest release status that can be loaded; empty: there is none.
std::string latestStatusName(Session& session, Object& object);

// The text that a property's values show; what can't be loaded is left out.
std::string displayText(Session& session, const Session::Property& property);

}  // namespace mervane
