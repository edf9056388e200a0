#include "tools/keld/verbs/remedies.h"

#include "platform/keld_qsktool.h"
#include "platform/mv_acl.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/lint/config.h"

namespace keld {

namespace {

// Quote a word for a shell. A shown name never contains a single quote.
std::string shellWord(const std::string& text) {
    constexpr std::string_view kPlain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_./:+-";
    return !text.empty() && text.find_first_not_of(kPlain) == std::string::npos ? text
                                                                                : "'" + text + "'";
}

// Ignores the session's rights as long as this lives.
class WithoutRights {
public:
    WithoutRights() { (void)ACL__set_application_bypass(true); }
    ~WithoutRights() { (void)ACL__set_application_bypass(false); }
    WithoutRights(const WithoutRights&) = delete;
    WithoutRights& operator=(const WithoutRights&) = delete;
};

std::string settingOf(const std::optional<IniFile>& ini, const std::string& section,
                      const char* key) {
    const IniEntry* entry = ini ? ini->find(section, key) : nullptr;
    return entry ? entry->value : "";
}

// ---- checked out ----

Remedy endCheckOut(Context& context, const Refusal& refusal) {
    const auto held = context.workbench().checkOutOf(refusal.object);
    if (!held)
        return {false, "nobody has it checked out", "", {}};
    const std::string object = shellWord(context.title(refusal.object));
    try {
        context.workbench().checkIn(refusal.object);
        return {true, "end the check-out of user " + held->user, "keld checkin " + object, {}};
    } catch (const mervane::Failure&) {
        const WithoutRights without;
        context.workbench().checkIn(refusal.object);
    }
    return {true,
            "user " + held->user + " or an administrator ends the check-out",
            "keld checkin " + object + " --user " + shellWord(held->user),
            {}};
}

// ---- another previous status is needed ----

// Search for the bare name, anywhere in the text, as the library does.
bool isListed(const std::string& allowed, const std::string& status) {
    if (allowed.empty())
        return status.empty() || status == "none";
    return allowed.find(status.empty() ? "none" : status) != std::string::npos;
}

struct NotThis {};

// Try a run to the status. It is kept in the rehearsal if it gives the object a listed status.
// Otherwise `against` gets its refusal, if there may be a remedy.
bool runGives(Context& context, const WantedStatus& target, tag_t object,
              const std::string& allowed, tag_t start, std::optional<Refusal>* against) {
    StatusRun run;
    try {
        context.workbench().asOne([&] {
            run = runStatus(context, {target.status, target.type, object}, true);
            if (!run.outcome.succeeded() || !isListed(allowed, latestStatus(context, object)))
                throw NotThis();
        });
        return true;
    } catch (const NotThis&) {
        const int status = run.outcome.number;
        const bool mendable = status == kIsCheckedOut || status == kWrongPrevious ||
                              status == kFieldEmpty || status == kNoPrivilege;
        if (run.outcome.status == 0 && mendable && run.seen.last() && !*against)
            *against = explain(context, target, status, run.seen.last(), start);
        return false;
    }
}

void setStatus(Context& context, tag_t object, const std::string& status) {
    mervane::Values list;
    if (status != "none") {
        const tag_t made = context.workbench().create("ReleaseStatus");
        context.workbench().set(made, "name", {status});
        list.emplace_back(mervane::Reference{made});
    }
    context.workbench().set(object, "release_status_list", list);
}

Remedy giveStatus(Context& context, const WantedStatus& wanted, const Refusal& refusal,
                  const std::optional<IniFile>& ini, tag_t start, bool alone) {
    const std::string allowed = settingOf(ini, refusal.section, "PrevReleaseStatus");
    const std::string type = context.workbench().describe(refusal.object).type;
    const IniEntry* selected = ini ? ini->find("SelectWSO", type) : nullptr;
    const auto told = [](const std::string& status) {
        return status == "none" ? std::string("take its status away")
                                : "give it the status " + status;
    };
    std::optional<Refusal> against;
    if (ini && selected && iniInteger(selected->value) == 1)
        for (const std::string& target : targetStatuses(*ini, type)) {
            const std::string given = settingOf(ini, target + "_" + type, "SetReleaseState");
            if (!given.empty() && target != wanted.status && isListed(allowed, given) &&
                runGives(context, {"", target, type, false, {}}, refusal.object, allowed, start,
                         &against))
                return {true,
                        told(given),
                        "keld status set " + shellWord(context.title(refusal.object)) + " " +
                            shellWord(target),
                        {}};
        }
    if (against && !alone)
        return {false, "", "", against};
    std::string status = "none";
    for (const std::string& each : splitList(allowed, ';'))
        if (!each.empty()) {
            status = each;
            break;
        }
    setStatus(context, refusal.object, status);
    return {true, told(status) + " (no run of its own does that)", "", {}};
}

// ---- empty fields ----

// Fill the field with any value of its kind.
void fillField(Context& context, tag_t form, const std::string& field) {
    constexpr int kWrongKind = 710007;
    mervane::Date date;
    date.date.year = 2001;
    date.date.day = 1;
    const mervane::Value some[] = {std::string("x"), std::int64_t{1}, 1.0, true, date};
    for (const mervane::Value& value : some)
        try {
            return context.workbench().set(form, field, {value});
        } catch (const mervane::Failure& failure) {
            if (failure.status() != kWrongKind)
                throw;
        }
    throw CommandError("the field " + field + " holds no value that could be filled in");
}

Remedy fillFields(Context& context, const Refusal& refusal, const std::optional<IniFile>& ini) {
    tag_t form = NULLTAG;
    if (KELD_GetMasterForm(refusal.object, &form) != 0 || form == NULLTAG)
        return {false, "it has no master form whose fields could be filled", "", {}};
    std::vector<std::string> filled;
    for (const std::string& field :
         splitList(settingOf(ini, refusal.section, "CheckNeedFields"), ';'))
        if (!field.empty() && display(form, field).empty()) {
            fillField(context, form, field);
            filled.push_back(field);
        }
    if (filled.empty())
        return {false, "no field is empty", "", {}};
    return {true,
            std::string("fill ") + (filled.size() == 1 ? "the field " : "the fields ") +
                joined(filled, ", ") + " of its master form " + context.title(form),
            "",
            {}};
}

// ---- no privilege ----

Remedy grantPrivilege(Context& context, const Refusal& refusal, const std::optional<IniFile>& ini) {
    std::string privilege = settingOf(ini, refusal.section, "PrivilegName");
    if (privilege.empty())
        privilege = settingOf(ini, "GLOBAL", "PrivilegName");
    if (privilege.empty())
        privilege = "CHANGE";
    const std::string user = context.workbench().runUnderWay().user;
    mervane::Right right{"user", user, "object", std::to_string(refusal.object), privilege, false};
    // A denial wins over an equal right, so it must go.
    context.workbench().removeRight(right);
    right.allowed = true;
    context.workbench().addRight(right);
    return {true,
            "an administrator gives user " + user + " the privilege " + privilege +
                " on it, by an import with rights",
            "",
            {}};
}

}  // namespace

Remedy mend(Context& context, const WantedStatus& wanted, const Refusal& refusal, tag_t start,
            bool alone) {
    const std::optional<IniFile> ini = readIniFile(statusConfigPath());
    try {
        switch (refusal.status) {
            case kIsCheckedOut:
                return endCheckOut(context, refusal);
            case kWrongPrevious:
                return giveStatus(context, wanted, refusal, ini, start, alone);
            case kFieldEmpty:
                return fillFields(context, refusal, ini);
            case kNoPrivilege:
                return grantPrivilege(context, refusal, ini);
            default:
                return {false, "no remedy is known", "", {}};
        }
    } catch (const mervane::Failure& failure) {
        return {false, std::string("no remedy is known: ") + failure.what(), "", {}};
    } catch (const CommandError& error) {
        return {false, std::string("no remedy is known: ") + error.what(), "", {}};
    }
}

}  // namespace keld
