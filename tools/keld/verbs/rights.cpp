// rights: who may do what, and which rule says so.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "tools/keld/host/deeds.h"
#include "tools/keld/host/known.h"
#include "tools/keld/host/nearest.h"
#include "tools/keld/host/platform_text.h"

namespace keld {

namespace {

using mervane::Right;

// "all", "user kelda", "type Item", "object 000123/A".
std::string subjectText(const Right& right) {
    return right.subject_kind == "all" ? "everybody" : right.subject_kind + " " + right.subject;
}

std::string scopeText(const Context& context, const Right& right) {
    if (right.scope_kind == "all")
        return "everything";
    if (right.scope_kind != "object")
        return right.scope_kind + " " + right.scope;
    const auto tag = static_cast<tag_t>(std::strtoul(right.scope.c_str(), nullptr, 10));
    return "object " + nameOf(context, tag).typed;
}

std::string rightText(const Context& context, const Right& right) {
    return subjectText(right) + (right.allowed ? " may " : " may not ") + right.privilege + " " +
           scopeText(context, right);
}

Json rightAsJson(const Context& context, const Right& right) {
    return {{"subject_kind", right.subject_kind}, {"subject", right.subject},
            {"scope_kind", right.scope_kind},     {"scope", right.scope},
            {"privilege", right.privilege},       {"allowed", right.allowed},
            {"text", rightText(context, right)}};
}

int listRights(Context& context) {
    context.open();
    Json shown_rights = Json::array();
    Table table({"PRIVILEGE", "", "WHO", "ON"});
    for (const Right& right : context.workbench().rights()) {
        shown_rights.push_back(rightAsJson(context, right));
        table.add({right.privilege, right.allowed ? "allowed" : "denied", subjectText(right),
                   scopeText(context, right)});
    }
    context.document["rights"] = shown_rights;
    context.print(table.empty() ? "no rights are given or denied; everybody has each privilege but "
                                  "END_CHECKOUT, which is the administrators'\n"
                                : table.text());
    return kExitDone;
}

struct WantedRight {
    std::string what, privilege, user, group, object, type, cls, status;
    RunWish run;
};

void needPrivilegeNamed(const Context& context, const std::string& name) {
    const std::vector<std::string> known = context.workbench().privilegeNames();
    if (std::find(known.begin(), known.end(), name) == known.end())
        throw CommandError(
            "there is no privilege '" + name + "' (known are " + joined(known, ", ") + ")",
            nearest(name, known));
}

Right rightOf(const Context& context, const WantedRight& wanted) {
    if (wanted.what != "allow" && wanted.what != "deny")
        throw CommandError("a right is to allow or to deny, not to '" + wanted.what + "'",
                           nearest(wanted.what, {"allow", "deny"}), kExitUsage);
    needPrivilegeNamed(context, wanted.privilege);
    Right right{"all", "", "all", "", wanted.privilege, wanted.what == "allow"};
    if (!wanted.user.empty()) {
        needUser(context, wanted.user);
        right.subject_kind = "user";
        right.subject = wanted.user;
    } else if (!wanted.group.empty()) {
        right.subject_kind = "group";
        right.subject = wanted.group;
        std::vector<std::string> groups;
        for (const auto& group : context.workbench().find({"", "Group", "", 0}))
            groups.push_back(display(group.tag, "group_name"));
        if (std::find(groups.begin(), groups.end(), wanted.group) == groups.end())
            throw CommandError("there is no group '" + wanted.group + "'",
                               nearest(wanted.group, groups));
    }
    const auto scope = [&](const char* kind, const std::string& name) {
        right.scope_kind = kind;
        right.scope = name;
    };
    if (!wanted.object.empty()) {
        scope("object", std::to_string(context.object(wanted.object)));
    } else if (!wanted.type.empty()) {
        needType(context, wanted.type, "");
        scope("type", wanted.type);
    } else if (!wanted.cls.empty()) {
        needType(context, wanted.cls, "");  // each class has a type of the same name
        scope("class", wanted.cls);
    } else if (!wanted.status.empty()) {
        scope("status", wanted.status);
    }
    return right;
}

int changeRight(Context& context, const WantedRight& wanted, bool adding) {
    context.open();
    const Right right = rightOf(context, wanted);
    const std::string text = rightText(context, right);
    const std::vector<Right> known = context.workbench().rights();
    const auto same = [&](const Right& each) {
        return each.subject_kind == right.subject_kind && each.subject == right.subject &&
               each.scope_kind == right.scope_kind && each.scope == right.scope &&
               each.privilege == right.privilege && each.allowed == right.allowed;
    };
    const bool there = std::any_of(known.begin(), known.end(), same);
    if (!adding && !there)
        throw CommandError("there is no such right: " + text + " (keld rights shows all)");
    return carryOut(context, wanted.run, adding ? "rights add" : "rights remove", text, NULLTAG,
                    [&](Deed& done) {
                        if (adding)
                            context.workbench().addRight(right);
                        else
                            context.workbench().removeRight(right);
                        done.told = adding && there ? "that is so already: " + text
                                    : adding        ? "from now on " + text
                                                    : "no rule any more: " + text;
                        done.facts = {{"right", rightAsJson(context, right)}, {"added", adding}};
                    });
}

struct WantedDecision {
    std::string user, object, in_group;
    std::vector<std::string> privileges;
};

int checkRights(Context& context, const WantedDecision& wanted) {
    context.open();
    needUser(context, wanted.user);
    const tag_t object = context.object(wanted.object);
    for (const std::string& privilege : wanted.privileges)
        needPrivilegeNamed(context, privilege);
    const std::vector<std::string> privileges =
        wanted.privileges.empty() ? context.workbench().privilegeNames() : wanted.privileges;
    Json answers = Json::array();
    Table table({"PRIVILEGE", "ANSWER", "RULE"});
    bool all = true;
    for (const std::string& privilege : privileges) {
        const mervane::RightDecision decision =
            context.workbench().decide(wanted.user, wanted.in_group, object, privilege);
        const std::string rule = decision.rule ? rightText(context, *decision.rule)
                                 : privilege == "END_CHECKOUT"
                                     ? "no rule; it is the administrators' (group dba)"
                                     : "no rule; everybody may";
        all = all && decision.allowed;
        answers.push_back({{"privilege", privilege},
                           {"allowed", decision.allowed},
                           {"rule", decision.rule ? rightAsJson(context, *decision.rule) : Json()},
                           {"text", rule}});
        table.add({privilege, decision.allowed ? "allowed" : "denied", rule});
    }
    const std::string holder = holderOf(context, object);
    context.document = {{"user", wanted.user},
                        {"object", context.label(object)},
                        {"answers", answers},
                        {"checked_out_by", holder.empty() ? Json() : Json(holder)}};
    context.print(table.text() + (holder.empty() ? "" : shown("checked out by " + holder) + "\n"));
    return wanted.privileges.empty() || all ? kExitDone : kExitFailed;
}

void addRightOptions(CLI::App* verb, WantedRight& wanted) {
    verb->add_option("WHAT", wanted.what, "allow or deny")->required();
    verb->add_option("PRIVILEGE", wanted.privilege, "READ, WRITE, DELETE, ...")->required();
    CLI::Option* user = verb->add_option("--of-user", wanted.user, "to this user");
    verb->add_option("--of-group", wanted.group, "to who works in this group; else to everybody")
        ->excludes(user);
    CLI::Option* object = verb->add_option("--object", wanted.object, "on this object");
    CLI::Option* type = verb->add_option("--type", wanted.type, "on objects of this type, or below")
                            ->excludes(object);
    CLI::Option* cls = verb->add_option("--class", wanted.cls, "on objects of this class, or below")
                           ->excludes(object)
                           ->excludes(type);
    verb->add_option("--status", wanted.status,
                     "on objects with this latest release status; else on everything")
        ->excludes(object)
        ->excludes(type)
        ->excludes(cls);
    addDeedOptions(verb, wanted.run);
}

}  // namespace

void addRightsVerbs(Verbs& verbs) {
    CLI::App* group =
        verbs.addGroup("rights", "Show, give and deny rights; which rule decides",
                       "  keld rights\n"
                       "  keld rights check otto 000123/A\n"
                       "  keld rights add deny WRITE --of-group workshop --status Released\n",
                       listRights);
    verbs.add(group, "list", "List all rights", "  keld rights list --json\n", listRights);
    auto added = std::make_shared<WantedRight>();
    addRightOptions(
        verbs.add(group, "add", "Give or deny a right",
                  "  keld rights add deny WRITE --of-group workshop --status Released\n"
                  "  keld rights add allow END_CHECKOUT --of-user otto\n"
                  "The most specific scope decides (object, status, type, class, all), in it the "
                  "most specific\n"
                  "subject (user, group, all); where both are equal a denial does.\n",
                  [added](Context& context) { return changeRight(context, *added, true); }),
        *added);
    auto removed = std::make_shared<WantedRight>();
    addRightOptions(
        verbs.add(group, "remove", "Take a rule away, named as it was given",
                  "  keld rights remove deny WRITE --of-group workshop --status Released\n",
                  [removed](Context& context) { return changeRight(context, *removed, false); }),
        *removed);
    auto asked = std::make_shared<WantedDecision>();
    CLI::App* verb = verbs.add(
        group, "check", "May this user do that, and which rule says so",
        "  keld rights check otto 000123/A\n"
        "  keld rights check otto 000123/A WRITE DELETE    # 1 if one of them is denied\n",
        [asked](Context& context) { return checkRights(context, *asked); });
    verb->add_option("USER", asked->user, "user id")->required();
    verb->add_option("OBJECT", asked->object)->required();
    verb->add_option("PRIVILEGE", asked->privileges, "only these");
    verb->add_option("--in-group", asked->in_group, "working in this group; else the default one");
}

}  // namespace keld
