#pragma once

// The result of resequencing a list of lines, computed from the rules without the lines' platform:
// by sorted lists of places for each component and number, where the library walks the lines.

#include <cstddef>
#include <string>
#include <vector>

namespace bom_model {

struct Component {
    std::string key;     // equal keys are one component
    std::string number;  // as read
};

struct Outcome {
    std::vector<std::size_t> order;     // places of the lines in the order in which they end up
    std::vector<std::string> assigned;  // by the lines' first place; empty: none
    std::string dump;                   // what is printed on standard output
};

// Keep the order and the numbers that can be kept.
Outcome keep(const std::vector<Component>& lines, int increment);
// Sort by component and number from the start.
Outcome sortAndNumber(const std::vector<Component>& lines, int first, int increment);

// A text that begins with a number other than 0.
bool isNumber(const std::string& text);
// Its value, limited to the range of int.
int valueOf(const std::string& text);

}  // namespace bom_model
