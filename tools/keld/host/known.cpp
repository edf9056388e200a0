#include "tools/keld/host/known.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <set>

#include "platform/mv_art.h"
#include "tools/keld/host/nearest.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/lint/config.h"

namespace keld {

namespace {

bool has(const std::vector<std::string>& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

bool isOf(const Context& context, tag_t object, const char* type) {
    return has(context.workbench().typeNames(type), context.workbench().describe(object).type);
}

tag_t revisionNamed(const Context& context, const std::string& name) {
    tag_t object = context.object(name);
    if (isOf(context, object, "Item")) {
        tag_t latest = NULLTAG;
        require(context, ART_ask_latest_rev(object, &latest), "ART_ask_latest_rev");
        if (latest == NULLTAG)
            throw CommandError("item " + context.title(object) + " has no revision");
        return latest;
    }
    if (!isOf(context, object, "ItemRevision"))
        throw CommandError("'" + shortened(name) + "' is a " +
                           context.workbench().describe(object).type +
                           "; expected a revision like 000123/A, or an item for its latest");
    return object;
}

std::vector<std::string> knownUsers(const Context& context) {
    std::vector<std::string> users;
    for (const auto& user : context.workbench().find({"", "User", "", 0}))
        users.push_back(display(user.tag, "user_id"));
    return users;
}

void needType(const Context& context, const std::string& type, const std::string& below) {
    const std::vector<std::string> types = context.workbench().typeNames(below);
    if (!has(types, type))
        throw CommandError(
            "there is no type '" + type + "'" + (below.empty() ? "" : " of the class " + below),
            nearest(type, types));
}

void needRelation(const Context& context, const std::string& type) {
    const std::vector<std::string> types = context.workbench().relationTypeNames();
    if (!has(types, type))
        throw CommandError("there is no relation type '" + type + "'", nearest(type, types));
}

void needUser(const Context& context, const std::string& id) {
    const std::vector<std::string> users = knownUsers(context);
    if (!has(users, id))
        throw CommandError("there is no user '" + id + "'", nearest(id, users));
}

bool Filter::any() const {
    return checked_out ||
           !(status.empty() && owner.empty() && type.empty() && checked_out_by.empty());
}

void addFilterOptions(CLI::App* verb, Filter& filter) {
    verb->add_option("--type", filter.type, "type or class, those below it included");
    verb->add_option("--owner", filter.owner, "user id of the owner");
    verb->add_option("--status", filter.status,
                     "latest release status; none: those without a status");
    verb->add_flag("--checked-out", filter.checked_out, "only what somebody has checked out");
    verb->add_option("--checked-out-by", filter.checked_out_by,
                     "only what the user of this id has checked out");
}

void checkFilter(const Context& context, const Filter& filter) {
    if (!filter.type.empty())
        needType(context, filter.type, "");
    for (const std::string& user : {filter.owner, filter.checked_out_by})
        if (!user.empty())
            needUser(context, user);
}

bool matches(const Context& context, const Filter& filter, tag_t object) {
    if (!filter.type.empty() && !isOf(context, object, filter.type.c_str()))
        return false;
    if (!filter.owner.empty() && display(object, "owning_user") != filter.owner)
        return false;
    if (!filter.status.empty()) {
        const std::string status = latestStatus(context, object);
        if (status.empty() ? filter.status != mervane::kNoStatus : status != filter.status)
            return false;
    }
    if (!filter.checked_out && filter.checked_out_by.empty())
        return true;
    const auto by = context.workbench().checkOutOf(object);
    return by && (filter.checked_out_by.empty() || by->user == filter.checked_out_by);
}

void needStatus(const Context& context, const std::string& status) {
    if (status.empty() || status == mervane::kNoStatus)
        return;
    std::set<std::string> known;
    if (const auto ini = readIniFile(statusConfigPath()))
        for (const std::string& type : context.workbench().typeNames(""))
            known.merge(targetStatuses(*ini, type));
    if (known.contains(status))
        return;
    // Statuses that objects have; one of each name is enough.
    constexpr int kMost = 1000;
    for (const auto& found : context.workbench().find({"", "ReleaseStatus", "", kMost}))
        known.insert(found.name);
    if (known.contains(status) ||
        !context.workbench().find({status, "ReleaseStatus", "", 1}).empty())
        return;
    const std::vector<std::string> names(known.begin(), known.end());
    throw CommandError("there is no status '" + status + "'" +
                           (names.empty() ? "" : " (known are " + joined(names, ", ") + ")"),
                       nearest(status, names));
}

}  // namespace keld
