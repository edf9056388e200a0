// job files, job item, job show: jobs for a batch server, as files or as items.

#include <CLI/CLI.hpp>
#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <thread>

#include "platform/keld_qsktool.h"
#include "platform/keld_se.h"
#include "platform/mv_art.h"
#include "platform/mv_rel.h"
#include "tools/keld-batch/job_file.h"
#include "tools/keld/host/context.h"
#include "tools/keld/host/nearest.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/run.h"
#include "tools/keld/host/system.h"
#include "tools/keld/host/visits.h"

namespace keld {

namespace {

namespace fs = std::filesystem;
using Strings = std::vector<std::string>;

constexpr char kItemEntry[] = "Item";  // in a list of types: the item itself
constexpr char kAllRelations[] = "all";

std::vector<tag_t> objectsNamed(const Context& context, const Strings& names) {
    std::vector<tag_t> tags;
    for (const std::string& name : names)
        tags.push_back(context.object(name));
    return tags;
}

// Refuse unknown types: the service would find nothing and succeed.
void checkTypes(const Context& context, const Strings& types) {
    Strings known = context.workbench().typeNames("Dataset");
    known.emplace_back(kItemEntry);
    for (const std::string& type : types)
        if (std::find(known.begin(), known.end(), type) == known.end())
            throw CommandError("there is no type of datasets '" + type + "'", nearest(type, known));
}

void checkRelations(const Context& context, const Strings& relations) {
    const Strings known = context.workbench().relationTypeNames();
    if (relations == Strings{kAllRelations})
        return;
    for (const std::string& relation : relations)
        if (std::find(known.begin(), known.end(), relation) == known.end())
            throw CommandError("there is no relation type '" + relation + "'",
                               nearest(relation, known));
}

// Give the object at which the service failed; none if there was none.
std::vector<Refusal> explainJob(const Context& context, const Outcome& outcome,
                                const CallWatch& calls, const std::vector<tag_t>& objects) {
    const tag_t first = objects.empty() ? NULLTAG : objects.front();
    const tag_t failed = calls.failedWith(outcome.status).object;
    if (outcome.succeeded() || (first == NULLTAG && failed == NULLTAG))
        return {};
    return {refusalOfFailure(context, outcome, calls, first, first)};
}

// ---- files ----

struct WantedFiles {
    Strings objects, types, relations;
    std::string into = ".", job_type, state, options, program;
    bool all_types = false, dry_run = false, visits = false;
};

// A directory for the files of a dry run; removed at the end.
class ScratchDirectory {
public:
    ScratchDirectory() : path_(pathOf(makeTemporaryDirectory("keld-job"))) {}
    ~ScratchDirectory() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;
    const fs::path& path() const { return path_; }

private:
    fs::path path_;
};

std::set<fs::path> directoriesIn(const fs::path& base) {
    std::set<fs::path> found;
    std::error_code missing;
    for (const auto& entry : fs::directory_iterator(base, missing))
        if (entry.is_directory())
            found.insert(entry.path());
    return found;
}

Json asJson(const keld_batch::JobFile& file) {
    Json boms = Json::array(), objects = Json::array();
    for (const auto& bom : file.bom_views)
        boms.push_back({{"type", bom.type}, {"name", bom.name}});
    for (const auto& object : file.objects)
        objects.push_back({{"name", object.name}, {"relation", object.relation}});
    return {{"file", file.file},      {"typ", file.type},  {"iid", file.item},
            {"irv", file.revision},   {"user", file.user}, {"usersgroup", file.users_group},
            {"mailto", file.mail_to}, {"city", file.city}, {"jobtype", file.job_type},
            {"state", file.state},    {"bom_views", boms}, {"objects", objects}};
}

// Show what the service wrote into a job directory, and what the program added.
void showJob(Context& context, const fs::path& directory, bool dry_run, std::string& text) {
    const keld_batch::Job job = keld_batch::readJobDirectory(directory);
    Json files = Json::array(), others = Json::array();
    Table table({"FILE", "TYPE", "ITEM", "REVISION", "OBJECT", "RELATION"});
    for (const auto& file : job.files) {
        files.push_back(asJson(file));
        for (const auto& object : file.objects)
            table.add(
                {file.file, file.type, file.item, file.revision, object.name, object.relation});
    }
    for (const auto& entry : fs::directory_iterator(directory))
        if (entry.path().extension() != ".job" && entry.path().filename() != "options.txt")
            others.push_back(entry.path().filename().string());
    if (!dry_run)
        text += "made " + directory.string() + "\n";
    text += table.empty() ? "no object of these types is attached, so there is no job file\n"
                          : table.text();
    text += "options.txt has " + counted(job.options.size(), "byte") + "\n";
    for (const auto& other : others)
        text += "the program has added " + shown(other.get<std::string>()) + "\n";
    context.document["directory"] = dry_run ? Json() : Json(directory.string());
    context.document["files"] = files;
    context.document["options"] = job.options;
    context.document["added"] = others;
}

constexpr int kNoJobDirectory = 515186;
constexpr int kMostTries = 5;

void waitForNextSecond() {
    using namespace std::chrono;
    std::this_thread::sleep_until(ceil<seconds>(system_clock::now()) + 10ms);
}

int makeFiles(Context& context, const WantedFiles& wanted) {
    context.open();
    const std::vector<tag_t> targets = objectsNamed(context, wanted.objects);
    checkTypes(context, wanted.types);
    checkRelations(context, wanted.relations);
    std::optional<ScratchDirectory> scratch;
    if (wanted.dry_run)
        scratch.emplace();
    const fs::path base =
        scratch ? scratch->path() : fs::absolute(pathOf(wanted.into)).lexically_normal();
    // A rehearsal must not start a batch program.
    const std::string program = wanted.dry_run ? "none" : wanted.program;
    if (!program.empty() && base.string().find(' ') != std::string::npos)
        context.note("the path " + base.string() +
                     " has blanks in it; nothing is quoted, so the program gets it in pieces");
    const std::set<fs::path> before = directoriesIn(base);
    CallWatch calls(context, wanted.visits);
    const auto run = [&] {
        return runService(
            context, findService("KELD_SrvCallCRJFromPortal"),
            {joined(wanted.types, ";"), base.string(), base.string(), wanted.job_type, wanted.state,
             wanted.options, std::string(wanted.all_types ? "true" : "false"),
             joined(wanted.relations, ";"), program, targets});
    };
    Outcome outcome = run();
    // The directory is named for user and second, so another job of this second may have it.
    for (int tries = 2; outcome.status == kNoJobDirectory && mayWrite(base.string()) &&
                        fs::is_directory(base) && tries <= kMostTries;
         ++tries) {
        if (tries > 2)
            context.note("other jobs of this user are made in the same second; trying again");
        waitForNextSecond();
        outcome = run();
    }
    VisitList visits = calls.visits();
    std::vector<Refusal> refusals = explainJob(context, outcome, calls, targets);
    if (outcome.status == kNoJobDirectory && !refusals.empty()) {
        refusals.front().found = "no directory can be made in " + base.string();
        refusals.front().allowed = "a directory that exists and that the user may write";
    }
    context.document = {{"dry_run", wanted.dry_run},
                        {"succeeded", outcome.succeeded()},
                        {"program", program},
                        {"outcome", asJson(context, outcome)}};
    std::string text = wanted.dry_run ? "dry run, the files are gone again; they would be:\n" : "";
    tellProblems(context, outcome, refusals);
    for (const fs::path& directory : directoriesIn(base))
        if (!before.contains(directory))
            showJob(context, directory, wanted.dry_run, text);
    context.print(text);
    if (wanted.visits)
        calls.show(context, visits, {}, refusals, "it is only read");
    return outcome.succeeded() ? kExitDone : kExitFailed;
}

// ---- items ----

struct Attribute {
    const char *name, *key, *meaning;
};

// In the order of interest to people.
constexpr Attribute kAttributes[] = {
    {KELD_JOB_m_attr_job_state_c, "job_state", "state of the job; 1 when it is made"},
    {KELD_JOB_m_attr_queuename_c, "queue", "name of the batch queue"},
    {KELD_JOB_m_attr_type_c, "type", "wanted types of objects"},
    {KELD_JOB_m_attr_jobtype_c, "job_type", "what is to be done"},
    {KELD_JOB_m_attr_options_c, "options", "options of the job"},
    {KELD_JOB_m_attr_relation_c, "relation", "name of a relation type, kept for the program"},
    {KELD_JOB_m_attr_alltypes_c, "all_types", "all types, not only the first with a match"},
    {KELD_JOB_m_attr_target_c, "target", "only objects that are targets themselves"},
    {KELD_JOB_m_attr_user_c, "user", "user entry"},
    {KELD_JOB_m_attr_status_c, "status", "status entry"},
    {KELD_JOB_m_attr_owner_c, "owner", "owner entry"},
    {KELD_JOB_m_attr_group_c, "group", "group entry"},
};

std::vector<mervane::Found> jobItems(const Context& context) {
    return context.workbench().find({"*", KELD_JOB_item_class_name_c, "", 0});
}

// Give the objects to which the latest revision of a job item refers.
std::vector<tag_t> linkedObjects(const Context& context, tag_t item) {
    tag_t revision = NULLTAG, type = NULLTAG;
    require(context, ART_ask_latest_rev(item, &revision), "ART_ask_latest_rev");
    require(context, REL_find_relation_type(VANE_specification, &type), "REL_find_relation_type");
    return listOf<tag_t>([&](int* count, tag_t** list) {
        return REL_list_secondary_objects_only(revision, type, count, list);
    });
}

Json valueOf(const mervane::Values& values) {
    if (values.empty())
        return {};
    if (const auto* text = std::get_if<std::string>(&values[0]))
        return *text;
    if (const auto* flag = std::get_if<bool>(&values[0]))
        return *flag;
    if (const auto* number = std::get_if<std::int64_t>(&values[0]))
        return *number;
    return {};
}

Json itemAsJson(const Context& context, tag_t item) {
    Json shown = {{"item", context.label(item)}, {"tag", item}};
    tag_t form = NULLTAG;
    require(context, KELD_GetMasterForm(item, &form), "KELD_GetMasterForm");
    for (const Attribute& attribute : kAttributes)
        shown[attribute.key] =
            form == NULLTAG ? Json() : valueOf(context.workbench().get(form, attribute.name));
    shown["objects"] = Json::array();
    for (const tag_t object : linkedObjects(context, item)) {
        const mervane::Found found = context.workbench().describe(object);
        shown["objects"].push_back({{"object", context.label(object)}, {"type", found.type}});
    }
    return shown;
}

std::string shownValue(const Json& value) {
    if (value.is_null())
        return "-";
    return value.is_string() ? value.get<std::string>() : value.dump();
}

std::string itemAsText(const Json& item) {
    std::string text = painted(Colour::Bold, shown(item["item"].get<std::string>())) + "  " +
                       KELD_JOB_item_class_name_c + "\n";
    Table table({"ATTRIBUTE", "VALUE", "MEANING"});
    for (const Attribute& attribute : kAttributes)
        table.add({attribute.name, shownValue(item[attribute.key]), attribute.meaning});
    text += table.text();
    for (const Json& object : item["objects"])
        text += "refers to " + shown(object["object"].get<std::string>()) + " (" +
                object["type"].get<std::string>() + ")\n";
    return text;
}

struct WantedItem {
    Strings objects;
    std::string queue, type, job_type, options, relation;
    bool all_types = false;
    RunWish run;
};

// End the run and put the job item that it made, or would make, into the document.
Record endWithItem(Context& context, VerbRun& run, const Outcome& outcome) {
    // The item is still there, even if the run is taken back afterwards. One that couldn't be
    // filled is gone already.
    const Record record = run.end(outcome, {}, [&](const mervane::RunEntry& entry) {
        if (entry.change != mervane::RunChange::ObjectMade ||
            entry.type != KELD_JOB_item_class_name_c ||
            nameOf(context, entry.object).type == kGoneType)
            return;
        context.document["job_item"] = itemAsJson(context, entry.object);
    });
    if (!run.kept() && !run.rehearses())
        context.document["job_item"] = nullptr;
    return record;
}

int makeItem(Context& context, const WantedItem& wanted) {
    context.open();
    const std::vector<tag_t> objects = objectsNamed(context, wanted.objects);
    const std::vector<mervane::Argument> arguments{
        wanted.type,     wanted.queue,   wanted.job_type,
        std::string(),   wanted.options, std::string(wanted.all_types ? "true" : "false"),
        wanted.relation, objects};
    VerbRun run(context, wanted.run, "KELD_SrvCallCRIFromPortal", wireText(context, arguments));
    CallWatch calls(context, wanted.run.visits);
    const Outcome outcome =
        runService(context, findService("KELD_SrvCallCRIFromPortal"), arguments);
    VisitList visits = calls.visits();
    const std::vector<Refusal> refusals = explainJob(context, outcome, calls, objects);
    context.document = {{"dry_run", run.rehearses()},
                        {"succeeded", outcome.succeeded()},
                        {"job_item", nullptr},
                        {"outcome", asJson(context, outcome)}};
    std::string text = run.rehearses() ? "dry run, nothing is changed; it would be:\n" : "";
    tellProblems(context, outcome, refusals);
    const Record record = endWithItem(context, run, outcome);
    if (!context.document["job_item"].is_null())
        text += "made " + itemAsText(context.document["job_item"]);
    context.print(text);
    if (wanted.run.visits)
        calls.show(context, visits, record, refusals, "it is only read");
    return tellEnd(context, run, record, outcome);
}

int listItems(Context& context) {
    Json shown = Json::array();
    Table table({"JOB ITEM", "STATE", "QUEUE", "JOB TYPE", "OBJECTS"});
    for (const auto& found : jobItems(context)) {
        const Json item = itemAsJson(context, found.tag);
        table.add({item["item"].get<std::string>(), shownValue(item["job_state"]),
                   shownValue(item["queue"]), shownValue(item["job_type"]),
                   std::to_string(item["objects"].size())});
        shown.push_back(item);
    }
    context.document["job_items"] = shown;
    context.print(table.empty() ? "no job items\n" : table.text());
    return kExitDone;
}

int showItem(Context& context, const std::string& name) {
    context.open();
    if (name.empty())
        return listItems(context);
    tag_t object = context.object(name);
    Strings ids;
    for (const auto& found : jobItems(context)) {
        if (found.tag == object) {
            context.document = itemAsJson(context, object);
            context.print(itemAsText(context.document));
            return kExitDone;
        }
        ids.push_back(found.id);
    }
    throw CommandError(name + " is no job item", nearest(name, ids));
}

void addFilesVerb(Verbs& verbs, CLI::App* group) {
    auto files = std::make_shared<WantedFiles>();
    CLI::App* verb =
        verbs.add(group, "files", "Write job files of objects, and start a batch program on them",
                  "  keld job files 000123 000124/A --types Text,Drawing --dry-run\n"
                  "  keld job files 000123/A --types Item --into /srv/jobs --program keld-batch\n",
                  [files](Context& context) { return makeFiles(context, *files); });
    verb->add_option("OBJECTS", files->objects, "revisions, or items for their latest ones")
        ->required();
    verb->add_option("--types", files->types,
                     "types of datasets in the order in which they are tried; Item is the item "
                     "itself; CADPART,CADMASTER if not given")
        ->delimiter(',')
        ->allow_extra_args(false);
    verb->add_flag("--all-types", files->all_types, "all types, not only the first with a match");
    verb->add_option("--relations", files->relations,
                     "relation types to search, or all; VANE_specification if not given")
        ->delimiter(',')
        ->allow_extra_args(false);
    verb->add_option("--into", files->into, "existing directory for the job directory; else .");
    verb->add_option("--job-type", files->job_type, "what is to be done");
    verb->add_option("--state", files->state, "a text for the program");
    verb->add_option("--options", files->options, "content of options.txt; %% becomes %");
    CLI::Option* program = verb->add_option("--program", files->program,
                                            "command to start with the job directory after it");
    verb->add_flag("--dry-run", files->dry_run,
                   "write the files into a directory that goes again, and start nothing")
        ->excludes(program);
    verb->add_flag("--visits", files->visits,
                   "show each object that the service looked at, and what came of it");
}

void addItemVerb(Verbs& verbs, CLI::App* group) {
    auto item = std::make_shared<WantedItem>();
    CLI::App* verb =
        verbs.add(group, "item", "Make a job item that refers to objects",
                  "  keld job item 000123/A --queue night --job-type PRINT --dry-run\n",
                  [item](Context& context) { return makeItem(context, *item); });
    verb->add_option("OBJECTS", item->objects, "revisions, or items for their latest ones");
    verb->add_option("--queue", item->queue, "name of the batch queue");
    verb->add_option("--type", item->type, "wanted types of objects");
    verb->add_option("--job-type", item->job_type, "what is to be done");
    verb->add_option("--options", item->options, "options of the job");
    verb->add_option("--relation", item->relation, "name of a relation type, kept for the program");
    verb->add_flag("--all-types", item->all_types, "all types, not only the first with a match");
    addRunOptions(verb, item->run);
}

void addShowVerb(Verbs& verbs, CLI::App* group) {
    auto shown = std::make_shared<std::string>();
    verbs
        .add(group, "show", "Show a job item, or list all of them", "  keld job show 000456\n",
             [shown](Context& context) { return showItem(context, *shown); })
        ->add_option("ITEM", *shown);
}

}  // namespace

void addJobVerbs(Verbs& verbs) {
    CLI::App* group = verbs.addGroup("job", "Jobs for a batch server: job files and job items",
                                     "  keld job files 000123/A --types Text --program keld-batch\n"
                                     "  keld job item 000123/A --queue night --job-type PRINT\n"
                                     "  keld job show 000456\n",
                                     nullptr);
    addFilesVerb(verbs, group);
    addItemVerb(verbs, group);
    addShowVerb(verbs, group);
}

}  // namespace keld
