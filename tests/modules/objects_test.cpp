// Loading, locking, saving, deleting, and typed properties.

#include "platform/mv_cko.h"
#include "platform/mv_ent.h"
#include "platform/mv_line.h"
#include "platform/mv_mvtype.h"
#include "platform/mv_rel.h"
#include "tests/modules/interface.h"

namespace mervane::test {

class Objects : public InterfaceTest {
protected:
    Workbench::SessionId another() {
        const auto other = wb.openSession(store, {});
        wb.selectSession(session);
        return other;
    }
    // The object's name as another session sees it.
    std::string storedName(tag_t object) {
        const auto other = wb.openSession(store, {});
        const std::string name = text(object, "object_name");
        wb.closeSession(other);
        wb.selectSession(session);
        return name;
    }
};

TEST_F(Objects, AreKnownByTag) {
    const auto made = part("000001");
    EXPECT_EQ(OBJ_load(made.item), 0);
    EXPECT_EQ(OBJ_load(NULLTAG), kUnknownObject);
    EXPECT_EQ(OBJ_load(kNoSuchTag), kUnknownObject);
    EXPECT_EQ(OBJ_unload(kNoSuchTag), kUnknownObject);
    EXPECT_EQ(OBJ_save(kNoSuchTag), kUnknownObject);
    EXPECT_EQ(OBJ_lock(kNoSuchTag), kUnknownObject);
    EXPECT_EQ(OBJ_refresh(kNoSuchTag, true), kUnknownObject);
    EXPECT_EQ(OBJ_delete(kNoSuchTag), kUnknownObject);
}

TEST_F(Objects, AreStoredBySavingUnderTheLock) {
    const tag_t item = part("000001").item;
    EXPECT_EQ(OBJ_refresh(item, true), 0);
    EXPECT_TRUE(wb.holdsLock(item));
    EXPECT_EQ(OBJ_set_value_string(item, "object_name", "new"), 0);
    EXPECT_EQ(text(item, "object_name"), "new");
    EXPECT_EQ(storedName(item), "name of 000001");
    EXPECT_EQ(OBJ_save(item), 0);
    EXPECT_TRUE(wb.holdsLock(item));
    EXPECT_EQ(storedName(item), "new");
    EXPECT_EQ(OBJ_unlock(item), 0);
    EXPECT_EQ(wb.heldLocks(), 0u);
}

TEST_F(Objects, AreNotWrittenWithoutTheLock) {
    const tag_t item = part("000001").item;
    EXPECT_EQ(OBJ_set_value_string(item, "object_name", "new"), kNotLocked);
    EXPECT_EQ(OBJ_UIF_set_value(item, "object_name", "new"), kNotLocked);
    EXPECT_EQ(OBJ_UIF_set_value(item, "object_name", ""), kNotLocked);
    EXPECT_EQ(text(item, "object_name"), "name of 000001");
}

TEST_F(Objects, LoseUnsavedValuesByRefreshing) {
    const tag_t item = part("000001").item;
    OBJ_refresh(item, true);
    OBJ_set_value_string(item, "object_name", "new");
    EXPECT_EQ(OBJ_refresh(item, true), 0);
    EXPECT_EQ(text(item, "object_name"), "name of 000001");
    EXPECT_TRUE(wb.holdsLock(item));
}

TEST_F(Objects, LoseValuesAndLockByUnloading) {
    const tag_t item = part("000001").item;
    OBJ_refresh(item, true);
    OBJ_set_value_string(item, "object_name", "new");
    EXPECT_EQ(OBJ_unload(item), 0);
    EXPECT_FALSE(wb.holdsLock(item));
    EXPECT_EQ(text(item, "object_name"), "name of 000001");
}

TEST_F(Objects, AreLockedOnceHoweverOftenTheLockIsTaken) {
    const tag_t item = part("000001").item;
    EXPECT_EQ(OBJ_lock(item), 0);
    EXPECT_EQ(OBJ_lock(item), 0);
    EXPECT_EQ(OBJ_refresh(item, true), 0);
    EXPECT_EQ(wb.heldLocks(), 1u);
    EXPECT_EQ(OBJ_refresh(item, false), 0);
    EXPECT_EQ(wb.heldLocks(), 0u);
}

TEST_F(Objects, AreRefusedWhileAnotherSessionHoldsTheLock) {
    const tag_t item = part("000001").item;
    const auto other = another();
    wb.selectSession(other);
    ASSERT_EQ(OBJ_lock(item), 0);
    wb.selectSession(session);
    EXPECT_EQ(OBJ_lock(item), kLockedByOther);
    EXPECT_EQ(OBJ_refresh(item, true), kLockedByOther);
    EXPECT_EQ(OBJ_delete(item), kLockedByOther);
    wb.closeSession(other);
    wb.selectSession(session);
    EXPECT_EQ(OBJ_lock(item), 0);
}

TEST_F(Objects, TakeTheirPartsAlongWhenDeleted) {
    const auto made = part("000001");
    EXPECT_EQ(OBJ_delete(made.item), 0) << lastError();
    EXPECT_EQ(OBJ_load(made.item), kUnknownObject);
    EXPECT_EQ(OBJ_load(made.revision), kUnknownObject);
    EXPECT_THAT(wb.find({"*", "Form", "", 0}), IsEmpty());
}

TEST_F(Objects, AreNotDeletedWhileOthersRefer) {
    const auto made = part("000001"), user = part("000002");
    wb.relate(user.revision, made.revision, "VANE_reference");
    EXPECT_EQ(OBJ_delete(made.item), kStillReferenced);
    EXPECT_EQ(OBJ_load(made.revision), 0);
    EXPECT_EQ(OBJ_delete(user.item), 0) << lastError();
    EXPECT_EQ(OBJ_delete(made.item), 0) << lastError();
}

TEST_F(Objects, SayWhetherThisUserMayChangeThem) {
    const tag_t item = part("000001").item;
    logical modifiable = false;
    EXPECT_EQ(OBJ_ask_if_modifiable(item, &modifiable), 0);
    EXPECT_TRUE(modifiable);
    wb.addRight({"all", "", "object", std::to_string(item), "WRITE", false});
    EXPECT_EQ(OBJ_ask_if_modifiable(item, &modifiable), 0);
    EXPECT_FALSE(modifiable);
    logical property = true;
    EXPECT_EQ(OBJ_ask_value_logical(item, "is_modifiable", &property), 0);
    EXPECT_FALSE(property);
}

TEST_F(Objects, OfAnotherSiteMayNotBeChangedHere) {
    const tag_t item = part("000001").item;
    const auto modifiable = [&] {
        logical property = false;
        EXPECT_EQ(OBJ_ask_value_logical(item, "is_modifiable", &property), 0);
        return property;
    };
    tag_t site = 5;
    EXPECT_EQ(OBJ_get_value_tag(item, "owning_site", &site), 0);
    EXPECT_EQ(site, NULLTAG);
    EXPECT_TRUE(modifiable());
    const tag_t other = wb.create("Site");
    wb.set(other, "site_name", {std::string("elsewhere")});
    wb.set(item, "owning_site", {Reference{other}});
    EXPECT_EQ(OBJ_get_value_tag(item, "owning_site", &site), 0);
    EXPECT_EQ(site, other);
    EXPECT_FALSE(modifiable());
    char* text = nullptr;
    EXPECT_EQ(OBJ_UIF_ask_value(item, "owning_site", &text), 0);
    EXPECT_EQ(taken(text), "elsewhere");
}

TEST_F(Objects, ThatAnotherUserHasMayNotBeChangedHere) {
    const tag_t item = part("000001").item;
    const auto modifiable = [&] {
        logical property = false;
        EXPECT_EQ(OBJ_ask_value_logical(item, "is_modifiable", &property), 0);
        return property;
    };
    wb.createUser("miller", "Miller", "dba");
    const auto other = wb.openSession(store, {"miller", ""});
    EXPECT_EQ(OBJ_lock(item), 0) << lastError();
    EXPECT_TRUE(modifiable());
    wb.selectSession(session);
    EXPECT_FALSE(modifiable());
    wb.selectSession(other);
    EXPECT_EQ(OBJ_refresh(item, false), 0);
    wb.checkOut(item, "");
    wb.selectSession(session);
    EXPECT_FALSE(modifiable());
    wb.selectSession(other);
    wb.checkIn(item);
    wb.selectSession(session);
    EXPECT_TRUE(modifiable());
}

class TypedProperties : public InterfaceTest {};

TEST_F(TypedProperties, AreReadByNameAndKind) {
    const auto made = part("000001");
    char* type = nullptr;
    EXPECT_EQ(OBJ_ask_value_string(made.revision, "object_type", &type), 0);
    EXPECT_EQ(taken(type), "ItemRevision");
    char* id = nullptr;
    EXPECT_EQ(OBJ_ask_value_string(made.revision, "item_id", &id), 0);
    EXPECT_EQ(taken(id), "000001");
    tag_t item = NULLTAG;
    EXPECT_EQ(OBJ_get_value_tag(made.revision, "items_tag", &item), 0);
    EXPECT_EQ(item, made.item);
    int count = 0;
    tag_t* revisions = nullptr;
    EXPECT_EQ(OBJ_ask_value_tags(made.item, "revision_list", &count, &revisions), 0);
    EXPECT_THAT(taken(count, revisions), ElementsAre(made.revision));
    tag_t site = kNoSuchTag;
    EXPECT_EQ(OBJ_get_value_tag(made.item, "owning_site", &site), 0);
    EXPECT_EQ(site, NULLTAG);
    EXPECT_EQ(blocks(), 0u);
}

TEST_F(TypedProperties, AnEmptyListIsCountZeroAndNull) {
    int count = 4;
    tag_t dummy = NULLTAG;
    tag_t* values = &dummy;
    EXPECT_EQ(OBJ_ask_value_tags(part("1").item, "process_stage_list", &count, &values), 0);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(values, nullptr);
}

TEST_F(TypedProperties, OfAnotherKindFailAndLeaveTheOutParameters) {
    const tag_t item = part("1").item;
    char* text_value = nullptr;
    EXPECT_EQ(OBJ_ask_value_string(item, "owning_user", &text_value), kWrongKind);
    EXPECT_EQ(OBJ_ask_value_string(item, "release_status_list", &text_value), kWrongKind);
    EXPECT_EQ(text_value, nullptr);
    logical flag = true;
    EXPECT_EQ(OBJ_ask_value_logical(item, "object_name", &flag), kWrongKind);
    EXPECT_TRUE(flag);
    int count = 7;
    tag_t* values = nullptr;
    EXPECT_EQ(OBJ_ask_value_tags(item, "owning_user", &count, &values), kWrongKind);
    EXPECT_EQ(count, 7);
    tag_t value = 9;
    EXPECT_EQ(OBJ_get_value_tag(item, "release_status_list", &value), kWrongKind);
    EXPECT_EQ(value, 9u);
    OBJ_lock(item);
    EXPECT_EQ(OBJ_set_value_int(item, "object_name", 5), kWrongKind);
    EXPECT_EQ(OBJ_set_value_logical(item, "object_name", true), kWrongKind);
    EXPECT_EQ(OBJ_set_value_string(item, "creation_date", "x"), kWrongKind);
    EXPECT_EQ(OBJ_set_value_date(item, "object_name", {}), kWrongKind);
    EXPECT_EQ(OBJ_set_value_string(item, "release_status_list", "x"), kWrongKind);
}

TEST_F(TypedProperties, AreUnknownByAWrongName) {
    const tag_t item = part("1").item;
    OBJ_lock(item);
    char* value = nullptr;
    EXPECT_EQ(OBJ_ask_value_string(item, "no_such", &value), kUnknownAttribute);
    EXPECT_EQ(OBJ_UIF_ask_value(item, "no_such", &value), kUnknownAttribute);
    EXPECT_EQ(OBJ_UIF_ask_value(item, "", &value), kUnknownAttribute);
    EXPECT_EQ(OBJ_UIF_set_value(item, "no_such", "x"), kUnknownAttribute);
    EXPECT_EQ(OBJ_set_value_string(item, "no_such", "x"), kUnknownAttribute);
    EXPECT_EQ(OBJ_set_value_int(item, "no_such", 1), kUnknownAttribute);
    EXPECT_THAT(lastError(), HasSubstr("no_such"));
}

TEST_F(TypedProperties, ThatAreWorkedOutCannotBeSet) {
    const auto made = part("1");
    OBJ_lock(made.revision);
    EXPECT_EQ(OBJ_set_value_string(made.revision, "item_id", "2"), kReadOnly);
    EXPECT_EQ(OBJ_set_value_string(made.revision, "object_type", "Item"), kReadOnly);
    EXPECT_EQ(OBJ_UIF_set_value(made.revision, "object_string", ""), kReadOnly);
    EXPECT_EQ(OBJ_UIF_set_value(made.revision, "is_modifiable", "True"), kReadOnly);
    EXPECT_EQ(text(made.revision, "item_id"), "1");
}

TEST_F(TypedProperties, TakeTextsUpToTheirLength) {
    const tag_t item = part("1").item;
    OBJ_lock(item);
    EXPECT_EQ(OBJ_set_value_string(item, "object_name", std::string(128, 'x').c_str()), 0);
    EXPECT_EQ(OBJ_set_value_string(item, "object_name", std::string(129, 'y').c_str()), kTooLong);
    EXPECT_EQ(OBJ_UIF_set_value(item, "object_name", std::string(129, 'y').c_str()), kTooLong);
    EXPECT_EQ(text(item, "object_name"), std::string(128, 'x'));
}

TEST_F(TypedProperties, OfFormsKeepTheirValues) {
    const tag_t form = wb.createForm("Item Master", "form");
    OBJ_refresh(form, true);
    EXPECT_EQ(OBJ_set_value_int(form, "count", -5), 0);
    EXPECT_EQ(OBJ_set_value_logical(form, "checked", true), 0);
    EXPECT_EQ(OBJ_set_value_date(form, "effective_date", {2026, 1, 28, 1, 2, 3}), 0);
    EXPECT_EQ(OBJ_set_value_string(form, "user_data_1", "text"), 0);
    EXPECT_EQ(OBJ_save(form), 0);
    OBJ_unload(form);
    logical checked = false;
    EXPECT_EQ(OBJ_ask_value_logical(form, "checked", &checked), 0);
    EXPECT_TRUE(checked);
    EXPECT_EQ(text(form, "count"), "-5");
    EXPECT_EQ(text(form, "effective_date"), "2026-02-28 01:02:03");
    EXPECT_EQ(text(form, "user_data_1"), "text");
}

TEST_F(TypedProperties, TakeNoDateThatDoesNotExist) {
    const tag_t form = wb.createForm("Item Master", "form");
    OBJ_lock(form);
    EXPECT_EQ(OBJ_set_value_date(form, "effective_date", {2026, 1, 28, 0, 0, 0}), 0);
    EXPECT_EQ(OBJ_set_value_date(form, "effective_date", {2026, 1, 29, 0, 0, 0}), kBadDate);
    EXPECT_EQ(text(form, "effective_date"), "2026-02-28 00:00:00");
    EXPECT_EQ(OBJ_set_value_date(form, "effective_date", {}), 0);
    EXPECT_EQ(text(form, "effective_date"), "");
}

TEST_F(TypedProperties, GiveTheNamesOfTypesByHandle) {
    tag_t relation_type = NULLTAG, type = NULLTAG;
    REL_find_relation_type("VANE_specification", &relation_type);
    MVTYPE_find_type("Text", "Dataset", &type);
    char* name = nullptr;
    EXPECT_EQ(OBJ_ask_value_string(relation_type, "object_name", &name), 0);
    EXPECT_EQ(taken(name), "VANE_specification");
    EXPECT_EQ(OBJ_ask_value_string(type, "object_name", &name), 0);
    EXPECT_EQ(taken(name), "Text");
    EXPECT_EQ(OBJ_ask_value_string(type, "item_id", &name), kUnknownAttribute);
}

TEST_F(TypedProperties, OfLinesNeedNoLock) {
    const auto top = part("1"), child = part("2");
    wb.addOccurrence(top.revision, child.revision, "2", "10");
    const tag_t line = wb.openBomWindow(top.revision);
    int count = 0;
    tag_t* children = nullptr;
    ASSERT_EQ(LINE_ask_child_lines(line, &count, &children), 0);
    const tag_t below = taken(count, children).at(0);
    EXPECT_EQ(OBJ_lock(below), 0);
    EXPECT_EQ(OBJ_set_value_string(below, "bl_sequence_no", "20"), 0) << lastError();
    EXPECT_EQ(OBJ_UIF_set_value(below, "bl_quantity", "3"), 0) << lastError();
    EXPECT_EQ(OBJ_save(below), 0);
    EXPECT_EQ(text(below, "bl_sequence_no"), "20");
    EXPECT_EQ(text(below, "bl_quantity"), "3");
    EXPECT_EQ(text(below, "bl_item_item_id"), "2");
    EXPECT_EQ(text(below, "bl_revision"), "2/A");
    EXPECT_EQ(OBJ_UIF_set_value(below, "bl_quantity", nullptr), 0);
    EXPECT_EQ(text(below, "bl_quantity"), "");
    EXPECT_EQ(OBJ_set_value_string(below, "bl_item_item_id", "9"), kReadOnly);
    EXPECT_EQ(OBJ_UIF_set_value(below, "bl_revision", ""), kReadOnly);
    EXPECT_EQ(OBJ_set_value_int(below, "bl_quantity", 3), kWrongKind);
    EXPECT_EQ(OBJ_delete(below), kWrongClass);
    EXPECT_EQ(wb.heldLocks(), 0u);
}

TEST_F(TypedProperties, ShowWhoHasCheckedOut) {
    const tag_t item = part("1").item;
    EXPECT_EQ(text(item, "checked_out"), "");
    EXPECT_EQ(text(item, "checked_out_user"), "");
    wb.checkOut(item, "work");
    EXPECT_EQ(text(item, "checked_out"), "Y");
    EXPECT_EQ(text(item, "checked_out_user"), "infodba");
}

}  // namespace mervane::test
