// A platform that answers some questions with status 0 and nothing: a text that is null, or a count
// without its list. This program brings those operations itself, and the libraries call them. Such
// an answer counts as an empty text or as no entry, and nothing crashes.

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/keld_se.h"
#include "platform/mv_art.h"
#include "platform/mv_dbo.h"
#include "platform/mv_dst.h"
#include "platform/mv_ent.h"
#include "platform/mv_err.h"
#include "platform/mv_obj.h"
#include "platform/mv_opt.h"
#include "platform/mv_org.h"
#include "platform/mv_rel.h"
#include "platform/mv_sheet.h"
#include "platform/mv_svcarg.h"
#include "tests/jobs/jobs.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// The operations that answer nothing at present.
static std::set<std::string> empty;

template <typename Function>
static Function platforms(Function, const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

extern "C" {

// ---- texts ----

KELD_EXPORT int DBO_get_user_id(char** id) {
    if (!empty.contains("DBO_get_user_id"))
        return platforms(&DBO_get_user_id, "DBO_get_user_id")(id);
    *id = nullptr;
    return 0;
}
KELD_EXPORT int DBO_get_user(char** name, tag_t* user) {
    if (!empty.contains("DBO_get_user"))
        return platforms(&DBO_get_user, "DBO_get_user")(name, user);
    *name = nullptr;
    *user = NULLTAG;
    return 0;
}
KELD_EXPORT int DBO_name_of_class(tag_t class_id, char** name) {
    if (!empty.contains("DBO_name_of_class"))
        return platforms(&DBO_name_of_class, "DBO_name_of_class")(class_id, name);
    *name = nullptr;
    return 0;
}
KELD_EXPORT int ORG_ask_person_attr(tag_t person, const char* key, char** value) {
    if (!empty.contains("ORG_ask_person_attr"))
        return platforms(&ORG_ask_person_attr, "ORG_ask_person_attr")(person, key, value);
    *value = nullptr;
    return 0;
}
KELD_EXPORT int ENT_ask_id_string(tag_t object, char** text) {
    if (!empty.contains("ENT_ask_id_string"))
        return platforms(&ENT_ask_id_string, "ENT_ask_id_string")(object, text);
    *text = nullptr;
    return 0;
}
KELD_EXPORT int OBJ_UIF_ask_value(tag_t object, const char* property, char** value) {
    if (!empty.contains("OBJ_UIF_ask_value"))
        return platforms(&OBJ_UIF_ask_value, "OBJ_UIF_ask_value")(object, property, value);
    *value = nullptr;
    return 0;
}

// ---- lists ----

KELD_EXPORT int REL_list_secondary_objects(tag_t primary, tag_t type, int* count,
                                           rel_entry_s** entries) {
    if (!empty.contains("REL_list_secondary_objects"))
        return platforms(&REL_list_secondary_objects, "REL_list_secondary_objects")(primary, type,
                                                                                    count, entries);
    *count = 2;
    *entries = nullptr;
    return 0;
}
KELD_EXPORT int REL_list_secondary_objects_only(tag_t primary, tag_t type, int* count,
                                                tag_t** objects) {
    if (!empty.contains("REL_list_secondary_objects_only"))
        return platforms(&REL_list_secondary_objects_only, "REL_list_secondary_objects_only")(
            primary, type, count, objects);
    *count = 2;
    *objects = nullptr;
    return 0;
}
KELD_EXPORT int DBO_load_instances_possible(int count, const tag_t* instances, int* loaded,
                                            tag_t** loaded_instances) {
    if (!empty.contains("DBO_load_instances_possible"))
        return platforms(&DBO_load_instances_possible, "DBO_load_instances_possible")(
            count, instances, loaded, loaded_instances);
    *loaded = 2;
    *loaded_instances = nullptr;
    return 0;
}
KELD_EXPORT int DST_ask_all_dataset_named_refs(tag_t dataset, const char* name, int* count,
                                               tag_t** references) {
    if (!empty.contains("DST_ask_all_dataset_named_refs"))
        return platforms(&DST_ask_all_dataset_named_refs, "DST_ask_all_dataset_named_refs")(
            dataset, name, count, references);
    *count = 2;
    *references = nullptr;
    return 0;
}
KELD_EXPORT int SVCARG_get_tag_array_argument(int* count, tag_t** tags) {
    if (!empty.contains("SVCARG_get_tag_array_argument"))
        return platforms(&SVCARG_get_tag_array_argument, "SVCARG_get_tag_array_argument")(count,
                                                                                          tags);
    *count = 2;
    *tags = nullptr;
    return 0;
}
// Lists of texts that are null.
KELD_EXPORT int OPT_ask_char_values(const char* name, int* count, char*** values) {
    if (!empty.contains("OPT_ask_char_values"))
        return platforms(&OPT_ask_char_values, "OPT_ask_char_values")(name, count, values);
    *count = 2;
    *values = static_cast<char**>(HEAP_alloc(3 * sizeof(char*)));
    std::fill(*values, *values + 3, nullptr);
    return 0;
}
KELD_EXPORT int SHEET_ask_prop_names(tag_t form, int* count, char*** names) {
    const int status = platforms(&SHEET_ask_prop_names, "SHEET_ask_prop_names")(form, count, names);
    if (empty.contains("SHEET_ask_prop_names") && *count > 0) {
        HEAP_free((*names)[0]);
        (*names)[0] = nullptr;
    }
    return status;
}
KELD_EXPORT int ERR_ask_stack(int* count, int** numbers, char*** texts) {
    const int status = platforms(&ERR_ask_stack, "ERR_ask_stack")(count, numbers, texts);
    if (empty.contains("ERR_ask_stack numbers")) {
        HEAP_free(*numbers);
        *numbers = nullptr;
    }
    if (empty.contains("ERR_ask_stack texts")) {
        for (int i = 0; i < *count; ++i)
            HEAP_free((*texts)[i]);
        HEAP_free(*texts);
        *texts = nullptr;
    }
    return status;
}

}  // extern "C"

namespace {

class EmptyAnswers : public jobs::JobTest {
protected:
    EmptyAnswers() { empty.clear(); }
    ~EmptyAnswers() override { empty.clear(); }

    int createJob(const std::vector<tag_t>& targets) {
        world.bench.sendArguments({std::string("CADPART"), directory_.string(), directory_.string(),
                                   std::string(), std::string(), std::string(),
                                   std::string("false"), std::string("VANE_specification"),
                                   std::string(), targets});
        int slot = 99;
        const int status = KELD_SrvCallCRJFromPortal(&slot);
        EXPECT_EQ(0, slot);
        return status;
    }
    jobs::fs::path jobMade() const {
        for (const auto& entry : jobs::fs::directory_iterator(directory_))
            if (entry.is_directory())
                return entry.path();
        return {};
    }
    std::string onlyFile() const {
        const auto files = filesIn(jobMade());
        EXPECT_EQ(1u, files.size());
        return files.empty() ? "" : files.front().content;
    }
    int copyAttributes() {
        world.bench.sendArguments({made.item, std::vector<tag_t>{made.revision}});
        int slot = 99;
        const int status = KELD_CopyAttr(&slot);
        EXPECT_EQ(status, slot);
        return status;
    }
};

}  // namespace

// ---- jobs ----

TEST_F(EmptyAnswers, AJobOfAUserWithoutIdHasADirectoryOfTheTimeAlone) {
    empty = {"DBO_get_user_id"};
    EXPECT_EQ(0, createJob({made.revision}));
    EXPECT_THAT(jobMade().filename().string(), testing::MatchesRegex("[0-9]{14}"));
    EXPECT_TRUE(jobs::fs::exists(jobMade() / "options.txt"));
}

TEST_F(EmptyAnswers, AJobOfAPersonWithoutCityAndAddressHasNone) {
    part("part1");
    empty = {"ORG_ask_person_attr"};
    EXPECT_EQ(0, createJob({made.revision}));
    EXPECT_THAT(onlyFile(), HasSubstr("-user=u4711\n"));
    EXPECT_THAT(onlyFile(), HasSubstr("\n-mailto=\n-city=\n"));
}

TEST_F(EmptyAnswers, AJobOfNobodyNamesNobody) {
    part("part1");
    empty = {"DBO_get_user"};
    EXPECT_EQ(0, createJob({made.revision}));
    EXPECT_THAT(onlyFile(),
                HasSubstr("-user=\n-usersgroup=design.engineering\n-mailto=\n-city=\n"));
}

TEST_F(EmptyAnswers, TargetsWithoutIdAreTargets) {
    part("part1");
    empty = {"ENT_ask_id_string"};
    EXPECT_EQ(0, createJob({made.item}));
    EXPECT_THAT(onlyFile(), HasSubstr("-obj=part1\n"));
    EXPECT_THAT(world.lines("T"), Contains("id = (null)"));
}

TEST_F(EmptyAnswers, AttachmentsWithoutTheirListAreNone) {
    part("part1");
    empty = {"REL_list_secondary_objects"};
    EXPECT_EQ(0, createJob({made.revision}));
    EXPECT_THAT(filesIn(jobMade()), IsEmpty());
    EXPECT_TRUE(jobs::fs::exists(jobMade() / "options.txt"));
}

TEST_F(EmptyAnswers, TargetsWithoutTheirListAreNone) {
    part("part1");
    empty = {"SVCARG_get_tag_array_argument"};
    EXPECT_EQ(0, createJob({made.revision}));
    EXPECT_THAT(filesIn(jobMade()), IsEmpty());
}

TEST_F(EmptyAnswers, AJobItemsFormsWithoutTheirListAreNone) {
    empty = {"REL_list_secondary_objects_only"};
    EXPECT_EQ(0, KELD_createJobItem(0, nullptr, NULLTAG, "queue", "type", false, false, "relation",
                                    "jobtype", "", "", "", "", ""));
    EXPECT_EQ(1, world.count("ORLAJob"));
    EXPECT_EQ(2u, world.bench.heldLocks());
}

// ---- release status ----

TEST_F(EmptyAnswers, AnObjectWithoutClassNameIsSavedLikeAnyOther) {
    const tag_t drawing = world.dataset("drawing");
    world.name(drawing, "drawing");
    empty = {"DBO_name_of_class"};
    const auto calls =
        world.calls([&] { EXPECT_EQ(0, CKELD_Status::SetReleaseStatusObj(drawing, "Frozen")); });
    EXPECT_THAT(calls, Contains("OBJ_save(drawing)"));
    EXPECT_THAT(calls, Not(Contains(HasSubstr("DST_save_myself"))));
    EXPECT_THAT(world.statuses(drawing), ElementsAre("Frozen"));
}

TEST_F(EmptyAnswers, AnObjectWithoutClassNameHasNoForms) {
    world.ini(
        "[SelectWSO]\nItemRevision=1\n[Frozen_ItemRevision]\nSetReleaseState=Frozen\n"
        "SetAttributes=Form\n[Form]\nUserId=object_desc\n");
    empty = {"DBO_name_of_class"};
    EXPECT_EQ(0, KELD_StatusManager_ManageStatus(made.revision, "ItemRevision", "Frozen"));
    EXPECT_EQ("", world.storedText(world.masterForm(made.revision), "object_desc"));
}

TEST_F(EmptyAnswers, StatusesWithoutTheirListAreNone) {
    world.giveStatus(made.revision, "Frozen");
    char status[33] = "before";
    EXPECT_EQ(0, KELD_ask_latest_status(made.revision, status));
    EXPECT_STREQ("Frozen", status);
    empty = {"DBO_load_instances_possible"};
    EXPECT_EQ(0, KELD_ask_latest_status(made.revision, status));
    EXPECT_STREQ("", status);
}

TEST_F(EmptyAnswers, TasksAreCountedWithoutAPlaceForTheirList) {
    const tag_t process = world.bench.createProcessTemplate("Release", {"Check"});
    EXPECT_NE(NULLTAG, process);
    int count = 99;
    EXPECT_EQ(0, CKELD_Status::GetProcessStageTagList(made.revision, &count, nullptr));
    EXPECT_EQ(0, count);
}

// ---- forms ----

TEST_F(EmptyAnswers, AValueThatIsNullCountsAsEmpty) {
    const tag_t form = world.masterForm(made.revision);
    ASSERT_EQ(0, OBJ_refresh(form, true));
    world.bench.startJournal();
    empty = {"OBJ_UIF_ask_value"};
    EXPECT_EQ(0, KELD_SetFormValue_byType(form, made.revision, "object_desc=new", "Value", true));
    EXPECT_EQ(0, OBJ_save(form));
    EXPECT_EQ("new", world.storedText(form, "object_desc"));
    char out[10] = "before";
    int length = 99;
    EXPECT_EQ(0, KELD_SHEET_ask_value(form, "object_desc", 5, out, &length));
    EXPECT_STREQ("", out);
    EXPECT_EQ(0, length);
}

TEST_F(EmptyAnswers, APropertyWithoutNameIsPassedOver) {
    const tag_t form = world.masterForm(made.revision);
    ASSERT_EQ(0, OBJ_refresh(form, true));
    empty = {"SHEET_ask_prop_names"};
    EXPECT_EQ(0, KELD_SetFormValue_byType(form, made.revision, "*=", "Value", false));
}

TEST_F(EmptyAnswers, MasterFormsAndNamedReferencesWithoutTheirListAreNone) {
    tag_t form = 99;
    empty = {"REL_list_secondary_objects_only", "DST_ask_all_dataset_named_refs"};
    EXPECT_EQ(0, KELD_GetMasterForm(made.revision, &form));
    EXPECT_EQ(NULLTAG, form);
    form = 99;
    EXPECT_EQ(0, KELD_GetNamedRefForm(world.dataset("drawing"), "Text", &form, true, 0));
    EXPECT_EQ(NULLTAG, form);
}

// ---- preferences ----

TEST_F(EmptyAnswers, LinesOfAPreferenceThatAreNullAreNone) {
    empty = {"OPT_ask_char_values"};
    EXPECT_EQ(0, copyAttributes());
    const tag_t drawing = world.specification(made.revision, "drawing");
    world.bench.sendArguments({std::vector<tag_t>{drawing}});
    int slot = 99;
    EXPECT_EQ(0, KELD_DeleteDeluxe(&slot));
}

TEST_F(EmptyAnswers, DestinationsWithoutTheirListAreNone) {
    empty = {"SVCARG_get_tag_array_argument"};
    EXPECT_EQ(0, copyAttributes());
    int slot = 99;
    EXPECT_EQ(0, KELD_DeleteDeluxe(&slot));
}

// ---- error stack ----

TEST_F(EmptyAnswers, AnErrorStackWithoutNumbersIsNotShown) {
    char status[33] = "";
    empty = {"ERR_ask_stack numbers"};
    EXPECT_NE(0, CKELD_Status::SetReleaseStatusObj(999999, "Frozen"));
    EXPECT_THAT(world.lines("E"), Not(Contains(HasSubstr("##QSK_stack"))));
    EXPECT_NE(0, KELD_ask_latest_status(999999, status));
}

TEST_F(EmptyAnswers, AnErrorStackWithoutTextsShowsItsNumbers) {
    empty = {"ERR_ask_stack texts"};
    EXPECT_NE(0, CKELD_Status::SetReleaseStatusObj(999999, "Frozen"));
    EXPECT_THAT(world.lines("E"),
                Contains(testing::MatchesRegex("##QSK_stack_[0-9]+: \\(null\\)")));
}
