#pragma once

// The lines of the attribute copy's preferences, as the library reads them.

#include <string>
#include <vector>

#include "tools/keld/host/service.h"

namespace keld {

inline constexpr const char* kCopyPreferences[] = {
    "KELD_CopyAttributes_WSO", "KELD_CopyAttributes_Form", "KELD_CopyAttributes_Relation"};
inline constexpr std::size_t kCopyRelations = 2;  // index of the one with relation lines

struct CopyLine {
    std::string preference;
    int number = 0;  // from 1, within its preference
    std::string text;
    bool skipped = false;              // a comment, or too short
    std::vector<std::string> errors;   // reported by the library
    std::vector<std::string> remarks;  // ignored by the library without a word
};

std::vector<CopyLine> copyLines(const Context& context);
// The fields that the line has. Requires: it isn't skipped.
std::vector<std::string> copyFields(const CopyLine& line);

struct CopyCheck {
    std::vector<CopyLine> lines;
    int status = 0;  // status of reading; nothing is copied unless it is 0
};

// Let the service read the preferences without a destination, and assign its errors to the lines.
CopyCheck checkCopyLines(Context& context);

// A line for people: without line ends, control characters as escapes, and cut.
std::string shownLine(const std::string& text, std::size_t most = 100);

}  // namespace keld
