#include "tools/keld/verbs/rename_objects.h"

namespace keld {

namespace {

constexpr std::size_t kNameLimit = 128;
constexpr std::size_t kDescriptionLimit = 240;

// Replace the first occurrence of the item id, and after it the first of the revision id.
std::string substituted(const std::string& text, const RenameIds& ids) {
    const auto hit = text.find(ids.old_item);
    if (hit == std::string::npos)
        return text;
    std::string rest = text.substr(hit + ids.old_item.size());
    if (!ids.old_revision.empty())
        if (const auto at = rest.find(ids.old_revision); at != std::string::npos)
            rest.replace(at, ids.old_revision.size(), ids.new_revision);
    return text.substr(0, hit) + ids.new_item + rest;
}

// The limit at which a text was cut: it fills its field and is the beginning of the full text. 0:
// it is whole.
int cutAt(const RenamedText& change, const RenameIds& ids) {
    const bool description = change.attribute == "object_desc";
    if (!description && change.attribute != "object_name")
        return 0;
    const std::size_t limit = description ? kDescriptionLimit : kNameLimit;
    if (change.after.size() != limit)
        return 0;
    const std::string& item_text = description ? ids.new_description : ids.new_name;
    for (const std::string& whole :
         {substituted(change.before, ids), item_text.empty() ? ids.new_item : item_text})
        if (whole.size() > limit && whole.starts_with(change.after))
            return static_cast<int>(limit);
    return 0;
}

}  // namespace

// Give an object's label before the rename: that of the item, its revisions, or an object whose
// label begins with theirs.
std::string labelBefore(const ChangedObject& object, const RenameIds& ids) {
    if (!object.label.starts_with(ids.new_item))
        return object.label;
    std::string rest = object.label.substr(ids.new_item.size());
    if (!rest.empty() && rest.front() != '/')
        return object.label;
    const std::string revision = "/" + ids.new_revision;
    if (!ids.new_revision.empty() && rest.starts_with(revision) &&
        (rest.size() == revision.size() || rest[revision.size()] == ':'))
        rest.replace(0, revision.size(), "/" + ids.old_revision);
    for (const ChangedValue& value : object.values)
        if (value.attribute == "object_name" && rest.ends_with(":" + value.after))
            rest.replace(rest.size() - value.after.size(), value.after.size(), value.before);
    return ids.old_item + rest;
}

std::vector<RenamedText> renamedTexts(const Record& record, const RenameIds& ids) {
    std::vector<RenamedText> changes;
    for (const ChangedObject& object : record.objects)
        for (const ChangedValue& value : object.values) {
            if (!value.text || object.change != "changed")
                continue;
            RenamedText change{labelBefore(object, ids),
                               object.type,
                               value.attribute,
                               value.before,
                               value.after,
                               object.tag,
                               0};
            change.cut_at = cutAt(change, ids);
            changes.push_back(std::move(change));
        }
    return changes;
}

// An error that the library stores is about the object that it tested last; a failed call has its
// own object. The later of both stopped the run.
void RenameStop::add(const mervane::JournalEntry& entry) {
    if (entry.operation == "OBJ_ask_if_modifiable")
        tested_ = entry.object();
    const bool stored = entry.operation.starts_with("ERR_store_error");
    if (!stored && entry.status == 0)
        return;
    object_ = stored ? tested_ : entry.object();
    operation_ = stored ? "" : entry.operation;
}

}  // namespace keld
