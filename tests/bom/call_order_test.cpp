// Every call of a run, in order.

#include <algorithm>
#include <map>
#include <sstream>

#include "tests/bom/bom_service.h"

using testing::ElementsAreArray;

namespace {

using Calls = std::vector<std::string>;

void add(Calls& calls, const Calls& more) {
    calls.insert(calls.end(), more.begin(), more.end());
}

// The four texts of a line.
Calls texts(const std::string& line) {
    Calls calls;
    for (const char* name :
         {"bl_item_item_id", "bl_rev_item_revision_id", "bl_sequence_no", "bl_quantity"})
        calls.push_back("OBJ_ask_value_string(" + line + ", " + name + ")");
    return calls;
}

class CallOrder : public bom::BomService {
protected:
    CallOrder() {
        world.bench.setPreference("PackAndResequenceBOM.SetDefaultQuantity", {"1"});
        use("100", "X", "10", "");
        use("100", "Y", "10", "3");
        top = open("100");
        names = {{top, "top"},          {child(top, 0), "X"}, {child(top, 1), "Y"},
                 {view("100"), "view"}, {part("X"), "X/A"},   {part("Y"), "Y/A"}};
    }
    static Calls attribute(const std::string& line, const std::string& name) {
        return {"LINE_look_up_attribute(" + name + ")", "LINE_ask_attribute_tag(" + line + ")"};
    }
    // A line with a view: the flags with the first question.
    static Calls withView(const std::string& line) {
        Calls calls = attribute(line, "bl_bomview_rev");
        add(calls, {"CKO_is_checked_out(view)", "ACL_check_privilege(view, WRITE)"});
        add(calls, attribute(line, "bl_bomview_rev"));
        return calls;
    }
    static Calls child(const std::string& line) {
        Calls calls = texts(line);
        for (int twice = 0; twice < 2; ++twice) {
            add(calls, attribute(line, "bl_bomview_rev"));
            add(calls, attribute(line, "bl_revision"));
            add(calls,
                {"DBO_class_id_of_class(STRBOMView)", "DBO_class_id_of_class(STRBOMViewRevision)",
                 "ART_rev_list_bom_view_revs(" + line + "/A)"});
        }
        return calls;
    }
    using Structure::child;
    Calls before() const {
        Calls calls = {"SVCARG_get_tag_argument()",
                       "SVCARG_get_tag_array_argument()",
                       "SVCARG_get_int_argument()",
                       "SVCARG_get_int_argument()",
                       "DBO_get_user()",
                       "DBO_ask_user_id(?)",
                       "OPT_initialize()",
                       "OPT_ask_int_value(PackAndResequenceBOM.SEQNO_INCR, 0)"};
        // The check of the top line, then the line itself.
        add(calls, texts("top"));
        add(calls, withView("top"));
        add(calls, withView("top"));
        add(calls, {"LINE_ask_child_lines(top)", "LINE_unpack(X)", "LINE_unpack(Y)",
                    "LINE_ask_child_lines(top)"});
        add(calls, child("X"));
        add(calls, child("Y"));
        add(calls, {"OPT_ask_char_value(PackAndResequenceBOM.SetDefaultQuantity, 0)"});
        // The keys.
        add(calls, {"OPT_ask_char_values(PackAndResequenceBOM.NoteTypesToCompare)",
                    "OPT_ask_char_values(PackAndResequenceBOM.NoteTypesToCompare)"});
        return calls;
    }
    Calls after() const {
        Calls calls = {"LINE_pack(X)", "LINE_pack(Y)"};
        add(calls, texts("top"));
        add(calls, withView("top"));
        return calls;
    }
    // Objects under their names, others as "?"; results and the numbers of attributes left out.
    std::string shownCall(const mervane::JournalEntry& entry) const {
        std::string shown;
        std::istringstream list(argumentsText(entry));
        for (std::string part; std::getline(list, part, ',');) {
            std::erase(part, '"');
            part.erase(0, part.find_first_not_of(' '));
            if (part.starts_with("#")) {
                const auto known = names.find(static_cast<tag_t>(std::stoul(part.substr(1))));
                part = known != names.end() ? known->second : "?";
            }
            if (part != "out" && !(entry.operation == "LINE_ask_attribute_tag" && !shown.empty()))
                shown += (shown.empty() ? "" : ", ") + part;
        }
        return entry.operation + "(" + shown + ")";
    }
    Calls made(int sort) {
        Calls calls;
        world.bench.startJournal();
        run(top, {top}, 1, sort);
        for (const auto& entry : world.bench.stopJournal())
            calls.push_back(shownCall(entry));
        return calls;
    }
    Calls newDataset() const {
        return {"DST_find_all_datasets(PSE_RPBOM_infodba)",
                "DST_find_datasettype(Text)",
                "DST_ask_datasettype_def_tool(?)",
                "DST_ask_tool_output_formats(?)",
                "DST_create_dataset_with_id(?, PSE_RPBOM_infodba, PSE_RPBOM_infodba, null, null)",
                "DST_set_dataset_tool(?, ?)",
                "DST_set_dataset_format(?, TEXT)",
                "FIL_import_file(" + protocolPath() + ", null, 4096)",
                "OBJ_save(?)",
                "OBJ_refresh(?, false)",
                "OBJ_load(?)",
                "OBJ_refresh(?, true)",
                "DST_add_dataset_named_ref(?, Text, 2, ?)",
                "OBJ_save(?)",
                "OBJ_refresh(?, false)",
                "DST_ask_dataset(?)",
                "DST_exit_module()"};
    }
    tag_t top = NULLTAG;
    std::map<tag_t, std::string> names;
};

}  // namespace

TEST_F(CallOrder, OfTheKeepingMode) {
    Calls expected = before();
    add(expected,
        {"OBJ_set_value_string(X, bl_quantity, 1)", "OBJ_set_value_string(Y, bl_sequence_no, 20)"});
    add(expected, after());
    add(expected, newDataset());
    EXPECT_THAT(made(0), ElementsAreArray(expected));
}

TEST_F(CallOrder, OfTheSortingMode) {
    Calls expected = before();
    add(expected,
        {"OPT_ask_int_value(PackAndResequenceBOM.SEQNO_FIRST, 0)",
         "OBJ_set_value_string(X, bl_quantity, 1)", "OBJ_set_value_string(X, bl_sequence_no, 10)",
         "OBJ_set_value_string(Y, bl_sequence_no, 20)"});
    add(expected, after());
    add(expected, newDataset());
    EXPECT_THAT(made(1), ElementsAreArray(expected));
}

TEST_F(CallOrder, ASkippedLineIsNotEvenAskedForItsChildren) {
    world.bench.checkOut(view("100"), "");
    for (const std::string& call : made(0))
        EXPECT_FALSE(call.starts_with("LINE_ask_child_lines")) << call;
}

TEST_F(CallOrder, WithoutWriteAccessOnlyTheErrorIsStored) {
    denyWrite(view("100"));
    Calls calls = made(0);
    const auto error = std::find(calls.begin(), calls.end(), "ERR_store_error(3, 515001)");
    ASSERT_NE(calls.end(), error);
    EXPECT_EQ("LINE_ask_attribute_tag(top)", *(error - 1));
    EXPECT_EQ("DST_find_all_datasets(PSE_RPBOM_infodba)", *(error + 1));
}
