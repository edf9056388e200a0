#pragma once

// The child lines of one BOM line, brought to sequence numbers that let the platform pack what
// belongs together: lines of one component on one number, different components on different ones.
//
// Two modes. Sorting: the lines are sorted by component key and numbered from the start. Keeping:
// the order stays, numbers are kept where they can be, and only clashes are repaired. A fresh
// number is the last one handed out plus the increment; it isn't checked against those in use.

#include "libkeld_flow/keld_par/keld_acbomlineobject.h"
#include "platform/types.h"

class ACBOMLineChildrenObjects {
public:
    ACBOMLineChildrenObjects(tag_t p_tagBOMLine);
    ACBOMLineChildrenObjects(const ACBOMLineChildrenObjects&) = delete;
    ACBOMLineChildrenObjects& operator=(const ACBOMLineChildrenObjects&) = delete;
    // Releases nothing: the lines stay allocated.
    virtual ~ACBOMLineChildrenObjects();

    // Returns: 0, or the status of the platform call that failed; there are no lines then.
    int init();
    // Number the lines anew, set default quantities, write both to the lines and pack them. Nothing
    // is saved. Returns: 0 always; a failed write is logged, a failed pack ends the packing.
    int resequenceAndPack(int p_iIncr, const char* p_sDefaultQuantity, logical p_bSort);
    void getNextSeqNo(int p_iIncr, char* p_sBuffer /*100*/);

    void sort();
    void setSequenceNumbersFromStart();
    void eliminateEqualSeqonoDifferentComponentsEqualComponentsDifferentSeqono();
    void setDefaultQuantities();
    void setNewSequenceNumbers();
    int pack();

    int m_iBomLineObjCount;
    ACBOMLineObject** m_ppBomLineObj;
    tag_t m_tagBOMLine;
    int m_iLastSeqNo;  // the number last handed out; at first that of the last line
    int m_iSeqNoIncr;
    char m_sDefaultQuantity[100];  // empty: quantities stay as they are
};
