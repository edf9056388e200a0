#include "platform/mv_clf.h"
#include "platform/mv_dbo.h"
#include "platform/mv_dir.h"
#include "platform/mv_ent.h"
#include "tests/modules/interface.h"

namespace mervane::test {

class Names : public InterfaceTest {
protected:
    std::string id(tag_t object) {
        char* value = nullptr;
        EXPECT_EQ(ENT_ask_id_string(object, &value), 0) << lastError();
        return taken(value);
    }
};

TEST_F(Names, OfAnItemAreGivenIntoTheCallersBuffers) {
    const tag_t item = part("000123").item;
    wb.set(item, "object_desc", {std::string(240, 'd')});
    char name[129], type[129], description[241];
    EXPECT_EQ(ENT_ask_name(item, name), 0);
    EXPECT_EQ(ENT_ask_object_type(item, type), 0);
    EXPECT_EQ(ENT_ask_description(item, description), 0);
    EXPECT_STREQ(name, "name of 000123");
    EXPECT_STREQ(type, "Item");
    EXPECT_EQ(description, std::string(240, 'd'));
    ItemDescription record;
    EXPECT_EQ(ENT_describe(item, &record), 0);
    EXPECT_STREQ(record.name, "name of 000123");
    EXPECT_EQ(record.description, std::string(240, 'd'));
}

TEST_F(Names, AreWrittenWithoutFillingUpTheBuffer) {
    const tag_t folder = wb.createFolder("ab");
    char name[129];
    std::fill(std::begin(name), std::end(name), '#');
    EXPECT_EQ(ENT_ask_name(folder, name), 0);
    EXPECT_EQ(std::string(name, 4), std::string("ab\0#", 4));
}

TEST_F(Names, OfAnUnknownObjectLeaveTheBuffers) {
    char kept[241] = "kept";
    ItemDescription record{"kept", "kept"};
    EXPECT_EQ(ENT_ask_name(kNoSuchTag, kept), kUnknownObject);
    EXPECT_EQ(ENT_ask_object_type(NULLTAG, kept), kUnknownObject);
    EXPECT_EQ(ENT_ask_description(kNoSuchTag, kept), kUnknownObject);
    EXPECT_EQ(ENT_describe(kNoSuchTag, &record), kUnknownObject);
    EXPECT_STREQ(kept, "kept");
    EXPECT_STREQ(record.name, "kept");
}

TEST_F(Names, AreSetUnderTheLock) {
    const tag_t item = part("1").item;
    EXPECT_EQ(ENT_set_name(item, "x"), kNotLocked);
    EXPECT_EQ(ENT_set_description(item, "x"), kNotLocked);
    OBJ_lock(item);
    EXPECT_EQ(ENT_set_name(item, std::string(129, 'x').c_str()), kTooLong);
    EXPECT_EQ(ENT_set_description(item, std::string(241, 'x').c_str()), kTooLong);
    EXPECT_EQ(ENT_set_name(item, std::string(128, 'x').c_str()), 0);
    EXPECT_EQ(ENT_set_description(item, std::string(240, 'x').c_str()), 0);
    EXPECT_EQ(OBJ_save(item), 0);
    EXPECT_EQ(text(item, "object_name"), std::string(128, 'x'));
    EXPECT_EQ(ENT_set_name(item, ""), 0);
    EXPECT_EQ(text(item, "object_name"), "");
}

TEST_F(Names, AsDisplayIds) {
    const auto made = part("000123");
    EXPECT_EQ(id(made.item), "000123");
    EXPECT_EQ(id(made.revision), "000123/A");
    EXPECT_EQ(id(wb.createDataset("Text", "a dataset")), "a dataset");
    EXPECT_EQ(id(wb.createFolder("a folder")), "a folder");
    char* printable = nullptr;
    EXPECT_EQ(ENT_ask_object_id_string(made.item, &printable), 0);
    EXPECT_THAT(taken(printable), HasSubstr("000123"));
    EXPECT_EQ(ENT_ask_id_string(kNoSuchTag, &printable), kUnknownObject);
    EXPECT_EQ(blocks(), 0u);
}

TEST_F(Names, OfALineAreThoseOfWhatItShows) {
    const tag_t line = wb.openBomWindow(part("000123").revision);
    char type[129];
    EXPECT_EQ(ENT_ask_object_type(line, type), 0);
    EXPECT_STREQ(type, "BOMLine");
    char name[129];
    EXPECT_EQ(ENT_ask_name(line, name), 0);
    EXPECT_EQ(ENT_set_name(line, "x"), kReadOnly);
    EXPECT_EQ(ENT_ask_name(line + 1, name), kUnknownObject);
    EXPECT_NE(id(line), "");
}

TEST_F(Names, OfFoldersContentsAreCounted) {
    const tag_t folder = wb.createFolder("folder");
    int count = 5;
    EXPECT_EQ(DIR_ask_size(folder, &count), 0);
    EXPECT_EQ(count, 0);
    wb.addToFolder(folder, wb.createFolder("inner"));
    wb.addToFolder(folder, part("1").item);
    EXPECT_EQ(DIR_ask_size(folder, &count), 0);
    EXPECT_EQ(count, 2);
    count = 7;
    EXPECT_EQ(DIR_ask_size(part("2").item, &count), kWrongClass);
    EXPECT_EQ(count, 7);
}

TEST_F(Names, OfClassificationObjectsAreTheirIds) {
    const tag_t object = wb.create("icm0");
    wb.set(object, "id", {std::string("class-1")});
    char* value = nullptr;
    EXPECT_EQ(CLF_ask_classification_object_id(object, &value), 0);
    EXPECT_EQ(taken(value), "class-1");
    EXPECT_EQ(CLF_ask_classification_object_id(part("1").item, &value), kWrongClass);
}

TEST_F(Names, OfClassificationObjectsAreWrittenBelowThePropertiesUnderTheLock) {
    const auto made = part("1");
    const tag_t object = wb.create("icm0");
    wb.set(object, "id", {std::string("1-class")});
    wb.relate(made.revision, object, "VANE_reference");
    tag_t attribute = NULLTAG;
    ASSERT_EQ(DBO_attr_id_of_attr("id", "icm0", &attribute), 0);
    EXPECT_EQ(DBO_set_attr_string(1, &object, attribute, "2-class"), kNotLocked);
    ASSERT_EQ(DBO_refresh_instances_any_class(1, &object, DBO_modify_lock), 0) << lastError();
    EXPECT_EQ(DBO_set_attr_string(1, &object, attribute, "2-class"), 0) << lastError();
    EXPECT_EQ(DBO_save_instances(1, &object, false), 0) << lastError();
    EXPECT_EQ(DBO_refresh_instances_any_class(1, &object, DBO_no_lock), 0);
    EXPECT_FALSE(wb.holdsLock(object));
    const auto reader = wb.openSession(store, {});
    char* value = nullptr;
    EXPECT_EQ(CLF_ask_classification_object_id(object, &value), 0);
    EXPECT_EQ(taken(value), "2-class");
    wb.closeSession(reader);
    wb.selectSession(session);
}

}  // namespace mervane::test
