// The functions of libkeld_se and libkeld_qsktool with each of their allocations refused in turn.
// What the workbench allocates for itself isn't refused: that is the platform's own affair.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <new>
#include <set>
#include <string>
#include <vector>

#include "platform/keld_qsktool.h"
#include "platform/keld_se.h"
#include "platform/mv_flow.h"
#include "platform/mv_heap.h"
#include "platform/mv_mv.h"
#include "platform/mv_obj.h"
#include "tests/memory/exported.h"
#include "tests/support/files.h"
#include "tests/support/places.h"
#include "tests/support/refused_memory.h"
#include "tests/support/world.h"

namespace fs = std::filesystem;
using world::World;

// ---- what the workbench calls at the beginning and the end of each operation ----

void realBegin(void* counted, const char* operation) asm("__real__ZN7mervane6detail7CountedC1EPKc");
void wrapBegin(void* counted, const char* operation) asm("__wrap__ZN7mervane6detail7CountedC1EPKc");
void realEnd(void* counted) asm("__real__ZN7mervane6detail7CountedD1Ev");
void wrapEnd(void* counted) asm("__wrap__ZN7mervane6detail7CountedD1Ev");

void wrapBegin(void* counted, const char* operation) {
    refused_memory::enterPlatform();
    realBegin(counted, operation);
}

void wrapEnd(void* counted) {
    realEnd(counted);
    refused_memory::leavePlatform();
}

namespace {

constexpr int kNoMemory = 2002;

// What the cases work on.
struct Objects {
    tag_t item = NULLTAG, revision = NULLTAG, other = NULLTAG, drawing = NULLTAG, form = NULLTAG;
    tag_t folder = NULLTAG, line = NULLTAG, status = NULLTAG;
    tag_t list[2] = {};
};
Objects made;

// Values of a type with room for what functions hand out.
struct Out {
    int count = 0;
    tag_t tag = NULLTAG;
    tag_t* tags = nullptr;
    char* text = nullptr;
    char** texts = nullptr;
    logical flag = false;
    char buffer[1100] = "";

    ~Out() {
        HEAP_free(tags);
        HEAP_free(text);
        MV_free_strings(texts);
    }
};

struct Case {
    std::string name;
    std::vector<std::string> covers;
    int (*run)();  // gives the status; allocates nothing itself
    void (*prepare)(World&, int n) = [](World&, int) {};
    std::set<int> less = {kNoMemory};  // what the status may also be without memory
    bool leaves_depth = false;         // a failure may leave the log deeper
};

const std::string long_id(100, 'x');

void sendTexts(World& world, std::vector<mervane::Argument> arguments) {
    world.bench.sendArguments(std::move(arguments));
}

std::vector<Case> qskCases() {
    return {
        {"object tests",
         {"KELD_isObjectOfClass", "KELD_isObjectOfTypeExt", "KELD_MVTYPE_ask_name",
          "KELD_isItemReplica", "KELD_TestModifiableAndNotCheckout"},
         [] {
             Out out;
             int status = KELD_isObjectOfClass(made.item, "Item", &out.flag);
             if (status == 0)
                 status = KELD_isObjectOfTypeExt(made.item, "WorkspaceObject", &out.flag, true);
             if (status == 0)
                 status = KELD_isItemReplica(made.item, &out.flag);
             (void)KELD_MVTYPE_ask_name(made.item, out.buffer);  // an item is no type
             (void)KELD_TestModifiableAndNotCheckout(made.item);
             return status;
         },
         [](World&, int) {},
         {}},
        {"finding",
         {"KELD_ART_find_item", "KELD_GetMasterForm", "KELD_GetNamedRefForm",
          "KELD_SHEET_ask_value", "KELD_ask_latest_status"},
         [] {
             Out out;
             int status = KELD_ART_find_item("000100", &out.tag);
             if (status == 0)
                 status = KELD_GetMasterForm(made.item, &out.tag);
             if (status == 0)
                 status = KELD_SHEET_ask_value(out.tag, "object_name", 3, out.buffer, &out.count);
             if (status == 0)
                 status = KELD_GetNamedRefForm(made.drawing, "Text", &out.tag, true, nullptr);
             if (status == 0)
                 status = KELD_ask_latest_status(made.revision, out.buffer);
             return status;
         },
         [](World&, int) {},
         {}},
        {"preferences",
         {"KELD_GetPreferenceArray", "KELD_GetPreferenceValue", "KELD_get_string_pref",
          "KELD_get_logical_pref"},
         [] {
             Out out, other;
             int status = KELD_GetPreferenceArray("Some", &out.count, &out.texts, 0);
             if (status == 0)
                 status = KELD_GetPreferenceValue("Other", &out.text, "default", 0);
             if (status == 0)
                 status = KELD_get_string_pref(0, "Other", &other.text, "default");
             if (status == 0)
                 status = KELD_get_logical_pref(0, "Some", &out.flag, true);
             return status;
         }},
        {"lists",
         {"KELD_splitItemString", "KELD_searchElementInArray", "KELD_GetTime"},
         [] {
             Out out;
             date_s now{};
             int status = KELD_splitItemString("one;two;;three", ";", &out.count, &out.texts);
             if (status == 0)
                 status = KELD_searchElementInArray(1, made.list, 2, &out.flag);
             return status != 0 ? status : KELD_GetTime(&now);
         }},
        {"names",
         {"KELD_RepSpecialChar", "KELD_ExtendPathVar", "KELD_buildFileNameNew"},
         [] {
             Out out;
             char name[] = "com1.a text that is long enough";
             KELD_RepSpecialChar(name);
             int status = KELD_ExtendPathVar("$HOME/%HOME%/and a text that is long", out.buffer);
             if (status == 0)
                 status = KELD_buildFileNameNew(made.revision, "/some/directory", out.buffer, "job",
                                                false, 1);
             // Cleaned whatever the memory.
             return std::string_view(name) == "_om1.a_text_that_is_long_enough" ? status : -1;
         }},
        {"a report",
         {"KELD_ReportLastQskError", "KELD_CopyString"},
         [] {
             Out out;
             KELD_ReportLastQskError(515001);
             out.text = KELD_CopyString("a text");
             return out.text != nullptr ? 0 : kNoMemory;
         }},
    };
}

// Each status class member with what it needs.
std::vector<Case> statusCases() {
    return {
        {"status primitives",
         {"CKELD_Status::operator=(CKELD_Status const&)",
          "CKELD_Status::GetReleaseStatusTagList(unsigned int, int*, unsigned int**, int)",
          "CKELD_Status::GetReleaseStatusRslTag(unsigned int, char*)",
          "CKELD_Status::SetReleaseStatusRslTag(unsigned int, char const*, int)",
          "CKELD_Status::CreateReleaseStatus(unsigned int, unsigned int*, int)",
          "CKELD_Status::DelReleaseStatusObj(unsigned int, int)",
          "CKELD_Status::SetReleaseStatusObj(unsigned int, char const*)",
          "CKELD_Status::SetReleaseStatusObj(unsigned int, char const*, char const*)",
          "CKELD_Status::SetRelDate(unsigned int, int)",
          "CKELD_Status::DelRelDate(unsigned int, int)",
          "CKELD_Status::GetProcessStageTagList(unsigned int, int*, unsigned int**)",
          "CKELD_Status::GetProcessStageObj(unsigned int, char*)"},
         [] {
             Out out, tasks;
             CKELD_Status one, other;
             one = other;
             int status = CKELD_Status::SetReleaseStatusObj(made.revision, "Type", "Frozen");
             if (status == 0)
                 status =
                     CKELD_Status::GetReleaseStatusTagList(made.revision, &out.count, &out.tags, 1);
             if (status == 0)
                 status = CKELD_Status::GetReleaseStatusRslTag(out.tags[0], out.buffer);
             if (status == 0)
                 status = CKELD_Status::CreateReleaseStatus(made.revision, &out.tag, 1);
             if (status == 0)
                 status = CKELD_Status::SetReleaseStatusRslTag(out.tag, "Other", 1);
             if (status == 0)
                 status = CKELD_Status::SetRelDate(made.revision, 1);
             if (status == 0)
                 status = CKELD_Status::DelRelDate(made.revision, 1);
             if (status == 0)
                 status =
                     CKELD_Status::GetProcessStageTagList(made.revision, &tasks.count, &tasks.tags);
             if (status == 0)
                 status = CKELD_Status::GetProcessStageObj(made.revision, out.buffer);
             if (status == 0)
                 status = CKELD_Status::DelReleaseStatusObj(made.revision, 1);
             return status;
         },
         [](World&, int) {},
         {}},
        {"a prepared status",
         {"CKELD_Status1::CKELD_Status1(char const*)",
          "CKELD_Status1::CKELD_Status1(char const*, char const*)",
          "CKELD_Status1::CKELD_Status1(char const*, date_s const*)",
          "CKELD_Status1::operator=(CKELD_Status1 const&)", "CKELD_Status1::~CKELD_Status1()",
          "CKELD_Status1::Set(unsigned int)", "CKELD_Status1::DelAllState(unsigned int)",
          "CKELD_Status1::DelRelTagOnNotReferenze(unsigned int)",
          "CKELD_Datum::operator=(CKELD_Datum const&)",
          "CKELD_ParamLine::operator=(CKELD_ParamLine const&)",
          "CKELD_String::operator=(CKELD_String const&)"},
         [] {
             CKELD_Datum date, other_date;
             date = other_date;
             CKELD_ParamLine line("a;b", ';'), other_line("", ';');
             line = other_line;
             CKELD_String text, other_text;
             text = other_text;
             CKELD_Status1 now("Frozen"), dated("Frozen", "31.12.2026"),
                 given("none", &date.m_dsDate);
             int status = now.Set(made.revision);
             if (status == 0)
                 status = dated.Set(made.revision);
             if (status == 0)
                 status = now.DelAllState(made.revision);
             CKELD_Status1 none("none");
             given = none;
             return status;
         },
         [](World&, int) {},
         {}},
        {"the status manager",
         {"KELD_StatusManager", "KELD_StatusManager_ManageStatus"},
         [] {
             int slot = 99;
             if (const int status = KELD_StatusManager(&slot); status != 0)
                 return status;
             return slot;
         },
         [](World& world, int) {
             sendTexts(world, {std::string("S"), std::string("ItemRevision"), made.revision});
         },
         // A setting that can't be read has its default: the start type isn't configured, or the
         // status isn't one from which the change is allowed.
         {kNoMemory, 919402, 919403}},
        {"values on a form",
         {"KELD_SetFormValue_byType"},
         [] {
             int status = OBJ_refresh(made.form, true);
             if (status == 0)
                 status = KELD_SetFormValue_byType(made.form, made.revision, "object_desc=%d",
                                                   "Str_Date", false);
             const int unlocked = OBJ_refresh(made.form, false);
             return status != 0 ? status : unlocked;
         },
         [](World&, int) {},
         {}},
    };
}

std::vector<Case> serviceCases() {
    return {
        {"rename",
         {"KELD_ReNameItem"},
         [] {
             int slot = 99;
             const int status = KELD_ReNameItem(&slot);
             return status == slot ? status : -1;
         },
         [](World& world, int n) {
             const std::string id = "an id that is long " + std::to_string(n);
             sendTexts(world, {id, std::string(""), std::string("description"), made.item});
         },
         // Without its settings a rename goes by the defaults.
         {kNoMemory}},
        {"rename of a revision",
         {"KELD_ReNameItemExtended", "KELD_BatchReName"},
         [] {
             int slot = 99;
             const int status = KELD_ReNameItemExtended(&slot);
             if (status != 0)
                 return status == slot ? status : -1;
             return KELD_BatchReName("000200", "", "000200", "", "a name that is long enough", "");
         },
         [](World& world, int n) {
             const std::string id = "R" + std::to_string(n);
             sendTexts(world,
                       {std::string("000300"), id, std::string(""), std::string(""), made.list[0],
                        made.list[1], RENAME_REVISIONS | RENAME_ITEM | RENAME_MODIFY});
         }},
        {"attribute copy",
         {"KELD_CopyAttr"},
         [] {
             int slot = 99;
             const int status = KELD_CopyAttr(&slot);
             return status == slot ? status : -1;
         },
         [](World& world, int) {
             sendTexts(world, {made.revision, std::vector<tag_t>{made.other}});
         },
         // An entry stays also without the name of its property.
         {kNoMemory, 710005}},
        {"delete check with a backup",
         {"KELD_DeleteDeluxe"},
         [] {
             int slot = 99;
             const int status = KELD_DeleteDeluxe(&slot);
             return slot == 0 ? status : -1;
         },
         [](World& world, int) { sendTexts(world, {std::vector<tag_t>{made.drawing}}); },
         // An older backup that can't be examined stays, and the export then finds it in its way.
         {kNoMemory, 710024}},
        {"pack and resequence",
         {"KELD_PSE_PackAndResequenceBom", "KELD_PSE_PackAndResequenceBom2"},
         [] {
             tag_t dataset = NULLTAG;
             return KELD_PSE_PackAndResequenceBom(&dataset);
         },
         [](World& world, int n) {
             sendTexts(world, {made.line, std::vector<tag_t>{made.line}, 0, n % 2});
         }},
        {"job item",
         {"KELD_SrvCallCRIFromPortal", "KELD_createJobItem"},
         [] {
             int slot = 99;
             return KELD_SrvCallCRIFromPortal(&slot);
         },
         [](World& world, int) {
             sendTexts(world, {std::string("CADPART"), std::string("queue"), std::string("PRINT"),
                               std::string("s"), std::string("o"), std::string("TRUE"),
                               std::string("r"), std::vector<tag_t>{made.revision}});
         },
         {}},
        {"job files",
         {"KELD_SrvCallCRJFromPortal"},
         [] {
             int slot = 99;
             return KELD_SrvCallCRJFromPortal(&slot);
         },
         [](World& world, int n) {
             const char* const place = std::getenv("MV_TMP_DIR");
             const std::string base = std::string(place) + "/" + std::to_string(n);
             fs::remove_all(base);  // a job directory is named by the second
             fs::create_directories(base);
             sendTexts(world, {std::string("Item;Text"), base, base, std::string("PRINT"),
                               std::string("released"), std::string("opt=1"), std::string("true"),
                               std::string("VANE_specification"), std::string(":"),
                               std::vector<tag_t>{made.revision}});
         },
         // Without memory for its name, a directory or file can't be made.
         {kNoMemory, 2010, 515186},
         true},
        {"diagnosis",
         {"KELD_SrvCall", "KELD_SrvCallGetEnv", "KELD_Version"},
         [] {
             Out first, second;
             KELD_Version();
             if (const int status = KELD_SrvCall(&first.text); status != 0)
                 return -1;
             if (first.text == nullptr)
                 return kNoMemory;
             return KELD_SrvCallGetEnv(&second.text);
         },
         [](World& world, int) {
             sendTexts(world,
                       {10, 0, std::string("KELD_TEST_LONG"), std::string("KELD_TEST_LONG")});
         }},
    };
}

std::vector<Case> allCases() {
    std::vector<Case> all;
    for (const auto& some : {qskCases(), statusCases(), serviceCases()})
        all.insert(all.end(), some.begin(), some.end());
    return all;
}

void build(World& world, const fs::path& directory) {
    ::setenv("MV_TMP_DIR", directory.c_str(), 1);
    ::setenv("KELD_TEST_LONG", "a value that is long enough to need memory", 1);
    ::setenv("KELD_DISABLE_LOCPREF_CACHE", "1", 1);
    ::setenv("KELD_DISABLE_COPYATTR_CACHE", "1", 1);
    made = {};
    const world::ItemTags item = world.item("000100"), other = world.item("000200"),
                          third = world.item("000300");
    made.item = item.item;
    made.revision = item.revision;
    made.other = other.revision;
    made.list[0] = third.item;
    made.list[1] = third.revision;
    made.form = world.masterForm(item.item);
    made.folder = world.bench.createFolder("a folder");
    made.drawing = world.specification(item.revision, "a drawing with a name that is long");
    world.bench.addFile(made.drawing, "Text", KELD_SOURCE_DIR "/.clang-format",
                        "a file: with a name that is changed.txt");
    for (const auto& child : {other, third})
        for (const char* number : {"10", "10", "20"})
            world.bench.addOccurrence(item.revision, child.revision, "", number);
    made.line = world.bench.openBomWindow(item.revision);
    world.bench.setPreference("Some", {"one", "two"});
    world.bench.setPreference("KELD_ItemRename",
                              {"ChangeObjectName.Item.VANE_reference.Text=2", "no key",
                               "ExcludeItemRelations=a_relation_that_is_long"});
    world.bench.setPreference(
        "KELD_CopyAttributes_WSO",
        {"ItemRevision;object_desc;null", "a line that can't be read",
         "NoSuchTypeOfWhichTheNameIsLong;object_desc", "ItemRevision;object_desc"});
    world.bench.setPreference("KELD_CopyAttributes_Relation",
                              {"ItemRevision;VANE_specification;Text"});
    world.bench.setPreference("KELD_DELBackupTopDirCentral", {(directory / "backup").string()});
    fs::create_directory(directory / "backup");
    world.ini(
        "[SelectWSO]\nItemRevision=1\n[GLOBAL]\nPrivilegName=CHANGE\n"
        "[S_ItemRevision]\nPrevReleaseStatus=none;Frozen;Release Status\n"
        "SetReleaseState=Frozen\nChangeForward=Rel.VANE_specification.Text;Unknown\n"
        "SetAttributes=MasterForm\n"
        "[S_ItemRevision_MasterForm]\nSetDefault=object_desc=x;object_desc=y\n"
        "[S_VANE_specification.Text]\nPrevReleaseStatus=none;Frozen;Release Status\n"
        "SetReleaseState=Frozen\nDoNothingOnReleaseStatus=Frozen\n");
}

// The last line of the log.
std::string lastLine() {
    std::ifstream log(KELD_GetLogFilePath(), std::ios::binary | std::ios::ate);
    const auto size = static_cast<std::streamoff>(log.tellg());
    const std::streamoff some = std::min<std::streamoff>(size, 300);
    std::string end(static_cast<std::size_t>(some), '\0');
    log.seekg(size - some);
    log.read(end.data(), some);
    end.pop_back();
    return end.substr(end.rfind('\n') + 1);
}

class EntryMemory : public testing::TestWithParam<Case> {
protected:
    EntryMemory() {
        build(world, directory);
        // A plan that no call meets: the workbench tells where its operations begin and end.
        world.bench.setFaults({{"none", 1, 1}});
        KELD_SetLogLevel(2);
    }

    World world;
    keld_test::Directory directory;
};

}  // namespace

TEST_P(EntryMemory, ARefusedAllocationIsAStatusAndTheNextCallSucceeds) {
    const Case& one = GetParam();
    int status = 0;
    bool thrown = false;
    std::map<int, int> gave;
    const int refused = refused_memory::sweep(
        [&](int n) { one.prepare(world, n); },
        [&] {
            thrown = false;
            try {
                status = one.run();
            } catch (const std::bad_alloc&) {
                thrown = true;
            }
        },
        [&](int n) {
            EXPECT_FALSE(thrown) << n;
            ++gave[status];
            EXPECT_TRUE(status == 0 || (n != 0 && one.less.contains(status)))
                << status << ", " << n;
            KELD_ERROR("after it\n");
            EXPECT_THAT(lastLine(),
                        testing::EndsWith(one.leaves_depth ? " after it" : " E after it"))
                << n;
            if (n == 0 || HasFailure())
                return;
            one.prepare(world, -n);
            EXPECT_EQ(0, one.run()) << "again, after " << n;
        });
    std::cout << one.name << ": " << refused << " refused allocations\n";
    EXPECT_EQ(one.less.contains(kNoMemory), gave[kNoMemory] > 0);
}

INSTANTIATE_TEST_SUITE_P(Each, EntryMemory, testing::ValuesIn(allCases()), [](const auto& one) {
    std::string name = one.param.name;
    for (char& c : name)
        if (c == ' ')
            c = '_';
    return name;
});

TEST(EntryMemoryCases, EachExportedFunctionHasItsOwn) {
    std::set<std::string> covered;
    for (const Case& one : allCases())
        covered.insert(one.covers.begin(), one.covers.end());
    std::set<std::string> exported = exportedBy("keld_se");
    exported.merge(exportedBy("keld_qsktool"));
    EXPECT_EQ(exported, covered);
}
