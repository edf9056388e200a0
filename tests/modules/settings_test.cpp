#include "platform/mv_opt.h"
#include "platform/mv_reg.h"
#include "tests/modules/interface.h"

namespace mervane::test {

class Preferences : public InterfaceTest {};

TEST_F(Preferences, AreReadByIndexAndWhole) {
    wb.setPreference("list", {"a", "", "c"});
    EXPECT_EQ(OPT_initialize(), 0);
    EXPECT_EQ(OPT_initialize(), 0);
    char* value = nullptr;
    EXPECT_EQ(OPT_ask_char_value("list", 2, &value), 0);
    EXPECT_EQ(taken(value), "c");
    int count = 0;
    char** values = nullptr;
    EXPECT_EQ(OPT_ask_char_values("list", &count, &values), 0);
    ASSERT_EQ(count, 3);
    EXPECT_EQ(values[3], nullptr);
    EXPECT_THAT(taken(count, values), ElementsAre("a", "", "c"));
    EXPECT_EQ(blocks(), 0u);
}

TEST_F(Preferences, ThatAreUnknownHaveAStatusOfTheirOwn) {
    char* value = nullptr;
    int number = 5;
    EXPECT_EQ(OPT_ask_char_value("none", 0, &value), 1700);
    EXPECT_EQ(OPT_ask_int_value("none", 0, &number), 1700);
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(number, 5);
}

TEST_F(Preferences, ThatAreUnknownHaveNoValues) {
    int count = 5;
    char* text_value = nullptr;
    char** values = &text_value;
    EXPECT_EQ(OPT_ask_char_values("none", &count, &values), 0);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(values, nullptr);
}

TEST_F(Preferences, OutsideTheirValuesFail) {
    wb.setPreference("list", {"a"});
    char* value = nullptr;
    EXPECT_EQ(OPT_ask_char_value("list", 1, &value), kBadIndex);
    EXPECT_EQ(OPT_ask_char_value("list", -1, &value), kBadIndex);
    EXPECT_EQ(value, nullptr);
}

TEST_F(Preferences, AsIntegersAreDecimalAndFitThirtyTwoBits) {
    wb.setPreference("n", {"-7", "2147483647", "2147483648", "7x", "", " 7"});
    int number = 0;
    EXPECT_EQ(OPT_ask_int_value("n", 0, &number), 0);
    EXPECT_EQ(number, -7);
    EXPECT_EQ(OPT_ask_int_value("n", 1, &number), 0);
    EXPECT_EQ(number, 2147483647);
    for (int index : {2, 3, 4, 5})
        EXPECT_EQ(OPT_ask_int_value("n", index, &number), kBadValue) << index;
    EXPECT_EQ(number, 2147483647);
}

TEST_F(Preferences, AreReadAnewOnEachCall) {
    wb.setPreference("p", {"old"});
    char* value = nullptr;
    OPT_ask_char_value("p", 0, &value);
    EXPECT_EQ(taken(value), "old");
    wb.setPreference("p", {"new"});
    OPT_ask_char_value("p", 0, &value);
    EXPECT_EQ(taken(value), "new");
    wb.removePreference("p");
    EXPECT_EQ(OPT_ask_char_value("p", 0, &value), 1700);
}

class Registry : public InterfaceTest {
protected:
    int registered(const char* id, int site = 0) {
        int answer = -1;
        EXPECT_EQ(REG_is_item_id_registered(id, &answer, site), 0);
        return answer;
    }
};

TEST_F(Registry, KeepsIdsForEverySite) {
    EXPECT_EQ(registered("1"), 0);
    EXPECT_EQ(REG_register_item_id("1", 12), 0);
    EXPECT_EQ(registered("1"), 1);
    EXPECT_EQ(registered("1", 99), 1);
    EXPECT_EQ(registered("2"), 0);
    EXPECT_EQ(REG_unregister_item_id("1", 0), 0);
    EXPECT_EQ(registered("1"), 0);
}

TEST_F(Registry, RefusesWhatIsThereOrNot) {
    EXPECT_EQ(REG_unregister_item_id("1", 0), kBadValue);
    EXPECT_EQ(REG_register_item_id("1", 0), 0);
    EXPECT_EQ(REG_register_item_id("1", 5), kDuplicateId);
    EXPECT_EQ(REG_register_item_id("", 0), kBadValue);
    EXPECT_EQ(REG_register_item_id(std::string(129, 'x').c_str(), 0), kTooLong);
}

TEST_F(Registry, CanBeOutOfReachByPlan) {
    wb.setFaults({{"REG_is_item_id_registered", 1, 100309}});
    int answer = -1;
    EXPECT_EQ(REG_is_item_id_registered("1", &answer, 0), 100309);
    EXPECT_EQ(answer, -1);
    EXPECT_EQ(registered("1"), 0);
    wb.setFaults({});
}

}  // namespace mervane::test
