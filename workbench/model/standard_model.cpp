#include "workbench/model/standard_model.h"

#include "workbench/model/model.h"

// Names are part of every store: handles are made from them. Add, never rename.

namespace mervane {

namespace {

AttributeSpec text(const char* name, int max_length) {
    return {name, Kind::String, false, max_length};
}
AttributeSpec texts(const char* name, int max_length) {
    return {name, Kind::String, true, max_length};
}
AttributeSpec integer(const char* name) {
    return {name, Kind::Int, false, 0};
}
AttributeSpec integers(const char* name) {
    return {name, Kind::Int, true, 0};
}
AttributeSpec number(const char* name) {
    return {name, Kind::Double, false, 0};
}
AttributeSpec logicalValue(const char* name) {
    return {name, Kind::Logical, false, 0};
}
AttributeSpec date(const char* name) {
    return {name, Kind::Date, false, 0};
}
AttributeSpec reference(const char* name) {
    return {name, Kind::Reference, false, 0};
}
AttributeSpec references(const char* name) {
    return {name, Kind::Reference, true, 0};
}

constexpr int kIdLength = 128, kDescriptionLength = 240, kShortName = 32;

void defineOrganisation(Model& model) {
    model.addClass("Person", "Instance",
                   {text("person_name", kIdLength), text("PA1", 240), text("PA2", 240),
                    text("PA3", 240), text("PA4", 240), text("PA5", 240), text("PA6", 240),
                    text("PA7", 240), text("PA8", 240), text("PA9", 240), text("PA10", 240)});
    model.addClass("Group", "Instance", {text("group_name", kShortName), reference("parent")});
    model.addClass("User", "Instance",
                   {text("user_id", kShortName), text("user_name", kIdLength), reference("person"),
                    reference("default_group")});
    model.addClass("GroupMember", "Instance", {reference("user"), reference("group")});
    model.addClass("Site", "Instance", {text("site_name", kIdLength), integer("site_id")});
}

void defineWorkspace(Model& model) {
    model.addClass("WorkspaceObject", "Instance",
                   {text("object_name", kIdLength), text("object_desc", kDescriptionLength),
                    reference("owning_user"), reference("owning_group"), reference("owning_site"),
                    date("creation_date"), date("last_mod_date"), reference("last_mod_user"),
                    references("release_status_list"), references("process_stage_list"),
                    date("date_released")});
    model.addClass("ReleaseStatus", "WorkspaceObject", {text("name", kShortName)});
    model.addClass("Folder", "WorkspaceObject", {references("contents")});
    model.addClass("Form", "WorkspaceObject", {});
    // The source id is the id as an imported file had it.
    model.addClass("Item", "WorkspaceObject", {text("item_id", kIdLength), text("source_id", 0)});
    // The order number counts the revisions of an item, oldest first.
    model.addClass(
        "ItemRevision", "WorkspaceObject",
        {text("item_revision_id", kIdLength), reference("items_tag"), integer("order_no")});
    model.addClass("ORLAJob", "Item", {});
    model.addType("ORLAJobRevision", "ItemRevision", {});
    model.addClass("icm0", "Instance", {text("id", kIdLength)});
    // The type of a relation is a handle, and references lead to objects alone. So it is a number.
    model.addClass("Relation", "Instance",
                   {reference("primary"), reference("secondary"), integer("relation_type"),
                    reference("user_data")});
}

void defineForms(Model& model) {
    const std::vector<AttributeSpec> master = {
        text("project_id", 64),    text("user_data_1", 240), text("user_data_2", 240),
        text("user_data_3", 240),  text("previous_id", 128), text("serial_number", 64),
        text("item_comment", 240), date("effective_date"),   logicalValue("checked"),
        integer("count"),          number("weight")};
    model.addType("Item Master", "Form", master);
    model.addType("ItemRevision Master", "Form", master);
    model.addType(
        "ORLAJob Master", "Form",
        {text("orla_m_job_s_01", 240), text("orla_m_job_s_02", 240), text("orla_m_job_s_03", 240),
         text("orla_m_job_s_04", 240), text("orla_m_job_s_05", 240), text("orla_m_job_s_06", 240),
         text("orla_m_job_s_07", 240), text("orla_m_job_s_08", 1024), text("orla_m_job_s_09", 240),
         logicalValue("orla_m_job_l_01"), logicalValue("orla_m_job_l_02"),
         integer("orla_m_job_i_01")});
}

void defineDatasets(Model& model) {
    // The anchor lists the versions of a dataset, the newest last. The three lists of named
    // references are parallel.
    model.addClass("DatasetAnchor", "Instance", {references("revisions")});
    model.addClass("Dataset", "WorkspaceObject",
                   {reference("anchor"), integer("version_no"), texts("ref_names", kShortName),
                    references("ref_list"), integers("ref_types"), text("tool", kIdLength),
                    text("format", kShortName)});
    model.addClass("VaneFile", "Instance",
                   {text("original_file_name", 132), integer("byte_size"), text("sha256", 64),
                    integer("file_type")});
    const struct {
        const char *type, *tool, *format, *reference;
    } standard[] = {
        {"Text", "TextEditor", "TEXT", "Text"},
        {"STEP", "StepViewer", "STEP", "STEP"},
        {"PDF", "PdfViewer", "PDF", "PDF"},
        {"Drawing", "DrawingEditor", "DRAWING", "Drawing"},
        {"Misc", "FileViewer", "BINARY", "File"},
    };
    for (const auto& each : standard) {
        model.addTool(each.tool, {each.format});
        model.setDatasetType(model.addType(each.type, "Dataset", {}),
                             {each.tool, {each.reference}});
    }
}

void defineStructures(Model& model) {
    model.addClass("STRBOMView", "WorkspaceObject", {reference("parent_item")});
    model.addClass("STRBOMViewRevision", "WorkspaceObject",
                   {reference("bom_view"), reference("parent_revision")});
    // Numbers and quantities are texts, as people type them. Notes are two parallel lists.
    model.addClass("STROccurrence", "Instance",
                   {reference("parent_bvr"), reference("child"), text("quantity", kIdLength),
                    text("seq_no", kIdLength), texts("note_names", kIdLength),
                    texts("note_values", 1024), integer("order_no")});
    model.addClass("NoteType", "Instance", {text("note_name", kIdLength)});
    // The type name of the lines in a BOM window; none is ever stored.
    model.addClass("BOMLine", "Instance", {});
}

void defineWorkflow(Model& model) {
    model.addClass("FLOWTemplate", "WorkspaceObject", {texts("task_names", kIdLength)});
    model.addClass("FLOWProcess", "WorkspaceObject",
                   {reference("process_template"), references("attachments"),
                    integers("attachment_types"), references("tasks")});
    model.addClass("FLOWTask", "WorkspaceObject", {reference("process")});
}

}  // namespace

void defineStandardModel(Model& model) {
    model.addClass("Instance", "", {});
    defineOrganisation(model);
    defineWorkspace(model);
    defineForms(model);
    defineDatasets(model);
    defineStructures(model);
    defineWorkflow(model);
    for (const char* name :
         {"VANE_specification", "VANE_master_form", "VANE_master_form_rev", "VANE_based_on",
          "VANE_reference", "VANE_manifestation", "VANE_requirement", "VANE_attachment"})
        model.addRelationType(name);
}

}  // namespace mervane
