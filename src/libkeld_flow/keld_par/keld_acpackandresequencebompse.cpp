#include "libkeld_flow/keld_par/keld_acpackandresequencebompse.h"

#include <string>

#include "frame/keld_copytext.h"
#include "frame/keld_entry.h"
#include "frame/keld_trace.h"
#include "libkeld_flow/keld_par/keld_acdatasetutil.h"
#include "libkeld_flow/keld_par/keld_acnewdatasetoperation.h"
#include "libkeld_flow/keld_par/keld_acpackandresequencebomoperation.h"
#include "os/keld_os.h"
#include "platform/keld_se.h"
#include "platform/mv_dbo.h"
#include "platform/mv_heap.h"

namespace {

constexpr int iIncrement = 10;
constexpr int iTextFile = 4096;

// The directory of the protocol: the first of these variables that is set and not empty. Kept:
// without any of them it is empty, and the protocol's path begins with the separator.
std::string ProtocolDirectory() {
    std::string sDirectory;
    for (const char* szName : {"MV_TMP_DIR", "TEMP", "TMP"}) {
        if (keld_os::GetEnv(szName, &sDirectory) && !sDirectory.empty())
            break;
    }
    return sDirectory;
}

}  // namespace

ACPackAndResequenceBOMPSE::ACPackAndResequenceBOMPSE(tag_t p_tagTopBOMLine, int p_iCountBOMLines,
                                                     vectorTag_t p_vBOMLines, int p_iLevel,
                                                     int p_iSort)
    : m_iLevel(p_iLevel),
      m_bSort(p_iSort > 0),
      m_tagTopBOMLine(p_tagTopBOMLine),
      m_vBOMLines(p_vBOMLines),
      m_iCountBOMLines(p_iCountBOMLines),
      m_sDatasetName{},
      m_sDatasetType{},
      m_iFileType(0),
      m_sPathFileName{},
      m_tagNewDataset(NULLTAG) {
    (void)initMembers();  // without names the run goes on, and the dataset step fails
}

ACPackAndResequenceBOMPSE::~ACPackAndResequenceBOMPSE() = default;

// Name the dataset and the protocol's file.
int ACPackAndResequenceBOMPSE::initMembers() {
    char* pcUserName = nullptr;
    char* pcUserId = nullptr;
    tag_t tagUser = NULLTAG;
    m_tagNewDataset = NULLTAG;
    KELD_CopyText(m_sDatasetType, "Text", "m_sDatasetType");
    m_iFileType = iTextFile;
    KELD_QSK_CALL(DBO_get_user(&pcUserName, &tagUser));
    KELD_QSK_CALL(DBO_ask_user_id(tagUser, &pcUserId));

    const std::string sName =
        std::string("PSE_RPBOM_") + (pcUserId != nullptr ? pcUserId : "(null)");
    KELD_CopyText(m_sDatasetName, sName.c_str(), "m_sDatasetName");
    KELD_TRACE("DatasetName: %s\n", m_sDatasetName);

    const std::string sPath = ProtocolDirectory() + keld_os::szPathSeparator + m_sDatasetName +
                              std::to_string(keld_os::ProcessId()) + ".log";
    // A path is never cut: one that doesn't fit is a file that can't be opened.
    if (sPath.size() < sizeof(m_sPathFileName))
        KELD_CopyText(m_sPathFileName, sPath.c_str(), "m_sPathFileName");
    KELD_TRACE("PathFileName: %s\n", m_sPathFileName);

    HEAP_free(pcUserName);
    HEAP_free(pcUserId);
    return QSK_ok;
}

void ACPackAndResequenceBOMPSE::execute() {
    packAndResequence();
    createDataset();
}

// Run the walk; its end closes the protocol.
void ACPackAndResequenceBOMPSE::packAndResequence() {
    ACPackAndResequenceBOMOperation operation(m_tagTopBOMLine, m_vBOMLines, m_iCountBOMLines,
                                              m_iLevel, m_bSort, iIncrement);
    operation.setLogFilePathName(m_sPathFileName);
    operation.execute();
}

// Put the protocol into the user's dataset, which the first run makes. Done whatever became of the
// walk; a failure is logged by the step that fails.
void ACPackAndResequenceBOMPSE::createDataset() {
    tag_t tagDataset = NULLTAG;
    (void)ACDatasetUtil::findDataset(m_sDatasetType, m_sDatasetName, &tagDataset);
    NewDatasetOperation operation(m_sDatasetName, m_sDatasetName, m_sDatasetType, m_sDatasetType,
                                  m_iFileType, m_sPathFileName, tagDataset);
    (void)operation.execute();
    m_tagNewDataset = operation.m_tagNewDataset;
}

// Kept: the status is 0 whatever happened in the run; the client looks at the error stack and at
// the protocol.
int KELD_PSE_PackAndResequenceBom2(tag_t top, int count, tag_t* lines, int level, int sort,
                                   tag_t* dataset) {
    return KELD_Entry([&] {
        ACPackAndResequenceBOMPSE pse(top, count, lines, level, sort);
        pse.execute();
        if (dataset != nullptr)
            *dataset = pse.m_tagNewDataset;
        return QSK_ok;
    });
}
