// The whole log of a run but for the lines of the traced calls.

#include "tests/bom/bom_service.h"

namespace {

using Lines = std::vector<std::string>;

class RunLog : public bom::BomService {
protected:
    RunLog() {
        world.bench.setPreference("PackAndResequenceBOM.SetDefaultQuantity", {"1"});
        use("100", "X", "10");
        use("100", "Y", "10");
        top = open("100");
        world.clearLog();
    }
    Lines made(int sort) {
        EXPECT_EQ(0, run(top, {top}, 1, sort).status);
        Lines found;
        for (const world::LogLine& line : world.log())
            if (std::string("EWT").find(line.level) != std::string::npos &&
                !line.text.starts_with(" ->") && !line.text.starts_with(" <-") &&
                !line.text.starts_with(" File:"))
                found.push_back(std::string(1, line.level) + " " + line.text);
        return found;
    }
    // From the start to the keys, the same in both modes.
    Lines beginning() const {
        const std::string children =
            "T ACBOMLineChildrenTags::ACBOMLineChildrenTags(tag_t p_tagBOMLine) : "
            "m_tagBOMLine(p_tagBOMLine)";
        const std::string gone = "T ACBOMLineChildrenTags::~ACBOMLineChildrenTags()";
        const std::string own = "T ACPackAndResequenceBOMOperation::";
        return {"T DatasetName: PSE_RPBOM_infodba",
                "T PathFileName: " + protocolPath(),
                "T TopBOMLine:     " + std::to_string(static_cast<int>(top)),
                "T count BOMLines: 1",
                "T Level:          1",
                "T SequIncr:       10",
                "W Pref:PackAndResequenceBOM.SEQNO_INCR not set use default=10",
                "T ACPreference::getIntValue(PackAndResequenceBOM.SEQNO_INCR) returns [10]",
                own + "execute()",
                own + "checkAccessTopBOMLine()",
                "T ACBOMLineObject::initMembers()",
                own + "packAndResequenceBOMLines()",
                own + "packAndResequenceBOMLine(tag_t p_tagBOMLine, int p_iLevel, int depth)",
                own + "packAndResequence(tag_t p_tagBOMLine)",
                own + "unpack(tag_t p_tagBOMLine)",
                children,
                children,
                gone,
                gone,
                own + "resequenceAndPackChildren(tag_t p_tagBOMLine)",
                "T ACBOMLineChildrenObjects::init()",
                "T ACBOMLineObject::initMembers()",
                "T ACBOMLineObject::initMembers()",
                "T ACPreference::getStringValue(PackAndResequenceBOM.SetDefaultQuantity) returns "
                "[1]",
                "T ACBOMLineObject::initNoteTypesToCompare()",
                "E Pref:PackAndResequenceBOM.NoteTypesToCompare not set",
                "T ACBOMLineObject::initNoteTypesToCompare()",
                "E Pref:PackAndResequenceBOM.NoteTypesToCompare not set"};
    }
    Lines steps() const {
        return {"T ACBOMLineChildrenObjects::setDefaultQuantities()",
                "T ACBOMLineChildrenObjects::setNewSequenceNumbers()",
                "T ACBOMLineChildrenObjects::pack()",
                "T ACPackAndResequenceBOMOperation::writeToLog(ACBOMLineChildrenObjects, tag_t)",
                "T ACBOMLineObject::initMembers()"};
    }
    std::string import() const {
        return "T ->int NewDatasetOperation::importFile(" + protocolPath() + ")";
    }
    tag_t top = NULLTAG;
};

Lines operator+(Lines lines, const Lines& more) {
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

}  // namespace

TEST_F(RunLog, OfTheKeepingMode) {
    const Lines expected =
        beginning() +
        Lines{
            "T ACBOMLineChildrenObjects::"
            "eliminateEqualSeqonoDifferentComponentsEqualComponentsDifferentSeqono()"} +
        steps() + Lines{"T ACBOMLineObject::initSequencingStatus()", import()};
    EXPECT_EQ(expected, made(0));
}

TEST_F(RunLog, OfTheSortingMode) {
    const Lines expected =
        beginning() +
        Lines{"W Pref:PackAndResequenceBOM.SEQNO_FIRST not set use default=10",
              "T ACPreference::getIntValue(PackAndResequenceBOM.SEQNO_FIRST) returns [10]"} +
        steps() + Lines{import()};
    EXPECT_EQ(expected, made(1));
}
