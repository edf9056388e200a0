// Faults in every platform call of the job files and of the job item.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "jobs/keld_fct_cjf_from_portal.h"
#include "platform/keld_se.h"
#include "platform/mv_dbo.h"
#include "platform/mv_heap.h"
#include "platform/mv_org.h"
#include "platform/mv_rel.h"
#include "tests/faults/functions.h"
#include "tests/faults/job_rules.h"
#include "tests/faults/service.h"
#include "tests/faults/sweep.h"
#include "tests/support/files.h"

using faults::Call;
using faults::Outcome;
using faults::Record;
using faults::Scenario;
using world::World;

namespace fs = std::filesystem;

namespace {

fs::path place, base;
std::vector<tag_t> targets;
tag_t document = NULLTAG;  // of the second target
int last_status = 0;

bool isIn(const std::vector<faults::Frame>& frames, const char* function) {
    return std::any_of(frames.begin(), frames.end(), [function](const faults::Frame& frame) {
        return faults::functionAt(frame.code) == function;
    });
}

bool plannedIn(const Record& record, const char* function, const char* within) {
    return std::any_of(record.calls.begin(), record.calls.end(), [&](const Call& call) {
        return call.planned && isIn(call.frames, function) && isIn(call.frames, within);
    });
}

// A directory of its own for each run: a job directory is named by the second.
std::string freshBase() {
    static int runs = 0;
    base = place / (std::to_string(::getpid()) + "-" + std::to_string(++runs));
    fs::create_directories(base);
    return base.string();
}

// ---- the world ----

// A person with everything that a header shows.
void identity(World& world) {
    tag_t member = NULLTAG, group = NULLTAG, user = NULLTAG, person = NULLTAG;
    char* name = nullptr;
    ASSERT_EQ(ORG_ask_current_groupmember(&member), 0);
    ASSERT_EQ(ORG_ask_groupmember_group(member, &group), 0);
    ASSERT_EQ(DBO_get_user(&name, &user), 0);
    HEAP_free(name);
    ASSERT_EQ(ORG_ask_user_person(user, &person), 0);
    world.bench.set(group, "parent",
                    {mervane::Reference{world.bench.createGroup("engineering", "")}});
    world.put(person, "PA2", "Brightwater");
    world.put(person, "PA9", "some.body");
}

world::ItemTags product(World& world, const std::string& id) {
    const world::ItemTags made = world.item(id);
    document = world.specification(made.revision, "first " + id);
    world.bench.relate(made.revision, world.dataset("second " + id), "VANE_reference");
    world.occurrence(made.revision, world.item("").revision);
    return made;
}

void build(World& world) {
    identity(world);
    const world::ItemTags first = product(world, "000100"), second = product(world, "000200");
    targets = {first.item, second.revision, world.bench.createFolder("no target"), second.item};
}

// ---- job files ----

Outcome files(World& world, const std::string& types, const std::string& all_types,
              const std::string& relations, const std::string& program) {
    const std::string directory = freshBase();
    const Outcome outcome =
        faults::callService(world, "KELD_SrvCallCRJFromPortal", KELD_SrvCallCRJFromPortal,
                            {types, directory, directory, "PRINT", "released", "opt=1", all_types,
                             relations, program, targets});
    last_status = outcome.status;
    return outcome;
}

// What the service can't ask of the writer: one file for a type, targets only, the user's name.
Outcome writer(World&) {
    const std::string directory = freshBase();
    auto* list = static_cast<tag_t*>(HEAP_alloc(2 * sizeof(tag_t)));
    list[0] = targets[1];
    list[1] = document;
    const tag_t every = NULLTAG;
    char job_directory[1024] = "";
    last_status =
        KELD_fct_CRJ_from_portal(directory.c_str(), "Item;Text;Other", "true", "true", &every, 1,
                                 "PRINT", "opt=1", "released", "true", "currentUserName", "true",
                                 "true", "IREV", "IREV", "IREV", false, 2, list, job_directory);
    return {last_status, {}};
}

// Whether the function goes on after the call; texts of errors are for the log only.
bool goesOn(const Record& record, std::size_t call, const std::string& function,
            const std::string& inner = "") {
    return std::any_of(record.calls.begin() + static_cast<std::ptrdiff_t>(call) + 1,
                       record.calls.end(), [&](const Call& later) {
                           return std::strncmp(later.operation, "ERR_ask_", 8) != 0 &&
                                  isIn(later.frames, function.c_str()) &&
                                  (inner.empty() || isIn(later.frames, inner.c_str()));
                       });
}

// Only the last id that the expansion asks for counts.
bool notTheLast(const Record& record, std::size_t call, const std::string& function,
                const std::string& inner) {
    return function == "ExpandTargets" && inner == "ENT_ask_id_string" &&
           goesOn(record, call, function);
}

std::optional<int> answer(const Record& record, const faults::Verdict& verdict) {
    // A file without a name can't be opened, whatever failed before.
    if (plannedIn(record, "KELD_buildFileNameNew", "NextFileName"))
        return 2010;
    if (verdict.travelled != 0)
        return std::nullopt;
    // Each read gets the argument before its own, so the flag for all types is none.
    if (plannedIn(record, "ReadTypesAndDestination", "ReadRequest"))
        return 919998;
    // No group is known, so the question for its name fails without a fault.
    for (const Call& call : record.calls)
        if (std::strcmp(call.operation, "ORG_ask_group_name") == 0 && call.status != 0)
            return call.status;
    return std::nullopt;
}

// Blocks that stay: the names that were split from a list, with their array; and the attachments of
// a target, if no file could be opened.
std::vector<std::string> looksAtBlocks(const Record& record) {
    const bool service_left = plannedIn(record, "KELD_isObjectOfTypeExt", "ExpandTargets"),
               writer_left = plannedIn(record, "NextFileName", "KELD_WriteJobTarget") ||
                             plannedIn(record, "KELD_isObjectOfClass", "KELD_WriteJobTarget");
    std::vector<std::string> problems;
    const faults::Block* attachments = nullptr;
    for (const faults::Block& block : record.blocks) {
        if (isIn(block.frames, "AppendAttachments")) {
            if (attachments && attachments->died == faults::kNever)
                problems.push_back("attachments of an earlier target stay");
            attachments = &block;
        }
        const bool split = isIn(block.frames, "KELD_splitItemString"),
                   text = isIn(block.frames, "CopyEntry");
        if (!split && !isIn(block.frames, "AllocateTags"))
            continue;
        const bool relations = isIn(block.frames, "ResolveRelationTypes");
        const bool stays = relations ? (split && !text) || service_left : text || writer_left;
        if ((block.died == faults::kNever) != stays)
            problems.push_back(std::string(text    ? "a text"
                                           : split ? "the array"
                                                   : "the tags") +
                               (relations ? " of the relations" : " of the types") +
                               (stays ? " is given back" : " stays"));
    }
    const bool opened = !plannedIn(record, "NextFileName", "KELD_WriteJobTarget");
    if (attachments && (attachments->died != faults::kNever) != opened)
        problems.push_back(opened ? "the attachments stay" : "the attachments are given back");
    return problems;
}

std::vector<std::string> looksAtFiles(World&, const Record& record) {
    std::vector<std::string> problems = looksAtBlocks(record);
    int options = 0, jobs = 0;
    for (const auto& entry : fs::recursive_directory_iterator(base)) {
        options += entry.path().filename() == "options.txt";
        jobs += entry.path().extension() == ".job";
    }
    if (options != (last_status == 0 ? 1 : 0))
        problems.push_back(std::to_string(options) + " files of options");
    if (last_status == 0 && jobs == 0 &&
        !plannedIn(record, "ART_ask_latest_rev", "ExpandTargets") && targets.size() > 1)
        problems.push_back("no job files");
    return problems;
}

Scenario filesOf(const std::string& name, const std::function<Outcome(World&)>& run,
                 std::optional<int> slot = 0) {
    Scenario made;
    made.name = name;
    made.build = build;
    made.run = run;
    made.gives = [slot](int status) { return Outcome{status, slot}; };
    made.drops = notTheLast;
    made.answers = answer;
    made.look = looksAtFiles;
    return made;
}

// ---- job item ----

Outcome item(World& world) {
    const Outcome outcome = faults::callService(
        world, "KELD_SrvCallCRIFromPortal", KELD_SrvCallCRIFromPortal,
        {"CADPART", "night", "PRINT", "new", "opt=1", "TRUE", "VANE_any", targets});
    last_status = outcome.status;
    return outcome;
}

// With a workflow job an item stays an item, and isn't referred to.
Outcome itemOfJob(World&) {
    last_status =
        KELD_createJobItem(2, targets.data(), targets.back(), "night", "CADPART", false, true,
                           "VANE_any", "PRINT", "opt=1", "user", "status", "owner", "group");
    return {last_status, {}};
}

bool askedAgain(const Record& record, std::size_t call, const std::string& function,
                const std::string& inner) {
    // The first question for a target's class is dropped: the second one follows it.
    const bool first_question = function == "LinkTarget" && inner == "KELD_isObjectOfClass";
    // Of the unlocking calls the last one's status counts.
    const bool unlock = function == "FinishItem" && inner == "OBJ_refresh";
    return (first_question || unlock) &&
           goesOn(record, call, function, first_question ? inner : "");
}

// Item and revision stay locked if the function ends midway. If the form can't be filled they are
// deleted, unless that fails.
std::vector<std::string> looksAtLocks(World&, const Record& record) {
    bool ended = false, filling = false, deleting = false;
    for (std::size_t i = 0; i < record.calls.size(); ++i) {
        const Call& call = record.calls[i];
        if (!call.planned || std::strncmp(call.operation, "ERR_ask_", 8) == 0)
            continue;
        const bool in_form = isIn(call.frames, "FillForm"),
                   in_delete = isIn(call.frames, "DeleteItem"),
                   in_finish = isIn(call.frames, "FinishItem");
        const bool target = isIn(call.frames, "LinkTarget") &&
                            std::strcmp(call.operation, "ART_ask_latest_rev") != 0 &&
                            !askedAgain(record, i, "LinkTarget", "KELD_isObjectOfClass");
        filling = filling || in_form;
        deleting =
            deleting || (in_delete && std::strcmp(call.operation, "ERR_store_error_s1") != 0);
        ended = ended || target || isIn(call.frames, "CreateItem") ||
                (in_finish && !in_form && !in_delete && !call.unlocks);
    }
    std::vector<std::string> problems;
    for (const faults::Lock& lock : record.locks) {
        if (lock.call == faults::kNever || !isIn(record.calls[lock.call].frames, "CreateItem"))
            continue;
        const bool unlock_fails =
            std::any_of(record.calls.begin(), record.calls.end(), [&](const Call& call) {
                return call.planned && call.unlocks && isIn(call.frames, "FinishItem") &&
                       !isIn(call.frames, "FillForm");
            });
        const bool stays = lock.died == faults::kNever;
        if (unlock_fails && !filling && !ended)
            continue;  // that of the object whose call failed
        if (stays != (ended || (filling && deleting)))
            problems.push_back("the lock of #" + std::to_string(lock.object) +
                               (stays ? " stays" : " is given back") +
                               record.calls[lock.call].operation + std::to_string(lock.call) + " " +
                               std::to_string(lock.died));
    }
    return problems;
}

Scenario itemOf(const std::string& name, const std::function<Outcome(World&)>& run,
                std::optional<int> slot) {
    Scenario made;
    made.name = name;
    made.build = build;
    made.run = run;
    made.gives = [slot](int status) { return Outcome{status, slot}; };
    made.drops = askedAgain;
    made.changes_from = "ART_create_item";
    made.look = looksAtLocks;
    return made;
}

}  // namespace

TEST(FaultSweep, JobFiles) {
    const keld_test::Directory directory;
    place = directory;
    expectSweep(
        "job files",
        {filesOf("all types",
                 [](World& world) {
                     return files(world, "Item;Text", "true", "VANE_specification;VANE_reference",
                                  "true");
                 }),
         filesOf("all relations",
                 [](World& world) { return files(world, "Other;Text", "", "all", "none"); }),
         filesOf("one file for each type", writer, std::nullopt)},
        faults::jobRules());
    std::error_code ignored;
    fs::remove_all(place, ignored);
}

TEST(FaultSweep, JobItem) {
    expectSweep("job item",
                {itemOf("from the portal", item, 0), itemOf("of a job", itemOfJob, std::nullopt)},
                faults::jobRules());
}
