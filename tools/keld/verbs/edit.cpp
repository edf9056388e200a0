// set, attach, detach, delete: changing objects and their relations.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "platform/keld_qsktool.h"
#include "platform/mv_art.h"
#include "platform/mv_obj.h"
#include "platform/mv_rel.h"
#include "platform/mv_str.h"
#include "tools/keld/host/csv_input.h"
#include "tools/keld/host/known.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/referrers.h"
#include "tools/keld/verbs/property_values.h"

namespace keld {

namespace {

// ---- set ----

struct WantedValues {
    Many many;  // first both names and values, until they are told apart
    CsvWish csv;
    RunWish run;
};

int setProperties(Context& context, WantedValues wanted) {
    std::vector<std::string>& words = wanted.many.names;
    const auto first = std::find_if(words.begin(), words.end(), isPropertyValue);
    const std::vector<std::string> texts(first, words.end());
    words.erase(first, words.end());
    if (texts.empty() && words.empty() && !wanted.many.from.empty()) {
        wanted.csv.file = wanted.many.from;
        return setRows(context, wanted.csv, wanted.run);
    }
    if (texts.empty())
        throw CommandError(
            "no value is given; expected OBJECT... PROPERTY=VALUE..., or --from FILE alone", {},
            kExitUsage);
    if (!wanted.csv.separator.empty())
        throw CommandError("--separator is of a file with values: give --from FILE alone", {},
                           kExitUsage);
    const std::vector<PropertyValue> values = propertyValues(texts);
    readNames(context, wanted.run, wanted.many, texts.size());
    context.open();
    Task task;
    task.verb = "set";
    task.arguments = [&](const std::vector<std::string>& names) {
        return joined(names, " ") + " " + joined(texts, " ");
    };
    task.perform = [&](const std::string&, tag_t object) {
        return deed(context, object, [&](Deed& done) {
            const std::vector<std::string> changed = setValues(context, object, values);
            done.told = changed.empty()
                            ? context.title(object) + " has these values already"
                            : "set " + joined(changed, ", ") + " of " + context.title(object);
            done.facts = {{"object", context.label(object)}, {"set", changed}};
        });
    };
    return carryOutTask(context, wanted.run, wanted.many, task);
}

// ---- attach, detach ----

struct WantedAttach {
    Many many;
    std::string owner, relation;
    RunWish run;
};

// The relations of this type between two objects; NULLTAG: of any type.
std::vector<tag_t> relationsBetween(tag_t primary, tag_t secondary, tag_t type) {
    std::vector<tag_t> relations;
    for (const rel_entry_s& entry : listOf<rel_entry_s>([&](int*count, rel_entry_s**list) {
             return REL_list_secondary_objects(primary, type, count, list);
         }))
        if (entry.secondary == secondary)
            relations.push_back(entry.relation);
    return relations;
}

bool isInFolder(const Context& context, tag_t folder, tag_t object) {
    const mervane::Values contents = context.workbench().get(folder, "contents");
    return std::find(contents.begin(), contents.end(),
                     mervane::Value(mervane::Reference{object})) != contents.end();
}

struct Owner {
    tag_t object = NULLTAG, relation = NULLTAG;
    bool folder = false;
    std::string title, by;  // by: "", or " by VANE_specification"
};

Owner ownerOf(const Context& context, const WantedAttach& wanted, const std::string& usual) {
    Owner owner;
    owner.object = context.object(wanted.owner);
    owner.title = context.title(owner.object);
    owner.folder = isOf(context, owner.object, "Folder");
    if (owner.folder) {
        if (!wanted.relation.empty())
            throw CommandError(
                "a folder takes its contents without a relation; leave --relation "
                "out",
                {}, kExitUsage);
        return owner;
    }
    const std::string relation = wanted.relation.empty() ? usual : wanted.relation;
    if (relation.empty())
        return owner;
    needRelation(context, relation);
    require(context, REL_find_relation_type(relation.c_str(), &owner.relation),
            "REL_find_relation_type");
    owner.by = " by " + relation;
    return owner;
}

int attachAll(Context& context, WantedAttach wanted, bool attaching) {
    readNames(context, wanted.run, wanted.many, 0);
    context.open();
    const Owner owner = ownerOf(context, wanted, attaching ? "VANE_specification" : "");
    Task task;
    task.verb = attaching ? "attach" : "detach";
    task.arguments = [&](const std::vector<std::string>& names) {
        return joined(names, " ") + (attaching ? " to " : " of ") + owner.title + owner.by;
    };
    task.perform = [&](const std::string&, tag_t object) {
        return deed(context, object, [&](Deed& done) {
            const std::string title = context.title(object);
            const auto relations = owner.folder
                                       ? std::vector<tag_t>()
                                       : relationsBetween(owner.object, object, owner.relation);
            const bool there =
                owner.folder ? isInFolder(context, owner.object, object) : !relations.empty();
            done.facts = {{"object", context.label(object)},
                          {"owner", context.label(owner.object)},
                          {"changed", attaching != there}};
            if (attaching == there) {
                done.told = title + (there ? " is attached to " : " isn't attached to ") +
                            owner.title + owner.by + (there ? " already" : "");
                return;
            }
            if (owner.folder && attaching)
                putIntoFolder(context, owner.object, object);
            else if (owner.folder)
                (void)takeOutOfFolder(context, owner.object, object);
            else if (attaching)
                relate(context, owner.object, object, owner.relation);
            for (const tag_t relation : relations)
                need(context, REL_delete_relation(relation), "REL_delete_relation", relation);
            done.told =
                (attaching ? "attached " + title + " to " : "detached " + title + " from ") +
                owner.title + owner.by;
        });
    };
    return carryOutTask(context, wanted.run, wanted.many, task);
}

void addAttachVerb(Verbs& verbs, bool attaching) {
    auto wanted = std::make_shared<WantedAttach>();
    CLI::App* verb =
        attaching
            ? verbs.add(&verbs.app, "attach",
                        "Attach objects to another one, or put them into a folder",
                        "  keld attach '#4711' --to 000123/A\n"
                        "  keld attach 000124/A:notes --to 000123/A --relation VANE_reference\n"
                        "  keld attach 000123 000124 --to '#42'    # a folder\n",
                        [wanted](Context& context) { return attachAll(context, *wanted, true); })
            : verbs.add(&verbs.app, "detach", "Undo an attachment, or take objects out of a folder",
                        "  keld detach 000123/A:notes --of 000123/A\n"
                        "  keld detach 000123 000124 --of '#42'    # a folder\n"
                        "The objects themselves stay.\n",
                        [wanted](Context& context) { return attachAll(context, *wanted, false); });
    verb->add_option("OBJECT", wanted->many.names, "what is attached");
    verb->add_option(attaching ? "--to" : "--of", wanted->owner,
                     "the object or folder that it is attached to")
        ->required();
    verb->add_option("--relation", wanted->relation,
                     attaching ? "relation type; VANE_specification if not given"
                               : "relation type; each if not given");
    addManyOptions(verb, wanted->many);
    addDeedOptions(verb, wanted->run);
}

// ---- delete ----

struct WantedDelete {
    Many many;
    bool cut = false;
    RunWish run;
};

// Give the titles of the objects that keep this one.
std::vector<std::string> keepersOf(const Context& context, tag_t object, bool cut) {
    std::vector<tag_t> revisions;
    if (isOf(context, object, "Item"))
        revisions = listOf<tag_t>(
            [&](int* count, tag_t** list) { return ART_list_all_revs(object, count, list); });
    else if (isOf(context, object, "ItemRevision"))
        revisions = {object};
    std::vector<std::string> keepers;
    for (const tag_t revision : revisions) {
        int count = 0;
        int* levels = nullptr;
        tag_t* parents = nullptr;
        if (STR_where_used_all(revision, 1, &count, &levels, &parents) == 0)
            for (int i = 0; i < count; ++i)
                keepers.push_back("the structure of " + context.title(parents[i]));
        HEAP_free(levels);
        HEAP_free(parents);
    }
    if (cut)
        return keepers;
    if (std::find(revisions.begin(), revisions.end(), object) == revisions.end())
        revisions.insert(revisions.begin(), object);
    for (const tag_t each : revisions) {
        for (const rel_entry_s& entry : listOf<rel_entry_s>([&](int*count, rel_entry_s**list) {
                 return REL_list_primary_objects(each, NULLTAG, count, list);
             })) {
            char type[129] = "";
            KELD_MVTYPE_ask_name(entry.relation_type, type);
            keepers.push_back(context.title(entry.secondary) + " (" + type + ")");
        }
        for (const tag_t folder : referrersOf(context, each).folders)
            keepers.push_back("the folder " + context.title(folder) + " " +
                              context.workbench().describe(folder).name);
    }
    return keepers;
}

void deleteOne(const Context& context, tag_t object, bool cut, Deed& done) {
    // The names must be read now: afterwards the object is gone.
    const std::string title = context.title(object), label = context.label(object);
    const std::string type = context.workbench().describe(object).type;
    if (cut) {
        cutOff(context, referrersOf(context, object), object);
        if (isOf(context, object, "Item"))
            for (const tag_t revision : listOf<tag_t>([&](int*count, tag_t**list) {
                     return ART_list_all_revs(object, count, list);
                 }))
                cutOff(context, referrersOf(context, revision), revision);
    }
    try {
        need(context, OBJ_delete(object), "OBJ_delete", object);
    } catch (Refused& refused) {
        constexpr int kStillUsed = 710013;
        constexpr std::size_t kMostKeepers = 5;
        auto keepers = keepersOf(context, object, cut);
        if (refused.refusal.status == kStillUsed && !keepers.empty()) {
            const std::size_t more =
                keepers.size() > kMostKeepers ? keepers.size() - kMostKeepers : 0;
            keepers.resize(keepers.size() - more);
            refused.refusal.found = "it is used by " + joined(keepers, ", ") +
                                    (more == 0 ? "" : " and " + std::to_string(more) + " more");
            refused.refusal.allowed = cut ? "objects that no structure uses"
                                          : "objects that nothing uses; --cut gives up relations "
                                            "and entries of folders";
        }
        throw;
    }
    done.told = "deleted " + title + " (" + type + ")";
    done.facts = {{"object", label}, {"type", type}};
}

int deleteAll(Context& context, WantedDelete wanted) {
    readNames(context, wanted.run, wanted.many, 0);
    context.open();
    Task task;
    task.verb = "delete";
    task.arguments = [&](const std::vector<std::string>& names) { return joined(names, " "); };
    task.perform = [&](const std::string&, tag_t object) {
        return deed(context, object,
                    [&](Deed& done) { deleteOne(context, object, wanted.cut, done); });
    };
    return carryOutTask(context, wanted.run, wanted.many, task);
}

}  // namespace

void addEditVerbs(Verbs& verbs) {
    auto values = std::make_shared<WantedValues>();
    CLI::App* verb = verbs.add(
        &verbs.app, "set", "Set properties of objects",
        "  keld set 000123 object_name='Pump cover' object_desc=\n"
        "  keld set 000123/A form.weight=1.25      # of its master form\n"
        "  keld set 000123 000124 supplier='Kugel & Sohn' --together\n"
        "  keld set --from values.csv --dry-run    # OBJECT,object_name,form.weight\n"
        "Values are written as keld show displays them; without a text the value is taken away.\n"
        "Without PROPERTY=VALUE the file of --from has the values: a row for each object, a "
        "column\n"
        "for each property; an empty cell leaves the property as it is.\n",
        [values](Context& context) { return setProperties(context, *values); });
    verb->add_option("OBJECT", values->many.names,
                     "objects, and after them PROPERTY=VALUE for each property");
    addManyOptions(verb, values->many);
    addSeparatorOption(verb, values->csv);
    addDeedOptions(verb, values->run);

    addAttachVerb(verbs, true);
    addAttachVerb(verbs, false);

    auto deleted = std::make_shared<WantedDelete>();
    verb = verbs.add(
        &verbs.app, "delete", "Delete objects that nothing else refers to",
        "  keld delete 000123/A:drawing --dry-run\n"
        "  keld delete 000123/A:drawing --cut      # also where it is attached\n"
        "  keld find 'draft*' --type Dataset --json | jq -r '.found[].object' | keld delete -\n"
        "An item takes its revisions, a dataset its versions and files along. keld runs undo "
        "brings them back.\n"
        "Nothing is copied to the central backup: that is what keld delete-check does.\n",
        [deleted](Context& context) { return deleteAll(context, *deleted); });
    verb->add_option("OBJECT", deleted->many.names, "what is deleted");
    verb->add_flag("--cut", deleted->cut,
                   "give up the relations and entries of folders that hold it first");
    addManyOptions(verb, deleted->many);
    addDeedOptions(verb, deleted->run);
}

}  // namespace keld
