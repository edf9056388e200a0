#pragma once

// Properties are the attributes of an object's type and a few values that are worked out from them.

#include <string_view>

#include "workbench/model/model.h"

namespace mervane {

// Whether every instance of the type has a property of this name.
bool typeHasProperty(const Type& type, std::string_view name);

}  // namespace mervane
