// Which view hangs below a line, and whether it may be written.

#include "libkeld_flow/keld_par/keld_acbomlineattribute.h"
#include "tests/bom/bom_lines.h"

using line_platform::kFailed;
using line_platform::kOtherClass;
using line_platform::kViewClass;
using line_platform::kViewRevisionClass;
using line_platform::Line;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr tag_t kLine = 101, kRevision = 21, kView = 31;

class BomView : public bom::BomLines {
protected:
    BomView() {
        p.give({Line{"4711", "10", ""}});
        line().shown_revision = kRevision;
    }
    Line& line() { return p.lines[kLine]; }
    void views(const std::vector<std::pair<tag_t, tag_t>>& views_and_classes) {
        for (const auto& [view, cls] : views_and_classes) {
            p.revision_views[kRevision].push_back(view);
            p.classes[view] = cls;
        }
    }
    static tag_t viewOf(ACBOMLineAttribute& attribute) {
        tag_t view = 77;
        EXPECT_EQ(0, attribute.getBOMViewRevision(&view));
        return view;
    }
};

using BomViewFailing = BomView;

}  // namespace

TEST_F(BomView, AConfiguredViewIsTakenWithoutLookingFurther) {
    line().view = kView;
    views({{32, kViewRevisionClass}});
    ACBOMLineAttribute attribute(kLine);
    EXPECT_EQ(kView, attribute.m_tagBOMViewRevision);
    EXPECT_THAT(p.calls, ElementsAre("LINE_look_up_attribute(bl_bomview_rev)",
                                     "LINE_ask_attribute_tag(101, 51)", "CKO_is_checked_out(31)",
                                     "ACL_check_privilege(31, WRITE)"));
}

TEST_F(BomView, WithoutAConfiguredOneTheRevisionIsAskedForItsViews) {
    views({{kView, kViewRevisionClass}});
    ACBOMLineAttribute attribute(kLine);
    EXPECT_EQ(kView, attribute.m_tagBOMViewRevision);
    EXPECT_THAT(
        p.calls,
        ElementsAre("LINE_look_up_attribute(bl_bomview_rev)", "LINE_ask_attribute_tag(101, 51)",
                    "LINE_look_up_attribute(bl_revision)", "LINE_ask_attribute_tag(101, 52)",
                    "DBO_class_id_of_class(STRBOMView)",
                    "DBO_class_id_of_class(STRBOMViewRevision)", "ART_rev_list_bom_view_revs(21)",
                    "DBO_class_of_instance(31)", "CKO_is_checked_out(31)",
                    "ACL_check_privilege(31, WRITE)"));
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(BomView, TheFirstEntryOfEitherClassIsTaken) {
    views({{31, kOtherClass}, {32, kViewClass}, {33, kViewRevisionClass}});
    ACBOMLineAttribute attribute(kLine);
    EXPECT_EQ(32u, viewOf(attribute));
    EXPECT_THAT(p.callsOf("DBO_class_of_instance(33)"), IsEmpty());
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(BomView, ARevisionWhoseViewsAreOfOtherClassesHasNone) {
    views({{31, kOtherClass}, {32, kOtherClass}});
    ACBOMLineAttribute attribute(kLine);
    EXPECT_EQ(NULLTAG, viewOf(attribute));
    EXPECT_THAT(p.callsOf("DBO_class_of_instance(32)"), testing::SizeIs(2));
    EXPECT_THAT(p.callsOf("CKO_"), IsEmpty());
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(BomView, ARevisionWithoutViewsHasNone) {
    ACBOMLineAttribute attribute(kLine);
    EXPECT_EQ(NULLTAG, viewOf(attribute));
    EXPECT_THAT(p.callsOf("DBO_class_of_instance"), IsEmpty());
    EXPECT_THAT(bom::messages(world), IsEmpty());
}

TEST_F(BomView, ALineWithoutARevisionHasNoneAndNothingElseIsAsked) {
    line().shown_revision = NULLTAG;
    ACBOMLineAttribute attribute(kLine);
    EXPECT_EQ(NULLTAG, viewOf(attribute));
    EXPECT_FALSE(attribute.m_bCheckedOut);
    EXPECT_FALSE(attribute.m_bWriteAccess);
    EXPECT_THAT(p.callsOf("DBO_"), IsEmpty());
    EXPECT_THAT(p.callsOf("ART_"), IsEmpty());
}

TEST_F(BomView, CheckOutAndWriteAccessAreThoseOfTheView) {
    line().view = kView;
    for (const bool out : {false, true})
        for (const bool writable : {false, true}) {
            p.checked_out = out ? std::set<tag_t>{kView} : std::set<tag_t>{};
            p.not_writable = writable ? std::set<tag_t>{} : std::set<tag_t>{kView};
            ACBOMLineAttribute attribute(kLine);
            EXPECT_EQ(out, attribute.m_bCheckedOut);
            EXPECT_EQ(writable, attribute.m_bWriteAccess);
        }
}

TEST_F(BomView, AnAttributeWithoutATagGivesNone) {
    ACBOMLineAttribute attribute(kLine);
    tag_t tag = 77;
    EXPECT_EQ(0, attribute.getBOMLineAttributeTag("bl_bomview_rev", &tag));
    EXPECT_EQ(NULLTAG, tag);
    EXPECT_EQ(0, attribute.getItemRevision(&tag));
    EXPECT_EQ(kRevision, tag);
    tag = 77;
    EXPECT_NE(0, attribute.getBOMLineAttributeTag("bl_colour", &tag));
    EXPECT_EQ(NULLTAG, tag) << "emptied before anything can fail";
}

TEST_F(BomViewFailing, EachFailureOfTheSearchIsReturnedAndGivesNoView) {
    views({{31, kOtherClass}, {32, kViewRevisionClass}});
    const char* const operations[] = {
        "LINE_look_up_attribute",     "LINE_ask_attribute_tag", "LINE_look_up_attribute",
        "LINE_ask_attribute_tag",     "DBO_class_id_of_class",  "DBO_class_id_of_class",
        "ART_rev_list_bom_view_revs", "DBO_class_of_instance",  "DBO_class_of_instance"};
    int number = 0;
    for (const char* operation : operations) {
        SCOPED_TRACE(std::to_string(++number) + ". " + operation);
        ACBOMLineAttribute attribute(kLine);
        const std::size_t blocks = world.newBlocks();
        p.calls.clear();
        world.clearLog();
        p.fail("", number);
        tag_t view = 77;
        EXPECT_EQ(kFailed, attribute.getBOMViewRevision(&view));
        EXPECT_EQ(NULLTAG, view);
        EXPECT_EQ(static_cast<std::size_t>(number), p.calls.size()) << "it ends there";
        EXPECT_TRUE(p.calls.back().starts_with(operation)) << p.calls.back();
        // The list stays allocated when one of its entries can't be looked at.
        EXPECT_EQ(number >= 8 ? 1u : 0u, world.newBlocks() - blocks);
        EXPECT_EQ("##QSK_err_4711: " + std::string(operation) + "(...)",
                  bom::messages(world, "E").at(0));
    }
}

TEST_F(BomView, AFailedQuestionEndsTheReadingAndTheConstructorGoesOn) {
    line().view = kView;
    p.checked_out = {kView};
    for (const char* operation : {"LINE_look_up_attribute", "LINE_ask_attribute_tag",
                                  "CKO_is_checked_out", "ACL_check_privilege"}) {
        SCOPED_TRACE(operation);
        p.calls.clear();
        p.fail(operation);
        ACBOMLineAttribute attribute(kLine);
        EXPECT_TRUE(p.calls.back().starts_with(operation)) << p.calls.back();
        EXPECT_FALSE(attribute.m_bWriteAccess);
        EXPECT_EQ(std::string(operation) == "ACL_check_privilege", attribute.m_bCheckedOut);
        p.fail(operation);
        EXPECT_EQ(kFailed, attribute.initMembers());
    }
}
