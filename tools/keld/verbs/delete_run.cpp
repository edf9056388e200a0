#include "tools/keld/verbs/delete_run.h"

namespace keld {

void DeleteCalls::add(const mervane::JournalEntry& entry) {
    const tag_t tag = entry.object();
    const bool listed = objects_.contains(tag);
    if (listed) {
        run_.reached.insert(tag);
        run_.last = tag;
    }
    if (entry.operation == "DIR_ask_size")
        revision_ = 0;
    else if (entry.operation == "STR_where_used_all")
        revision_ = tag;
    else if (entry.operation == "OBJ_UIF_ask_value" && listed)
        run_.refused.emplace(tag, revision_);  // an object's name is asked for to refuse it
    else if (entry.operation == "FIL_export_file" && entry.status == 0)
        run_.files.push_back({run_.last, *entry.argument<std::string>(1)});
}

}  // namespace keld
