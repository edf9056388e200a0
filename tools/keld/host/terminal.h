#pragma once

// The one place that writes to standard output and standard error. What comes from outside (names,
// preferences, logs, errors) reaches a terminal with its control characters as escapes.

#include <string>
#include <string_view>

namespace keld {

// A text in one line: control characters, line breaks included, and bytes that are no UTF-8 as
// escapes: "\n", "\x1b". The colours of `painted` stay.
std::string shown(std::string_view text);

enum class Colour { Plain, Dim, Bold, Red, Green, Yellow, Cyan };
// In this colour, on a terminal only and not if NO_COLOR is set to anything.
std::string painted(Colour colour, const std::string& text);
// Number of characters of a text as it is shown.
std::size_t characters(std::string_view text);

// A text for people, its line breaks kept.
void writeText(const std::string& text);
// Exactly these bytes: a JSON document, the content of a file. What goes to a terminal goes there
// as a text.
void writeBytes(std::string_view bytes);
// One line to standard error behind "keld: ".
void tell(std::string_view text);
// The same text again and again in the same line of a terminal, else a line each; `end` ends it.
void tellAgain(std::string_view text);
void endTelling();
// Text of services and programs to standard error, its line breaks kept.
void passOn(const std::string& text);

// False: something could not be written.
bool writtenOut();

}  // namespace keld
