// Faults in every platform call of what sibling libraries and the client call one by one: the
// status primitives, a prepared status, values on forms, the diagnostic services.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "platform/keld_se.h"
#include "platform/mv_flow.h"
#include "platform/mv_heap.h"
#include "platform/mv_obj.h"
#include "tests/faults/entry_rules.h"
#include "tests/faults/service.h"
#include "tests/faults/status_rules.h"
#include "tests/faults/sweep.h"

using faults::Outcome;
using faults::Scenario;
using world::World;

namespace {

tag_t object = NULLTAG, form = NULLTAG;

Scenario scenario(const std::string& name, const std::function<void(World&)>& build,
                  const std::function<int(World&)>& run) {
    Scenario made;
    made.name = name;
    made.build = build;
    made.run = [run](World& world) { return Outcome{run(world), {}}; };
    made.gives = [](int status) { return Outcome{status, {}}; };
    made.on_the_way = {"release_status_list", "date_released", "name"};
    return made;
}

// A revision with two statuses and a workflow, or a dataset.
void revision(World& world) {
    object = world.item("000100").revision;
    world.giveStatus(object, "Work");
    world.giveStatus(object, "Older");
    const tag_t steps = world.bench.createProcessTemplate("Follow", {"Check"});
    const int target = 1;
    tag_t process = NULLTAG;
    ASSERT_EQ(FLOW_create_process("job", "", steps, 1, &object, &target, &process), 0);
}

void dataset(World& world) {
    object = world.dataset("text");
    world.giveStatus(object, "Work");
}

// The statuses of the object as they are handed out.
int firstStatus(tag_t* status) {
    int count = 0;
    tag_t* list = nullptr;
    const int result = CKELD_Status::GetReleaseStatusTagList(object, &count, &list, 1);
    *status = count > 0 ? list[0] : NULLTAG;
    HEAP_free(list);
    return result;
}

// The name of the first status, if there is one.
int nameOfStatus() {
    tag_t status = NULLTAG;
    char name[129] = "";
    const int result = firstStatus(&status);
    return result != 0 || status == NULLTAG ? result
                                            : CKELD_Status::GetReleaseStatusRslTag(status, name);
}

int newStatus() {
    tag_t status = NULLTAG;
    const int result = CKELD_Status::CreateReleaseStatus(object, &status, 1);
    return result != 0 ? result : CKELD_Status::SetReleaseStatusRslTag(status, "Frozen", 1);
}

int workflow() {
    char name[129] = "";
    int count = 0;
    tag_t* list = nullptr;
    const int result = CKELD_Status::GetProcessStageTagList(object, &count, &list);
    HEAP_free(list);
    return result != 0 ? result : CKELD_Status::GetProcessStageObj(object, name);
}

// An instance that couldn't be prepared sets nothing.
int prepared() {
    CKELD_Status1 status("Frozen", "31.12.2026");
    return status.Set(object);
}

void sheet(World& world) {
    world.bench.defineType("Sheet", "Form",
                           {{"s_text"}, {"s_other"}, {"d_now", mervane::Kind::Date}});
    object = world.item("000100").revision;
    form = world.bench.createForm("Sheet", "values");
    world.put(form, "s_other", "full");
}

int values(const char* config, const char* type, bool only_if_empty) {
    int result = OBJ_refresh(form, true);
    if (result == 0)
        result = KELD_SetFormValue_byType(form, object, config, type, only_if_empty);
    const int saved = OBJ_save(form), unlocked = OBJ_refresh(form, false);
    return result != 0 ? result : saved != 0 ? saved : unlocked;
}

struct FormValue {
    const char* type;
    const char* config;
};

int diagnosis(World& world) {
    return faults::callService(world, "KELD_SrvCall", KELD_SrvCall, {10, 0, "HOME"}).status;
}

int environment(World& world) {
    return faults::callService(world, "KELD_SrvCallGetEnv", KELD_SrvCallGetEnv, {"HOME"}).status;
}

}  // namespace

TEST(FaultSweep, StatusPrimitives) {
    const auto set = [](const char* type, const char* name) {
        return
            [type, name](World&) { return CKELD_Status::SetReleaseStatusObj(object, type, name); };
    };
    expectSweep(
        "status primitives",
        {scenario("set on a dataset", dataset, set("Dataset", "Frozen")),
         scenario("set on a revision", revision, set("ItemRevision", "Frozen")),
         scenario("cleared", revision, set("ItemRevision", "none")),
         scenario("name", revision, [](World&) { return nameOfStatus(); }),
         scenario("new with the lock", revision, [](World&) { return newStatus(); }),
         scenario("deleted", revision,
                  [](World&) { return CKELD_Status::DelReleaseStatusObj(object, 1); }),
         scenario("dated", revision, [](World&) { return CKELD_Status::SetRelDate(object, 1); }),
         scenario("date taken away", revision,
                  [](World&) { return CKELD_Status::DelRelDate(object, 1); }),
         scenario("workflow", revision, [](World&) { return workflow(); })},
        faults::entryRules());
}

TEST(FaultSweep, PreparedStatus) {
    expectSweep("prepared status",
                {scenario("revision", revision, [](World&) { return prepared(); }),
                 scenario("dataset", dataset, [](World&) { return prepared(); })},
                faults::statusRules());
}

TEST(FaultSweep, FormValues) {
    std::vector<Scenario> scenarios;
    for (const FormValue& each :
         {FormValue{"Value", "s_text=new;s_other=x"}, FormValue{"Prop", "s_text=object_name"},
          FormValue{"PropMF", "s_text=object_name"}, FormValue{"UserId", "s_text"},
          FormValue{"UserName", "s_text;s_other"}, FormValue{"Group", "s_text"},
          FormValue{"Str_Date", "s_text=%d.%m.%Y"}, FormValue{"Date_Date", "d_now"},
          FormValue{"Del_Date", "d_now"}})
        for (const bool only_if_empty : {false, true}) {
            scenarios.push_back(
                scenario(std::string(each.type) + (only_if_empty ? ", only if empty" : ""), sheet,
                         [each, only_if_empty](World&) {
                             return values(each.config, each.type, only_if_empty);
                         }));
            for (const char* field : {"s_text", "s_other", "d_now"})
                scenarios.back().on_the_way.emplace_back(field);
        }
    expectSweep("form values", scenarios, faults::statusRules());
}

TEST(FaultSweep, Diagnosis) {
    expectSweep("diagnosis",
                {scenario(
                     "call", [](World&) {}, diagnosis),
                 scenario(
                     "environment", [](World&) {}, environment)},
                faults::entryRules());
}
