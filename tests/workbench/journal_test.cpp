// What the journal keeps of a call, and how it is written.

#include "tests/workbench/support.h"

using namespace mervane;
using namespace mervane::test;
using namespace std::string_literals;

using Arguments = std::vector<JournalArgument>;

class Journal : public ::testing::Test {
protected:
    void SetUp() override {
        store_ = keld_test::openFreshStore();
        bench().openSession(store_, {});
        item_ = bench().createItem("1", "old", "", "A", nullptr);
        ERR_clear_errors();
    }
    void TearDown() override { bench().closeStore(store_); }

    tag_t descriptionOf(const char* cls) {
        tag_t attribute = NULLTAG;
        EXPECT_EQ(DBO_attr_id_of_attr("object_desc", cls, &attribute), 0);
        return attribute;
    }

    Workbench::StoreId store_ = 0;
    tag_t item_ = NULLTAG;
};

TEST_F(Journal, HasNamesArgumentsAndStatusesInOrder) {
    bench().startJournal();
    OBJ_refresh(item_, true);
    OBJ_set_value_string(item_, "object_name", "new");
    OBJ_load(NULLTAG);
    const auto journal = bench().stopJournal();
    OBJ_load(item_);
    ASSERT_EQ(journal.size(), 3u);
    EXPECT_EQ(journal[0].operation, "OBJ_refresh");
    EXPECT_EQ(journal[0].arguments, (Arguments{item_, true}));
    EXPECT_EQ(journal[1].arguments, (Arguments{item_, "object_name"s, "new"s}));
    EXPECT_EQ(journal[1].status, 0);
    EXPECT_EQ(journal[2].status, kUnknownObject);
    EXPECT_TRUE(bench().stopJournal().empty());
}

TEST_F(Journal, ArgumentsAreValues) {
    const tag_t attribute = descriptionOf("Item");
    const tag_t both[] = {item_, item_ + 1};
    date_s date{};
    date.year = 2001, date.month = 1, date.day = 3;
    bench().startJournal();
    char* text = nullptr;
    OBJ_ask_value_string(item_, nullptr, &text);
    OBJ_ask_value_string(item_, "object_name", nullptr);
    DBO_set_attr_string(2, both, attribute, "x, \"y\"");
    DBO_set_attr_date(1, &item_, attribute, date);
    DBO_set_attr_null(-1, nullptr, attribute);
    const auto journal = bench().stopJournal();
    ASSERT_EQ(journal.size(), 5u);
    EXPECT_EQ(journal[0].arguments, (Arguments{item_, NullArgument{}, OutArgument{}}));
    EXPECT_EQ(journal[1].arguments, (Arguments{item_, "object_name"s, NullArgument{}}));
    EXPECT_EQ(journal[2].arguments,
              (Arguments{2, std::vector{both[0], both[1]}, attribute, "x, \"y\""s}));
    EXPECT_EQ(journal[3].arguments, (Arguments{1, std::vector{item_}, attribute, Date{date}}));
    EXPECT_EQ(journal[4].arguments, (Arguments{-1, NullArgument{}, attribute}));
}

TEST_F(Journal, AnArgumentIsAskedForByPlaceAndKind) {
    const JournalEntry entry{"OBJ_set_value_string", {item_, "object_name"s}, 0};
    ASSERT_NE(entry.argument<std::string>(1), nullptr);
    EXPECT_EQ(*entry.argument<std::string>(1), "object_name");
    EXPECT_EQ(entry.argument<tag_t>(1), nullptr);
    EXPECT_EQ(entry.argument<tag_t>(2), nullptr);
}

TEST_F(Journal, ACallIsAboutItsFirstArgumentOrTheFirstOfItsList) {
    EXPECT_EQ((JournalEntry{"X", {item_, tag_t{9}}, 0}).object(), item_);
    EXPECT_EQ((JournalEntry{"X", {2, std::vector{item_, tag_t{9}}}, 0}).object(), item_);
    EXPECT_EQ((JournalEntry{"X", {0, std::vector<tag_t>{}}, 0}).object(), NULLTAG);
    EXPECT_EQ((JournalEntry{"X", {"id"s, item_}, 0}).object(), NULLTAG);
    EXPECT_EQ((JournalEntry{"X", {}, 0}).object(), NULLTAG);
}

TEST_F(Journal, IsWrittenWithOneFormForEachKind) {
    date_s date{};
    date.year = 2001, date.month = 1, date.day = 3;
    const JournalEntry entry{"X",
                             {tag_t{12}, -3, true, false, "a \"b\""s, Date{date}, NullArgument{},
                              OutArgument{}, 2, std::vector<tag_t>{1, 2}, std::vector<int>{3}},
                             7};
    EXPECT_EQ(asText(entry),
              "X(#12, -3, true, false, \"a \"b\"\", 2001-02-03 00:00:00, null, out, 2, out, out) "
              "= 7");
    EXPECT_EQ(asText(JournalEntry{"Y", {}, 0}), "Y() = 0");
}

TEST_F(Journal, CanBeToldCallByCallAndThenKeepsNone) {
    std::vector<std::string> told;
    bench().startJournal([&](const JournalEntry& entry) { told.push_back(asText(entry)); });
    OBJ_refresh(item_, false);
    EXPECT_EQ(told.size(), 1u) << "as soon as the call has ended";
    OBJ_load(NULLTAG);
    EXPECT_TRUE(bench().stopJournal().empty());
    OBJ_load(item_);
    EXPECT_EQ(told, (std::vector{"OBJ_refresh(#" + std::to_string(item_) + ", false) = 0",
                                 "OBJ_load(#0) = " + std::to_string(kUnknownObject)}));
}

TEST_F(Journal, APlannedFailureIsInItWithItsArguments) {
    bench().setFaults({{"OBJ_load", 1, 4711}});
    bench().startJournal();
    OBJ_load(item_);
    const auto journal = bench().stopJournal();
    bench().setFaults({});
    ASSERT_EQ(journal.size(), 1u);
    EXPECT_EQ(asText(journal[0]), "OBJ_load(#" + std::to_string(item_) + ") = 4711");
}
