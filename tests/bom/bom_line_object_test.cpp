// The snapshot of a line.

#include "tests/bom/bom_lines.h"

using line_platform::Line;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr tag_t kLine = 101, kRevision = 21, kView = 31;

class BomLineObject : public bom::BomLines {
protected:
    Line line{"4711", "10", "2.5", "B"};
};

}  // namespace

TEST_F(BomLineObject, ReadsTheFourPropertiesAndThenTheViewTwice) {
    p.give({line});
    ACBOMLineObject object(kLine);
    EXPECT_EQ(kLine, object.getBOMLineTag());
    EXPECT_STREQ("4711", object.getItemId());
    EXPECT_STREQ("B", object.getRevisionId());
    EXPECT_STREQ("10", object.m_sOldSeqNo);
    EXPECT_STREQ("2.5", object.m_sQuantity);
    EXPECT_STREQ("", object.m_sNewSeqNo);
    EXPECT_STREQ("", object.m_sCompareString);
    EXPECT_STREQ("", object.m_sStatus);
    EXPECT_EQ(0, object.m_iCounter);
    const std::string ask = "OBJ_ask_value_string(101, ";
    EXPECT_THAT(
        p.calls,
        ElementsAre(ask + "bl_item_item_id)", ask + "bl_rev_item_revision_id)",
                    ask + "bl_sequence_no)", ask + "bl_quantity)",
                    "LINE_look_up_attribute(bl_bomview_rev)", "LINE_ask_attribute_tag(101, 51)",
                    "LINE_look_up_attribute(bl_revision)", "LINE_ask_attribute_tag(101, 52)",
                    "LINE_look_up_attribute(bl_bomview_rev)", "LINE_ask_attribute_tag(101, 51)",
                    "LINE_look_up_attribute(bl_revision)", "LINE_ask_attribute_tag(101, 52)"));
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(BomLineObject, WithNeitherViewNorRevisionIsFreelyWritable) {
    const auto made = object(line);
    EXPECT_EQ(NULLTAG, made->m_tagBOMViewRevision);
    EXPECT_TRUE(made->m_bWriteAccess);
    EXPECT_FALSE(made->m_bCheckedOut);
    EXPECT_FALSE(made->hasNoWriteAccess());
    EXPECT_STREQ("use existing", made->getStatus());
}

TEST_F(BomLineObject, WithViewsOfOtherClassesAloneHasNoView) {
    line.shown_revision = kRevision;
    p.revision_views[kRevision] = {kView};
    const auto made = object(line);
    EXPECT_EQ(NULLTAG, made->m_tagBOMViewRevision);
    EXPECT_TRUE(made->m_bWriteAccess);
    EXPECT_STREQ("use existing", made->getStatus());
}

TEST_F(BomLineObject, IsCheckedOutForTheLogOnlyWhereItsViewCantBeWritten) {
    line.view = kView;
    for (const bool out : {false, true})
        for (const bool writable : {false, true}) {
            p.checked_out = out ? std::set<tag_t>{kView} : std::set<tag_t>{};
            p.not_writable = writable ? std::set<tag_t>{} : std::set<tag_t>{kView};
            const auto made = object(line);
            EXPECT_EQ(kView, made->m_tagBOMViewRevision);
            EXPECT_EQ(!writable, made->hasNoWriteAccess());
            EXPECT_STREQ(out && !writable ? "checked out" : "use existing", made->getStatus());
        }
}

TEST_F(BomLineObject, WithANewNumberIsModifiedAndKeepsTheNumberAsRead) {
    line.view = kView;
    p.checked_out = p.not_writable = {kView};
    const auto made = object(line);
    ASSERT_STREQ("checked out", made->getStatus());
    EXPECT_STREQ("10", made->getSeqNo());
    made->setNewSeqNo("40");
    EXPECT_STREQ("modified", made->getStatus());
    EXPECT_STREQ("40", made->getSeqNo());
    EXPECT_STREQ("10", made->m_sOldSeqNo);
    EXPECT_THAT(p.calls, IsEmpty()) << "nothing is written yet";
}

TEST_F(BomLineObject, TakingTheNumberThatItHasIsModifiedAllTheSame) {
    const auto made = object(line);
    made->setNewSeqNo("10");
    EXPECT_STREQ("modified", made->getStatus());
    EXPECT_STREQ("10", made->m_sNewSeqNo);
}

TEST_F(BomLineObject, WithoutAnyNumberHasAnEmptyOne) {
    line.number = "";
    EXPECT_STREQ("", object(line)->getSeqNo());
}

TEST_F(BomLineObject, AStatusThatWasSetIsNotWorkedOut) {
    const auto made = object(line);
    made->setStatus("seen");
    EXPECT_STREQ("seen", made->getStatus());
    EXPECT_EQ(0, made->initSequencingStatus());
    EXPECT_STREQ("seen", made->getStatus());
}

TEST_F(BomLineObject, ItsLogLineHasBothNumbersAndTheStatus) {
    const auto kept = object(line);
    EXPECT_STREQ("\t\t4711/B\t\t10\t\t\t\tuse existing\n", kept->getLogLine());
    kept->setNewSeqNo("20");
    EXPECT_STREQ("\t\t4711/B\t\t10\t\t20\t\tmodified\n", kept->getLogLine());
    EXPECT_EQ(ACBOMLineObject::m_sLogLine, kept->getLogLine()) << "the one buffer of all lines";
}

TEST_F(BomLineObject, TracesItsOwnNames) {
    p.give({line});
    ACBOMLineObject made(kLine);
    EXPECT_THAT(world.lines("T"), ElementsAre("ACBOMLineObject::initMembers()"));
    world.clearLog();
    made.getStatus();
    EXPECT_THAT(world.lines("T"), ElementsAre("ACBOMLineObject::initSequencingStatus()"));
    world.clearLog();
    made.getStatus();
    EXPECT_THAT(world.lines("T"), IsEmpty()) << "worked out once";
}

TEST_F(BomLineObject, NoTextAtAllCountsAsEmpty) {
    p.null_properties = {"bl_item_item_id", "bl_rev_item_revision_id", "bl_sequence_no",
                         "bl_quantity"};
    const auto made = object(line);
    EXPECT_STREQ("", made->getItemId());
    EXPECT_STREQ("", made->getSeqNo());
    made->setStatus(nullptr);
    made->setNewSeqNo(nullptr);
    EXPECT_STREQ("", made->m_sNewSeqNo);
    EXPECT_STREQ("\t\t/\t\t\t\t\t\tmodified\n", made->getLogLine());
}

TEST_F(BomLineObject, AFieldThatCantBeReadStaysEmptyAndTheObjectIsMade) {
    p.give({line});
    for (int n = 1; n <= 4; ++n) {
        world.clearLog();
        p.fail("OBJ_ask_value_string", n);
        ACBOMLineObject made(kLine);
        EXPECT_STREQ(n == 1 ? "" : "4711", made.m_sItemId);
        EXPECT_STREQ(n == 2 ? "" : "B", made.m_sRevisionId);
        EXPECT_STREQ(n == 3 ? "" : "10", made.m_sOldSeqNo);
        EXPECT_STREQ(n == 4 ? "" : "2.5", made.m_sQuantity);
        EXPECT_TRUE(made.m_bWriteAccess);
        EXPECT_STREQ("use existing", made.getStatus());
        EXPECT_EQ("##QSK_err_4711: OBJ_ask_value_string(...)", bom::messages(world, "E").at(0));
    }
}

// A view that isn't found at the second look counts as none. If the first look failed, the line has
// no flags.
TEST_F(BomLineObject, WhoseViewCantBeFoundIsALineWithoutAView) {
    line.view = kView;
    p.give({line});
    for (const char* operation : {"LINE_look_up_attribute", "LINE_ask_attribute_tag"})
        for (const int n : {1, 2}) {
            SCOPED_TRACE(std::string(operation) + " " + std::to_string(n));
            p.fail(operation, n);
            ACBOMLineObject made(kLine);
            EXPECT_EQ(n == 1 ? kView : NULLTAG, made.m_tagBOMViewRevision);
            EXPECT_EQ(n == 2, made.m_bWriteAccess);
            EXPECT_FALSE(made.m_bCheckedOut);
            EXPECT_STREQ("use existing", made.getStatus());
        }
}

TEST_F(BomLineObject, WhoseAccessCantBeAskedHasNone) {
    line.view = kView;
    p.checked_out = {kView};
    p.give({line});
    p.fail("CKO_is_checked_out");
    ACBOMLineObject not_asked(kLine);
    EXPECT_TRUE(not_asked.hasNoWriteAccess());
    EXPECT_STREQ("use existing", not_asked.getStatus());
    p.fail("ACL_check_privilege");
    ACBOMLineObject no_privilege(kLine);
    EXPECT_TRUE(no_privilege.hasNoWriteAccess());
    EXPECT_STREQ("checked out", no_privilege.getStatus());
}
