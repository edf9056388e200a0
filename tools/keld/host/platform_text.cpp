#include "tools/keld/host/platform_text.h"

#include "platform/mv_cko.h"
#include "platform/mv_err.h"
#include "platform/mv_obj.h"

namespace keld {

void require(const Context& context, int status, const char* operation) {
    if (status == 0)
        return;
    const auto stack = context.workbench().errorStack();
    const std::string text =
        stack.empty() ? context.workbench().messageText(status) : stack.back().text;
    throw CommandError(std::string(operation) + " failed with " + std::to_string(status) + ": " +
                       text);
}

std::string display(tag_t object, const std::string& property) {
    const std::string text =
        textOf([&](char** out) { return OBJ_UIF_ask_value(object, property.c_str(), out); });
    ERR_clear_errors();  // only for display, so a missing property is no failure
    return text;
}

std::vector<std::string> statusNames(const Context& context, tag_t object) {
    std::vector<std::string> names;
    mervane::Values statuses;
    try {
        statuses = context.workbench().get(object, "release_status_list");
    } catch (const mervane::Failure&) {
        return names;  // the object has no such list
    }
    for (const mervane::Value& value : statuses) {
        const auto* status = std::get_if<mervane::Reference>(&value);
        if (!status)
            continue;
        try {
            for (const mervane::Value& name : context.workbench().get(status->tag, "name"))
                if (const auto* text = std::get_if<std::string>(&name))
                    names.push_back(*text);
        } catch (const mervane::Failure&) {
        }
    }
    return names;
}

std::string latestStatus(const Context& context, tag_t object) {
    const std::vector<std::string> names = statusNames(context, object);
    return names.empty() ? "" : names.back();
}

ObjectName nameOf(const Context& context, tag_t object) {
    ObjectName made{context.label(object), context.title(object), kGoneType};
    try {
        const mervane::Found found = context.workbench().describe(object);
        made.type = found.type;
        if (made.typed.starts_with("#") && !found.name.empty())
            made.typed += " " + found.name;
    } catch (const mervane::Failure&) {
    }
    return made;
}

bool checkedOut(tag_t object) {
    logical out = false;
    const int status = CKO_is_checked_out(object, &out);
    if (status != 0)
        ERR_clear_errors();
    return status == 0 && out;
}

std::string joined(const std::vector<std::string>& texts, const std::string& separator) {
    std::string all;
    for (const std::string& text : texts)
        all += (all.empty() ? "" : separator) + text;
    return all;
}

}  // namespace keld
