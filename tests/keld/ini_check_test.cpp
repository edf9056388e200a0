// Each defect of the configuration that doctor knows, one file each. The sound file below has none
// of them; every case changes it in one place.

#include <chrono>

#include "tests/keld/program.h"

using namespace keld_test;
using testing::HasSubstr;

namespace {

const char kSound[] = R"([GLOBAL]
PrivilegName=CHANGE

[SelectWSO]
Item=1
ItemRevision=1
BOMLine=1

[Frozen_Item]
ChangeForward=LastItemRevision

[Frozen_ItemRevision]
DoNothingOnReleaseStatus=Frozen
PrevReleaseStatus=none;Old
SetReleaseState=Frozen
ChangeForward=Rel.VANE_specification.*
ChangeBack=OldItemRevision
SetAttributes=MasterForm

[Frozen_ItemRevision_MasterForm]
SetDefault=user_data_1=x

[Frozen_Old_ItemRevision]
SetReleaseState=Old

[Frozen_VANE_specification.*]
DoNothingOnReleaseStatus=Frozen
SetReleaseState=Frozen
SetAttributes=Notes

[Frozen_VANE_specification.*_Notes]
SetActUserId=user_data_1

[Frozen_BOMLine]
ChangeForward=ChildBomLines;bl_revision
)";

struct Defect {
    const char* name;
    const char* from;  // text of the sound file; empty: insert at the beginning
    std::string to;
    const char* severity;
    const char* finding;  // part of the text
};

void PrintTo(const Defect& defect, std::ostream* out) {
    *out << defect.name;
}

std::string joined(const char* text, int times) {
    std::string all;
    for (int i = 0; i < times; ++i)
        all += text;
    return all;
}

class IniDefect : public ProgramWithStore, public testing::WithParamInterface<Defect> {};

}  // namespace

TEST_P(IniDefect, IsFound) {
    const Defect& defect = GetParam();
    std::string text = kSound;
    const auto at = text.find(defect.from);
    ASSERT_NE(at, std::string::npos);
    text.replace(at, std::string(defect.from).size(), defect.to);
    configure(text);
    const auto report = keld({"doctor", "--json"}).json();
    bool found = false;
    for (const auto& finding : report["findings"])
        found |= finding["severity"] == defect.severity &&
                 finding["text"].get<std::string>().find(defect.finding) != std::string::npos;
    EXPECT_TRUE(found) << report["findings"].dump(1);
}

INSTANTIATE_TEST_SUITE_P(
    Each, IniDefect,
    testing::Values(
        Defect{"UnknownGlobalKey", "PrivilegName=CHANGE", "PrivilegeName=CHANGE", "warning",
               "'PrivilegeName'. Did you mean PrivilegName?"},
        Defect{"UnknownProcessKey", "ChangeBack=", "ChangeBak=", "warning", "ChangeBack"},
        Defect{"UnknownFormKey", "SetDefault=", "SetDefaults=", "warning", "SetDefault"},
        Defect{"FormKeyThatIsNeverRead", "SetDefault=", "SetProp=", "warning", "'SetProp'"},
        Defect{"UnknownKind", "=LastItemRevision", "=LastItemRevison", "error",
               "Did you mean LastItemRevision?"},
        Defect{"KindInAnotherCase", "=LastItemRevision", "=lastitemrevision", "error",
               "case and blanks count"},
        Defect{"BlankBeforeAKind", "ChildBomLines;bl", "ChildBomLines; bl", "error",
               "blanks count"},
        Defect{"EmptyEntry", "ChildBomLines;bl", "ChildBomLines;;bl", "error", "no kind ''"},
        Defect{"UnreachedSection", "[Frozen_BOMLine]", "[Frozen_Form]\nPurge=1\n[Frozen_BOMLine]",
               "warning", "leads to this section"},
        Defect{"MisspeltSection", "[Frozen_VANE_specification.*]", "[Frozen_VANE_specificaton.*]",
               "warning", "Did you mean Frozen_VANE_specification.*?"},
        Defect{"UnreachedForm", "SetAttributes=MasterForm", "PrivilegName=CHANGE", "warning",
               "leads to this section"},
        Defect{"UnknownStartType", "Item=1", "Itm=1", "warning",
               "type 'Itm', so no run starts by it. Did you mean Item"},
        Defect{"StartTypeWithoutSection", "Item=1", "Item=1\nForm=1", "warning",
               "no section <status>_Form"},
        Defect{"SelectedByTwo", "Item=1", "Item=2", "warning", "only exactly 1"},
        Defect{"SelectedByYes", "Item=1", "Item=yes", "warning", "counts as 0"},
        Defect{"NoSelection", "[SelectWSO]", "[SelectWS0]", "error", "no run can start"},
        Defect{"MisspeltRelation", "Rel.VANE_specification.*", "Rel.VANE_spec.*", "error",
               "means all relations"},
        Defect{"MisspeltRelationOfADeletion", "SetReleaseState=Old",
               "DeleteDatasets=VANE_specificaton.*", "error", "means all relations"},
        Defect{"RelationWithoutAType", "Rel.VANE_specification.*", "Rel.VANE_specification",
               "error", "names no type"},
        Defect{"DeletionWithoutAType", "SetReleaseState=Old", "DeleteDatasets=VANE_specification",
               "error", "names no type"},
        Defect{"UnknownType", "Rel.VANE_specification.*", "Rel.VANE_specification.Texd", "warning",
               "Did you mean Text"},
        Defect{"TooManyParts", "bl_revision", "bl_revision.ItemRevision", "warning", "more parts"},
        Defect{"UnknownPrivilege", "PrivilegName=CHANGE", "PrivilegName=CHANGES", "error",
               "Did you mean CHANGE"},
        Defect{"UnknownPrivilegeOfASection", "SetReleaseState=Old", "PrivilegName=MODIFY", "error",
               "privilege 'MODIFY'"},
        Defect{"Circle", "Rel.VANE_specification.*\n", "ItemOfRev\n", "error", "in a circle"},
        Defect{"CircleOfRelations", "SetReleaseState=Frozen\nSetAttributes=Notes",
               "ChangeForward=Rel.VANE_specification.*", "warning", "in a circle"},
        Defect{"StepFromTheWrongObject", "ChildBomLines", "BOM", "error", "starts from a revision"},
        Defect{"StepWithoutASection", "[Frozen_Old_ItemRevision]", "[Frozen_Odd_ItemRevision]",
               "warning", "leads to objects without a section"},
        Defect{"SectionTwice", "[Frozen_BOMLine]", "[Frozen_Item]\n[Frozen_BOMLine]", "warning",
               "a second time"},
        Defect{"SectionInAnotherCase", "[Frozen_BOMLine]", "[frozen_item]\n[Frozen_BOMLine]",
               "warning", "differs only in case"},
        Defect{"StatusesInTwoCases", "SetReleaseState=Old", "SetReleaseState=frozen", "warning",
               "differ only in case"},
        Defect{"StatusInsideAnother", "SetReleaseState=Old", "SetReleaseState=Froz", "warning",
               "'Froz' is part of the text"},
        Defect{"NoneInsideAStatus", "=none;Old", "=Old;nonesuch", "warning",
               "objects without a status count as listed"},
        Defect{"LongValue", "PrevReleaseStatus=none", "PrevReleaseStatus=" + joined("none;", 300),
               "error", "is cut"},
        Defect{"LongStatus", "SetReleaseState=Old", "SetReleaseState=" + joined("Old", 11), "error",
               "at most 32 bytes"},
        Defect{"LongSection", "[Frozen_BOMLine]",
               "[" + joined("Frozen_", 30) + "Item]\n[Frozen_BOMLine]", "error", "at most 199"},
        Defect{"LongKey", "PrevReleaseStatus=", joined("Prev", 30) + "=x\nPrevReleaseStatus=",
               "error", "at most 100"},
        Defect{"LongFormEntry", "user_data_1=x", "user_data_1=" + joined("x", 100), "error",
               "at most 99"},
        Defect{"LongJobPrefix", "SetReleaseState=Old", "JobPrefix=" + joined("JOB_", 25), "error",
               "would be cut"},
        Defect{"TooManyEntries", "ChildBomLines;",
               joined("ChildBomLines;", 65) + joined("bl_revision;", 64), "error",
               "are not reached"},
        Defect{"KeyTwice", "SetReleaseState=Old", "Purge=0\nPurge=1", "warning",
               "has the key already"},
        Defect{"LineWithoutASign", "SetReleaseState=Old", "SetReleaseState Old", "warning",
               "no '=' in it"},
        Defect{"LineWithoutAKey", "SetReleaseState=Old", "=Old", "warning", "no key in front"},
        Defect{"SectionWithoutAnEnd", "[Frozen_BOMLine]", "[Frozen_BOMLine", "warning", "no ']'"},
        Defect{"KeyBeforeAnySection", "", "Purge=1\n", "warning", "before any section"},
        Defect{"PurgeByTwo", "SetReleaseState=Old", "Purge=2", "warning", "only exactly 1 purges"},
        Defect{"UnknownTemplate", "SetReleaseState=Old", "StartJob=Relase", "warning",
               "Did you mean Release?"},
        Defect{"FormOfAnItemThatIsNotSupported", "SetAttributes=MasterForm", "SetAttributes=Notes",
               "error", "only MasterForm is"},
        Defect{"FormWithoutASection", "SetAttributes=Notes", "SetAttributes=Sheet", "warning",
               "fills nothing"},
        Defect{"ValueMissing", "user_data_1=x", "user_data_1", "warning", "supplies no value"},
        Defect{"SignInAName", "SetActUserId=user_data_1", "SetActUserId=user_data_1=x", "warning",
               "one name with the sign in it"},
        Defect{"MetTwiceByLines", "DoNothingOnReleaseStatus=Frozen\nPrev", "Prev", "error",
               "Write DoNothingOnReleaseStatus=Frozen"},
        Defect{"MetTwiceByARelation", "DoNothingOnReleaseStatus=Frozen\nSetR", "SetR", "warning",
               "the run ends there with an object that isn't stored any more"},
        Defect{"PreviousStatusThatNobodySets", "=none;Old", "=none;Oll", "warning",
               "this entry allows no object. Did you mean Old"},
        Defect{"StatusLeftAloneThatNobodySets", "DoNothingOnReleaseStatus=Frozen\nSetR",
               "DoNothingOnReleaseStatus=Frozen;Released\nSetR", "warning",
               "no section sets the status 'Released' of 'DoNothingOnReleaseStatus'"},
        Defect{"StatusThatIsNearlyAnother", "SetReleaseState=Old", "SetReleaseState=Frosen",
               "warning", "makes one of that very name. Did you mean Frozen"},
        Defect{"StatusWithoutAWayOn", "SetReleaseState=Old", "SetReleaseState=Expired", "note",
               "goes on from the status 'Expired'"},
        Defect{"CommaInAWalk", "ChildBomLines;bl", "ChildBomLines,bl", "error",
               "Write ChangeForward=ChildBomLines;bl_revision"},
        Defect{"CommaInAFormList", "user_data_1=x", "user_data_1=x,user_data_2=y", "error",
               "Write SetDefault=user_data_1=x;user_data_2=y"},
        Defect{"CommaBetweenStatuses", "=none;Old", "=none,Old", "warning",
               "Write PrevReleaseStatus=none;Old"},
        Defect{"NeededFieldThatIsNone", "SetAttributes=MasterForm",
               "SetAttributes=MasterForm\nCheckNeedFields=user_dat_1", "error",
               "the run is refused at each such object. Did you mean user_data_1"},
        Defect{"FormFieldThatIsNone", "user_data_1=x", "user_dta_1=x", "error",
               "no property of the form MasterForm of ItemRevision"},
        Defect{"WildcardWithoutAField", "user_data_1=x", "usr_*=x", "warning",
               "no field is set by it"},
        Defect{"PropertyThatIsNone", "SetDefault=user_data_1=x", "SetActGroup=user_data_1=ovner",
               "error", "'ovner' in 'SetActGroup' is no property of ItemRevision"},
        Defect{"AllowedAndLeftAlone", "=none;Old", "=none;Frozen", "warning",
               "names it too and is read first"},
        Defect{"EntryInTwoLists", "ChangeBack=Old",
               "ChangeNoRek=Rel.VANE_specification.*\nChangeBack=Old", "warning",
               "a run goes there twice"},
        Defect{"PurgeOfARevision", "SetReleaseState=Old", "Purge=1", "error",
               "'Purge' is for datasets"},
        Defect{"PrefixWithoutAJob", "SetReleaseState=Old", "JobPrefix=JOB_", "warning",
               "no 'StartJob' beside it"},
        Defect{"FieldThatIsFilledTwice", "user_data_1=x",
               "user_data_1=x\nSetActUserName=user_data_1", "warning", "the earlier value is lost"},
        Defect{"OnEmptyBehindAValue", "user_data_1=x",
               "user_data_1=x\nSetDefaultOnEmpty=user_data_1=y", "warning",
               "the later value is never taken"},
        Defect{"LineThatIsNoUtf8", "",
               "; gr\xfc\xdf"
               "e\n",
               "warning", "is no UTF-8"},
        Defect{"FileInUtf16", "", "\xff\xfe", "error", "save it as UTF-8"},
        Defect{"StatusOfABomLine", "[Frozen_BOMLine]", "[Frozen_BOMLine]\nSetReleaseState=Frozen",
               "warning", "no effect on a BOM line"}),
    [](const testing::TestParamInfo<Defect>& each) { return std::string(each.param.name); });

class SoundIni : public ProgramWithStore {
protected:
    void expectSound(const std::string& ini) {
        configure(ini);
        for (const auto& finding : done({"doctor", "--json"}).json()["findings"])
            EXPECT_EQ(finding["severity"], "note") << finding;
    }
    std::string changed(const std::string& from, const std::string& to) {
        std::string text = kSound;
        text.replace(text.find(from), from.size(), to);
        return text;
    }
};

TEST_F(SoundIni, HasNoFinding) {
    expectSound(kSound);
}

TEST_F(SoundIni, MayHaveCarriageReturnsASignatureAndComments) {
    std::string text = "\xEF\xBB\xBF; comment\n# another\n";
    for (const char c : std::string(kSound))
        text += c == '\n' ? std::string("\r\n") : std::string(1, c);
    expectSound(text);
}

TEST_F(SoundIni, MayQuoteValuesAndSetBlanksAroundSigns) {
    expectSound(changed("PrivilegName=CHANGE", "  privilegname =\t\"CHANGE\" "));
}

TEST_F(SoundIni, MayEndAListWithASeparator) {
    expectSound(changed("ChildBomLines;bl_revision", "ChildBomLines;bl_revision;"));
}

TEST_F(SoundIni, MayHaveMoreStatusesAndTypesOfItsOwn) {
    expectSound(std::string(kSound) + "[Released_Item]\nSetReleaseState=Released\n");
}

// Ten thousand keys in a second or so, not in hours.
TEST_F(ProgramWithStore, ALargeConfigurationIsCheckedInGoodTime) {
    std::string text = kSound;
    text += "[Frozen_Large]\n";
    for (int i = 0; i < 10000; ++i)
        text += "key" + std::to_string(i) + "=1\n";
    configure(text);
    const auto start = std::chrono::steady_clock::now();
    keld({"doctor", "--json"}).json();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
}
