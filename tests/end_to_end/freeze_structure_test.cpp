// The main job, from a STEP file to a frozen structure: import, freeze from the top BOM line
// through the exported service, and a refused run that leaves the store as it was.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include "platform/keld_se.h"
#include "tests/support/files.h"
#include "tests/support/places.h"
#include "tests/support/step_generator.h"
#include "workbench/workbench.h"

namespace {

namespace fs = std::filesystem;
using namespace mervane;

Workbench& bench() {
    return *mervane_workbench();
}

class FreezeStructure : public testing::Test {
protected:
    FreezeStructure() {
        setenv("KELD_CFG_PATH", directory_.string().c_str(), 1);
        setenv("KELD_LOG_FILE", (directory_ / "keld.log").string().c_str(), 1);
        setenv("KELD_LOG_LEVEL", "2", 1);
        const fs::path sample = fs::path(KELD_SOURCE_DIR) / "samples/keld_statusmanager.ini";
        EXPECT_TRUE(fs::exists(sample)) << sample;
        configure(keld_test::readFile(sample));
        bench().openSession(bench().openStore(":memory:"), {});
    }

    void configure(const std::string& text) {
        keld_test::writeFile(directory_ / "keld_statusmanager.ini", text);
    }
    static int run(tag_t object, const std::string& type, const std::string& status) {
        bench().sendArguments({status, type, object});
        int result = -1;
        EXPECT_EQ(KELD_StatusManager(&result), 0);
        return result;
    }
    static std::string exported() {
        std::ostringstream text;
        bench().exportWorld(text);
        return text.str();
    }
    static std::set<tag_t> statusObjects(const char* cls, int* objects) {
        std::set<tag_t> found;
        for (const Found& each : bench().find({"*", cls, "", 0})) {
            const Values list = bench().get(each.tag, "release_status_list");
            EXPECT_EQ(list.size(), 1u) << each.id;
            for (const Value& value : list)
                found.insert(std::get<Reference>(value).tag);
            ++*objects;
        }
        return found;
    }
    void freezeAndRefuse(const ImportReport& report);

    keld_test::Directory directory_;
};

void FreezeStructure::freezeAndRefuse(const ImportReport& report) {
    ASSERT_NE(report.top, NULLTAG);
    const tag_t line = bench().openBomWindow(report.top);
    ASSERT_EQ(run(line, "BOMLine", "Frozen"), 0);
    EXPECT_TRUE(bench().errorStack().empty());
    EXPECT_EQ(bench().heldLocks(), 0u);

    int revisions = 0, datasets = 0;
    std::set<tag_t> statuses = statusObjects("ItemRevision", &revisions);
    statuses.merge(statusObjects("Dataset", &datasets));
    EXPECT_EQ(revisions, report.revisions);
    EXPECT_GE(datasets, 1);
    ASSERT_EQ(statuses.size(), 1u) << "one status object for the whole run";
    EXPECT_EQ(std::get<std::string>(bench().get(*statuses.begin(), "name").at(0)), "Frozen");

    // The last revision that the import made is a leaf or deep in the tree.
    const auto all = bench().find({"*", "ItemRevision", "", 0});
    const tag_t deep = all.back().tag == report.top ? all.front().tag : all.back().tag;
    bench().checkOut(deep, "");
    const std::string before = exported();
    EXPECT_EQ(run(line, "BOMLine", "Released"), 919405);
    EXPECT_TRUE(exported() == before) << "a refused run changes nothing";
    EXPECT_TRUE(bench().errorStack().empty());
    EXPECT_EQ(bench().heldLocks(), 0u);

    bench().checkIn(deep);
    EXPECT_EQ(run(line, "BOMLine", "Released"), 0);
    int released = 0;
    statuses = statusObjects("ItemRevision", &released);
    ASSERT_EQ(statuses.size(), 1u);
    EXPECT_EQ(std::get<std::string>(bench().get(*statuses.begin(), "name").at(0)), "Released");
    EXPECT_EQ(bench().find({"Frozen", "ReleaseStatus", "", 0}).size(), 0u)
        << "a status that nobody has any more goes";
}

class GeneratedStructure : public FreezeStructure, public testing::WithParamInterface<int> {};

TEST_P(GeneratedStructure, IsFrozenAsAWholeAndARefusedRunLeavesItAsItWas) {
    std::stringstream step;
    keld_test::writeStep(step, {GetParam(), 3, 2, 0, static_cast<unsigned>(GetParam()), true});
    freezeAndRefuse(bench().importStep(step, "generated.step"));
}
INSTANTIATE_TEST_SUITE_P(Parts, GeneratedStructure, testing::Values(2, 9, 40));

#ifdef KELD_STEP_FILES
class RealStructure : public FreezeStructure, public testing::WithParamInterface<const char*> {};

TEST_P(RealStructure, IsFrozenAsAWholeAndARefusedRunLeavesItAsItWas) {
    std::ifstream step(fs::path(KELD_STEP_FILES) / GetParam(), std::ios::binary);
    ASSERT_TRUE(step) << GetParam();
    freezeAndRefuse(bench().importStep(step, GetParam()));
}
INSTANTIATE_TEST_SUITE_P(Files, RealStructure,
                         testing::Values("as1-oc-214.stp", "t-embed-full-shell.stp",
                                         "pushdevice-assembly.step", "stamp-c6lora-smd.step"));
#endif

class PartUsedTwice : public FreezeStructure {
protected:
    PartUsedTwice() {
        tag_t top = NULLTAG;
        bench().createItem("000001", "assembly", "", "A", &top);
        bench().createItem("000002", "part", "", "A", &part_);
        bench().addOccurrence(top, part_, "", "10");
        bench().addOccurrence(top, part_, "", "20");
        line_ = bench().openBomWindow(top);
    }
    static std::string settings(const std::string& done) {
        return "[SelectWSO]\nBOMLine=1\n[Frozen_BOMLine]\nChangeForward=ChildBomLines;bl_revision\n"
               "[Frozen_ItemRevision]\nPrevReleaseStatus=none;Frozen\nSetReleaseState=Frozen\n" +
               done;
    }
    tag_t part_ = NULLTAG, line_ = NULLTAG;
};

TEST_F(PartUsedTwice, InARowIsFrozenOnceIfTheTargetStatusIsLeftAlone) {
    configure(settings("DoNothingOnReleaseStatus=Frozen\n"));
    EXPECT_EQ(run(line_, "BOMLine", "Frozen"), 0);
    EXPECT_EQ(bench().get(part_, "release_status_list").size(), 1u);
}

TEST_F(PartUsedTwice, InARowLosesTheSharedStatusObjectWithoutThat) {
    configure(settings(""));
    // The second visit takes the status from its only holder, so the object goes, and can't be set.
    EXPECT_NE(run(line_, "BOMLine", "Frozen"), 0);
    EXPECT_EQ(bench().get(part_, "release_status_list").size(), 0u);
    EXPECT_TRUE(bench().find({"Frozen", "ReleaseStatus", "", 0}).empty());
}

}  // namespace
