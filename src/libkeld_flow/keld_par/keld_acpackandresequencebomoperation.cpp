#include "libkeld_flow/keld_par/keld_acpackandresequencebomoperation.h"

#include "frame/keld_trace.h"
#include "libkeld_flow/keld_par/keld_acbomlineattribute.h"
#include "libkeld_flow/keld_par/keld_acbomlinechildrentags.h"
#include "libkeld_flow/keld_par/keld_acbomlineobject.h"
#include "libkeld_flow/keld_par/keld_acpreference.h"
#include "os/keld_os.h"
#include "platform/mv_err.h"
#include "platform/mv_line.h"

namespace {

constexpr int iNoAccessTopLine = 515001;
constexpr int iDefaultIncrement = 10;

}  // namespace

ACPackAndResequenceBOMOperation::ACPackAndResequenceBOMOperation(tag_t p_tagTopBOMLine,
                                                                 vectorTag_t p_vBOMLines,
                                                                 int p_iCountBOMLines, int p_iLevel,
                                                                 logical p_bSort, int p_iSeqnoIncr)
    : m_tagTopBOMLine(p_tagTopBOMLine),
      m_vBOMLines(p_vBOMLines),
      m_iCountBOMLines(p_iCountBOMLines),
      m_iLevel(p_iLevel),
      m_bSort(p_bSort),
      m_iSeqnoIncr(p_iSeqnoIncr),
      m_sLogFilePathName(nullptr),
      m_pLogFile(nullptr) {
    KELD_TRACE("TopBOMLine:     %d\n", static_cast<int>(m_tagTopBOMLine));
    KELD_TRACE("count BOMLines: %d\n", m_iCountBOMLines);
    KELD_TRACE("Level:          %d\n", m_iLevel);
    KELD_TRACE("SequIncr:       %d\n", m_iSeqnoIncr);
    (void)init();  // the default is in place then
}

ACPackAndResequenceBOMOperation::~ACPackAndResequenceBOMOperation() {
    if (m_pLogFile != nullptr)
        std::fclose(m_pLogFile);
}

int ACPackAndResequenceBOMOperation::init() {
    return ACPreference::getIntValue("PackAndResequenceBOM.SEQNO_INCR", iDefaultIncrement,
                                     &m_iSeqnoIncr);
}

void ACPackAndResequenceBOMOperation::setLogFilePathName(char* p_sLogFilePathName) {
    m_sLogFilePathName = p_sLogFilePathName;
    if (m_pLogFile != nullptr)
        std::fclose(m_pLogFile);
    // The directory is everybody's: a link that waits there isn't followed.
    m_pLogFile = keld_os::OpenFile(m_sLogFilePathName, "w", false);
    if (m_pLogFile != nullptr)
        std::fputs("\t\tComponent\t\tSeqNo. alt\tSeqNo. neu\tStatus\n", m_pLogFile);
}

void ACPackAndResequenceBOMOperation::execute() {
    KELD_TRACE("ACPackAndResequenceBOMOperation::execute()\n");
    if (!checkAccessTopBOMLine()) {
        (void)ERR_store_error(ERR_severity_error, iNoAccessTopLine);
        KELD_ERROR("No write access to topbomline!\n");
        return;
    }
    packAndResequenceBOMLines();
}

// Kept: only the write access counts here; whether the top line is checked out doesn't.
logical ACPackAndResequenceBOMOperation::checkAccessTopBOMLine() {
    KELD_TRACE("ACPackAndResequenceBOMOperation::checkAccessTopBOMLine()\n");
    ACBOMLineObject topLine(m_tagTopBOMLine);
    return !topLine.hasNoWriteAccess();
}

void ACPackAndResequenceBOMOperation::packAndResequenceBOMLines() {
    KELD_TRACE("ACPackAndResequenceBOMOperation::packAndResequenceBOMLines()\n");
    if (m_vBOMLines == nullptr)
        return;
    for (int i = 0; i < m_iCountBOMLines; ++i)
        packAndResequenceBOMLine(m_vBOMLines[i], m_iLevel, 1);
}

// Work on a line and on the lines below it, down to the level.
void ACPackAndResequenceBOMOperation::packAndResequenceBOMLine(tag_t p_tagBOMLine, int p_iLevel,
                                                               int depth) {
    KELD_TRACE(
        "ACPackAndResequenceBOMOperation::packAndResequenceBOMLine(tag_t p_tagBOMLine, int "
        "p_iLevel, int depth)\n");
    if (packAndResequence(p_tagBOMLine) <= 0)
        return;  // kept: nothing below a line that was passed over is worked on
    ++depth;
    if (depth > p_iLevel && p_iLevel != 0)
        return;
    // Asked for again: packing has merged some of them.
    const ACBOMLineChildrenTags children(p_tagBOMLine);
    for (int i = 0; i < children.m_iCountChildren; ++i)
        packAndResequenceBOMLine(children.m_ptagChildren[i], p_iLevel, depth);
}

// Work on one line. Kept: a line whose view is checked out, by this user too, or may not be written
// is passed over without a line in log or protocol.
int ACPackAndResequenceBOMOperation::packAndResequence(tag_t p_tagBOMLine) {
    KELD_TRACE("ACPackAndResequenceBOMOperation::packAndResequence(tag_t p_tagBOMLine)\n");
    ACBOMLineAttribute attribute(p_tagBOMLine);
    tag_t tagView = NULLTAG;
    (void)attribute.getBOMViewRevision(&tagView);  // a line that can't be asked has no view
    if (tagView != NULLTAG && (attribute.m_bCheckedOut || !attribute.m_bWriteAccess))
        return 0;
    const int iChildren = unpack(p_tagBOMLine);
    if (iChildren > 0)
        resequenceAndPackChildren(p_tagBOMLine);
    return iChildren;
}

// Kept: the status of a failed unpack is above 0 and counts as a number of children, so that the
// children are worked on all the same.
int ACPackAndResequenceBOMOperation::unpack(tag_t p_tagBOMLine) {
    KELD_TRACE("ACPackAndResequenceBOMOperation::unpack(tag_t p_tagBOMLine)\n");
    const ACBOMLineChildrenTags children(p_tagBOMLine);
    for (int i = 0; i < children.m_iCountChildren; ++i)
        KELD_QSK_CALL(LINE_unpack(children.m_ptagChildren[i]));
    return children.m_iCountChildren;
}

void ACPackAndResequenceBOMOperation::resequenceAndPackChildren(tag_t p_tagBOMLine) {
    KELD_TRACE("ACPackAndResequenceBOMOperation::resequenceAndPackChildren(tag_t p_tagBOMLine)\n");
    ACBOMLineChildrenObjects children(p_tagBOMLine);
    char sQuantity[1025] = {};
    (void)ACPreference::getStringValue("PackAndResequenceBOM.SetDefaultQuantity", "", sQuantity,
                                       sizeof(sQuantity));
    (void)children.resequenceAndPack(m_iSeqnoIncr, sQuantity, m_bSort);
    writeToLog(children, p_tagBOMLine);
}

// Write a line's block: the line as it is now, its children as they were read and numbered.
void ACPackAndResequenceBOMOperation::writeToLog(ACBOMLineChildrenObjects& p_children,
                                                 tag_t p_tagBOMLine) {
    KELD_TRACE("ACPackAndResequenceBOMOperation::writeToLog(ACBOMLineChildrenObjects, tag_t)\n");
    ACBOMLineObject line(p_tagBOMLine);
    if (m_pLogFile == nullptr)
        return;
    std::fprintf(m_pLogFile, "%s/%s\n", line.getItemId(), line.getRevisionId());
    for (int i = 0; i < p_children.m_iBomLineObjCount; ++i)
        std::fprintf(m_pLogFile, "%s", p_children.m_ppBomLineObj[i]->getLogLine());
    std::fprintf(m_pLogFile, "\n");
}
