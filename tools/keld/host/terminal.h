#pragma once

// The one place that writes to standard output and standard error. In text from outside (names,
// preferences, logs, errors), control characters reach a terminal as escapes only: no name can move
// the cursor or forge a line.

#include <string>
#include <string_view>

namespace keld {

// A text in one line. Control characters, line breaks included, and bytes that are no UTF-8 become
// escapes: "\n", "\x1b". The colours of `painted` stay.
std::string shown(std::string_view text);

enum class Colour { Plain, Dim, Bold, Red, Green, Yellow, Cyan };
// The text in this colour; only on a terminal, and not if NO_COLOR has a value.
std::string painted(Colour colour, const std::string& text);
// Number of characters that are shown of a text.
std::size_t characters(std::string_view text);

// Write a text for people; line breaks stay.
void writeText(const std::string& text);
// Write exactly these bytes: a JSON document, the content of a file. A terminal gets them with
// control characters escaped.
void writeBytes(std::string_view bytes);
// Write one line to standard error after "keld: ".
void tell(std::string_view text);
// Write the text over the last one on a terminal, else as a line of its own; endTelling ends it.
void tellAgain(std::string_view text);
void endTelling();
// Write text of services and programs to standard error; line breaks stay.
void passOn(const std::string& text);

// False: some output was lost.
bool writtenOut();

}  // namespace keld
