#include "libkeld_flow/keld_par/keld_acdatasetutil.h"

#include <cstring>

#include "frame/keld_trace.h"
#include "platform/mv_dst.h"
#include "platform/mv_heap.h"

// Kept: a dataset of the same name and another type is passed over; a failing call leaves the list
// of datasets allocated.
int ACDatasetUtil::findDataset(const char* p_sDatasetType, const char* p_sDatasetName,
                               tag_t* ptagDataset) {
    int iFoundDatasets = 0;
    tag_t* pDatasets = nullptr;
    *ptagDataset = NULLTAG;
    KELD_QSK_CALL(DST_find_all_datasets(p_sDatasetName, &iFoundDatasets, &pDatasets));
    const char* szWanted = p_sDatasetType != nullptr ? p_sDatasetType : "";
    for (int idx = 0; idx < iFoundDatasets; ++idx) {
        tag_t tagFoundDatasetType = NULLTAG;
        char acFoundDatasetTypeName[129] = {};
        KELD_QSK_CALL(DST_ask_dataset_datasettype(pDatasets[idx], &tagFoundDatasetType));
        KELD_QSK_CALL(DST_ask_datasettype_name(tagFoundDatasetType, acFoundDatasetTypeName));
        if (std::strcmp(acFoundDatasetTypeName, szWanted) == 0) {
            KELD_QSK_CALL(DST_ask_dataset(pDatasets[idx], ptagDataset));
            break;
        }
    }
    HEAP_free(pDatasets);
    return QSK_ok;
}
