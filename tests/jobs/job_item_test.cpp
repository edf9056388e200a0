// Job items: what is made, what it refers to, what its form holds, and what a failure leaves.

#include "tests/jobs/jobs.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;

namespace {

class JobItem : public jobs::JobTest {
protected:
    struct Values {
        std::string queue = "queue", type = "type", relation = "relation", job_type = "jobtype",
                    options = "options", user = "user", status = "status", owner = "owner",
                    group = "group";
        bool all_types = false, target = false;
    };
    int create(const std::vector<tag_t>& targets, const Values& v, tag_t job = NULLTAG) {
        return KELD_createJobItem(
            static_cast<int>(targets.size()), targets.data(), job, v.queue.c_str(), v.type.c_str(),
            v.all_types, v.target, v.relation.c_str(), v.job_type.c_str(), v.options.c_str(),
            v.user.c_str(), v.status.c_str(), v.owner.c_str(), v.group.c_str());
    }
    int create(const std::vector<tag_t>& targets = {}) { return create(targets, Values()); }

    int portal(const std::vector<mervane::Argument>& arguments) {
        world.bench.sendArguments(arguments);
        int slot = 99;
        const int status = KELD_SrvCallCRIFromPortal(&slot);
        EXPECT_EQ(0, slot);
        return status;
    }
    std::vector<mervane::Argument> sent(const std::string& all_types = "true") const {
        return {std::string("CADPART"),  std::string("night"),
                std::string("PRINT"),    std::string("client status"),
                std::string("opt=1"),    all_types,
                std::string("VANE_any"), std::vector<tag_t>{made.item, made.revision}};
    }

    std::vector<tag_t> jobItems() {
        std::vector<tag_t> found;
        for (const auto& each : world.bench.find({"*", "ORLAJob", "", 0}))
            found.push_back(each.tag);
        return found;
    }
    tag_t jobItem() {
        const auto items = jobItems();
        EXPECT_EQ(1u, items.size());
        return items.empty() ? NULLTAG : items.front();
    }
    tag_t revisionOf(tag_t item) {
        int count = 0;
        tag_t* list = nullptr;
        EXPECT_EQ(0, ART_list_all_revs(item, &count, &list));
        EXPECT_EQ(1, count);
        const tag_t revision = count > 0 ? list[0] : NULLTAG;
        HEAP_free(list);
        return revision;
    }
    std::vector<tag_t> linked(tag_t item) {
        int count = 0;
        tag_t* list = nullptr;
        EXPECT_EQ(0,
                  REL_list_secondary_objects_only(
                      revisionOf(item), jobs::relationType("VANE_specification"), &count, &list));
        std::vector<tag_t> found(list, list + count);
        HEAP_free(list);
        return found;
    }
    std::string text(const std::string& attribute) {
        return world.storedText(world.masterForm(jobItem()), attribute);
    }
    bool flag(const std::string& attribute) {
        return std::get<bool>(world.stored(world.masterForm(jobItem()), attribute).at(0));
    }
    std::int64_t number(const std::string& attribute) {
        return std::get<std::int64_t>(world.stored(world.masterForm(jobItem()), attribute).at(0));
    }
};

}  // namespace

// ---- what is made ----

TEST_F(JobItem, TheFormHoldsEachValueInItsAttribute) {
    Values values;
    values.all_types = true;
    ASSERT_EQ(0, create({made.revision}, values));
    EXPECT_EQ("user", text("orla_m_job_s_01"));
    EXPECT_EQ("owner", text("orla_m_job_s_02"));
    EXPECT_EQ("status", text("orla_m_job_s_03"));
    EXPECT_EQ("queue", text("orla_m_job_s_04"));
    EXPECT_EQ("type", text("orla_m_job_s_05"));
    EXPECT_EQ("group", text("orla_m_job_s_06"));
    EXPECT_EQ("jobtype", text("orla_m_job_s_07"));
    EXPECT_EQ("options", text("orla_m_job_s_08"));
    EXPECT_EQ("relation", text("orla_m_job_s_09"));
    EXPECT_TRUE(flag("orla_m_job_l_01"));
    EXPECT_FALSE(flag("orla_m_job_l_02"));
    EXPECT_EQ(1, number("orla_m_job_i_01"));
    EXPECT_EQ("ORLAJob", world.bench.describe(jobItem()).cls);
}

TEST_F(JobItem, TheStandardModelsFormHasTheTwelveAttributesAndNoOtherOfTheirKind) {
    ASSERT_EQ(0, create());
    std::vector<std::string> found;
    for (const std::string& name : world.bench.attributeNames(world.masterForm(jobItem())))
        if (name.starts_with("orla_"))
            found.push_back(name.substr(11));
    EXPECT_THAT(
        found, testing::UnorderedElementsAre("s_01", "s_02", "s_03", "s_04", "s_05", "s_06", "s_07",
                                             "s_08", "s_09", "l_01", "l_02", "i_01"));
}

TEST_F(JobItem, TheTwoFlagsAreKeptApart) {
    Values values;
    values.target = true;
    ASSERT_EQ(0, create({}, values));
    EXPECT_FALSE(flag("orla_m_job_l_01"));
    EXPECT_TRUE(flag("orla_m_job_l_02"));
}

TEST_F(JobItem, WithoutTargetsItIsMadeAndFilledAllTheSame) {
    ASSERT_EQ(0, create());
    EXPECT_THAT(linked(jobItem()), IsEmpty());
    EXPECT_EQ("queue", text("orla_m_job_s_04"));
}

TEST_F(JobItem, NothingStaysLockedOrAllocated) {
    const std::size_t before = world.blocks();
    ASSERT_EQ(0, create({made.revision, made.item}));
    EXPECT_EQ(0u, world.bench.heldLocks());
    EXPECT_EQ(before, world.blocks());
    EXPECT_THAT(stack(), IsEmpty());
}

TEST_F(JobItem, NullTextsAreEmptyValues) {
    EXPECT_EQ(0, KELD_createJobItem(2, nullptr, NULLTAG, nullptr, nullptr, false, false, nullptr,
                                    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ("", text("orla_m_job_s_04"));
    EXPECT_EQ(1, number("orla_m_job_i_01"));
}

// ---- what it refers to ----

TEST_F(JobItem, ItemsStandForTheirLatestRevision) {
    const tag_t latest = world.revision(made.item, "B");
    ASSERT_EQ(0, create({made.item, made.revision}));
    EXPECT_THAT(linked(jobItem()), ElementsAre(latest, made.revision));
}

TEST_F(JobItem, WithAWorkflowJobItRefersToThatAndItemsStayItems) {
    const tag_t job = world.bench.create("FLOWProcess");
    ASSERT_EQ(0, create({made.item, made.revision}, Values(), job));
    EXPECT_THAT(linked(jobItem()), ElementsAre(job, made.revision));
}

TEST_F(JobItem, WhatIsNeitherItemNorRevisionIsPassedOver) {
    ASSERT_EQ(0, create({part("part1"), made.revision, world.masterForm(made.item)}));
    EXPECT_THAT(linked(jobItem()), ElementsAre(made.revision));
}

TEST_F(JobItem, EachLoopIsTracedWithItsNumberFromZero) {
    ASSERT_EQ(0, create({made.revision, made.item}));
    // The line begins with two line breaks, so it has no time and level of its own.
    EXPECT_THAT(jobs::readText(KELD_GetLogFilePath()),
                HasSubstr(" Loop-nr. <1> over the targets (iObjectCount = <2>)\n"));
}

TEST_F(JobItem, ALatestRevisionThatCantBeFoundPassesTheItemOver) {
    world.fail("ART_ask_latest_rev", 1);
    ASSERT_EQ(0, create({made.item, made.revision}));
    EXPECT_THAT(linked(jobItem()), ElementsAre(made.revision));
}

// ---- the order of the calls ----

TEST_F(JobItem, TheCallsComeInTheirOrder) {
    const auto calls = world.calls([&] { ASSERT_EQ(0, create({made.revision})); });
    std::vector<std::string> names;
    for (const std::string& call : calls)
        names.push_back(call.substr(0, call.find('(')));
    // The questions for the class of the one target, as an item and as a revision.
    std::erase_if(names, [](const std::string& name) {
        return name == "DBO_class_of_instance" || name == "DBO_name_of_class" ||
               name.starts_with("MVTYPE_");
    });
    const std::vector<std::string> expected = {
        "REL_find_relation_type", "DBO_class_id_of_class", "ART_create_item", "OBJ_save",
        "ART_ask_id", "OBJ_refresh", "OBJ_refresh",
        // the target
        "REL_create_relation", "REL_save_relation", "OBJ_refresh",
        // the form
        "REL_find_relation_type", "REL_list_secondary_objects_only", "OBJ_load", "OBJ_refresh",
        "OBJ_set_value_string", "OBJ_set_value_string", "OBJ_set_value_string",
        "OBJ_set_value_string", "OBJ_set_value_string", "OBJ_set_value_string",
        "OBJ_set_value_string", "OBJ_set_value_string", "OBJ_set_value_string",
        "OBJ_set_value_logical", "OBJ_set_value_logical", "OBJ_set_value_int", "OBJ_save",
        "OBJ_refresh", "OBJ_refresh", "OBJ_refresh"};
    EXPECT_EQ(expected, names);
}

TEST_F(JobItem, TheAttributesAreWrittenInTheirOrder) {
    const auto calls = world.calls([&] { ASSERT_EQ(0, create()); });
    std::vector<std::string> attributes;
    for (const std::string& call : calls)
        if (const std::size_t at = call.find("orla_m_job_"); at != std::string::npos)
            attributes.push_back(call.substr(at + 11, 4));
    EXPECT_THAT(attributes, ElementsAre("s_04", "s_05", "s_01", "s_07", "s_08", "s_09", "s_03",
                                        "s_02", "s_06", "l_01", "l_02", "i_01"));
}

// ---- failures ----

namespace {

struct FormWrite {
    const char* operation;
    int n;
    const char* attribute;
};

class JobFormWrites : public JobItem, public testing::WithParamInterface<FormWrite> {};

}  // namespace

TEST_P(JobFormWrites, AFailingWriteLeavesNoJobItemAndReportsItsId) {
    // The id that the item will have is the next free one.
    tag_t probe = NULLTAG, revision = NULLTAG;
    char id[129] = "";
    ASSERT_EQ(0, ART_create_item(nullptr, nullptr, "ORLAJob", nullptr, &probe, &revision));
    ASSERT_EQ(0, ART_ask_id(probe, id));
    ASSERT_EQ(0, OBJ_unload(probe));
    const std::string before = world.everything();
    const std::size_t blocks = world.blocks();

    world.fail(GetParam().operation, GetParam().n);
    EXPECT_EQ(jobs::kPlanned, create({made.revision}));
    world.failNothing();
    EXPECT_THAT(jobItems(), IsEmpty());
    EXPECT_EQ(before, world.everything());
    EXPECT_THAT(stack(), ElementsAre(Pair(919400, HasSubstr(id))));
    EXPECT_EQ(0u, world.bench.heldLocks());
    EXPECT_EQ(blocks, world.blocks());
}

INSTANTIATE_TEST_SUITE_P(
    OfEach, JobFormWrites,
    testing::Values(
        FormWrite{"OBJ_set_value_string", 1, "s_04"}, FormWrite{"OBJ_set_value_string", 2, "s_05"},
        FormWrite{"OBJ_set_value_string", 3, "s_01"}, FormWrite{"OBJ_set_value_string", 4, "s_07"},
        FormWrite{"OBJ_set_value_string", 5, "s_08"}, FormWrite{"OBJ_set_value_string", 6, "s_09"},
        FormWrite{"OBJ_set_value_string", 7, "s_03"}, FormWrite{"OBJ_set_value_string", 8, "s_02"},
        FormWrite{"OBJ_set_value_string", 9, "s_06"}, FormWrite{"OBJ_set_value_logical", 1, "l_01"},
        FormWrite{"OBJ_set_value_logical", 2, "l_02"}, FormWrite{"OBJ_set_value_int", 1, "i_01"},
        FormWrite{"OBJ_load", 1, "load"}, FormWrite{"OBJ_refresh", 4, "lock"},
        FormWrite{"OBJ_save", 2, "save"}, FormWrite{"OBJ_refresh", 5, "unlock"}),
    [](const auto& tested) { return std::string(tested.param.attribute); });

TEST_F(JobItem, ATextLongerThanItsAttributeLeavesNoJobItem) {
    Values values;
    values.queue = std::string(241, 'q');
    EXPECT_NE(0, create({}, values));
    EXPECT_THAT(jobItems(), IsEmpty());
    // It follows the platform's own error.
    ASSERT_EQ(2u, stack().size());
    EXPECT_EQ(919400, stack().back().first);
}

TEST_F(JobItem, AfterAFailedWriteTheFormIsUnlockedAndDroppedBeforeTheItemGoes) {
    world.fail("OBJ_set_value_string", 1);
    const auto calls = world.calls([&] { create(); });
    std::vector<std::string> tail;
    for (const std::string& call : calls)
        tail.push_back(call.substr(0, call.find('(')));
    tail.erase(tail.begin(), std::find(tail.begin(), tail.end(), "OBJ_set_value_string") + 1);
    EXPECT_THAT(tail, ElementsAre("OBJ_refresh", "OBJ_unload", "OBJ_refresh", "OBJ_delete",
                                  "ERR_store_error_s1"));
}

TEST_F(JobItem, AfterAFailureToGiveUpItsLockTheFormStaysInTheSession) {
    world.bench.startJournal();
    create();
    int refreshes = 0;  // up to the form's last one, after its save
    int saves = 0;
    for (const auto& entry : world.bench.stopJournal()) {
        saves += entry.operation == "OBJ_save";
        refreshes += entry.operation == "OBJ_refresh";
        if (saves == 2 && entry.operation == "OBJ_refresh")
            break;
    }
    world.fail("OBJ_refresh", refreshes);
    const auto calls = world.calls([&] { EXPECT_EQ(jobs::kPlanned, create()); });
    EXPECT_THAT(calls, Not(Contains(testing::StartsWith("OBJ_unload"))));
    EXPECT_THAT(calls, Contains(testing::StartsWith("OBJ_delete")));
}

TEST_F(JobItem, ADeletionThatFailsIsOnlyLogged) {
    world.bench.setFaults({{"OBJ_set_value_int", 1, 4711}, {"OBJ_delete", 1, 4712}});
    EXPECT_EQ(4711, create());
    EXPECT_EQ(1u, jobItems().size());
    EXPECT_THAT(stack(), IsEmpty());
    EXPECT_THAT(world.lines("E"), Contains("--planned failure (OBJ_delete)--"));
}

TEST_F(JobItem, AnItemThatCantBeMadeLeavesNothing) {
    for (const char* operation :
         {"REL_find_relation_type", "DBO_class_id_of_class", "ART_create_item", "OBJ_save"}) {
        const std::string before = world.everything();
        world.fail(operation, 1);
        EXPECT_EQ(jobs::kPlanned, create({made.revision})) << operation;
        world.failNothing();
        EXPECT_EQ(before, world.everything()) << operation;
    }
    EXPECT_THAT(stack(), IsEmpty());
}

TEST_F(JobItem, AfterItIsMadeAFailureLeavesItUnfilled) {
    int made_items = 0;
    const std::pair<const char*, int> calls[] = {
        {"ART_ask_id", 1},          {"OBJ_refresh", 1},       {"OBJ_refresh", 2},
        {"REL_create_relation", 1}, {"REL_save_relation", 1}, {"OBJ_refresh", 3}};
    for (const auto& [operation, n] : calls) {
        world.fail(operation, n);
        EXPECT_EQ(jobs::kPlanned, create({made.revision})) << operation << n;
        world.failNothing();
        EXPECT_EQ(static_cast<std::size_t>(++made_items), jobItems().size());
        EXPECT_TRUE(world.stored(world.masterForm(jobItems().back()), "orla_m_job_i_01").empty());
    }
    EXPECT_THAT(stack(), IsEmpty());
}

TEST_F(JobItem, AFailedTargetLeavesItemAndRevisionLocked) {
    world.fail("REL_create_relation", 1);
    EXPECT_EQ(jobs::kPlanned, create({made.revision}));
    EXPECT_TRUE(world.locked(jobItem()));
    EXPECT_TRUE(world.locked(revisionOf(jobItem())));
    EXPECT_THAT(stack(), IsEmpty());
}

TEST_F(JobItem, ATargetThatIsNoObjectEndsTheLoop) {
    EXPECT_NE(0, create({NULLTAG, made.revision}));
    EXPECT_THAT(linked(jobItem()), IsEmpty());
}

TEST_F(JobItem, AFailedLookUpOfTheFormsLeavesTheLocks) {
    for (const auto& [operation, n] : {std::pair{"REL_find_relation_type", 2},
                                       std::pair{"REL_list_secondary_objects_only", 1}}) {
        world.fail(operation, n);
        EXPECT_EQ(jobs::kPlanned, create());
        world.failNothing();
        EXPECT_TRUE(world.locked(jobItems().back()));
        EXPECT_TRUE(world.locked(revisionOf(jobItems().back())));
    }
    EXPECT_THAT(stack(), IsEmpty());
}

// ---- the service ----

TEST_F(JobItem, FromThePortalSomeValuesAreFixed) {
    ASSERT_EQ(0, portal(sent()));
    EXPECT_EQ("KELDJOBITEMOWNER", text("orla_m_job_s_01"));
    EXPECT_EQ("IREV", text("orla_m_job_s_02"));
    EXPECT_EQ("IREV", text("orla_m_job_s_03"));
    EXPECT_EQ("IREV", text("orla_m_job_s_06"));
    EXPECT_EQ("night", text("orla_m_job_s_04"));
    EXPECT_EQ("CADPART", text("orla_m_job_s_05"));
    EXPECT_EQ("PRINT", text("orla_m_job_s_07"));
    EXPECT_EQ("opt=1", text("orla_m_job_s_08"));
    EXPECT_EQ("VANE_any", text("orla_m_job_s_09"));
    EXPECT_FALSE(flag("orla_m_job_l_02"));
    EXPECT_THAT(linked(jobItem()), ElementsAre(made.revision, made.revision));
    EXPECT_THAT(world.lines("T"), Contains("szStatus = client status"));
}

TEST_F(JobItem, TheAllTypesWordCountsInAnyCaseOfLetters) {
    for (const auto& [word, meant] :
         {std::pair{"true", true}, std::pair{"TRUE", true}, std::pair{"tRuE", true},
          std::pair{"false", false}, std::pair{"", false}, std::pair{"true ", false},
          std::pair{"yes", false}, std::pair{"1", false}}) {
        ASSERT_EQ(0, portal(sent(word)));
        const auto stored = world.stored(world.masterForm(jobItems().back()), "orla_m_job_l_01");
        EXPECT_EQ(meant, std::get<bool>(stored.at(0))) << word;
    }
}

TEST_F(JobItem, AllThatTheServiceReceivesIsFreed) {
    const std::size_t before = world.blocks();
    ASSERT_EQ(0, portal(sent()));
    EXPECT_EQ(before, world.blocks());
}

TEST_F(JobItem, ItsScopeLinesHaveTheirOwnName) {
    ASSERT_EQ(0, portal(sent()));
    bool entered = false, left = false;
    for (const auto& line : world.log()) {
        entered |= line.text.starts_with(" ->keld_cri_from_portal ");
        left |= line.text.starts_with(" <-keld_cri_from_portal ");
    }
    EXPECT_TRUE(entered && left);
}

TEST_F(JobItem, AnUnknownTargetIsStoredForTheClient) {
    auto arguments = sent();
    arguments.back() = std::vector<tag_t>{999999};
    const int status = portal(arguments);
    EXPECT_NE(0, status);
    ASSERT_FALSE(stack().empty());
    EXPECT_EQ(status, stack().back().first);
}

namespace {

class JobItemReads : public JobItem, public testing::WithParamInterface<int> {};

}  // namespace

TEST_P(JobItemReads, AFailedReadEndsTheServiceAndFreesWhatWasReceived) {
    auto arguments = sent();
    arguments.resize(static_cast<std::size_t>(GetParam()) - 1);
    const std::size_t blocks = world.blocks();
    const int before = depth();
    const int status = portal(arguments);
    EXPECT_NE(0, status);
    EXPECT_THAT(jobItems(), IsEmpty());
    // The platform's own entry and the service's.
    ASSERT_EQ(2u, stack().size());
    EXPECT_EQ(status, stack().back().first);
    EXPECT_EQ(blocks, world.blocks());
    EXPECT_EQ(before, depth());
}

INSTANTIATE_TEST_SUITE_P(Each, JobItemReads, testing::Range(1, 9));
