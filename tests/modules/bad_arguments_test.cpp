// Every function of the interface with every kind of bad argument: nothing crashes, a failing call
// leaves its out parameters alone and gives nothing to free, and each failure is on the error
// stack.

#include <cstring>
#include <fstream>
#include <functional>
#include <set>
#include <tuple>
#include <type_traits>

#include "platform/mv_acl.h"
#include "platform/mv_art.h"
#include "platform/mv_cko.h"
#include "platform/mv_clf.h"
#include "platform/mv_dbo.h"
#include "platform/mv_dir.h"
#include "platform/mv_dst.h"
#include "platform/mv_ent.h"
#include "platform/mv_err.h"
#include "platform/mv_fil.h"
#include "platform/mv_flow.h"
#include "platform/mv_line.h"
#include "platform/mv_mvtype.h"
#include "platform/mv_opt.h"
#include "platform/mv_org.h"
#include "platform/mv_reg.h"
#include "platform/mv_rel.h"
#include "platform/mv_rls.h"
#include "platform/mv_sheet.h"
#include "platform/mv_str.h"
#include "platform/mv_supplement.h"
#include "platform/mv_svcarg.h"
#include "platform/mv_time.h"
#include "tests/modules/interface.h"

namespace mervane::test {

namespace {

// What a call is given: values for its inputs, and whether its pointers are null.
struct Input {
    bool null = false;
    tag_t tag = NULLTAG;
    int number = 0;
    const char* text = "";
};

// One argument with the place that its out parameter points to.
template <typename T>
struct Argument {
    explicit Argument(const Input& input) {
        if constexpr (std::is_same_v<T, tag_t>)
            value = input.tag;
        else
            value = static_cast<T>(input.number);
    }
    T give() { return value; }
    bool untouched() const { return true; }
    void release() {}
    T value{};
};

template <>
struct Argument<date_s> {
    explicit Argument(const Input& input)
        : value{2024, 1, static_cast<std::uint8_t>(input.number), 0, 0, 0} {}
    date_s give() { return value; }
    bool untouched() const { return true; }
    void release() {}
    date_s value;
};

template <>
struct Argument<const char*> {
    explicit Argument(const Input& input) : value(input.null ? nullptr : input.text) {}
    const char* give() { return value; }
    bool untouched() const { return true; }
    void release() {}
    const char* value;
};

// A list of the caller.
template <typename T>
struct ListArgument {
    explicit ListArgument(const Input& input) : null(input.null) {
        for (T& each : list)
            each = std::is_same_v<T, tag_t> ? static_cast<T>(input.tag) : T{1};
    }
    const T* give() { return null ? nullptr : list; }
    bool untouched() const { return true; }
    void release() {}
    bool null;
    T list[4];
};
template <>
struct Argument<const tag_t*> : ListArgument<tag_t> {
    using ListArgument::ListArgument;
};
template <>
struct Argument<const int*> : ListArgument<int> {
    using ListArgument::ListArgument;
};

// A value or a caller's buffer that the call fills. It is larger than any documented size, so that
// an overrun changes bytes after the text.
template <typename T>
struct OutArgument {
    explicit OutArgument(const Input& input) : null(input.null) {
        std::memset(room, 0x5A, sizeof room);
    }
    T* give() { return null ? nullptr : reinterpret_cast<T*>(room); }
    bool untouched() const {
        for (unsigned char byte : room)
            if (byte != 0x5A)
                return false;
        return true;
    }
    void release() {}
    bool null;
    alignas(8) unsigned char room[1024];
};
template <>
struct Argument<char*> : OutArgument<char> {
    using OutArgument::OutArgument;
};
template <>
struct Argument<int*> : OutArgument<int> {
    using OutArgument::OutArgument;
};
template <>
struct Argument<tag_t*> : OutArgument<tag_t> {
    using OutArgument::OutArgument;
};
template <>
struct Argument<logical*> : OutArgument<logical> {
    using OutArgument::OutArgument;
};
template <>
struct Argument<ItemDescription*> : OutArgument<ItemDescription> {
    using OutArgument::OutArgument;
};

// A place for a block that is handed out.
template <typename T>
struct Argument<T**> {
    explicit Argument(const Input& input) : null(input.null) {}
    T** give() { return null ? nullptr : &slot; }
    bool untouched() const { return slot == reinterpret_cast<T*>(8); }
    void release() {
        if (untouched())
            return;
        if constexpr (std::is_same_v<T, char*>)
            MV_free_strings(slot);
        else
            HEAP_free(slot);
    }
    bool null;
    T* slot = reinterpret_cast<T*>(8);
};

struct Outcome {
    int status = 0;
    bool untouched = true;
};

struct Operation {
    std::string name;
    std::function<Outcome(const Input&)> call;
};

template <typename... Args>
Operation operation(const char* name, int (*function)(Args...)) {
    return {name, [function](const Input& input) {
                std::tuple<Argument<Args>...> arguments{Argument<Args>(input)...};
                return std::apply(
                    [&](auto&... each) {
                        Outcome outcome;
                        outcome.status = function(each.give()...);
                        outcome.untouched = (each.untouched() && ...);
                        (each.release(), ...);
                        return outcome;
                    },
                    arguments);
            }};
}
Operation operation(const char* name, int (*function)()) {
    return {name, [function](const Input&) { return Outcome{function(), true}; }};
}

#define OPERATION(name) operation(#name, name)

const std::vector<Operation>& operations() {
    static const std::vector<Operation> all = {
        OPERATION(ACL__set_application_bypass),
        OPERATION(ACL_check_privilege),
        OPERATION(ART_ask_id),
        OPERATION(ART_ask_item_of_rev),
        OPERATION(ART_ask_latest_rev),
        OPERATION(ART_ask_name),
        OPERATION(ART_ask_rev_id),
        OPERATION(ART_create_item),
        OPERATION(ART_find_item),
        OPERATION(ART_find_revision),
        OPERATION(ART_list_all_revs),
        OPERATION(ART_list_bom_views),
        OPERATION(ART_rev_list_bom_view_revs),
        OPERATION(ART_set_rev_id),
        OPERATION(CKO_assert_object_modifiable),
        OPERATION(CKO_is_checked_out),
        OPERATION(CLF_ask_classification_object_id),
        OPERATION(DBO_append_attr_tags),
        OPERATION(DBO_ask_attr_string),
        OPERATION(DBO_ask_attr_tags),
        OPERATION(DBO_ask_group),
        OPERATION(DBO_ask_user_id),
        OPERATION(DBO_attr_id_of_attr),
        OPERATION(DBO_class_id_of_class),
        OPERATION(DBO_class_of_instance),
        OPERATION(DBO_delete_instances),
        OPERATION(DBO_get_user),
        OPERATION(DBO_get_user_id),
        OPERATION(DBO_is_cached),
        OPERATION(DBO_length_of_attr),
        OPERATION(DBO_load_instances_possible),
        OPERATION(DBO_name_of_class),
        OPERATION(DBO_referencers_of_instance),
        OPERATION(DBO_refresh_instances_any_class),
        OPERATION(DBO_remove_from_attr),
        OPERATION(DBO_save_instances),
        OPERATION(DBO_set_attr_date),
        OPERATION(DBO_set_attr_null),
        OPERATION(DBO_set_attr_string),
        OPERATION(DIR_ask_size),
        OPERATION(DST_add_dataset_named_ref),
        OPERATION(DST_ask_all_dataset_named_refs),
        OPERATION(DST_ask_anchor_revision),
        OPERATION(DST_ask_dataset),
        OPERATION(DST_ask_dataset_anchor),
        OPERATION(DST_ask_dataset_datasettype),
        OPERATION(DST_ask_dataset_named_refs),
        OPERATION(DST_ask_dataset_prev_rev),
        OPERATION(DST_ask_dataset_ref_count),
        OPERATION(DST_ask_datasettype_def_tool),
        OPERATION(DST_ask_datasettype_name),
        OPERATION(DST_ask_tool_output_formats),
        OPERATION(DST_count_anchor_revisions),
        OPERATION(DST_create_dataset_with_id),
        OPERATION(DST_delete_all_dataset_revs),
        OPERATION(DST_exit_module),
        OPERATION(DST_find_all_datasets),
        OPERATION(DST_find_dataset_named_ref),
        OPERATION(DST_find_datasettype),
        OPERATION(DST_purge_dataset_revs),
        OPERATION(DST_replace_dataset_named_ref),
        OPERATION(DST_save_myself),
        OPERATION(DST_set_dataset_format),
        OPERATION(DST_set_dataset_tool),
        OPERATION(ENT_ask_description),
        OPERATION(ENT_ask_id_string),
        OPERATION(ENT_ask_name),
        OPERATION(ENT_ask_object_id_string),
        OPERATION(ENT_ask_object_type),
        OPERATION(ENT_describe),
        OPERATION(ENT_set_description),
        OPERATION(ENT_set_name),
        OPERATION(ERR_ask_error_text),
        OPERATION(ERR_ask_stack),
        OPERATION(ERR_clear_errors),
        OPERATION(ERR_clear_protect_mark),
        OPERATION(ERR_set_protect_mark),
        OPERATION(ERR_store_error),
        OPERATION(ERR_store_error_s1),
        OPERATION(FIL_ask_original_file_name),
        OPERATION(FIL_export_file),
        OPERATION(FIL_import_file),
        OPERATION(FIL_set_original_file_name),
        OPERATION(FLOW_ask_name),
        OPERATION(FLOW_create_process),
        OPERATION(FLOW_find_process_template),
        OPERATION(LINE_ask_attribute_tag),
        OPERATION(LINE_ask_child_lines),
        OPERATION(LINE_look_up_attribute),
        OPERATION(LINE_pack),
        OPERATION(LINE_unpack),
        OPERATION(MVTYPE_ask_name),
        OPERATION(MVTYPE_ask_property_by_name),
        OPERATION(MVTYPE_ask_subtypes),
        OPERATION(MVTYPE_find_type),
        OPERATION(OBJ_UIF_ask_value),
        OPERATION(OBJ_UIF_set_value),
        OPERATION(OBJ_ask_if_modifiable),
        OPERATION(OBJ_ask_value_logical),
        OPERATION(OBJ_ask_value_string),
        OPERATION(OBJ_ask_value_tags),
        OPERATION(OBJ_delete),
        OPERATION(OBJ_get_value_tag),
        OPERATION(OBJ_load),
        OPERATION(OBJ_lock),
        OPERATION(OBJ_refresh),
        OPERATION(OBJ_save),
        OPERATION(OBJ_set_value_date),
        OPERATION(OBJ_set_value_int),
        OPERATION(OBJ_set_value_logical),
        OPERATION(OBJ_set_value_string),
        OPERATION(OBJ_unload),
        OPERATION(OPT_ask_char_value),
        OPERATION(OPT_ask_char_values),
        OPERATION(OPT_ask_int_value),
        OPERATION(OPT_initialize),
        OPERATION(ORG_ask_current_groupmember),
        OPERATION(ORG_ask_group_name),
        OPERATION(ORG_ask_group_parent),
        OPERATION(ORG_ask_groupmember_group),
        OPERATION(ORG_ask_person_attr),
        OPERATION(ORG_ask_site_info),
        OPERATION(ORG_ask_user_identifier),
        OPERATION(ORG_ask_user_person),
        OPERATION(ORG_find_site),
        OPERATION(REG_is_item_id_registered),
        OPERATION(REG_register_item_id),
        OPERATION(REG_unregister_item_id),
        OPERATION(REL_create_relation),
        OPERATION(REL_delete_relation),
        OPERATION(REL_find_relation_type),
        OPERATION(REL_list_primary_objects),
        OPERATION(REL_list_primary_objects_only),
        OPERATION(REL_list_secondary_objects),
        OPERATION(REL_list_secondary_objects_only),
        OPERATION(REL_save_relation),
        OPERATION(RLS_create_release_status),
        OPERATION(RLS_refresh_job),
        OPERATION(SHEET_ask_prop_names),
        OPERATION(STR_list_occurrences_of_bvr),
        OPERATION(STR_where_used_all),
        OPERATION(SVCARG_get_int_argument),
        OPERATION(SVCARG_get_string_argument),
        OPERATION(SVCARG_get_tag_argument),
        OPERATION(SVCARG_get_tag_array_argument),
        OPERATION(TIME_date_to_string),
        OPERATION(TIME_string_to_date),
    };
    return all;
}

// Those without a status are called by name below.
const std::set<std::string> without_status = {"HEAP_alloc", "HEAP_realloc", "HEAP_free",
                                              "MV_free_strings", "DBO_null_date"};

class BadArguments : public InterfaceTest {
protected:
    void check(const Operation& each, const Input& input) {
        SCOPED_TRACE(each.name + " tag " + std::to_string(input.tag) + " number " +
                     std::to_string(input.number) + (input.null ? " null" : ""));
        if (wb.errorStack().size() > 20)
            ERR_clear_errors();
        const std::size_t entries = wb.errorStack().size(), blocks = wb.liveHeapBlocks();
        const Outcome outcome = each.call(input);
        EXPECT_GE(outcome.status, 0);
        EXPECT_EQ(wb.liveHeapBlocks(), blocks);
        if (outcome.status == 0)
            return;
        EXPECT_NE(outcome.status, kInternal) << lastError();
        EXPECT_TRUE(outcome.untouched) << lastError();
        if (outcome.status == kNoPreference) {
            // An answer, not an error.
            EXPECT_EQ(wb.errorStack().size(), entries);
            return;
        }
        EXPECT_EQ(wb.errorStack().size(), entries + 1);
        EXPECT_THAT(lastError(), HasSubstr(each.name));
        EXPECT_FALSE(lastError().empty());
    }

    // One object of each kind that an operation may be given.
    std::vector<tag_t> everyKind() {
        const auto parent = part("1"), child = part("2");
        wb.addOccurrence(parent.revision, child.revision, "1", "10");
        const tag_t folder = wb.createFolder("folder"), dataset = wb.createDataset("Text", "text");
        const tag_t process_template = wb.createProcessTemplate("template", {"task"});
        const tag_t relation = wb.relate(parent.revision, dataset, "VANE_specification");
        tag_t process = NULLTAG, user = NULLTAG, group = NULLTAG, member = NULLTAG, cls = NULLTAG,
              attribute = NULLTAG, relation_type = NULLTAG, type = NULLTAG, tool = NULLTAG;
        const int target = 1;
        EXPECT_EQ(FLOW_create_process("job", nullptr, process_template, 1, &child.revision, &target,
                                      &process),
                  0);
        char* name = nullptr;
        DBO_get_user(&name, &user);
        HEAP_free(name);
        DBO_ask_group(&name, &group);
        HEAP_free(name);
        ORG_ask_current_groupmember(&member);
        DBO_class_id_of_class("Item", &cls);
        DBO_attr_id_of_attr("release_status_list", "Item", &attribute);
        REL_find_relation_type("VANE_specification", &relation_type);
        DST_find_datasettype("Text", &type);
        DST_ask_datasettype_def_tool(type, &tool);
        return {parent.item,
                parent.revision,
                wb.bomViewRevision(parent.revision),
                folder,
                dataset,
                process_template,
                relation,
                process,
                user,
                group,
                member,
                cls,
                attribute,
                relation_type,
                type,
                tool,
                wb.createForm("Item Master", "form"),
                wb.create("ReleaseStatus"),
                wb.create("VaneFile"),
                wb.create("icm0"),
                wb.create("Site"),
                wb.openBomWindow(parent.revision)};
    }
};

TEST_F(BadArguments, CoverEveryExportedFunction) {
    std::set<std::string> listed, known(without_status);
    std::ifstream in(KELD_EXPORT_LIST);
    for (std::string line; std::getline(in, line);)
        if (!line.empty() && line[0] != '#' && line != "mervane_workbench")
            listed.insert(line);
    for (const Operation& each : operations())
        EXPECT_TRUE(known.insert(each.name).second) << each.name;
    EXPECT_EQ(known, listed);
}

TEST_F(BadArguments, NullAndZeroAreRefusedOrHarmless) {
    wb.sendArguments({});
    for (const Operation& each : operations())
        check(each, {.null = true});
}

TEST_F(BadArguments, NullIsRefusedOrHarmlessForEveryKindOfObject) {
    for (tag_t tag : everyKind())
        for (const Operation& each : operations())
            for (int number : {0, 1, -1})
                check(each, {.null = true, .tag = tag, .number = number});
}

TEST_F(BadArguments, UnknownTagsFailAndLeaveTheOutParameters) {
    const tag_t line = wb.openBomWindow(part("1").revision);
    for (tag_t tag : {NULLTAG, kNoSuchTag, tag_t{0xFFFFFFFFu}, tag_t{0x80000000u},
                      tag_t{0x90000001u}, tag_t{0xA0000001u}, tag_t{0xB0000001u}, line + 1})
        for (const Operation& each : operations())
            for (const char* text_value : {"", "object_name", "Item", "/no/such/path", "%d"})
                check(each, {.tag = tag, .number = 1, .text = text_value});
}

TEST_F(BadArguments, NumbersOutsideEveryRangeAreHarmless) {
    for (tag_t tag : everyKind())
        for (const Operation& each : operations())
            // A function can't detect a count beyond the caller's list, so only negative ones are
            // tried.
            for (int number : {-1, -2147483647 - 1})
                check(each, {.tag = tag, .number = number, .text = "object_name"});
}

TEST_F(BadArguments, EveryKindOfObjectIsTakenOrRefused) {
    const auto tags = everyKind();
    for (std::size_t i = 0; i < tags.size(); ++i)
        for (const Operation& each : operations())
            for (const char* text_value : {"object_name", "release_status_list", "", "PUBLISH"})
                for (int number : {0, 1})
                    check(each, {.tag = tags[i], .number = number, .text = text_value});
}

TEST_F(BadArguments, EndlessTextsAreRefusedOrHarmless) {
    const std::string endless(100000, 'x');
    for (tag_t tag : everyKind())
        for (const Operation& each : operations())
            check(each, {.tag = tag, .number = 1, .text = endless.c_str()});
}

TEST_F(BadArguments, WithoutMemoryNothingIsHandedOut) {
    for (tag_t tag : everyKind())
        for (const Operation& each : operations())
            for (std::size_t allowed : {0, 1, 2}) {
                wb.failHeapAfter(allowed);
                check(each, {.tag = tag, .number = 1, .text = "release_status_list"});
                wb.failHeapAfter({});
            }
}

TEST_F(BadArguments, WithoutASessionEverythingFailsOrIsHarmless) {
    const tag_t item = part("1").item;
    wb.closeSession(session);
    for (const Operation& each : operations())
        check(each, {.tag = item, .number = 1, .text = "object_name"});
    session = wb.openSession(store, {});
}

TEST_F(BadArguments, FunctionsWithoutAStatusTakeNull) {
    HEAP_free(nullptr);
    MV_free_strings(nullptr);
    HEAP_free(HEAP_realloc(nullptr, 0));
    HEAP_free(HEAP_alloc(0));
    wb.failHeapAfter(0);
    EXPECT_EQ(HEAP_alloc(1), nullptr);
    EXPECT_EQ(HEAP_realloc(nullptr, 1), nullptr);
    EXPECT_EQ(DBO_null_date().year, 0);
}

}  // namespace

}  // namespace mervane::test
