// The service: its arguments, the lists that it keeps, its destinations.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "platform/keld_se.h"
#include "platform/mv_err.h"
#include "tests/copy/lists.h"
#include "tests/support/patterns.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
using world::World;

namespace {

constexpr char kForm[] = "KELD_CopyAttributes_Form";
constexpr char kRelation[] = "KELD_CopyAttributes_Relation";

class CopyService : public testing::Test {
protected:
    CopyService() {
        ::unsetenv("KELD_DISABLE_COPYATTR_CACHE");
        defineSheet(world);
        source = sheet("source", "new");
    }
    tag_t sheet(const std::string& name, const std::string& text) {
        const tag_t made = world.bench.createForm("Sheet", name);
        world.put(made, "s", text);
        world.put(made, "s2", text);
        return made;
    }
    int copy(const std::vector<tag_t>& destinations) {
        world.bench.sendArguments({source, destinations});
        int slot = 99;
        const int status = KELD_CopyAttr(&slot);
        EXPECT_EQ(status, slot);
        return status;
    }
    // How often the preferences are read in a call.
    std::ptrdiff_t reads(int expected = 0) {
        const auto calls = world.calls([&] { EXPECT_EQ(expected, copy({})); });
        return std::count_if(calls.begin(), calls.end(), [](const std::string& call) {
            return call == "OPT_ask_char_values(KELD_CopyAttributes_WSO)";
        });
    }

    World world;
    tag_t source = NULLTAG;
};

using CopyCache = CopyService;

}  // namespace

// ---- arguments and destinations ----

TEST_F(CopyService, CopiesToEachDestinationInOrder) {
    world.bench.setPreference(kForm, {"Sheet;s"});
    const tag_t first = sheet("first", "old"), second = sheet("second", "old");
    world.name(source, "source");
    world.name(first, "first");
    world.name(second, "second");
    const auto calls = world.calls([&] { EXPECT_EQ(0, copy({second, first})); });
    EXPECT_EQ("new", world.storedText(first, "s"));
    EXPECT_EQ("new", world.storedText(second, "s"));
    EXPECT_EQ("old", world.storedText(second, "s2"));
    std::vector<std::string> saves;
    for (const std::string& call : calls)
        if (call.starts_with("OBJ_save"))
            saves.push_back(call);
    EXPECT_THAT(saves, ElementsAre("OBJ_save(second)", "OBJ_save(first)"));
}

TEST_F(CopyService, TracesItselfAndItsArguments) {
    EXPECT_EQ(0, copy({}));
    std::vector<std::string> seen;
    for (const world::LogLine& line : world.log())
        if (line.depth <= 1 && !line.text.starts_with(" File:"))
            seen.push_back(
                std::to_string(line.depth) +
                line.text.substr(0, line.text.rfind(" " SHOWN_SOURCE("copy", "keld_cpattr"))));
    EXPECT_THAT(seen, ElementsAre("0 ->KELD_CopyAttr", "1 ->SVCARG_get_tag_argument(&tSource)",
                                  "1 <-SVCARG_get_tag_argument(&tSource)",
                                  "1 ->SVCARG_get_tag_array_argument(&iDestCount, &tpDest)",
                                  "1 <-SVCARG_get_tag_array_argument(&iDestCount, &tpDest)",
                                  "1KELD_CopyAttr", "1 ->ReadCopyAttrPref", "1 <-ReadCopyAttrPref",
                                  "0 <-KELD_CopyAttr"));
}

TEST_F(CopyService, WithoutDestinationsReadsThePreferencesOnly) {
    world.bench.setPreference(kForm, {"Sheet;s"});
    const auto calls = world.calls([&] { EXPECT_EQ(0, copy({})); });
    EXPECT_THAT(calls, Not(Contains(StartsWith("OBJ_"))));
    EXPECT_THAT(calls, Contains("OPT_ask_char_values(KELD_CopyAttributes_Form)"));
}

TEST_F(CopyService, TriesAllDestinationsAndKeepsTheFirstFailure) {
    world.bench.setPreference(kForm, {"Sheet;s"});
    const tag_t first = sheet("first", "old"), last = sheet("last", "old");
    const tag_t broken = sheet("broken", "old"), other = sheet("other", "old");
    world.bench.setFaults({{"OBJ_save", 2, 515001}, {"OBJ_save", 3, 515002}});
    EXPECT_EQ(515001, copy({first, broken, other, last}));
    world.failNothing();
    EXPECT_EQ("new", world.storedText(first, "s"));
    EXPECT_EQ("old", world.storedText(broken, "s"));
    EXPECT_EQ("old", world.storedText(other, "s"));
    EXPECT_EQ("new", world.storedText(last, "s"));
    EXPECT_TRUE(world.locked(broken));
    EXPECT_FALSE(world.locked(last));
}

TEST_F(CopyService, AnArgumentThatCannotBeReadIsTheStatusAndNothingIsCopied) {
    world.bench.setPreference(kForm, {"Sheet;s"});
    const tag_t destination = sheet("destination", "old");
    for (int nth : {1, 2}) {
        world.bench.setFaults(
            {{nth == 1 ? "SVCARG_get_tag_argument" : "SVCARG_get_tag_array_argument", 1, 515001}});
        const auto calls = world.calls([&] { EXPECT_EQ(515001, copy({destination})); });
        EXPECT_THAT(calls, Not(Contains(StartsWith("OBJ_"))));
        if (nth == 1) {  // the second argument isn't read any more
            EXPECT_THAT(calls, Not(Contains(StartsWith("SVCARG_get_tag_array_argument"))));
        }
    }
    world.failNothing();
    EXPECT_EQ("old", world.storedText(destination, "s"));
    EXPECT_EQ(0, copy({destination}));
}

TEST_F(CopyService, AMissingArgumentIsAFailure) {
    world.bench.sendArguments({source});
    int slot = 0;
    EXPECT_NE(0, KELD_CopyAttr(&slot));
    EXPECT_NE(0, slot);
    world.bench.sendArguments({std::string("text"), std::vector<tag_t>{source}});
    EXPECT_NE(0, KELD_CopyAttr(&slot));
}

TEST_F(CopyService, TakesANullSlot) {
    world.bench.setPreference(kForm, {"Sheet;s"});
    const tag_t destination = sheet("destination", "old");
    world.bench.sendArguments({source, std::vector<tag_t>{destination}});
    EXPECT_EQ(0, KELD_CopyAttr(nullptr));
    EXPECT_EQ("new", world.storedText(destination, "s"));
}

TEST_F(CopyService, KeepsTheListOfDestinationsAllocatedAndNothingElse) {
    world.bench.setPreference(kForm, {"Sheet;s"});
    const tag_t destination = sheet("destination", "old");
    EXPECT_EQ(0, copy({destination}));
    const std::size_t before = world.blocks();
    EXPECT_EQ(0, copy({destination, destination}));
    EXPECT_EQ(before + 1, world.blocks());
}

TEST_F(CopyService, AnUnknownObjectIsAFailureOfItsOwn) {
    world.bench.setPreference(kForm, {"Sheet;s"});
    const tag_t destination = sheet("destination", "old");
    EXPECT_NE(0, copy({12345678, NULLTAG, destination}));
    EXPECT_EQ("new", world.storedText(destination, "s"));
}

// ---- the lists that are kept ----

TEST_F(CopyCache, ReadsThePreferencesOncePerProcess) {
    world.bench.setPreference(kForm, {"Sheet;s"});
    EXPECT_EQ(1, reads());
    EXPECT_EQ(0, reads());
    // A changed preference comes into force only with a new process.
    world.bench.setPreference(kForm, {"Sheet;s2"});
    const tag_t destination = sheet("destination", "old");
    EXPECT_EQ(0, copy({destination}));
    EXPECT_EQ("new", world.storedText(destination, "s"));
    EXPECT_EQ("old", world.storedText(destination, "s2"));
}

TEST_F(CopyCache, AsksTheTypesOncePerProcessToo) {
    world.bench.setPreference(kRelation, {"Item;revision_list;ItemRevision"});
    EXPECT_EQ(0, copy({}));
    EXPECT_THAT(world.calls([&] { EXPECT_EQ(0, copy({})); }),
                ElementsAre("SVCARG_get_tag_argument()", "SVCARG_get_tag_array_argument()"));
}

TEST_F(CopyCache, IsOffWhileTheVariableExists) {
    world.bench.setPreference(kForm, {"Sheet;s"});
    EXPECT_EQ(1, reads());
    for (const char* value : {"1", "0", "false", ""}) {
        ::setenv("KELD_DISABLE_COPYATTR_CACHE", value, 1);
        EXPECT_EQ(1, reads()) << value;
        EXPECT_EQ(1, reads()) << value;
    }
    ::unsetenv("KELD_DISABLE_COPYATTR_CACHE");
    EXPECT_EQ(0, reads());
}

TEST_F(CopyCache, ThatIsOffTakesAChangedPreference) {
    ::setenv("KELD_DISABLE_COPYATTR_CACHE", "", 1);
    world.bench.setPreference(kForm, {"Sheet;s"});
    EXPECT_EQ(0, copy({}));
    world.bench.setPreference(kForm, {"Sheet;s2"});
    const tag_t destination = sheet("destination", "old");
    EXPECT_EQ(0, copy({destination}));
    EXPECT_EQ("old", world.storedText(destination, "s"));
    EXPECT_EQ("new", world.storedText(destination, "s2"));
}

TEST_F(CopyCache, ThatIsOffFreesTheListsBeforeEachRead) {
    ::setenv("KELD_DISABLE_COPYATTR_CACHE", "1", 1);
    world.bench.setPreference(kForm, {"Sheet;s", "Sheet;i;null"});
    world.bench.setPreference(kRelation, {"Item;revision_list;ItemRevision"});
    EXPECT_EQ(0, copy({}));
    const std::size_t before = world.blocks();
    EXPECT_EQ(0, copy({}));
    // The texts of three values; an empty list of destinations is no block.
    EXPECT_EQ(before + 3, world.blocks());
}

TEST_F(CopyCache, AFailedReadCopiesNothingAndIsReadAnew) {
    world.bench.setPreference(kForm, {"Sheet;s", "Sheet;nothing"});
    const tag_t destination = sheet("destination", "old");
    EXPECT_EQ(2010, copy({destination}));
    EXPECT_EQ("old", world.storedText(destination, "s"));
    EXPECT_EQ(1, reads(2010));
    EXPECT_EQ(1, reads(2010));
    world.bench.setPreference(kForm, {"Sheet;s"});
    EXPECT_EQ(1, reads());
    EXPECT_EQ(0, reads());
    EXPECT_EQ(0, copy({destination}));
    EXPECT_EQ("new", world.storedText(destination, "s"));
}

TEST_F(CopyCache, AFailedReadOfAnotherStatusIsHandedOn) {
    world.bench.setPreference(kRelation, {"Folder;nothing;Item"});
    EXPECT_EQ(35004, copy({source}));
    world.bench.setPreference(kRelation, {"Folder;VANE_based_on;Item"});
    world.fail("MVTYPE_find_type", 0, 515001);
    // Types can't be found now, but a known relation doesn't need them.
    EXPECT_EQ(0, copy({}));
}

TEST_F(CopyCache, AnEarlierBadLineHoldsUpNoCopy) {
    world.bench.setPreference(kForm, {"Sheet;nothing", "no separator", "Sheet;s"});
    const tag_t destination = sheet("destination", "old");
    // The bad property stays in the list, so asking for it ends the copy for this type.
    EXPECT_NE(0, copy({destination}));
    EXPECT_EQ("old", world.storedText(destination, "s"));
    const tag_t folder = world.bench.createFolder("other type");
    EXPECT_EQ(0, reads());
    source = folder;
    EXPECT_EQ(0, copy({destination}));
}

TEST_F(CopyCache, ListsAreBroughtUpToDateAlsoForACallThatCannotBeRead) {
    world.bench.setPreference(kForm, {"Sheet;s"});
    world.bench.sendArguments({});
    EXPECT_NE(0, KELD_CopyAttr(nullptr));
    EXPECT_EQ(0, reads());
}
