#include "tools/keld/verbs/rename_run.h"

#include "platform/keld_qsktool.h"
#include "tools/keld/host/platform_text.h"

namespace keld {

namespace {

constexpr int kNotModifiable = 919342, kStatusNotAllowed = 919343, kOldIdRegistered = 919345,
              kNewIdRegistered = 100304;

// Whether a test pass registers the new id: in the extended service it does, and the real pass
// would then find the id taken.
bool testPassRegisters() {
    logical active = false, always = false;
    (void)KELD_get_logical_pref(MV_preference_site, ART_REGISTRY_ACTIVE, &active, false);
    (void)KELD_get_logical_pref(MV_preference_site, ART_REGISTRY_REGISTER_ON_CREATE, &always,
                                false);
    return active && always;
}

// Give who may change registered ids, by the mode in ChangeRegisteredItemId.
std::string allowedBy(const std::string& mode) {
    return mode == "1"   ? "ids that aren't registered, or users of the group dba"
           : mode == "3" ? "ids that aren't registered, or users with the privilege PUBLISH"
                         : "ids that aren't registered";
}

}  // namespace

void needItem(const Context& context, tag_t item, const std::string& name) {
    logical is_item = false;
    require(context, KELD_isObjectOfClass(item, "Item", &is_item), "KELD_isObjectOfClass");
    if (!is_item)
        throw CommandError("'" + name + "' is no item; name the item, and a revision with --rev");
}

RenameRun runRename(Context& context, bool rehearses, tag_t item, tag_t revision,
                    const RenameIds& ids) {
    RenameRun run;
    if (revision == NULLTAG) {
        run.outcome = runService(context, findService("KELD_ReNameItem"),
                                 {ids.new_item, ids.new_name, ids.new_description, item});
    } else {
        const Service& service = findService("KELD_ReNameItemExtended");
        const auto pass = [&](int action) {
            run.outcome = runService(context, service,
                                     {ids.new_item, ids.new_revision, ids.new_name,
                                      ids.new_description, item, revision, action});
            return run.outcome.status == 0;
        };
        run.tested = !testPassRegisters();
        if (!run.tested && !rehearses)
            context.note("no test pass: it would register the new id already; see it with --test");
        if (!run.tested || pass(kRenameTestPass))
            (void)pass(kRenameTestPass | RENAME_MODIFY);
    }
    return run;
}

Refusal explainRename(const Context& context, const Outcome& outcome, const RenameStop& stop,
                      tag_t item, const RenameIds& ids) {
    constexpr char kSettings[] = "KELD_ItemRename";
    Refusal refusal =
        refusalOf(context, outcome.status, stop.object() == NULLTAG ? item : stop.object(), item);
    const std::string type = context.workbench().describe(item).type;
    const auto setting = [&](const std::string& key) {
        return tellSetting(context, refusal, kSettings, {key + "." + type, key});
    };
    if (!stop.operation().empty()) {
        tellFailedCall(refusal, stop.operation(), outcome);
    } else if (outcome.status == kNotModifiable) {
        tellNotModifiable(context, refusal);
    } else if (outcome.status == kStatusNotAllowed) {
        const std::string passed = setting("RenameOnRevisionStatus");
        refusal.found = "its latest status is " + latestStatus(context, refusal.object);
        refusal.allowed = passed.empty() ? "no status, since RenameOnRevisionStatus names none"
                                         : "no status, or one of RenameOnRevisionStatus: " + passed;
    } else if (outcome.status == kOldIdRegistered) {
        refusal.found = "its id " + ids.old_item + " is registered";
        refusal.allowed = allowedBy(setting("ChangeRegisteredItemId"));
    } else if (outcome.status == kNewIdRegistered) {
        refusal.found = "the id " + ids.new_item + " is registered";
        refusal.allowed = "an id that isn't registered";
    }
    return refusal;
}

}  // namespace keld
