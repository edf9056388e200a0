#include "platform/mv_dbo.h"
#include "tests/modules/interface.h"

namespace mervane::test {

class DisplayText : public InterfaceTest {
protected:
    DisplayText() {
        wb.defineType("Sheet", "Form",
                      {{"s", Kind::String, false, 20},
                       {"i", Kind::Int, false, 0},
                       {"d", Kind::Double, false, 0},
                       {"l", Kind::Logical, false, 0},
                       {"t", Kind::Date, false, 0},
                       {"r", Kind::Reference, false, 0},
                       {"ss", Kind::String, true, 20},
                       {"ii", Kind::Int, true, 0},
                       {"rr", Kind::Reference, true, 0}});
        form = wb.createForm("Sheet", "form");
        OBJ_lock(form);
    }
    // Set from the text that another form shows.
    void expectRoundTrip(const char* property, const Values& values, const std::string& shown) {
        const tag_t other = wb.createForm("Sheet", "other");
        wb.set(other, property, values);
        EXPECT_EQ(text(other, property), shown);
        EXPECT_EQ(OBJ_UIF_set_value(form, property, shown.c_str()), 0) << lastError();
        EXPECT_EQ(text(form, property), shown);
        EXPECT_EQ(wb.get(form, property), values);
    }
    void expectRefused(const char* property, const char* value) {
        const std::string before = text(form, property);
        EXPECT_NE(OBJ_UIF_set_value(form, property, value), 0) << property << " " << value;
        EXPECT_EQ(text(form, property), before);
    }
    tag_t form = NULLTAG;
};

TEST_F(DisplayText, OfAStringIsTheString) {
    expectRoundTrip("s", {std::string("text, with  blanks ")}, "text, with  blanks ");
}

TEST_F(DisplayText, OfAnIntegerIsDecimal) {
    expectRoundTrip("i", {std::int64_t{-42}}, "-42");
    expectRoundTrip("i", {std::int64_t{2147483647}}, "2147483647");
    for (const char* bad : {"007", "+7", " 7", "7 ", "7.0", "0x7", "x", "2147483648", "-0"})
        expectRefused("i", bad);
}

TEST_F(DisplayText, OfADoubleHasAPointAndNoExponent) {
    expectRoundTrip("d", {2.5}, "2.5");
    expectRoundTrip("d", {-0.1}, "-0.1");
    expectRoundTrip("d", {5.0}, "5");
    expectRoundTrip("d", {1e21}, "1000000000000000000000");
    expectRoundTrip("d", {1e-7}, "0.0000001");
    for (const double edge : {1.7976931348623157e308, 5e-324, 0.1 + 0.2}) {
        const tag_t other = wb.createForm("Sheet", "edge");
        wb.set(other, "d", {edge});
        expectRoundTrip("d", {edge}, text(other, "d"));
    }
    for (const char* bad : {"2,5", "2.50", "1e3", "+1", ".5", "x", "2.5 "})
        expectRefused("d", bad);
}

TEST_F(DisplayText, OfALogicalIsTrueOrFalse) {
    expectRoundTrip("l", {true}, "True");
    expectRoundTrip("l", {false}, "False");
    for (const char* bad : {"true", "1", "Y", "TRUE"})
        expectRefused("l", bad);
}

TEST_F(DisplayText, OfADateIsSortable) {
    expectRoundTrip("t", {Date{{2026, 2, 31, 14, 5, 0}}}, "2026-03-31 14:05:00");
    for (const char* bad : {"2026-03-31", "31.03.2026", "2026-3-31 14:05:00", "2026-02-30 00:00:00",
                            "2026-03-31 24:00:00", "2026-03-31  14:05:00"})
        expectRefused("t", bad);
}

TEST_F(DisplayText, OfAReferenceIsTheDisplayId) {
    const auto made = part("000123");
    expectRoundTrip("r", {Reference{made.item}}, "000123");
    expectRoundTrip("r", {Reference{made.revision}}, "000123/A");
    expectRoundTrip("r", {Reference{wb.createFolder("a folder")}}, "a folder");
    expectRoundTrip("r", {Reference{wb.resolve("000123")}}, "000123");
    expectRefused("r", "no such thing");
    expectRefused("r", "000123/B");
    expectRefused("r", "000123/");
}

TEST_F(DisplayText, OfARevisionMayHaveSlashesInBothIds) {
    tag_t revision = NULLTAG;
    wb.createItem("a/b", "", "", "1/2", &revision);
    expectRoundTrip("r", {Reference{revision}}, "a/b/1/2");
}

TEST_F(DisplayText, OfAFormIsItsObjectNameWhateverItsTypeBrings) {
    wb.defineType("Named", "Form", {{"name", Kind::String, false, 0}});
    const tag_t named = wb.createForm("Named", "object name");
    wb.set(named, "name", {std::string("another")});
    expectRoundTrip("r", {Reference{named}}, "object name");
}

TEST_F(DisplayText, OfAUserIsTheUserId) {
    EXPECT_EQ(text(form, "owning_user"), "infodba");
    wb.createGroup("design", "");
    wb.createUser("mueller", "Anna Mueller", "design");
    EXPECT_EQ(OBJ_UIF_set_value(form, "owning_user", "mueller"), 0) << lastError();
    EXPECT_EQ(text(form, "owning_user"), "mueller");
}

TEST_F(DisplayText, OfAListIsJoinedByCommas) {
    expectRoundTrip("ss", {std::string("a"), std::string("b c"), std::string("d,e")},
                    "a, b c, d,e");
    expectRoundTrip("ii", {std::int64_t{1}, std::int64_t{-2}}, "1, -2");
    const auto made = part("000123");
    expectRoundTrip("rr", {Reference{made.item}, Reference{made.revision}}, "000123, 000123/A");
    expectRefused("ii", "1,2");
    expectRefused("ii", "1, x");
    expectRefused("rr", "000123, nobody");
}

TEST_F(DisplayText, ThatIsEmptyOrNullEmptiesEveryKind) {
    wb.set(form, "i", {std::int64_t{1}});
    OBJ_refresh(form, true);
    EXPECT_EQ(OBJ_UIF_set_value(form, "s", "x"), 0);
    EXPECT_EQ(OBJ_UIF_set_value(form, "l", "True"), 0);
    EXPECT_EQ(OBJ_UIF_set_value(form, "ss", "a, b"), 0);
    for (const char* property : {"s", "i", "d", "l", "t", "r", "ss", "ii", "rr"}) {
        EXPECT_EQ(OBJ_UIF_set_value(form, property, ""), 0) << property << lastError();
        EXPECT_EQ(OBJ_UIF_set_value(form, property, nullptr), 0) << property;
        EXPECT_EQ(text(form, property), "") << property;
        EXPECT_THAT(wb.get(form, property), IsEmpty()) << property;
    }
}

TEST_F(DisplayText, KeepsTheReferenceOfTwoObjectsWithOneName) {
    const tag_t first = wb.createFolder("twin"), second = wb.createFolder("twin");
    wb.set(form, "r", {Reference{second}});
    OBJ_refresh(form, true);
    EXPECT_EQ(OBJ_UIF_set_value(form, "r", "twin"), 0);
    EXPECT_EQ(wb.get(form, "r"), Values{Reference{second}});
    OBJ_UIF_set_value(form, "r", "");
    EXPECT_EQ(OBJ_UIF_set_value(form, "r", "twin"), 0);
    EXPECT_EQ(wb.get(form, "r"), Values{Reference{first}});
}

TEST_F(DisplayText, OfReleaseStatusesIsTheirNames) {
    const auto made = part("000123");
    const tag_t one = wb.create("ReleaseStatus"), two = wb.create("ReleaseStatus");
    wb.set(one, "name", {std::string("Checked")});
    wb.set(two, "name", {std::string("Released")});
    wb.set(made.revision, "release_status_list", {Reference{one}, Reference{two}});
    EXPECT_EQ(text(made.revision, "release_status_list"), "Checked, Released");
    EXPECT_EQ(text(made.revision, "last_release_status"), "Released");
}

TEST_F(DisplayText, LeavesOutWhatCannotBeLoaded) {
    const tag_t gone = wb.createFolder("gone"), kept = wb.createFolder("kept");
    wb.set(form, "rr", {Reference{gone}, Reference{kept}});
    wb.set(form, "r", {Reference{gone}});
    ASSERT_EQ(OBJ_refresh(form, true), 0);
    tag_t list[] = {gone};
    ASSERT_EQ(DBO_delete_instances(1, list), 0);
    EXPECT_EQ(text(form, "rr"), "kept");
    EXPECT_EQ(text(form, "r"), "");
}

TEST_F(DisplayText, SurvivesSavingForEachKind) {
    part("000123");
    const std::vector<std::pair<const char*, std::string>> all = {{"s", "x"},
                                                                  {"i", "7"},
                                                                  {"d", "0.25"},
                                                                  {"l", "False"},
                                                                  {"t", "2026-03-31 14:05:00"},
                                                                  {"r", "000123/A"},
                                                                  {"ss", "a, b"},
                                                                  {"ii", "3, 2, 1"},
                                                                  {"rr", "000123"}};
    for (const auto& [property, value] : all)
        ASSERT_EQ(OBJ_UIF_set_value(form, property, value.c_str()), 0) << property;
    ASSERT_EQ(OBJ_save(form), 0);
    ASSERT_EQ(OBJ_refresh(form, false), 0);
    ASSERT_EQ(OBJ_unload(form), 0);
    for (const auto& [property, value] : all)
        EXPECT_EQ(text(form, property), value);
}

TEST_F(DisplayText, ThatDoesNotFitIsRefusedWithTheObjectThePropertyAndTheReason) {
    const auto refused = [&](const char* property, const char* value) {
        const int status = OBJ_UIF_set_value(form, property, value);
        EXPECT_THAT(lastError(), HasSubstr("#" + std::to_string(form)));
        EXPECT_THAT(lastError(), HasSubstr(property));
        return std::to_string(status) + ": " + lastError();
    };
    const auto told = [](int status, const char* reason) {
        return testing::AllOf(testing::StartsWith(std::to_string(status) + ": "),
                              HasSubstr(reason));
    };
    EXPECT_THAT(refused("i", "42 mm"), told(kBadValue, "\"42 mm\" is no integer"));
    EXPECT_THAT(refused("ii", "1, two"), told(kBadValue, "\"two\" is no integer"));
    EXPECT_THAT(refused("d", "2,5"), told(kBadValue, "\"2,5\" is no number"));
    EXPECT_THAT(refused("l", "yes"), told(kBadValue, "\"yes\" is neither True nor False"));
    EXPECT_THAT(refused("t", "31.03.2026"), told(kBadDate, "\"31.03.2026\" is no date"));
    EXPECT_THAT(refused("r", "nobody"), told(kBadValue, "the display id of no object"));
    EXPECT_THAT(refused("s", "more than twenty characters"), told(kTooLong, "at most 20"));
    EXPECT_THAT(refused("object_type", "Form"), told(kReadOnly, "can't be set"));
    EXPECT_THAT(refused("nothing", "x"), told(kUnknownAttribute, "no such property"));
}

}  // namespace mervane::test
