#pragma once

#include "platform/types.h"

class ACDatasetUtil {
public:
    // The newest version of the first dataset of this name and exactly this type; NULLTAG if there
    // is none. Returns: 0 or the status of the platform call that failed.
    static int findDataset(const char* p_sDatasetType, const char* p_sDatasetName,
                           tag_t* ptagDataset);
};
