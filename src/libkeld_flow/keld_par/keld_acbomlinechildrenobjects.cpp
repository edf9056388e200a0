#include "libkeld_flow/keld_par/keld_acbomlinechildrenobjects.h"

#include <cstdio>
#include <cstring>
#include <new>

#include "frame/keld_copytext.h"
#include "frame/keld_trace.h"
#include "libkeld_flow/keld_par/keld_acpreference.h"
#include "libkeld_flow/keld_par/keld_acproperty.h"
#include "libkeld_flow/keld_par/keld_seqno.h"
#include "platform/mv_heap.h"
#include "platform/mv_line.h"

namespace {

constexpr int iDefaultFirst = 10;

}  // namespace

ACBOMLineChildrenObjects::ACBOMLineChildrenObjects(tag_t p_tagBOMLine)
    : m_iBomLineObjCount(0),
      m_ppBomLineObj(nullptr),
      m_tagBOMLine(p_tagBOMLine),
      m_iLastSeqNo(0),
      m_iSeqNoIncr(0),
      m_sDefaultQuantity{} {
    (void)init();  // without its children a line has nothing to number
}

ACBOMLineChildrenObjects::~ACBOMLineChildrenObjects() = default;

// Load the lines. Kept: fresh numbers follow that of the last line, which need not be the highest.
int ACBOMLineChildrenObjects::init() {
    tag_t* ptagChildren = nullptr;
    KELD_TRACE("ACBOMLineChildrenObjects::init()\n");
    m_iBomLineObjCount = 0;
    KELD_QSK_CALL(LINE_ask_child_lines(m_tagBOMLine, &m_iBomLineObjCount, &ptagChildren));
    if (m_iBomLineObjCount <= 0)
        return QSK_ok;
    m_ppBomLineObj = new ACBOMLineObject*[static_cast<std::size_t>(m_iBomLineObjCount)];
    for (int i = 0; i < m_iBomLineObjCount; ++i)
        m_ppBomLineObj[i] = new ACBOMLineObject(ptagChildren[i]);
    HEAP_free(ptagChildren);
    m_iLastSeqNo = KELD_SeqNoValue(m_ppBomLineObj[m_iBomLineObjCount - 1]->getSeqNo());
    return QSK_ok;
}

int ACBOMLineChildrenObjects::resequenceAndPack(int p_iIncr, const char* p_sDefaultQuantity,
                                                logical p_bSort) {
    m_iSeqNoIncr = p_iIncr;
    KELD_CopyText(m_sDefaultQuantity, p_sDefaultQuantity, "m_sDefaultQuantity");
    if (p_bSort) {
        sort();
        setSequenceNumbersFromStart();
    } else {
        eliminateEqualSeqonoDifferentComponentsEqualComponentsDifferentSeqono();
    }
    setDefaultQuantities();
    setNewSequenceNumbers();
    (void)pack();  // a failure is logged; the numbers stay
    return QSK_ok;
}

void ACBOMLineChildrenObjects::getNextSeqNo(int p_iIncr, char* p_sBuffer) {
    // Unsigned, so that a number near the limit wraps around.
    m_iLastSeqNo =
        static_cast<int>(static_cast<unsigned>(m_iLastSeqNo) + static_cast<unsigned>(p_iIncr));
    std::snprintf(p_sBuffer, uiSeqNoBuffer, "%d", m_iLastSeqNo);
}

// Number the sorted lines, one number for each component. Kept: each line counts as modified, also
// if its number is the one that it had.
void ACBOMLineChildrenObjects::setSequenceNumbersFromStart() {
    (void)ACPreference::getIntValue("PackAndResequenceBOM.SEQNO_FIRST", iDefaultFirst,
                                    &m_iLastSeqNo);
    char sBuffer[uiSeqNoBuffer] = {};
    std::snprintf(sBuffer, sizeof(sBuffer), "%d", m_iLastSeqNo);
    for (int i = 0; i < m_iBomLineObjCount; ++i) {
        if (i > 0 && std::strcmp(m_ppBomLineObj[i]->getCompareString(),
                                 m_ppBomLineObj[i - 1]->getCompareString()) != 0)
            getNextSeqNo(m_iSeqNoIncr, sBuffer);
        m_ppBomLineObj[i]->setNewSeqNo(sBuffer);
    }
}

// Give the default quantity to lines without one; a failed write is logged and stops no other.
void ACBOMLineChildrenObjects::setDefaultQuantities() {
    KELD_TRACE("ACBOMLineChildrenObjects::setDefaultQuantities()\n");
    if (m_sDefaultQuantity[0] == '\0')
        return;
    for (int i = 0; i < m_iBomLineObjCount; ++i) {
        if (m_ppBomLineObj[i]->m_sQuantity[0] == '\0')
            (void)ACProperty::setStringValue(m_ppBomLineObj[i]->getBOMLineTag(), "bl_quantity",
                                             m_sDefaultQuantity);
    }
}

void ACBOMLineChildrenObjects::setNewSequenceNumbers() {
    KELD_TRACE("ACBOMLineChildrenObjects::setNewSequenceNumbers()\n");
    for (int i = 0; i < m_iBomLineObjCount; ++i) {
        if (m_ppBomLineObj[i]->m_sNewSeqNo[0] != '\0')
            (void)ACProperty::setStringValue(m_ppBomLineObj[i]->getBOMLineTag(), "bl_sequence_no",
                                             m_ppBomLineObj[i]->m_sNewSeqNo);
    }
}

// Pack every line. Kept: the first failure ends the packing, and the lines after it stay unpacked.
int ACBOMLineChildrenObjects::pack() {
    KELD_TRACE("ACBOMLineChildrenObjects::pack()\n");
    for (int i = 0; i < m_iBomLineObjCount; ++i)
        KELD_QSK_CALL(LINE_pack(m_ppBomLineObj[i]->getBOMLineTag()));
    return QSK_ok;
}
