// Faults in every platform call of the status manager.

#include <gtest/gtest.h>

#include <cstring>

#include "platform/keld_se.h"
#include "tests/faults/service.h"
#include "tests/faults/status_rules.h"
#include "tests/faults/sweep.h"

using faults::Outcome;
using faults::Scenario;
using world::World;

namespace {

struct Start {
    tag_t object = NULLTAG;
    std::string type;
};
Start start;  // of the scenario that runs

Outcome service(World& world) {
    return faults::callService(world, "KELD_StatusManager", KELD_StatusManager,
                               {"S", start.type, start.object});
}

Scenario scenario(const std::string& name, const std::function<Start(World&)>& build) {
    Scenario made;
    made.name = name;
    made.build = [build](World& world) { start = build(world); };
    made.run = service;
    made.gives = faults::givenBy("KELD_StatusManager");
    made.on_the_way = {"release_status_list", "date_released", "process_stage_list"};
    made.changes_from = "ACL__set_application_bypass";
    return made;
}

// Every status that a run can leave is one that the next run allows. A status whose name couldn't
// be set is called "Release Status".
constexpr char kAllowed[] = "PrevReleaseStatus=none;Frozen;Older;Third;Release Status;Work\n";

std::string sections(const std::string& text) {
    std::string all = "[SelectWSO]\nItem=1\nItemRevision=1\nDataset=1\nBOMLine=1\n";
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size() - 1) + 1;
        all += text.substr(at, end - at);
        if (text[at] == '[' && text.find("Form]", at) > end)
            all += kAllowed;
        at = end;
    }
    return all;
}

// An item with revisions A, B and C, BOM views, documents and statuses from before.
Start tree(World& world) {
    const world::ItemTags made = world.item("000100");
    const tag_t b = world.revision(made.item, "B"), c = world.revision(made.item, "C");
    for (const tag_t revision : {made.revision, b, c}) {
        world.occurrence(revision, world.item("").revision);
        world.specification(revision, "text");
        world.specification(revision, "drawing", "Drawing");
    }
    const tag_t shared = world.giveStatus(made.revision, "Work");
    world.bench.set(b, "release_status_list", {mervane::Reference{shared}});
    world.giveStatus(c, "Work");
    world.giveStatus(c, "Frozen");
    world.ini(
        sections("[S_Item]\nSetReleaseState=Frozen\nChangeForward="
                 "LastItemRevision\nCheckNeedFields=object_name\n"
                 "[S_ItemRevision]\nSetReleaseState=Frozen\nChangeNoRek=ItemOfRev\n"
                 "ChangeForward=OldItemRevision;Rel.VANE_specification.Drawing;Nowhere;BOM\n"
                 "ChangeBack=Rel.VANE_specification.*\n"
                 "[S_Old_ItemRevision]\nSetReleaseState=Older\nChangeForward=Old_Rel.VANE_"
                 "specification.*;Old_BOM\n"
                 "[S_VANE_specification.Drawing]\nSetReleaseState=Frozen\n"
                 "[S_BOM]\nSetReleaseState=Frozen\n"
                 "[S_Old_VANE_specification.*]\nSetReleaseState=Older\n"));
    return {made.item, "Item"};
}

// A revision whose related documents get a third and further status names, on the way back.
Start manyStatuses(World& world) {
    const world::ItemTags made = world.item("000100");
    for (const char* name : {"one", "two", "three"})
        world.giveStatus(world.specification(made.revision, name), "Work");
    world.ini(
        sections("[S_ItemRevision]\nSetReleaseState=Frozen\nChangeNoRek=ItemOfRev\n"
                 "ChangeBack=Rel.VANE_specification.*\n"
                 "[S_Item]\nSetReleaseState=Older\n"
                 "[S_VANE_specification.*]\nSetReleaseState=Third\n"));
    return {made.revision, "ItemRevision"};
}

// A third and further status is set by an instance of its own, whose failures are dropped.
bool thirdStatus(const faults::Record& record, std::size_t call, const std::string& function,
                 const std::string& inner) {
    if (function != "CKELD_StatusManager::Process" || inner != "CKELD_Status1::Set")
        return false;
    int made = 0;
    for (std::size_t i = 0; i < call; ++i)
        made += std::strcmp(record.calls[i].operation, "RLS_create_release_status") == 0;
    return made > 2;
}

Start lines(World& world) {
    const tag_t top = world.item("000100").revision;
    for (int i = 0; i < 3; ++i) {
        const tag_t child = world.item("").revision;
        world.occurrence(top, child);
        for (int k = 0; k < 2; ++k)
            world.occurrence(child, world.item("").revision);
    }
    world.bench.createProcessTemplate("Follow", {"Check"});
    world.ini(
        sections("[S_BOMLine]\nChangeForward=ChildBomLines;bl_revision\nStartJob=Follow\n"
                 "[S_ItemRevision]\nSetReleaseState=Frozen\n"));
    return {world.bench.openBomWindow(top), "BOMLine"};
}

void sheet(World& world) {
    std::vector<mervane::AttributeSpec> fields;
    for (const char* name : {"s_text", "s_user", "s_name", "s_day", "s_group", "s_prop", "s_full"})
        fields.push_back({name});
    fields.push_back({"d_now", mervane::Kind::Date});
    fields.push_back({"d_gone", mervane::Kind::Date});
    world.bench.defineType("Sheet", "Form", fields);
}

// Every key of a form, with and without the test for empty fields.
constexpr char kKeys[] =
    "SetDefault=s_text=new;s_*=all\nSetActUserId=s_user\nSetActUserName=s_name\n"
    "SetActDate=s_day=%d.%m.%Y;s_day\nSetActDateDate=d_now\nDel_Date=d_gone\n"
    "SetActRevId=s_group\nSetActGroup=s_prop=object_name\n"
    "SetDefaultOnEmpty=s_full=x\nSetActUserIdOnEmpty=s_user\nSetActUserNameOnEmpty=s_name\n"
    "SetActDateOnEmpty=s_day\nSetActDateDateOnEmpty=d_now\nDel_DateOnEmpty=d_gone\n"
    "SetActRevIdOnEmpty=s_group\nSetActGroupOnEmpty=s_prop=object_name\n";

Start forms(World& world) {
    sheet(world);
    const world::ItemTags made = world.item("000100");
    const tag_t dataset = world.specification(made.revision, "text");
    const tag_t form = world.bench.createForm("Sheet", "values");
    world.put(form, "s_full", "full");
    world.bench.addNamedReference(dataset, "Text", form);
    world.ini(sections("[S_ItemRevision]\nSetAttributes=Other;MasterForm\nCheckNeedFields=object_"
                       "name;object_type\n"
                       "ChangeForward=Rel.VANE_specification.*\n"
                       "[S_VANE_specification.*]\nSetAttributes=Text;Nothing\n"
                       "[S_ItemRevision_MasterForm]\nSetDefault=object_desc="
                       "new\nSetActUserIdOnEmpty=object_desc\n") +
              "[S_VANE_specification.*_Text]\n" + kKeys);
    return {made.revision, "ItemRevision"};
}

Start jobs(World& world) {
    const world::ItemTags made = world.item("000100");
    for (const char* name : {"one", "two"}) {
        world.specification(made.revision, name, "Drawing");
        world.specification(made.revision, name);
    }
    const tag_t dataset = world.dataset("versions");
    world.bench.relate(made.revision, dataset, "VANE_reference");
    for (int i = 0; i < 3; ++i)
        world.bench.createDatasetVersion(dataset);
    world.bench.createProcessTemplate("Follow", {"Check", "Sign"});
    world.ini(
        sections("[S_ItemRevision]\nSetReleaseState=Frozen\nStartJob=Follow\nJobPrefix=J_\n"
                 "DeleteDatasets=VANE_specification.Drawing;VANE_specification.*\n"
                 "ChangeForward=Rel.VANE_reference.*\n"
                 "[S_VANE_reference.*]\nPurge=1\nSetReleaseState=none\nStartJob=Follow\n"));
    return {made.revision, "ItemRevision"};
}

}  // namespace

TEST(FaultSweep, StatusManager) {
    std::vector<Scenario> scenarios;
    scenarios.push_back(scenario("tree", tree));
    scenarios.push_back(scenario("three statuses", manyStatuses));
    scenarios.back().drops = thirdStatus;
    scenarios.push_back(scenario("BOM lines", lines));
    scenarios.push_back(scenario("forms", forms));
    for (const char* field : {"object_desc", "s_text", "s_user", "s_name", "s_day", "s_group",
                              "s_prop", "s_full", "d_now", "d_gone"})
        scenarios.back().on_the_way.emplace_back(field);
    scenarios.push_back(scenario("datasets and jobs", jobs));
    expectSweep("status manager", scenarios, faults::statusRules());
}
