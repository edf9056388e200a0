#pragma once

// The walk over the selected lines of a BOM: unpack, number, pack, and write the protocol, which is
// described in docs/resequence-protocol.md.

#include <cstdio>

#include "libkeld_flow/keld_par/keld_acbomlinechildrenobjects.h"
#include "platform/types.h"

class ACPackAndResequenceBOMOperation {
public:
    // The lines stay the caller's. The increment is that of the preference in every case.
    ACPackAndResequenceBOMOperation(tag_t p_tagTopBOMLine, vectorTag_t p_vBOMLines,
                                    int p_iCountBOMLines, int p_iLevel, logical p_bSort,
                                    int p_iSeqnoIncr);
    ACPackAndResequenceBOMOperation(const ACPackAndResequenceBOMOperation&) = delete;
    ACPackAndResequenceBOMOperation& operator=(const ACPackAndResequenceBOMOperation&) = delete;
    // Closes the protocol.
    virtual ~ACPackAndResequenceBOMOperation();

    int init();
    // Begin a protocol at this path, which stays the caller's. Without a file that can be opened
    // the run goes on without one.
    void setLogFilePathName(char* p_sLogFilePathName);
    // Nothing is changed, and 515001 goes on the error stack, if the top line may not be written.
    void execute();
    logical checkAccessTopBOMLine();
    void packAndResequenceBOMLines();
    void packAndResequenceBOMLine(tag_t p_tagBOMLine, int p_iLevel, int depth);
    // The number of children; 0 also for a line whose view is checked out or may not be written.
    int packAndResequence(tag_t p_tagBOMLine);
    // The number of children, or the status of a failed unpack, which callers take for one.
    int unpack(tag_t p_tagBOMLine);
    void resequenceAndPackChildren(tag_t p_tagBOMLine);
    void writeToLog(ACBOMLineChildrenObjects& p_children, tag_t p_tagBOMLine);

    tag_t m_tagTopBOMLine;
    vectorTag_t m_vBOMLines;
    int m_iCountBOMLines;
    int m_iLevel;  // 0: no limit
    logical m_bSort;
    int m_iSeqnoIncr;
    char* m_sLogFilePathName;
    FILE* m_pLogFile;  // null if no protocol is open
};
