// Preferences and the status manager's file: mostly of the right form, else with anything in it.

#include <fstream>

#include "platform/keld_basetool.h"
#include "tests/fuzz/service_world.h"

namespace fuzz {
namespace {

struct Preference {
    const char* name;
    std::vector<const char*> values;
};
const Preference preferences[] = {
    {"KELD_ItemRename",
     {"RenameOnRevisionStatus=InWork;Released",
      "ChangeObjectName.ItemRevision.VANE_specification.Text=3",
      "ChangeObjectName.Item.VANE_reference.Text=2",
      "ChangeObjectDescription.ItemRevision.VANE_specification.Text=2",
      "IgnoreNoWriteAccess.ItemRevision.VANE_specification.Text=1", "ChangeRevisionName=0",
      "ChangeRevisionDescription=1", "ExcludeRevisionRelations=VANE_specification",
      "SaveOldId=item.object_desc", "SaveOldId=im.user_data_1", "SaveOldId.Item=irm.user_data_1",
      "StartWorkflowItem=Release", "StartWorkflowItemRevision=Release", "ChangeRegisteredItemId=1",
      "ChangeRegisteredItemId=2", "ChangeRegisteredItemId.Item=3", "ExcludeDatasetNR=Text"}},
    {"KELD_CopyAttributes_WSO",
     {"Item;object_desc", "ItemRevision;object_desc;null", "ItemRevision;object_name",
      "Text;object_desc", "ItemRevision;release_status_list", "Folder;contents;null"}},
    {"KELD_CopyAttributes_Form",
     {"ItemRevision Master;user_data_1", "ItemRevision Master;user_data_2;null",
      "Item Master;user_data_1", "ItemRevision Master;missing"}},
    {"KELD_CopyAttributes_Relation",
     {"Item;revision_list;ItemRevision", "ItemRevision;VANE_master_form_rev;ItemRevision Master",
      "Item;VANE_master_form;Item Master", "ItemRevision;VANE_specification;Text",
      "ItemRevision;items_tag;Item", "Text;Text;ItemRevision Master"}},
    {"KELD_DEL_DELUXE_TYPES", {"Text", "Text", "MantaPrt"}},
    {"PackAndResequenceBOM.SEQNO_FIRST", {"10", "0", "-5", "2147483647"}},
    {"PackAndResequenceBOM.SEQNO_INCR", {"10", "0", "-1", "2147483647"}},
    {"PackAndResequenceBOM.SetDefaultQuantity", {"1", "2,5", "0"}},
    {"ART_id_registry", {"true", "true", "false"}},
    {"ART_id_registry_site", {"HQ", "HQ", "elsewhere"}},
    {"ART_id_always_register_on_creation", {"true", "false"}},
    {"ART_id_unregister_on_delete", {"true", "false"}},
    {"ART_id_allow_if_registry_down", {"true", "false"}},
};
constexpr const char* statuses[] = {"Released", "Released", "Released", "InWork", "none"};
constexpr const char* types[] = {"Item", "ItemRevision", "ItemRevision", "BOMLine", "Text"};

// No entry leads back up: a circle is walked to its end, 1000 levels deep.
struct Section {
    const char* name;
    std::vector<const char*> entries;
};
const std::vector<const char*> form_entries = {"SetDefault=user_data_1=x;object_desc=y",
                                               "SetDefaultOnEmpty=user_data_2=z",
                                               "SetActUserId=user_data_2",
                                               "SetActUserName=user_data_1",
                                               "SetActDate=user_data_1=%d.%m.%Y",
                                               "SetActDateDate=user_data_3",
                                               "Del_Date=user_data_1",
                                               "SetActRevId=user_data_2",
                                               "SetActGroupOnEmpty=user_data_1=object_desc;"};
const std::vector<const char*> dataset_entries = {
    "SetReleaseState=Released", "SetReleaseState=third",
    "PrevReleaseStatus=none;InWork;Released;third", "SetAttributes=Text", "Purge=1"};
const Section sections[] = {
    {"[GLOBAL]", {"PrivilegName=CHANGE", "PrivilegName=DELETE", "PrivilegName="}},
    {"[Released_Item]",
     {"ChangeForward=LastItemRevision;", "ChangeNoRek=LastItemRevision;",
      "SetAttributes=MasterForm;", "PrevReleaseStatus=none;Released;", "SetReleaseState=Released",
      "StartJob=Release", "ChangeBack=Rel.VANE_master_form.*"}},
    {"[Released_Item_MasterForm]", form_entries},
    {"[Released_ItemRevision]",
     {"ChangeForward=BOM;Rel.VANE_specification.*;", "ChangeBack=OldItemRevision;BOM;",
      "ChangeNoRek=Rel.VANE_specification.Text;ItemOfRev;OldItemRevision",
      "SetAttributes=MasterForm;", "PrevReleaseStatus=none;InWork;Released;",
      "PrevReleaseStatus=none;InWork;Released;", "SetReleaseState=Released",
      "SetReleaseState=other", "SetReleaseState=none", "DeleteDatasets=VANE_specification.Text;",
      "StartJob=Release", "DoNothingOnReleaseStatus=Released", "CheckNeedFields=user_data_1;",
      "JobPrefix=P", "PrivilegName=WRITE"}},
    {"[Released_ItemRevision_MasterForm]", form_entries},
    {"[Released_Old_ItemRevision]",
     {"SetReleaseState=Old", "ChangeNoRek=Old_BOM;Old_Rel.VANE_specification.*",
      "DeleteDatasets=VANE_specification.*;missing.Text"}},
    {"[Released_BOMLine]",
     {"ChangeForward=ChildBomLines;bl_revision;", "ChangeForward=ChildBomLines;",
      "ChangeBack=bl_revision;"}},
    {"[Released_Text]", dataset_entries},
    {"[Released_VANE_specification.Text]", dataset_entries},
    {"[Released_VANE_specification.*]", dataset_entries},
    {"[Released_BOM]", {"SetReleaseState=Released", "PrevReleaseStatus=none;Released;"}},
    {"[InWork_ItemRevision]",
     {"SetReleaseState=InWork", "SetReleaseState=none", "PrevReleaseStatus=none;InWork;Released;"}},
};

}  // namespace

std::string ServiceWorld::status(Decisions& from) {
    return from.wordOf(statuses);
}

std::string ServiceWorld::type(Decisions& from) {
    return from.wordOf(types);
}

void ServiceWorld::configure(Decisions& from) {
    static constexpr int levels[] = {3, 3, 3, 1, 2, 0, 5, 100, -1};
    KELD_SetLogLevel(from.pick(levels));
    for (std::size_t left = from.below(4); left > 0; --left) {
        const Preference& preference = from.pick(preferences);
        std::vector<std::string> lines(from.below(5));
        for (std::string& line : lines)
            line = from.wordOf(preference.values);
        bench_.setPreference(preference.name, lines);
    }
    if (from.oneIn(3)) {
        const std::string top = directory(from);
        // A blank would be a directory below the current one.
        bench_.setPreference("KELD_DELBackupTopDirCentral", {top == " " ? "" : top});
    }
    if (from.oneIn(20))
        bench_.setRegistryReachable(from.oneIn(2));
    if (from.oneIn(3))
        writeStatusFile(from);
}

void ServiceWorld::writeStatusFile(Decisions& from) {
    std::string ini = "[SelectWSO]\nItem=1\nItemRevision=1\nFolder=1\nText=1\nBOMLine=1\n";
    for (const Section& section : sections) {
        if (from.oneIn(4))
            continue;
        ini += std::string(section.name) + "\n";
        for (std::size_t count = from.below(8); count > 0; --count) {
            ini += from.pick(section.entries);
            ini += (from.oneIn(12) ? from.word() : "") + "\n";
        }
    }
    std::ofstream(root_ + "/keld_statusmanager.ini", std::ios::binary) << ini;
}

}  // namespace fuzz
