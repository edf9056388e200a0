// new, revise: make items, revisions, datasets, forms and folders.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <memory>

#include "platform/keld_qsktool.h"
#include "platform/mv_art.h"
#include "platform/mv_dst.h"
#include "platform/mv_ent.h"
#include "platform/mv_fil.h"
#include "platform/mv_obj.h"
#include "platform/mv_rel.h"
#include "tools/keld/host/deeds.h"
#include "tools/keld/host/known.h"
#include "tools/keld/host/nearest.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/system.h"
#include "tools/keld/verbs/property_values.h"
#include "workbench/names.h"

namespace keld {

namespace {

constexpr int kFileReferenceKind = 2;

// Where a new object is to be attached.
struct NewPlace {
    std::string on, relation = "VANE_specification", folder;
};

struct WantedNew {
    std::string id, name, type, revision, description, file, reference;
    std::vector<std::string> values;
    NewPlace place;
    RunWish run;
};

void addCommon(CLI::App* verb, WantedNew& wanted) {
    verb->add_option("--desc", wanted.description, "description");
    verb->add_option("--in", wanted.place.folder, "put it into this folder, like '#4711'");
    addDeedOptions(verb, wanted.run);
}

void addPlace(CLI::App* verb, WantedNew& wanted) {
    CLI::Option* on = verb->add_option("--on", wanted.place.on, "attach it to this object");
    verb->add_option("--relation", wanted.place.relation, "by this relation type")
        ->needs(on)
        ->capture_default_str();
}

// Look up the names before anything is made. Failure: CommandError for an unknown one.
struct Placed {
    tag_t on = NULLTAG, relation = NULLTAG, folder = NULLTAG;
};
Placed placeOf(const Context& context, const NewPlace& place) {
    Placed placed;
    if (!place.on.empty()) {
        placed.on = context.object(place.on);
        needRelation(context, place.relation);
        require(context, REL_find_relation_type(place.relation.c_str(), &placed.relation),
                "REL_find_relation_type");
    }
    if (!place.folder.empty())
        placed.folder = folderNamed(context, place.folder);
    return placed;
}

void put(const Context& context, const Placed& place, tag_t object) {
    if (place.on != NULLTAG)
        relate(context, place.on, object, place.relation);
    if (place.folder != NULLTAG)
        putIntoFolder(context, place.folder, object);
}

std::string typedWords(const std::vector<std::pair<std::string, std::string>>& words) {
    std::string all;
    for (const auto& [name, value] : words)
        if (!value.empty())
            all += (all.empty() ? "" : " ") + name + mervane::quotedName(value);
    return all;
}

// Note the facts of a new object. Requires: the session still sees it.
void tellMade(const Context& context, Deed& done, tag_t object, const std::string& text) {
    done.told = text;
    done.facts["object"] = context.label(object);
    done.facts["tag"] = object;
    done.facts["type"] = context.workbench().describe(object).type;
    done.facts["name"] = context.workbench().describe(object).name;
}

int newItem(Context& context, const WantedNew& wanted) {
    const std::string id = newId("the item id", wanted.id);
    const std::string revision_id = newId("the revision id", wanted.revision);
    context.open();
    const std::string type = wanted.type.empty() ? "Item" : wanted.type;
    needType(context, type, "Item");
    const Placed place = placeOf(context, wanted.place);
    return carryOut(
        context, wanted.run, "new item",
        typedWords({{"", id}, {"type ", type}, {"name ", wanted.name}, {"rev ", revision_id}}),
        NULLTAG, [&](Deed& done) {
            tag_t item = NULLTAG, revision = NULLTAG;
            need(context,
                 ART_create_item(id.c_str(), wanted.name.c_str(), type.c_str(), revision_id.c_str(),
                                 &item, &revision),
                 "ART_create_item", NULLTAG);
            if (!wanted.description.empty())
                for (const tag_t each : {item, revision})
                    need(context, ENT_set_description(each, wanted.description.c_str()),
                         "ENT_set_description", each);
            need(context, OBJ_save(item), "OBJ_save", item);
            put(context, place, item);
            tellMade(context, done, item,
                     "made " + context.title(item) + " with revision " + context.title(revision));
            done.facts["revision"] = context.label(revision);
        });
}

// Import a copy of the file and refer to it by a reference that the dataset's type has.
void addFileTo(const Context& context, tag_t dataset, const std::string& path,
               const std::string& reference) {
    tag_t file = NULLTAG;
    need(context, FIL_import_file(path.c_str(), nullptr, 0, &file, nullptr), "FIL_import_file",
         dataset);
    need(context, OBJ_save(file), "OBJ_save", file);
    need(context, DST_add_dataset_named_ref(dataset, reference.c_str(), kFileReferenceKind, file),
         "DST_add_dataset_named_ref", dataset);
}

void setToolAndFormat(const Context& context, tag_t type, tag_t dataset) {
    tag_t tool = NULLTAG;
    need(context, DST_ask_datasettype_def_tool(type, &tool), "DST_ask_datasettype_def_tool", type);
    if (tool == NULLTAG)
        return;
    need(context, DST_set_dataset_tool(dataset, tool), "DST_set_dataset_tool", dataset);
    int count = 0;
    char** formats = nullptr;
    need(context, DST_ask_tool_output_formats(tool, &count, &formats),
         "DST_ask_tool_output_formats", tool);
    const std::string first = count > 0 ? formats[0] : "";
    for (int i = 0; i < count; ++i)
        HEAP_free(formats[i]);
    HEAP_free(formats);
    if (!first.empty())
        need(context, DST_set_dataset_format(dataset, first.c_str()), "DST_set_dataset_format",
             dataset);
}

int newDataset(Context& context, const WantedNew& wanted) {
    context.open();
    needType(context, wanted.type, "Dataset");
    const Placed place = placeOf(context, wanted.place);
    const std::vector<std::string> references = context.workbench().referenceNames(wanted.type);
    const std::string reference = !wanted.reference.empty() ? wanted.reference
                                  : references.empty()      ? wanted.type
                                                            : references.front();
    if (!references.empty() &&
        std::find(references.begin(), references.end(), reference) == references.end())
        throw CommandError("datasets of the type " + wanted.type + " have no named reference '" +
                               reference + "'; they have " + joined(references, ", "),
                           nearest(reference, references));
    std::error_code ignored;
    if (!wanted.file.empty() && !std::filesystem::is_regular_file(pathOf(wanted.file), ignored))
        throw CommandError("there is no file " + wanted.file);
    return carryOut(
        context, wanted.run, "new dataset",
        typedWords({{"", wanted.name},
                    {"type ", wanted.type},
                    {"on ", place.on == NULLTAG ? "" : context.label(place.on)},
                    {"file ", wanted.file}}),
        place.on, [&](Deed& done) {
            tag_t type = NULLTAG, dataset = NULLTAG;
            need(context, DST_find_datasettype(wanted.type.c_str(), &type), "DST_find_datasettype",
                 NULLTAG);
            need(context,
                 DST_create_dataset_with_id(type, wanted.name.c_str(), wanted.description.c_str(),
                                            nullptr, nullptr, &dataset),
                 "DST_create_dataset_with_id", place.on);
            setToolAndFormat(context, type, dataset);
            if (!wanted.file.empty())
                addFileTo(context, dataset, wanted.file, reference);
            need(context, DST_save_myself(dataset), "DST_save_myself", dataset);
            put(context, place, dataset);
            tellMade(context, done, dataset,
                     "made " + context.title(dataset) + " (" + wanted.type + ")" +
                         (wanted.file.empty() ? "" : " with the file " + wanted.file));
        });
}

int newForm(Context& context, const WantedNew& wanted) {
    context.open();
    needType(context, wanted.type, "Form");
    const Placed place = placeOf(context, wanted.place);
    const std::vector<PropertyValue> values = propertyValues(wanted.values);
    return carryOut(context, wanted.run, "new form",
                    typedWords({{"", wanted.name},
                                {"type ", wanted.type},
                                {"on ", place.on == NULLTAG ? "" : context.label(place.on)}}),
                    place.on, [&](Deed& done) {
                        const tag_t form = context.workbench().createForm(wanted.type, wanted.name);
                        std::vector<PropertyValue> all = values;
                        if (!wanted.description.empty())
                            all.push_back({"object_desc", wanted.description});
                        (void)setValues(context, form, all);
                        put(context, place, form);
                        tellMade(context, done, form,
                                 "made #" + std::to_string(form) + " " + wanted.name + " (" +
                                     wanted.type + ")");
                    });
}

int newFolder(Context& context, const WantedNew& wanted) {
    context.open();
    const Placed place = placeOf(context, wanted.place);
    return carryOut(context, wanted.run, "new folder", typedWords({{"", wanted.name}}), NULLTAG,
                    [&](Deed& done) {
                        const tag_t folder = context.workbench().createFolder(wanted.name);
                        if (!wanted.description.empty())
                            (void)setValues(context, folder, {{"object_desc", wanted.description}});
                        put(context, place, folder);
                        tellMade(
                            context, done, folder,
                            "made #" + std::to_string(folder) + " " + wanted.name + " (Folder)");
                    });
}

// ---- revise ----

struct WantedRevise {
    Many many;
    std::string id;
    std::vector<std::string> carried;
    RunWish run;
};

// Attributes that belong to an object alone, so a copy doesn't get them.
bool staysBehind(const std::string& attribute) {
    static const char* const kOwn[] = {"owning_user",   "owning_group",        "owning_site",
                                       "creation_date", "last_mod_date",       "last_mod_user",
                                       "date_released", "release_status_list", "process_stage_list",
                                       "items_tag",     "item_revision_id",    "order_no"};
    for (const char* own : kOwn)
        if (attribute == own)
            return true;
    return false;
}

void copyValues(const Context& context, tag_t from, tag_t to, bool with_name) {
    mervane::Workbench& workbench = context.workbench();
    const std::vector<std::string> known = workbench.attributeNames(to);
    for (const std::string& name : workbench.attributeNames(from)) {
        if (staysBehind(name) || (!with_name && name == "object_name") ||
            std::find(known.begin(), known.end(), name) == known.end())
            continue;
        const mervane::Values values = workbench.get(from, name);
        if (values != workbench.get(to, name))
            workbench.set(to, name, values);
    }
}

void revise(const Context& context, const WantedRevise& wanted, tag_t from, Deed& done) {
    tag_t item = NULLTAG;
    need(context, ART_ask_item_of_rev(from, &item), "ART_ask_item_of_rev", from);
    // A new revision changes the item, so the user must be allowed to write that.
    need(context, OBJ_refresh(item, true), "OBJ_refresh", item);
    const tag_t made = context.workbench().createRevision(item, wanted.id);
    copyValues(context, from, made, true);
    tag_t from_form = NULLTAG, form = NULLTAG;
    need(context, KELD_GetMasterForm(from, &from_form), "KELD_GetMasterForm", from);
    need(context, KELD_GetMasterForm(made, &form), "KELD_GetMasterForm", made);
    // The new form keeps its own name.
    if (from_form != NULLTAG && form != NULLTAG)
        copyValues(context, from_form, form, false);
    const int lines = context.workbench().copyStructure(from, made);
    int carried = 0;
    for (const std::string& name : wanted.carried) {
        tag_t type = NULLTAG;
        need(context, REL_find_relation_type(name.c_str(), &type), "REL_find_relation_type", from);
        for (const tag_t other : listOf<tag_t>([&](int*count, tag_t**list) {
                 return REL_list_secondary_objects_only(from, type, count, list);
             })) {
            relate(context, made, other, type);
            ++carried;
        }
    }
    need(context, OBJ_unlock(item), "OBJ_unlock", item);
    done.told = "made " + context.title(made) + " from " + context.title(from);
    if (lines > 0)
        done.told += ", " + counted(static_cast<std::size_t>(lines), "line");
    if (carried > 0)
        done.told += ", " + counted(static_cast<std::size_t>(carried), "attached object");
    done.facts = {{"object", context.label(made)},
                  {"tag", made},
                  {"from", context.label(from)},
                  {"lines", lines},
                  {"attached", carried}};
}

int reviseAll(Context& context, WantedRevise wanted) {
    wanted.id = newId("the revision id", wanted.id);
    readNames(context, wanted.run, wanted.many, 0);
    context.open();
    for (const std::string& relation : wanted.carried)
        needRelation(context, relation);
    Task task;
    task.verb = "revise";
    task.arguments = [&](const std::vector<std::string>& names) {
        return joined(names, " ") + (wanted.id.empty() ? "" : " id " + wanted.id);
    };
    task.perform = [&](const std::string& name, tag_t object) {
        const tag_t from = revisionNamed(context, name);
        return deed(context, object, [&](Deed& done) { revise(context, wanted, from, done); });
    };
    return carryOutTask(context, wanted.run, wanted.many, task);
}

}  // namespace

void addNewVerbs(Verbs& verbs) {
    CLI::App* group = verbs.addGroup("new", "Make an item, a dataset, a form or a folder",
                                     "  keld new item --name 'Pump housing'\n"
                                     "  keld new dataset drawing --type Text --on 000123/A\n",
                                     nullptr);
    auto item = std::make_shared<WantedNew>();
    CLI::App* verb = verbs.add(
        group, "item", "Make an item with its first revision",
        "  keld new item --name 'Pump housing'            # the next free id\n"
        "  keld new item P-4711 --name Bearing --type StandardPart --rev 01 --in '#4711'\n",
        [item](Context& context) { return newItem(context, *item); });
    verb->add_option("ID", item->id, "item id; the next free number if not given");
    verb->add_option("--name", item->name, "name; the id if not given");
    verb->add_option("--type", item->type, "type of the item; Item if not given");
    verb->add_option("--rev", item->revision, "id of the first revision; A if not given");
    addCommon(verb, *item);

    auto dataset = std::make_shared<WantedNew>();
    verb =
        verbs.add(group, "dataset", "Make a dataset, with a file",
                  "  keld new dataset drawing --type Text --on 000123/A --file drawing.txt\n"
                  "  keld new dataset notes --type Text --on 000123/A --relation VANE_reference\n",
                  [dataset](Context& context) { return newDataset(context, *dataset); });
    verb->add_option("NAME", dataset->name)->required();
    verb->add_option("--type", dataset->type, "dataset type")->required();
    CLI::Option* file = verb->add_option("--file", dataset->file, "store a copy of this file");
    verb->add_option("--reference", dataset->reference,
                     "the named reference for the file; the type's name if not given")
        ->needs(file);
    addPlace(verb, *dataset);
    addCommon(verb, *dataset);

    auto form = std::make_shared<WantedNew>();
    verb = verbs.add(group, "form", "Make a form, with values",
                     "  keld new form 'Test report' --type 'Item Master' --on 000123/A \\\n"
                     "      --relation VANE_reference user_data_1='bench 3'\n",
                     [form](Context& context) { return newForm(context, *form); });
    verb->add_option("NAME", form->name)->required();
    verb->add_option("VALUES", form->values, "PROPERTY=VALUE ...: its properties");
    verb->add_option("--type", form->type, "type of the form")->required();
    addPlace(verb, *form);
    addCommon(verb, *form);

    auto folder = std::make_shared<WantedNew>();
    verb = verbs.add(group, "folder", "Make a folder",
                     "  keld new folder 'Pumps 2027'\n"
                     "  keld new folder Drafts --in '#4711'\n",
                     [folder](Context& context) { return newFolder(context, *folder); });
    verb->add_option("NAME", folder->name)->required();
    addCommon(verb, *folder);

    auto revised = std::make_shared<WantedRevise>();
    verb = verbs.add(&verbs.app, "revise", "Make a next revision with what the old one has",
                     "  keld revise 000123                # of the latest revision\n"
                     "  keld revise 000123/A --id 01 --carry VANE_specification\n"
                     "  keld revise 000123 000124 --together\n"
                     "The new revision has the name, description, further properties, values of "
                     "the master form\n"
                     "and lines of the old one; --carry attaches what is attached to that.\n",
                     [revised](Context& context) { return reviseAll(context, *revised); });
    verb->add_option("OBJECT", revised->many.names,
                     "revisions, or items for their latest revision");
    verb->add_option("--id", revised->id, "id of the new revision; the next one if not given");
    verb->add_option("--carry", revised->carried,
                     "attach what is attached to the old revision by this relation type too")
        ->expected(1)
        ->take_all();
    addManyOptions(verb, revised->many);
    addDeedOptions(verb, revised->run);
}

}  // namespace keld
