#include "tools/keld/verbs/delete_run.h"

#include <cstdlib>

namespace keld {

namespace {

// The object that a call begins with: "#12, ..."; 0 if it begins with something else.
tag_t firstTag(const std::string& arguments) {
    return arguments.starts_with("#")
               ? static_cast<tag_t>(std::strtoul(arguments.c_str() + 1, nullptr, 10))
               : 0;
}

// The text between the first and the last quote: #12, "text".
std::string quoted(const std::string& arguments) {
    const auto first = arguments.find('"'), last = arguments.rfind('"');
    return first < last ? arguments.substr(first + 1, last - first - 1) : "";
}

}  // namespace

DeleteRun readDeleteRun(const std::vector<mervane::JournalEntry>& journal,
                        const std::set<tag_t>& objects) {
    DeleteRun run;
    tag_t revision = 0;
    for (const mervane::JournalEntry& entry : journal) {
        const tag_t tag = firstTag(entry.arguments);
        const bool listed = objects.contains(tag);
        if (listed) {
            run.reached.insert(tag);
            run.last = tag;
        }
        if (entry.operation == "DIR_ask_size")
            revision = 0;
        else if (entry.operation == "STR_where_used_all")
            revision = tag;
        else if (entry.operation == "OBJ_UIF_ask_value" && listed)
            run.refused.emplace(tag,
                                revision);  // the name of an object is asked for a refusal only
        else if (entry.operation == "FIL_export_file" && entry.status == 0)
            run.files.push_back({run.last, quoted(entry.arguments)});
    }
    return run;
}

}  // namespace keld
