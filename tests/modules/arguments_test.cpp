#include "platform/mv_svcarg.h"
#include "tests/modules/interface.h"

namespace mervane::test {

class ServiceArguments : public InterfaceTest {};

TEST_F(ServiceArguments, ArePulledInTheOrderInWhichTheyWereSent) {
    wb.sendArguments({7, std::string("text"), tag_t{12}, std::vector<tag_t>{3, 4}});
    int number = 0, count = 0;
    char* text = nullptr;
    tag_t tag = NULLTAG;
    tag_t* tags = nullptr;
    EXPECT_EQ(SVCARG_get_int_argument(&number), 0);
    EXPECT_EQ(SVCARG_get_string_argument(&text), 0);
    EXPECT_EQ(SVCARG_get_tag_argument(&tag), 0);
    EXPECT_EQ(SVCARG_get_tag_array_argument(&count, &tags), 0);
    EXPECT_EQ(number, 7);
    EXPECT_EQ(taken(text), "text");
    EXPECT_EQ(tag, 12u);
    EXPECT_THAT(taken(count, tags), ElementsAre(3u, 4u));
    EXPECT_EQ(blocks(), 0u);
}

TEST_F(ServiceArguments, AnEmptyListIsCountZeroAndNull) {
    wb.sendArguments({std::vector<tag_t>{}});
    int count = 5;
    tag_t dummy = NULLTAG;
    tag_t* tags = &dummy;
    EXPECT_EQ(SVCARG_get_tag_array_argument(&count, &tags), 0);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(tags, nullptr);
}

TEST_F(ServiceArguments, AnEmptyTextIsABlock) {
    wb.sendArguments({std::string()});
    char* text = nullptr;
    EXPECT_EQ(SVCARG_get_string_argument(&text), 0);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(taken(text), "");
}

TEST_F(ServiceArguments, AnotherKindFailsAndTheArgumentStaysTheNextOne) {
    wb.sendArguments({7});
    char* text = nullptr;
    EXPECT_EQ(SVCARG_get_string_argument(&text), kArgumentKind);
    EXPECT_EQ(text, nullptr);
    int number = 0;
    EXPECT_EQ(SVCARG_get_int_argument(&number), 0);
    EXPECT_EQ(number, 7);
}

TEST_F(ServiceArguments, AReadAfterTheEndFailsAndLeavesTheOutParameter) {
    wb.sendArguments({});
    int number = 5;
    EXPECT_EQ(SVCARG_get_int_argument(&number), kNoMoreArguments);
    EXPECT_EQ(number, 5);
    int count = 6;
    tag_t* tags = nullptr;
    EXPECT_EQ(SVCARG_get_tag_array_argument(&count, &tags), kNoMoreArguments);
    EXPECT_EQ(count, 6);
}

TEST_F(ServiceArguments, WithoutMemoryNothingIsHandedOut) {
    wb.sendArguments({std::string("text")});
    wb.failHeapAfter(0);
    char* text = nullptr;
    EXPECT_EQ(SVCARG_get_string_argument(&text), kNoMemory);
    EXPECT_EQ(text, nullptr);
}

}  // namespace mervane::test
