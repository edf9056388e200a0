// The service of the attribute copy and the lists that it keeps for the life of the process.

#include "copy/keld_cpattr.h"

#include <string>

#include "frame/keld_entry.h"
#include "frame/keld_trace.h"
#include "os/keld_os.h"
#include "platform/keld_basetool.h"
#include "platform/keld_se.h"
#include "platform/mv_heap.h"
#include "platform/mv_svcarg.h"

static struct copyList copyList;
static struct relList relList;
static bool loaded = false;
static bool lastReadFailed = false;

namespace {

void FreeLists() {
    for (int i = 0; i < copyList.count; ++i) {
        HEAP_free(copyList.object_attributes[i].object_type);
        HEAP_free(copyList.object_attributes[i].attribute_name);
    }
    HEAP_free(copyList.object_attributes);
    copyList = {};
    for (int i = 0; i < relList.count; ++i) {
        HEAP_free(relList.relation_combination[i].primary);
        HEAP_free(relList.relation_combination[i].secondary);
        HEAP_free(relList.relation_combination[i].relation_type);
    }
    HEAP_free(relList.relation_combination);
    relList = {};
}

// Bring the lists up to date. Returns: the status of the read, 0 if there was none.
int UpdateLists() {
    std::string sAnyValue;
    if ((loaded && keld_os::GetEnv("KELD_DISABLE_COPYATTR_CACHE", &sAnyValue)) || lastReadFailed) {
        FreeLists();
        loaded = false;
    }
    if (loaded)
        return QSK_ok;
    // A read that fails, for lack of memory too, is repeated by the next call.
    const int iRet = KELD_Entry([] { return ReadCopyAttrPref(&copyList, &relList); });
    loaded = true;
    lastReadFailed = iRet != QSK_ok;
    return iRet;
}

int CopyToAll(tag_t tSource, int iDestCount, const tag_t* tpDest) {
    int iRet = QSK_ok;
    for (int i = 0; i < iDestCount; ++i) {
        const int iCopyRet = CopyAttributes(tSource, tpDest[i], copyList, relList);
        if (iRet == QSK_ok)
            iRet = iCopyRet;
    }
    return iRet;
}

// Copy from one object to others. Kept: the list of destinations stays allocated.
int CopyFromArguments() {
    KELD_FUNC_ENTER("KELD_CopyAttr");
    int iRet = QSK_ok;
    tag_t tSource = NULLTAG;
    int iDestCount = 0;
    tag_t* tpDest = nullptr;
    KELD_CALL(iRet, SVCARG_get_tag_argument(&tSource));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, SVCARG_get_tag_array_argument(&iDestCount, &tpDest));
    KELD_TRACE("KELD_CopyAttr\n");
    // Kept: the lists are brought up to date also after a failed read of an argument.
    const int iListRet = UpdateLists();
    if (iRet == QSK_ok)
        iRet = iListRet;
    if (iRet == QSK_ok && iDestCount > 0 && tpDest != nullptr)
        iRet = CopyToAll(tSource, iDestCount, tpDest);
    KELD_FUNC_LEAVE("KELD_CopyAttr");
    return iRet;
}

}  // namespace

int KELD_CopyAttr(int* result) {
    const int iRet = KELD_Entry(CopyFromArguments);
    if (result != nullptr)
        *result = iRet;
    return iRet;
}
