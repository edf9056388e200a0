#include "tools/keld/verbs/delete_run.h"

namespace keld {

DeleteRun readDeleteRun(const std::vector<mervane::JournalEntry>& journal,
                        const std::set<tag_t>& objects) {
    DeleteRun run;
    tag_t revision = 0;
    for (const mervane::JournalEntry& entry : journal) {
        const tag_t tag = entry.object();
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
            run.files.push_back({run.last, *entry.argument<std::string>(1)});
    }
    return run;
}

}  // namespace keld
