#include "tests/structures/structure.h"

namespace mervane::test {
namespace {

class Workflows : public StructureTest {
protected:
    void SetUp() override {
        StructureTest::SetUp();
        bench_.createProcessTemplate("Release", {"Check", "Approve"});
        EXPECT_EQ(0, FLOW_find_process_template("Release", &template_));
        part_ = revision("100");
    }
    int start(const Tags& attachments, const std::vector<int>& types, tag_t* process) {
        return FLOW_create_process("job", nullptr, template_, static_cast<int>(attachments.size()),
                                   attachments.data(), types.data(), process);
    }
    std::vector<std::string> taskNames(tag_t object) {
        std::vector<std::string> names;
        for (tag_t task : tagsOf(object, "process_stage_list")) {
            char name[129];
            EXPECT_EQ(0, FLOW_ask_name(task, name));
            names.push_back(name);
        }
        return names;
    }
    tag_t template_ = NULLTAG, part_ = NULLTAG;
};

using Names = std::vector<std::string>;

TEST_F(Workflows, ATemplateIsFoundByItsExactName) {
    EXPECT_NE(NULLTAG, template_);
    tag_t found = 7;
    EXPECT_EQ(0, FLOW_find_process_template("release", &found));
    EXPECT_EQ(NULLTAG, found);
    EXPECT_THROW(bench_.createProcessTemplate("Release", {}), Failure);
    EXPECT_THROW(bench_.createProcessTemplate("", {}), Failure);
}

TEST_F(Workflows, TheTasksOfAProcessAreItsTargetsAndAreSeenByOthers) {
    tag_t process = NULLTAG;
    ASSERT_EQ(0, start({part_}, {1}, &process));
    secondSession();
    EXPECT_EQ((Names{"Check", "Approve"}), taskNames(part_));
    const tag_t task = tagsOf(part_, "process_stage_list").back();
    tag_t of_task = NULLTAG, cls = NULLTAG;
    ASSERT_EQ(0, DBO_class_of_instance(task, &of_task));
    ASSERT_EQ(0, DBO_class_id_of_class("FLOWTask", &cls));
    EXPECT_EQ(cls, of_task);
    EXPECT_EQ("job", textOf(process, "object_name"));
    EXPECT_EQ(Values{Reference{part_}}, bench_.get(process, "attachments"));
    EXPECT_EQ(0u, bench_.heldLocks());
}

TEST_F(Workflows, OnlyTargetsGetTheTasks) {
    const tag_t reference = revision("200");
    tag_t process = NULLTAG;
    ASSERT_EQ(0, start({part_, reference}, {1, 3}, &process));
    EXPECT_EQ(2u, taskNames(part_).size());
    EXPECT_TRUE(taskNames(reference).empty());
    EXPECT_EQ((Values{Reference{part_}, Reference{reference}}), bench_.get(process, "attachments"));
    EXPECT_EQ((Values{std::int64_t{1}, std::int64_t{3}}), bench_.get(process, "attachment_types"));
}

TEST_F(Workflows, ATargetNamedTwiceGetsTheTasksOnce) {
    tag_t process = NULLTAG;
    ASSERT_EQ(0, start({part_, part_}, {1, 1}, &process));
    EXPECT_EQ((Names{"Check", "Approve"}), taskNames(part_));
}

TEST_F(Workflows, ABomLineStandsForTheRevisionThatItShows) {
    const tag_t child = revision("200");
    bench_.addOccurrence(part_, child, "", "");
    const tag_t line = childrenOf(bench_.openBomWindow(part_)).at(0);
    tag_t process = NULLTAG;
    ASSERT_EQ(0, start({line}, {1}, &process));
    EXPECT_EQ(Values{Reference{child}}, bench_.get(process, "attachments"));
    EXPECT_EQ(2u, taskNames(child).size());
}

TEST_F(Workflows, AProcessCanBeReReadAndHaveNoAttachment) {
    tag_t process = NULLTAG;
    ASSERT_EQ(0, FLOW_create_process("job", "why", template_, 0, nullptr, nullptr, &process));
    EXPECT_EQ(0, RLS_refresh_job(process));
    EXPECT_EQ("why", textOf(process, "object_desc"));
    EXPECT_TRUE(tagsOf(process, "attachments").empty());
    EXPECT_EQ(2u, tagsOf(process, "tasks").size());
}

TEST_F(Workflows, ATargetThatAnotherSessionHasLockedRefusesTheStart) {
    const tag_t free = revision("200");
    const auto second = secondSession();
    ASSERT_EQ(0, OBJ_lock(part_));
    bench_.selectSession(session_);
    tag_t process = 7;
    EXPECT_EQ(kLockedByOther, start({free, part_}, {1, 1}, &process));
    EXPECT_EQ(7u, process);
    EXPECT_TRUE(taskNames(free).empty());
    EXPECT_EQ(0u, bench_.heldLocks());
    FindQuery query;
    query.type = "FLOWProcess";
    EXPECT_TRUE(bench_.find(query).empty());
    bench_.selectSession(second);
    ASSERT_EQ(0, OBJ_refresh(part_, false));
    bench_.selectSession(session_);
    EXPECT_EQ(0, start({free, part_}, {1, 1}, &process));
}

TEST_F(Workflows, UnsavedValuesOfATargetStayUnsaved) {
    ASSERT_EQ(0, OBJ_refresh(part_, true));
    ASSERT_EQ(0, ENT_set_name(part_, "not yet"));
    tag_t process = NULLTAG;
    ASSERT_EQ(0, start({part_}, {1}, &process));
    EXPECT_TRUE(bench_.holdsLock(part_));
    EXPECT_EQ("not yet", textOf(part_, "object_name"));
    secondSession();
    EXPECT_EQ("Part 100", textOf(part_, "object_name"));
    EXPECT_EQ(2u, taskNames(part_).size());
    bench_.selectSession(session_);
    ASSERT_EQ(0, OBJ_save(part_));
    EXPECT_EQ(2u, taskNames(part_).size());
}

TEST_F(Workflows, WrongArgumentsAreRefusedAndNothingIsStored) {
    tag_t process = 7;
    EXPECT_EQ(kUnknownObject, start({99999}, {1}, &process));
    const tag_t right = template_;
    template_ = part_;
    EXPECT_EQ(kWrongClass, start({part_}, {1}, &process));
    template_ = NULLTAG;
    EXPECT_EQ(kUnknownObject, start({part_}, {1}, &process));
    EXPECT_NE(0, FLOW_create_process("job", nullptr, right, -1, &part_, nullptr, &process));
    char name[129] = "before";
    EXPECT_EQ(kWrongClass, FLOW_ask_name(part_, name));
    EXPECT_STREQ("before", name);
    EXPECT_EQ(7u, process);
    EXPECT_TRUE(taskNames(part_).empty());
}

TEST_F(Workflows, ADeletedProcessTakesItsTasksOutOfTheTargets) {
    tag_t first = NULLTAG, second = NULLTAG;
    ASSERT_EQ(0, start({part_}, {1}, &first));
    ASSERT_EQ(0, start({part_}, {1}, &second));
    ASSERT_EQ(4u, taskNames(part_).size());
    const Tags tasks = tagsOf(first, "tasks");
    ASSERT_EQ(0, OBJ_delete(first));
    secondSession();
    EXPECT_EQ(2u, bench_.get(part_, "process_stage_list").size());
    for (tag_t task : tasks)
        EXPECT_NE(0, OBJ_load(task));
    EXPECT_EQ(0, OBJ_load(second));
}

}  // namespace
}  // namespace mervane::test
