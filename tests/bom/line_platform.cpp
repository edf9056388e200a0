#include "tests/bom/line_platform.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "platform/api.h"
#include "platform/mv_acl.h"
#include "platform/mv_art.h"
#include "platform/mv_cko.h"
#include "platform/mv_dbo.h"
#include "platform/mv_heap.h"
#include "platform/mv_line.h"
#include "platform/mv_obj.h"
#include "platform/mv_opt.h"

namespace line_platform {

namespace {

Platform current;

constexpr int kUnknown = 4700, kNoPreference = 1700;
constexpr tag_t kUser = 71;
constexpr int kViewAttribute = 51, kRevisionAttribute = 52;

char* heapText(const std::string& text) {
    char* copy = static_cast<char*>(HEAP_alloc(text.size() + 1));
    std::memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

tag_t* heapTags(const std::vector<tag_t>& tags) {
    if (tags.empty())
        return nullptr;
    auto* copy = static_cast<tag_t*>(HEAP_alloc(tags.size() * sizeof(tag_t)));
    std::copy(tags.begin(), tags.end(), copy);
    return copy;
}

// The field of a line that a property shows, or null.
std::string* field(tag_t tag, const std::string& property) {
    const auto line = current.lines.find(tag);
    if (line == current.lines.end())
        return nullptr;
    Line& shown = line->second;
    if (property == "bl_item_item_id")
        return &shown.item;
    if (property == "bl_rev_item_revision_id")
        return &shown.revision;
    if (property == "bl_sequence_no")
        return &shown.number;
    if (property == "bl_quantity")
        return &shown.quantity;
    const auto note = shown.notes.find(property);
    return note != shown.notes.end() ? &note->second : nullptr;
}

std::string text(tag_t tag) {
    return std::to_string(tag);
}

}  // namespace

Platform& platform() {
    return current;
}

void reset() {
    current = Platform();
}

void Platform::give(const std::vector<Line>& list, tag_t parent) {
    children[parent].clear();
    for (std::size_t i = 0; i < list.size(); ++i) {
        lines[child(i)] = list[i];
        children[parent].push_back(child(i));
    }
}

void Platform::fail(const std::string& operation, int n, int status) {
    fault_ = Fault{operation, n, status};
}

std::vector<std::string> Platform::callsOf(const std::string& beginning) const {
    std::vector<std::string> found;
    for (const std::string& each : calls)
        if (each.starts_with(beginning))
            found.push_back(each);
    return found;
}

int Platform::enter(const char* operation, const std::string& arguments) {
    if (recording)
        calls.push_back(std::string(operation) + "(" + arguments + ")");
    if (!fault_ || (!fault_->operation.empty() && fault_->operation != operation))
        return 0;
    return --fault_->n == 0 ? fault_->status : 0;
}

}  // namespace line_platform

using namespace line_platform;

extern "C" {

KELD_EXPORT int OBJ_ask_value_string(tag_t object, const char* property, char** value) {
    if (int status = current.enter("OBJ_ask_value_string", text(object) + ", " + property))
        return status;
    const std::string* found = field(object, property);
    if (!found)
        return kUnknown;
    *value = current.null_properties.contains(property) ? nullptr : heapText(*found);
    return 0;
}

KELD_EXPORT int OBJ_set_value_string(tag_t object, const char* property, const char* value) {
    if (int status =
            current.enter("OBJ_set_value_string", text(object) + ", " + property + ", " + value))
        return status;
    std::string* found = field(object, property);
    if (!found)
        return kUnknown;
    *found = value;
    return 0;
}

KELD_EXPORT int LINE_look_up_attribute(const char* name, int* attribute) {
    if (int status = current.enter("LINE_look_up_attribute", name))
        return status;
    *attribute = std::string(name) == "bl_bomview_rev" ? kViewAttribute
                 : std::string(name) == "bl_revision"  ? kRevisionAttribute
                                                       : 0;
    return *attribute != 0 ? 0 : kUnknown;
}

KELD_EXPORT int LINE_ask_attribute_tag(tag_t line, int attribute, tag_t* value) {
    if (int status =
            current.enter("LINE_ask_attribute_tag", text(line) + ", " + std::to_string(attribute)))
        return status;
    const auto found = current.lines.find(line);
    if (found == current.lines.end() ||
        (attribute != kViewAttribute && attribute != kRevisionAttribute))
        return kUnknown;
    *value = attribute == kViewAttribute ? found->second.view : found->second.shown_revision;
    return 0;
}

KELD_EXPORT int LINE_ask_child_lines(tag_t line, int* count, tag_t** tags) {
    if (int status = current.enter("LINE_ask_child_lines", text(line)))
        return status;
    const std::vector<tag_t>& list = current.children[line];
    *tags = heapTags(list);
    *count = static_cast<int>(list.size());
    return 0;
}

KELD_EXPORT int LINE_pack(tag_t line) {
    return current.enter("LINE_pack", text(line));
}

KELD_EXPORT int LINE_unpack(tag_t line) {
    return current.enter("LINE_unpack", text(line));
}

KELD_EXPORT int ART_rev_list_bom_view_revs(tag_t revision, int* count, tag_t** views) {
    if (int status = current.enter("ART_rev_list_bom_view_revs", text(revision)))
        return status;
    const std::vector<tag_t>& list = current.revision_views[revision];
    *views = heapTags(list);
    *count = static_cast<int>(list.size());
    return 0;
}

KELD_EXPORT int DBO_class_id_of_class(const char* name, tag_t* id) {
    if (int status = current.enter("DBO_class_id_of_class", name))
        return status;
    *id = std::string(name) == "STRBOMView"           ? kViewClass
          : std::string(name) == "STRBOMViewRevision" ? kViewRevisionClass
                                                      : NULLTAG;
    return *id != NULLTAG ? 0 : kUnknown;
}

KELD_EXPORT int DBO_class_of_instance(tag_t instance, tag_t* id) {
    if (int status = current.enter("DBO_class_of_instance", text(instance)))
        return status;
    const auto found = current.classes.find(instance);
    *id = found != current.classes.end() ? found->second : kOtherClass;
    return 0;
}

KELD_EXPORT int DBO_get_user(char** name, tag_t* user) {
    if (int status = current.enter("DBO_get_user", ""))
        return status;
    *name = heapText("A user");
    *user = kUser;
    return 0;
}

KELD_EXPORT int DBO_ask_user_id(tag_t user, char** id) {
    if (int status = current.enter("DBO_ask_user_id", text(user)))
        return status;
    *id = heapText(current.user_id);
    return 0;
}

KELD_EXPORT int CKO_is_checked_out(tag_t object, logical* checked_out) {
    if (int status = current.enter("CKO_is_checked_out", text(object)))
        return status;
    *checked_out = current.checked_out.contains(object);
    return 0;
}

KELD_EXPORT int ACL_check_privilege(tag_t object, const char* privilege, logical* allowed) {
    if (int status = current.enter("ACL_check_privilege", text(object) + ", " + privilege))
        return status;
    *allowed = !current.not_writable.contains(object);
    return 0;
}

KELD_EXPORT int OPT_initialize(void) {
    return current.enter("OPT_initialize", "");
}

KELD_EXPORT int OPT_ask_char_value(const char* name, int index, char** value) {
    if (int status =
            current.enter("OPT_ask_char_value", std::string(name) + ", " + std::to_string(index)))
        return status;
    const auto found = current.preferences.find(name);
    if (found == current.preferences.end())
        return kNoPreference;
    *value = current.null_preferences.contains(name) ? nullptr : heapText(found->second.front());
    return 0;
}

KELD_EXPORT int OPT_ask_int_value(const char* name, int index, int* value) {
    if (int status =
            current.enter("OPT_ask_int_value", std::string(name) + ", " + std::to_string(index)))
        return status;
    const auto found = current.preferences.find(name);
    if (found == current.preferences.end())
        return kNoPreference;
    *value = std::atoi(found->second.front().c_str());
    return 0;
}

KELD_EXPORT int OPT_ask_char_values(const char* name, int* count, char*** values) {
    if (int status = current.enter("OPT_ask_char_values", name))
        return status;
    const auto found = current.preferences.find(name);
    if (found == current.preferences.end() || found->second.empty()) {
        *count = 0;
        *values = nullptr;
        return 0;
    }
    const std::vector<std::string>& list = found->second;
    *values = static_cast<char**>(HEAP_alloc((list.size() + 1) * sizeof(char*)));
    for (std::size_t i = 0; i < list.size(); ++i)
        (*values)[i] = heapText(list[i]);
    (*values)[list.size()] = nullptr;
    *count = static_cast<int>(list.size());
    return 0;
}

}  // extern "C"
