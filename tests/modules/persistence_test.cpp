// Classes, attributes and instances below the level of properties.

#include "platform/mv_dbo.h"
#include "platform/mv_rls.h"
#include "tests/modules/interface.h"

namespace mervane::test {

class Persistence : public InterfaceTest {
protected:
    tag_t attr(const char* name, const char* cls) {
        tag_t handle = NULLTAG;
        EXPECT_EQ(DBO_attr_id_of_attr(name, cls, &handle), 0);
        return handle;
    }
    tag_t classId(const char* name) {
        tag_t handle = NULLTAG;
        EXPECT_EQ(DBO_class_id_of_class(name, &handle), 0);
        return handle;
    }
    tag_t status(const char* name) {
        tag_t made = NULLTAG;
        EXPECT_EQ(RLS_create_release_status(name, &made), 0);
        EXPECT_EQ(DBO_save_instances(1, &made, true), 0) << lastError();
        return made;
    }
    std::vector<tag_t> stored(tag_t object, tag_t attribute) {
        int length = 0;
        EXPECT_EQ(DBO_length_of_attr(object, attribute, &length), 0);
        tag_t* tags = nullptr;
        logical *null_flags = nullptr, *empty_flags = nullptr;
        EXPECT_EQ(DBO_ask_attr_tags(object, attribute, 0, length, &tags, &null_flags, &empty_flags),
                  0);
        HEAP_free(null_flags);
        HEAP_free(empty_flags);
        return taken(length, tags);
    }
    const tag_t list_attr = attr("release_status_list", "WorkspaceObject");
};

TEST_F(Persistence, FindsClassesByNameAndInstance) {
    const auto made = part("1");
    tag_t cls = NULLTAG;
    EXPECT_EQ(DBO_class_of_instance(made.revision, &cls), 0);
    EXPECT_EQ(cls, classId("ItemRevision"));
    char* name = nullptr;
    EXPECT_EQ(DBO_name_of_class(cls, &name), 0);
    EXPECT_EQ(taken(name), "ItemRevision");
    tag_t kept = 5;
    EXPECT_EQ(DBO_class_id_of_class("NoSuchClass", &kept), kUnknownClass);
    EXPECT_EQ(DBO_class_of_instance(kNoSuchTag, &kept), kUnknownObject);
    EXPECT_EQ(DBO_name_of_class(made.item, &name), kUnknownClass);
    EXPECT_EQ(kept, 5u);
}

TEST_F(Persistence, AClassOfATypeIsTheClass) {
    tag_t cls = NULLTAG;
    EXPECT_EQ(DBO_class_of_instance(wb.createDataset("Text", "t"), &cls), 0);
    EXPECT_EQ(cls, classId("Dataset"));
    EXPECT_EQ(DBO_class_of_instance(wb.openBomWindow(part("1").revision), &cls), 0);
    EXPECT_EQ(cls, classId("BOMLine"));
}

TEST_F(Persistence, AnInheritedAttributeHasOneHandle) {
    EXPECT_EQ(attr("object_name", "Item"), attr("object_name", "WorkspaceObject"));
    EXPECT_NE(attr("object_name", "Item"), attr("item_id", "Item"));
    tag_t kept = 5;
    EXPECT_EQ(DBO_attr_id_of_attr("item_id", "WorkspaceObject", &kept), kUnknownAttribute);
    EXPECT_EQ(DBO_attr_id_of_attr("no_such", "Item", &kept), kUnknownAttribute);
    EXPECT_EQ(DBO_attr_id_of_attr("item_id", "NoSuchClass", &kept), kUnknownClass);
    EXPECT_EQ(kept, 5u);
}

TEST_F(Persistence, HandlesAreTheSameInEveryStore) {
    const tag_t cls = classId("Folder"), attribute = attr("date_released", "WorkspaceObject");
    const auto second = keld_test::openFreshStore();
    wb.openSession(second, {});
    EXPECT_EQ(classId("Folder"), cls);
    EXPECT_EQ(attr("date_released", "WorkspaceObject"), attribute);
    wb.closeStore(second);
    wb.selectSession(session);
}

TEST_F(Persistence, ArraysAreAppendedReadAndCut) {
    const tag_t item = part("1").item;
    const tag_t statuses[] = {status("a"), status("b"), status("c")};
    ASSERT_EQ(DBO_refresh_instances_any_class(1, &item, DBO_modify_lock), 0);
    EXPECT_EQ(DBO_append_attr_tags(1, &item, list_attr, 3, statuses), 0);
    EXPECT_THAT(stored(item, list_attr), ElementsAre(statuses[0], statuses[1], statuses[2]));
    EXPECT_EQ(DBO_remove_from_attr(1, &item, list_attr, 1, 1), 0);
    EXPECT_EQ(DBO_save_instances(1, &item, false), 0);
    EXPECT_EQ(DBO_refresh_instances_any_class(1, &item, DBO_no_lock), 0);
    EXPECT_THAT(stored(item, list_attr), ElementsAre(statuses[0], statuses[2]));
    EXPECT_FALSE(wb.holdsLock(item));
    EXPECT_EQ(blocks(), 0u);
}

TEST_F(Persistence, ARangeOfAnArrayIsRead) {
    const tag_t item = part("1").item;
    const tag_t statuses[] = {status("a"), status("b"), status("c")};
    wb.set(item, "release_status_list",
           {Reference{statuses[0]}, Reference{statuses[1]}, Reference{statuses[2]}});
    tag_t* tags = nullptr;
    logical *null_flags = nullptr, *empty_flags = nullptr;
    EXPECT_EQ(DBO_ask_attr_tags(item, list_attr, 1, 2, &tags, &null_flags, &empty_flags), 0);
    EXPECT_EQ(blocks(), 3u);
    EXPECT_THAT(taken(2, tags), ElementsAre(statuses[1], statuses[2]));
    EXPECT_FALSE(null_flags[0] || null_flags[1] || empty_flags[0] || empty_flags[1]);
    HEAP_free(null_flags);
    HEAP_free(empty_flags);
    for (const auto& [first, count] :
         std::vector<std::pair<int, int>>{{-1, 1}, {0, -1}, {0, 4}, {3, 1}, {2147483647, 1}}) {
        tags = nullptr;
        EXPECT_EQ(
            DBO_ask_attr_tags(item, list_attr, first, count, &tags, &null_flags, &empty_flags),
            kBadIndex);
        EXPECT_EQ(tags, nullptr);
    }
}

TEST_F(Persistence, AnEmptyArrayHasLengthZeroAndNullPointers) {
    const tag_t item = part("1").item;
    int length = 5;
    EXPECT_EQ(DBO_length_of_attr(item, list_attr, &length), 0);
    EXPECT_EQ(length, 0);
    tag_t dummy = NULLTAG;
    logical flag = false;
    tag_t* tags = &dummy;
    logical *null_flags = &flag, *empty_flags = &flag;
    EXPECT_EQ(DBO_ask_attr_tags(item, list_attr, 0, 0, &tags, &null_flags, &empty_flags), 0);
    EXPECT_EQ(tags, nullptr);
    EXPECT_EQ(null_flags, nullptr);
    EXPECT_EQ(empty_flags, nullptr);
}

TEST_F(Persistence, WithoutMemoryNoneOfTheThreeBlocksIsLeft) {
    const tag_t item = part("1").item;
    wb.set(item, "release_status_list", {Reference{status("a")}});
    for (std::size_t allowed = 0; allowed < 3; ++allowed) {
        wb.failHeapAfter(allowed);
        tag_t* tags = nullptr;
        logical *null_flags = nullptr, *empty_flags = nullptr;
        EXPECT_EQ(DBO_ask_attr_tags(item, list_attr, 0, 1, &tags, &null_flags, &empty_flags),
                  kNoMemory);
        EXPECT_EQ(tags, nullptr);
        EXPECT_EQ(blocks(), 0u);
    }
}

TEST_F(Persistence, AnAttributeOfAnotherKindOrClassIsRefused) {
    const auto made = part("1");
    int length = 5;
    EXPECT_EQ(DBO_length_of_attr(made.item, attr("object_name", "Item"), &length), kWrongKind);
    EXPECT_EQ(DBO_length_of_attr(made.item, attr("items_tag", "ItemRevision"), &length),
              kUnknownAttribute);
    EXPECT_EQ(DBO_length_of_attr(made.item, NULLTAG, &length), kUnknownAttribute);
    EXPECT_EQ(DBO_length_of_attr(kNoSuchTag, list_attr, &length), kUnknownObject);
    EXPECT_EQ(length, 5);
    char* value = nullptr;
    logical is_null = false, is_valid = false;
    EXPECT_EQ(DBO_ask_attr_string(made.item, list_attr, &value, &is_null, &is_valid), kWrongKind);
    EXPECT_EQ(value, nullptr);
    OBJ_lock(made.item);
    EXPECT_EQ(DBO_set_attr_string(1, &made.item, list_attr, "x"), kWrongKind);
    EXPECT_EQ(DBO_set_attr_date(1, &made.item, list_attr, {}), kWrongKind);
    EXPECT_EQ(DBO_append_attr_tags(1, &made.item, attr("owning_user", "Item"), 1, &made.revision),
              kWrongKind);
    EXPECT_EQ(DBO_remove_from_attr(1, &made.item, list_attr, 0, 1), kBadIndex);
}

TEST_F(Persistence, AStringAttributeSaysWhetherItHasAValue) {
    const tag_t item = part("1").item;
    char* value = nullptr;
    logical is_null = true, is_valid = false;
    EXPECT_EQ(DBO_ask_attr_string(item, attr("item_id", "Item"), &value, &is_null, &is_valid), 0);
    EXPECT_EQ(taken(value), "1");
    EXPECT_FALSE(is_null);
    EXPECT_TRUE(is_valid);
    EXPECT_EQ(DBO_ask_attr_string(item, attr("object_desc", "Item"), &value, &is_null, &is_valid),
              0);
    EXPECT_EQ(taken(value), "");
    EXPECT_TRUE(is_null);
}

TEST_F(Persistence, AReleaseStatusTakesNameAndDateWithoutALock) {
    tag_t made = NULLTAG;
    ASSERT_EQ(RLS_create_release_status("Release Status", &made), 0);
    EXPECT_EQ(DBO_set_attr_string(1, &made, attr("name", "ReleaseStatus"), "Released"), 0);
    EXPECT_EQ(DBO_set_attr_date(1, &made, attr("date_released", "WorkspaceObject"),
                                {2026, 0, 2, 3, 4, 5}),
              0);
    EXPECT_EQ(DBO_refresh_instances_any_class(1, &made, DBO_no_lock), 0);
    EXPECT_EQ(text(made, "name"), "Released");
    EXPECT_EQ(DBO_save_instances(1, &made, false), 0);
    EXPECT_EQ(DBO_set_attr_string(1, &made, attr("name", "ReleaseStatus"), "Other"), kNotLocked);
    EXPECT_EQ(text(made, "date_released"), "2026-01-02 03:04:05");
}

TEST_F(Persistence, ANullDateOrANullEmptiesTheAttribute) {
    const tag_t item = part("1").item, date = attr("date_released", "WorkspaceObject");
    OBJ_lock(item);
    EXPECT_EQ(DBO_set_attr_date(1, &item, date, {2026, 0, 2, 3, 4, 5}), 0);
    EXPECT_EQ(DBO_set_attr_date(1, &item, date, {2026, 1, 30, 3, 4, 5}), kBadDate);
    EXPECT_EQ(DBO_set_attr_date(1, &item, date, DBO_null_date()), 0);
    EXPECT_EQ(text(item, "date_released"), "");
    EXPECT_EQ(DBO_set_attr_null(1, &item, attr("object_name", "Item")), 0);
    EXPECT_EQ(DBO_set_attr_null(1, &item, list_attr), 0);
    EXPECT_EQ(text(item, "object_name"), "");
}

TEST_F(Persistence, NothingIsWrittenWithoutTheLock) {
    const tag_t item = part("1").item, one = status("a");
    EXPECT_EQ(DBO_set_attr_string(1, &item, attr("object_name", "Item"), "x"), kNotLocked);
    EXPECT_EQ(DBO_set_attr_date(1, &item, attr("date_released", "Item"), {}), kNotLocked);
    EXPECT_EQ(DBO_set_attr_null(1, &item, list_attr), kNotLocked);
    EXPECT_EQ(DBO_append_attr_tags(1, &item, list_attr, 1, &one), kNotLocked);
    wb.set(item, "release_status_list", {Reference{one}});
    EXPECT_EQ(DBO_remove_from_attr(1, &item, list_attr, 0, 1), kNotLocked);
    EXPECT_THAT(stored(item, list_attr), ElementsAre(one));
}

TEST_F(Persistence, WhatDoesNotExistIsNotAppended) {
    const tag_t item = part("1").item, tags[] = {status("a"), kNoSuchTag};
    OBJ_lock(item);
    EXPECT_EQ(DBO_append_attr_tags(1, &item, list_attr, 2, tags), kUnknownObject);
    EXPECT_THAT(stored(item, list_attr), IsEmpty());
}

TEST_F(Persistence, AnEntryThatIsGoneStaysStoredAndDropsOutOfLoading) {
    const tag_t item = part("1").item, gone = status("a"), kept = status("b"), more = status("c");
    wb.set(item, "release_status_list", {Reference{gone}, Reference{kept}});
    EXPECT_EQ(DBO_delete_instances(1, &gone), 0) << lastError();
    EXPECT_THAT(stored(item, list_attr), ElementsAre(gone, kept));
    const tag_t asked[] = {kept, gone, item, NULLTAG};
    int loaded = 0;
    tag_t* tags = nullptr;
    EXPECT_EQ(DBO_load_instances_possible(4, asked, &loaded, &tags), 0);
    EXPECT_THAT(taken(loaded, tags), ElementsAre(kept, item));
    OBJ_lock(item);
    EXPECT_EQ(DBO_append_attr_tags(1, &item, list_attr, 1, &more), 0) << lastError();
    EXPECT_EQ(DBO_remove_from_attr(1, &item, list_attr, 0, 1), 0) << lastError();
    EXPECT_THAT(stored(item, list_attr), ElementsAre(kept, more));
}

TEST_F(Persistence, LoadingNothingIsCountZeroAndNull) {
    int loaded = 4;
    tag_t dummy = NULLTAG;
    tag_t* tags = &dummy;
    EXPECT_EQ(DBO_load_instances_possible(0, nullptr, &loaded, &tags), 0);
    EXPECT_EQ(loaded, 0);
    EXPECT_EQ(tags, nullptr);
    loaded = 4;
    EXPECT_EQ(DBO_load_instances_possible(-1, &dummy, &loaded, &tags), kBadIndex);
    EXPECT_EQ(loaded, 4);
}

TEST_F(Persistence, RefreshTakesAndGivesUpTheLock) {
    const auto made = part("1");
    const tag_t both[] = {made.item, made.revision};
    EXPECT_EQ(DBO_refresh_instances_any_class(2, both, DBO_modify_lock), 0);
    EXPECT_EQ(wb.heldLocks(), 2u);
    EXPECT_EQ(DBO_refresh_instances_any_class(2, both, 2), kBadValue);
    EXPECT_EQ(wb.heldLocks(), 2u);
    EXPECT_EQ(OBJ_refresh(made.item, false), 0);
    EXPECT_EQ(DBO_refresh_instances_any_class(2, both, DBO_no_lock), 0);
    EXPECT_EQ(wb.heldLocks(), 0u);
}

TEST_F(Persistence, DeletionAsksNobodyButWantsInstances) {
    const auto made = part("1"), user = part("2");
    wb.relate(user.revision, made.revision, "VANE_reference");
    const tag_t list[] = {made.revision, kNoSuchTag};
    EXPECT_EQ(DBO_delete_instances(2, list), kUnknownObject);
    EXPECT_EQ(OBJ_load(made.revision), 0);
    EXPECT_EQ(DBO_delete_instances(1, list), 0);
    EXPECT_EQ(OBJ_load(made.revision), kUnknownObject);
}

class Referencers : public Persistence {
protected:
    struct Answer {
        int status = 0;
        std::vector<tag_t> instances, classes;
        std::vector<int> levels, where;
    };
    Answer ask(tag_t instance, int levels = 1, int mode = DBO_in_ds_and_db) {
        int count = 0, class_count = 0;
        tag_t *instances = nullptr, *classes = nullptr;
        int *l = nullptr, *w = nullptr, *cl = nullptr, *cw = nullptr;
        Answer answer;
        answer.status = DBO_referencers_of_instance(instance, levels, mode, &count, &instances, &l,
                                                    &w, &class_count, &classes, &cl, &cw);
        answer.instances = taken(count, instances);
        // None of one level.
        answer.levels = taken(l ? count : 0, l);
        answer.where = taken(w ? count : 0, w);
        answer.classes = taken(class_count, classes);
        HEAP_free(cl);
        HEAP_free(cw);
        return answer;
    }
};

TEST_F(Referencers, AreFoundInStoreAndSession) {
    const tag_t one = status("a");
    EXPECT_THAT(ask(one).instances, IsEmpty());
    const auto first = part("1"), second = part("2");
    wb.set(first.item, "release_status_list", {Reference{one}});
    OBJ_lock(second.revision);
    DBO_append_attr_tags(1, &second.revision, list_attr, 1, &one);
    const Answer answer = ask(one);
    EXPECT_EQ(answer.status, 0);
    EXPECT_THAT(answer.instances, testing::UnorderedElementsAre(first.item, second.revision));
    EXPECT_THAT(answer.classes,
                testing::UnorderedElementsAre(classId("Item"), classId("ItemRevision")));
    EXPECT_THAT(answer.levels, IsEmpty());
    EXPECT_THAT(answer.where, IsEmpty());
    EXPECT_EQ(blocks(), 0u);
}

TEST_F(Referencers, AreNoLongerThereWhenTheReferenceWasTakenOut) {
    const tag_t one = status("a"), item = part("1").item;
    wb.set(item, "release_status_list", {Reference{one}});
    OBJ_lock(item);
    DBO_remove_from_attr(1, &item, list_attr, 0, 1);
    EXPECT_THAT(ask(one).instances, IsEmpty());
    OBJ_refresh(item, false);
    EXPECT_THAT(ask(one).instances, ElementsAre(item));
}

// Lists so long that the workbench keeps them for the next question.
class ManyReferencers : public Referencers {
protected:
    static constexpr std::size_t kMany = 200;
    void SetUp() override {
        Referencers::SetUp();
        shared_ = status("shared");
        for (std::size_t i = 0; i < kMany; ++i) {
            items_.push_back(part("m" + std::to_string(i)).item);
            wb.set(items_.back(), "release_status_list", {Reference{shared_}});
        }
        EXPECT_THAT(ask(shared_).instances, testing::ElementsAreArray(items_));
        EXPECT_THAT(ask(shared_).classes, ElementsAre(classId("Item")));
    }
    std::vector<tag_t> without(std::size_t place) const {
        std::vector<tag_t> others = items_;
        others.erase(others.begin() + static_cast<std::ptrdiff_t>(place));
        return others;
    }
    tag_t shared_ = 0;
    std::vector<tag_t> items_;
};

TEST_F(ManyReferencers, FollowWhatThisSessionSaves) {
    wb.set(items_[7], "release_status_list", {});
    EXPECT_THAT(ask(shared_).instances, testing::ElementsAreArray(without(7)));
    wb.set(items_[7], "release_status_list", {Reference{status("other")}, Reference{shared_}});
    EXPECT_THAT(ask(shared_).instances, testing::ElementsAreArray(items_));
    const tag_t folder = wb.createFolder("folder");
    wb.addToFolder(folder, shared_);
    EXPECT_EQ(ask(shared_).instances.back(), folder);
    EXPECT_EQ(ask(shared_).instances.size(), kMany + 1);
    EXPECT_THAT(ask(shared_).classes, ElementsAre(classId("Item"), classId("Folder")));
}

TEST_F(ManyReferencers, FollowWhatThisSessionHasNotSaved) {
    OBJ_lock(items_[3]);
    DBO_remove_from_attr(1, &items_[3], list_attr, 0, 1);
    EXPECT_THAT(ask(shared_).instances, testing::ElementsAreArray(without(3)));
    OBJ_refresh(items_[3], false);
    EXPECT_THAT(ask(shared_).instances, testing::ElementsAreArray(items_));
}

TEST_F(ManyReferencers, FollowADeletion) {
    ASSERT_EQ(OBJ_delete(items_[0]), 0);
    EXPECT_THAT(ask(shared_).instances, testing::ElementsAreArray(without(0)));
}

TEST_F(ManyReferencers, FollowWhatGoesBack) {
    EXPECT_THROW(wb.asOne([&] {
        wb.set(items_[5], "release_status_list", {});
        EXPECT_THAT(ask(shared_).instances, testing::ElementsAreArray(without(5)));
        throw std::runtime_error("back");
    }),
                 std::runtime_error);
    EXPECT_THAT(ask(shared_).instances, testing::ElementsAreArray(items_));
    // Only a part of the transaction is taken back.
    wb.asOne([&] {
        EXPECT_THROW(wb.asOne([&] {
            wb.set(items_[5], "release_status_list", {});
            EXPECT_EQ(ask(shared_).instances.size(), kMany - 1);
            throw std::runtime_error("back");
        }),
                     std::runtime_error);
        EXPECT_EQ(ask(shared_).instances.size(), kMany);
    });
}

TEST_F(Referencers, OfMoreLevelsAreListedOnceAtTheirLowest) {
    const tag_t inner = wb.createFolder("inner"), outer = wb.createFolder("outer"),
                outermost = wb.createFolder("outermost");
    wb.addToFolder(outer, inner);
    wb.addToFolder(outermost, outer);
    wb.addToFolder(outermost, inner);
    const Answer answer = ask(inner, 2);
    EXPECT_THAT(answer.instances, ElementsAre(outer, outermost));
    EXPECT_THAT(answer.levels, ElementsAre(1, 1));
    EXPECT_THAT(ask(outer, 1).instances, ElementsAre(outermost));
}

TEST_F(Referencers, OfAnUnknownInstanceOrModeFail) {
    const tag_t one = status("a");
    EXPECT_EQ(ask(kNoSuchTag).status, kUnknownObject);
    EXPECT_EQ(ask(one, 0).status, kBadValue);
    EXPECT_EQ(ask(one, 1, 1).status, kBadValue);
}

}  // namespace mervane::test
