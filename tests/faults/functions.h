#pragma once

// Which function a code address lies in, by the symbols of the program itself.

#include <cstdint>
#include <string>

namespace faults {

// The name without arguments and without anonymous namespaces: "CKELD_Status1::Set". A lambda has
// the name of the function around it. Empty: unknown.
const std::string& functionAt(std::uintptr_t code);
// Read the symbols now, so that processes forked later have them.
void readFunctions();

}  // namespace faults
