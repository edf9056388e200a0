#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace mervane {

// What is wrong with a string of a STEP file; the scanner adds the place.
struct BadStepText : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The text of a string, given what is between its apostrophes, as UTF-8. Doubled apostrophes and
// the directives \\ \S\ \Px\ \X\ \X2\ \X4\ are decoded; line breaks, \N\ and \F\ are left out. A
// backslash that begins no directive is kept, since writers put plain paths into names; bytes above
// 7F that are no UTF-8 are taken as ISO 8859-1. Throws BadStepText.
std::string decodeStepText(std::string_view raw);

}  // namespace mervane
