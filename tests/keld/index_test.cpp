// The text index that find uses.

#include "tests/keld/program.h"

using namespace keld_test;
using testing::HasSubstr;

class Index : public ProgramWithStore {};

TEST_F(Index, OfTextsIsMadeShownUsedCheckedAndDropped) {
    EXPECT_THAT(done({"index"}).out, HasSubstr("there is no index of texts"));
    EXPECT_EQ(keld({"index", "text", "maybe"}).exit_code, 2);
    const std::string found = done({"find", "*um*"}).out + done({"find", "*Pump*"}).out;
    EXPECT_THAT(done({"index", "text", "on"}).out, HasSubstr("the index of texts has "));
    const auto set = done({"set", "000101", "object_name=Pumpe", "--json"}).json();
    const auto state = done({"index", "--json"}).json()["text"];
    EXPECT_GT(state["texts"], 10);
    EXPECT_GT(state["bytes"], 100);
    EXPECT_EQ(state["waiting"], 1);
    EXPECT_THAT(done({"find", "*umpe*"}).out, HasSubstr("000101"));
    EXPECT_EQ(done({"check"}).out, "the store is sound\n");
    done({"runs", "undo", std::to_string(set["run"]["run"].get<int>())});
    EXPECT_EQ(done({"find", "*um*"}).out + done({"find", "*Pump*"}).out, found);
    EXPECT_EQ(done({"index", "text", "off", "--json"}).json()["text"], nullptr);
}
