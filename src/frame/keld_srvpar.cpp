// The service that packs and resequences the lines of a BOM.

#include "frame/keld_entry.h"
#include "frame/keld_trace.h"
#include "platform/keld_se.h"
#include "platform/mv_svcarg.h"

// Kept: a failed read leaves the log one step deeper, and the list of lines isn't freed.
int KELD_PSE_PackAndResequenceBom(tag_t* result) {
    return KELD_Entry([&] {
        tag_t tagBOMLineTop = NULLTAG;
        int iCountBOMLines = 0;
        tag_t* ptagBOMLines = nullptr;
        int iLevel = 0;
        int iSort = 0;
        tag_t tagDataset = NULLTAG;

        KELD_FUNC_ENTER("KELD_PSE_PackAndResequenceBom\n");
        KELD_QSK_CALL(SVCARG_get_tag_argument(&tagBOMLineTop));
        KELD_QSK_CALL(SVCARG_get_tag_array_argument(&iCountBOMLines, &ptagBOMLines));
        KELD_QSK_CALL(SVCARG_get_int_argument(&iLevel));
        KELD_QSK_CALL(SVCARG_get_int_argument(&iSort));

        const int iRet = KELD_PSE_PackAndResequenceBom2(tagBOMLineTop, iCountBOMLines, ptagBOMLines,
                                                        iLevel, iSort, &tagDataset);
        if (result != nullptr)
            *result = tagDataset;
        KELD_FUNC_LEAVE("KELD_PSE_PackAndResequenceBom\n");
        return iRet;  // 0 unless memory ran out
    });
}
