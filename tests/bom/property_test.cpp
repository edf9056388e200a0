// One string property, read and written.

#include "libkeld_flow/keld_par/keld_acproperty.h"
#include "tests/bom/bom_lines.h"

using testing::ElementsAre;

namespace {

class Properties : public bom::BomLines {
protected:
    Properties() { p.give({{"4711", "10", "2"}}); }
    std::string read(const char* name, int status = 0, std::size_t size = 129) {
        std::string buffer(size, '!');
        EXPECT_EQ(status, ACProperty::getStringValue(101, name, buffer.data(), size));
        return buffer.c_str();
    }
};

}  // namespace

TEST_F(Properties, AreReadAndTheValueIsGivenBack) {
    EXPECT_EQ("4711", read("bl_item_item_id"));
    EXPECT_THAT(p.calls, ElementsAre("OBJ_ask_value_string(101, bl_item_item_id)"));
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(Properties, ThatCantBeReadAreEmptyAndTheStatusIsReturned) {
    p.fail("OBJ_ask_value_string");
    EXPECT_EQ("", read("bl_item_item_id", line_platform::kFailed));
    EXPECT_EQ("##QSK_err_4711: OBJ_ask_value_string(...)", bom::messages(world, "E").at(0));
}

TEST_F(Properties, WithoutATextAreEmpty) {
    p.null_properties = {"bl_quantity"};
    EXPECT_EQ("", read("bl_quantity"));
}

TEST_F(Properties, ThatAreTooLongForTheBufferAreCutWithAWarning) {
    p.lines[101].item = std::string(500, 'x');
    EXPECT_EQ(std::string(9, 'x'), read("bl_item_item_id", 0, 10));
    EXPECT_THAT(world.lines("W"), ElementsAre(testing::StartsWith("Text cut to 9 characters: ")));
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(Properties, AreWrittenWithoutLoadingLockingOrSaving) {
    EXPECT_EQ(0, ACProperty::setStringValue(101, "bl_quantity", "3"));
    EXPECT_THAT(p.calls, ElementsAre("OBJ_set_value_string(101, bl_quantity, 3)"));
    EXPECT_EQ("3", p.lines[101].quantity);
}

TEST_F(Properties, ThatCantBeWrittenReturnTheStatus) {
    p.fail("OBJ_set_value_string");
    EXPECT_EQ(line_platform::kFailed, ACProperty::setStringValue(101, "bl_quantity", "3"));
    EXPECT_EQ("2", p.lines[101].quantity);
    EXPECT_EQ("##QSK_err_4711: OBJ_set_value_string(...)", bom::messages(world, "E").at(0));
}
