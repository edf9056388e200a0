#pragma once

// The preferences of the attribute copy, line by line, as the library reads them.

#include <string>
#include <vector>

#include "tools/keld/host/service.h"

namespace keld {

inline constexpr const char* kCopyPreferences[] = {
    "KELD_CopyAttributes_WSO", "KELD_CopyAttributes_Form", "KELD_CopyAttributes_Relation"};
inline constexpr std::size_t kCopyRelations = 2;  // the one with relation lines

struct CopyLine {
    std::string preference;
    int number = 0;  // from 1, within its preference
    std::string text;
    bool skipped = false;              // a comment, or too short
    std::vector<std::string> errors;   // what the library says
    std::vector<std::string> remarks;  // what it does without saying
};

std::vector<CopyLine> copyLines(const Context& context);
// The fields of a line that isn't skipped, as far as it has them.
std::vector<std::string> copyFields(const CopyLine& line);

struct CopyCheck {
    std::vector<CopyLine> lines;
    int status = 0;  // of the read; nothing is copied unless it is 0
};

// Let the service read the preferences without a destination, and tell its lines' faults apart.
CopyCheck checkCopyLines(Context& context);

// Line ends at the end taken off, other control characters as escapes, and not too long.
std::string shownLine(const std::string& text, std::size_t most = 100);

}  // namespace keld
