#pragma once

// The frame of pack and resequence: names the protocol's file and dataset, runs the walk, and puts
// the protocol into the dataset.

#include "platform/types.h"

class ACPackAndResequenceBOMPSE {
public:
    // The lines stay the caller's. p_iSort above 0 selects the sorting mode.
    ACPackAndResequenceBOMPSE(tag_t p_tagTopBOMLine, int p_iCountBOMLines, vectorTag_t p_vBOMLines,
                              int p_iLevel, int p_iSort);
    virtual ~ACPackAndResequenceBOMPSE();

    // Returns: 0, or the status of the platform call that failed; the names are empty then.
    int initMembers();
    void execute();
    void packAndResequence();
    void createDataset();

    int m_iLevel;
    logical m_bSort;
    tag_t m_tagTopBOMLine;
    vectorTag_t m_vBOMLines;
    int m_iCountBOMLines;
    char m_sDatasetName[240];  // its description too
    char m_sDatasetType[240];  // the name of the named reference too
    int m_iFileType;
    char m_sPathFileName[260];
    tag_t m_tagNewDataset;  // NULLTAG until it is known
};
