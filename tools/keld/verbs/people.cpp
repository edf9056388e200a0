// prefs, users, checkout, checkin.

#include <CLI/CLI.hpp>
#include <memory>

#include "tools/keld/host/deeds.h"
#include "tools/keld/host/nearest.h"
#include "tools/keld/host/platform_text.h"

namespace keld {

namespace {

using Strings = std::vector<std::string>;

// ---- preferences ----

Strings preference(Context& context, const std::string& name) {
    Strings names;
    for (auto& [known, values] : context.workbench().preferences()) {
        if (known == name)
            return values;
        names.push_back(known);
    }
    throw CommandError("there is no preference '" + name + "'", nearest(name, names));
}

int listPreferences(Context& context) {
    context.open();
    Json shown = Json::object();
    Table table({"PREFERENCE", "VALUES"});
    for (const auto& [name, values] : context.workbench().preferences()) {
        shown[name] = values;
        table.add({name, joined(values, " | ")});
    }
    context.document["preferences"] = shown;
    context.print(table.empty() ? "no preferences\n" : table.text());
    return kExitDone;
}

int getPreference(Context& context, const std::string& name) {
    context.open();
    const Strings values = preference(context, name);
    context.document = {{"name", name}, {"values", values}};
    for (const std::string& value : values)
        context.print(shown(value) + "\n");
    return kExitDone;
}

int setPreference(Context& context, const std::string& name, const Strings& values) {
    context.open();
    changeAll(context, {}, "prefs set", name,
              [&] { context.workbench().setPreference(name, values); });
    context.document = {{"name", name}, {"values", values}};
    context.print("set " + shown(name) + " to " + counted(values.size(), "value") + "\n");
    return kExitDone;
}

int removePreference(Context& context, const std::string& name) {
    context.open();
    (void)preference(context, name);  // fails with the nearest names if it doesn't exist
    changeAll(context, {}, "prefs remove", name,
              [&] { context.workbench().removePreference(name); });
    context.document = {{"name", name}, {"removed", true}};
    context.print("removed " + shown(name) + "\n");
    return kExitDone;
}

void addPreferences(Verbs& verbs) {
    CLI::App* group = verbs.addGroup("prefs", "List and change the preferences of the store",
                                     "  keld prefs\n"
                                     "  keld prefs set KELD_DELBackupTopDirCentral /backup\n",
                                     listPreferences);
    auto name = std::make_shared<std::string>();
    auto values = std::make_shared<Strings>();
    verbs.add(group, "list", "List all preferences", "  keld prefs list --json\n", listPreferences);
    verbs
        .add(group, "get", "Show the values of a preference, one a line",
             "  keld prefs get KELD_ItemRename\n",
             [name](Context& context) { return getPreference(context, *name); })
        ->add_option("NAME", *name)
        ->required();
    CLI::App* set = verbs.add(
        group, "set", "Set a preference to one or more values",
        "  keld prefs set KELD_DEL_DELUXE_TYPES Folder Dataset\n"
        "  keld prefs set NAME -- -1       # a value that begins with a dash\n",
        [name, values](Context& context) { return setPreference(context, *name, *values); });
    set->add_option("NAME", *name)->required();
    set->add_option("VALUES", *values)->required();
    verbs
        .add(group, "remove", "Remove a preference", "  keld prefs remove KELD_ItemRename\n",
             [name](Context& context) { return removePreference(context, *name); })
        ->add_option("NAME", *name)
        ->required();
}

// ---- users ----

int listUsers(Context& context) {
    context.open();
    Json shown = Json::array();
    Table table({"USER", "NAME", "GROUP"});
    for (const auto& user : context.workbench().find({"", "User", "", 0})) {
        const std::string id = display(user.tag, "user_id"), name = display(user.tag, "user_name"),
                          group = display(user.tag, "default_group");
        shown.push_back({{"id", id}, {"name", name}, {"group", group}, {"tag", user.tag}});
        table.add({id, name, group});
    }
    context.document["users"] = shown;
    context.print(table.text());
    return kExitDone;
}

struct NewUser {
    std::string id, name, group;
    bool new_group = false;
};

int addUser(Context& context, const NewUser& user) {
    context.open();
    mervane::Workbench& workbench = context.workbench();
    Strings groups;
    for (const auto& group : workbench.find({"", "Group", "", 0}))
        groups.push_back(display(group.tag, "group_name"));
    // Without --group, never choose dba: nobody becomes an administrator by leaving out an option.
    std::string group = user.group;
    for (const std::string& each : groups)
        if (group.empty() && each != "dba")
            group = each;
    if (group.empty())
        throw CommandError(
            "name the user's group with --in-group; the store has none but dba, which is the "
            "administrators' (--new-group makes one)");
    const bool known = std::find(groups.begin(), groups.end(), group) != groups.end();
    if (!known && !user.new_group)
        throw CommandError("there is no group '" + group + "' (--new-group makes it)",
                           nearest(group, groups));
    tag_t tag = NULLTAG;
    changeAll(context, {}, "users add", user.id, [&] {
        if (!known)
            workbench.createGroup(group, "");
        tag = workbench.createUser(user.id, user.name.empty() ? user.id : user.name, group);
    });
    context.document = {{"id", user.id}, {"group", group}, {"tag", tag}};
    context.print(shown("added user " + user.id + " in group " + group) + "\n");
    return kExitDone;
}

struct Joining {
    std::string id, group;
};

int joinGroup(Context& context, const Joining& wanted) {
    context.open();
    changeAll(context, {}, "users join", wanted.id + " " + wanted.group,
              [&] { context.workbench().addToGroup(wanted.id, wanted.group); });
    context.document = {{"id", wanted.id}, {"group", wanted.group}};
    context.print("user " + wanted.id + " is a member of group " + wanted.group + "\n");
    return kExitDone;
}

void addUsers(Verbs& verbs) {
    CLI::App* group =
        verbs.addGroup("users", "List and add users",
                       "  keld users\n"
                       "  keld users add kelda --name 'Kelda Moor' --in-group design\n",
                       listUsers);
    verbs.add(group, "list", "List all users", "  keld users list --json\n", listUsers);
    auto user = std::make_shared<NewUser>();
    CLI::App* add = verbs.add(group, "add", "Add a user",
                              "  keld users add kelda --name 'Kelda Moor' --in-group design\n"
                              "  keld users add otto --in-group shop --new-group\n",
                              [user](Context& context) { return addUser(context, *user); });
    add->add_option("ID", user->id)->required();
    add->add_option("--name", user->name, "full name; the id if not given");
    add->add_option("--in-group", user->group,
                    "the user's default group; the first but dba if not given");
    add->add_flag("--new-group", user->new_group, "make the group if there is none of the name");
    auto joining = std::make_shared<Joining>();
    CLI::App* join = verbs.add(
        group, "join", "Make a user a member of one more group", "  keld users join otto dba\n",
        [joining](Context& context) { return joinGroup(context, *joining); });
    join->add_option("ID", joining->id)->required();
    join->add_option("GROUP", joining->group)->required();
}

// ---- check-out ----

struct WantedCheckOut {
    Many many;
    std::string comment;
    RunWish run;
};

void changeCheckOut(const Context& context, tag_t object, bool out, const std::string& comment) {
    if (out)
        context.workbench().checkOut(object, comment);
    else
        context.workbench().checkIn(object);
}

int changeCheckOuts(Context& context, WantedCheckOut wanted, bool out) {
    readNames(context, wanted.run, wanted.many, 0);
    context.open();
    Task task;
    task.verb = out ? "checkout" : "checkin";
    task.arguments = [&](const Strings& names) { return joined(names, " "); };
    task.perform = [&](const std::string&, tag_t object) {
        if (!out && !checkedOut(object))
            throw CommandError(context.title(object) + " is not checked out");
        return deed(context, object, [&](Deed& done) {
            changeCheckOut(context, object, out, wanted.comment);
            done.told = (out ? "checked out " : "checked in ") + context.title(object);
            done.facts = {{"object", context.label(object)},
                          {"checked_out_by", out ? display(object, "checked_out_user") : ""}};
        });
    };
    return carryOutTask(context, wanted.run, wanted.many, task);
}

void addCheckOutVerb(Verbs& verbs, bool out) {
    auto wanted = std::make_shared<WantedCheckOut>();
    CLI::App* verb = verbs.add(
        &verbs.app, out ? "checkout" : "checkin",
        out ? "Check objects out, so that nobody else changes them" : "Check objects in again",
        out ? "  keld checkout 000123/A --comment 'new bearing' --user kelda\n"
              "  keld checkout 000123/A 000124/A --together\n"
            : "  keld checkin 000123/A\n"
              "  keld checkin --from names.txt\n",
        [wanted, out](Context& context) { return changeCheckOuts(context, *wanted, out); });
    verb->add_option("OBJECT", wanted->many.names,
                     "what is checked " + std::string(out ? "out" : "in"));
    if (out)
        verb->add_option("--comment", wanted->comment, "why");
    addManyOptions(verb, wanted->many);
    addDeedOptions(verb, wanted->run);
}

}  // namespace

void addPeopleVerbs(Verbs& verbs) {
    addPreferences(verbs);
    addUsers(verbs);

    addCheckOutVerb(verbs, true);
    addCheckOutVerb(verbs, false);
}

}  // namespace keld
