#include "libkeld_flow/keld_par/keld_acnewdatasetoperation.h"

#include <cstring>

#include "frame/keld_copytext.h"
#include "frame/keld_trace.h"
#include "platform/mv_dst.h"
#include "platform/mv_fil.h"
#include "platform/mv_heap.h"
#include "platform/mv_obj.h"

namespace {

constexpr int reference_type = 2;  // a file

}  // namespace

NewDatasetOperation::NewDatasetOperation(const char* p_sDatasetName, const char* p_sDatasetDescr,
                                         const char* p_sDocumentType, const char* p_sReferenceName,
                                         int p_iFileType, const char* p_sPathFileName,
                                         tag_t p_tagBaseDataset)
    : m_iFileType(p_iFileType),
      m_sPathFileName{},
      m_tagBaseDataset(p_tagBaseDataset),
      m_tagNewDataset(NULLTAG),
      m_tagDatasetType(NULLTAG),
      m_tagDefaultTool(NULLTAG),
      m_acToolOutputFormats(nullptr),
      m_iCountToolFormat(0),
      m_tagFile(NULLTAG) {
    KELD_CopyText(m_sDatasetName, p_sDatasetName, "m_sDatasetName");
    KELD_CopyText(m_sDatasetDescr, p_sDatasetDescr, "m_sDatasetDescr");
    KELD_CopyText(m_sDocumentType, p_sDocumentType, "m_sDocumentType");
    KELD_CopyText(m_sReferenceName, p_sReferenceName, "m_sReferenceName");
    // A path is never cut: one that doesn't fit is a file that can't be imported.
    if (p_sPathFileName != nullptr && std::strlen(p_sPathFileName) < sizeof(m_sPathFileName))
        KELD_CopyText(m_sPathFileName, p_sPathFileName, "m_sPathFileName");
    (void)init();  // the run fails by itself where something is missing
}

// Kept: it ends the dataset module although nothing here starts it, and of the formats it frees
// only the list, not its texts.
NewDatasetOperation::~NewDatasetOperation() {
    if (m_acToolOutputFormats != nullptr)
        HEAP_free(m_acToolOutputFormats);
    (void)DST_exit_module();
}

int NewDatasetOperation::init() {
    KELD_QSK_CALL(DST_find_datasettype(m_sDocumentType, &m_tagDatasetType));
    KELD_QSK_CALL(DST_ask_datasettype_def_tool(m_tagDatasetType, &m_tagDefaultTool));
    KELD_QSK_CALL(
        DST_ask_tool_output_formats(m_tagDefaultTool, &m_iCountToolFormat, &m_acToolOutputFormats));
    return QSK_ok;
}

int NewDatasetOperation::execute() {
    return importDataset();
}

logical NewDatasetOperation::existsDataset() {
    return m_tagBaseDataset != NULLTAG;
}

// Bring the file into the dataset. Kept: the newest version is written in place, so that repeated
// runs don't pile up versions.
int NewDatasetOperation::importDataset() {
    if (existsDataset())
        KELD_QSK_CALL(getHighestDatasetVersion(m_tagBaseDataset, &m_tagNewDataset));
    else
        KELD_QSK_CALL(createDataset());
    KELD_QSK_CALL(importFile());
    KELD_QSK_CALL(addNamedReference());
    KELD_QSK_CALL(getLatestDataset(m_tagNewDataset, &m_tagNewDataset));
    return QSK_ok;
}

int NewDatasetOperation::createDataset() {
    KELD_QSK_CALL(DST_create_dataset_with_id(m_tagDatasetType, m_sDatasetName, m_sDatasetDescr, 0,
                                             0, &m_tagNewDataset));
    KELD_QSK_CALL(DST_set_dataset_tool(m_tagNewDataset, m_tagDefaultTool));
    if (m_iCountToolFormat > 0)
        KELD_QSK_CALL(DST_set_dataset_format(m_tagNewDataset, m_acToolOutputFormats[0]));
    return QSK_ok;
}

// Find the last version on the dataset's anchor.
int NewDatasetOperation::getHighestDatasetVersion(tag_t p_tagDataset, tag_t* ptagDataset) {
    tag_t tagRevAnch = NULLTAG;
    int iCountDatasetVersions = 0;
    *ptagDataset = NULLTAG;
    KELD_QSK_CALL(DST_ask_dataset_anchor(p_tagDataset, &tagRevAnch));
    KELD_QSK_CALL(DST_count_anchor_revisions(tagRevAnch, &iCountDatasetVersions));
    KELD_QSK_CALL(DST_ask_anchor_revision(tagRevAnch, iCountDatasetVersions - 1, ptagDataset));
    return QSK_ok;
}

int NewDatasetOperation::importFile() {
    int fileDescriptor = 0;
    KELD_TRACE("->int NewDatasetOperation::importFile(%s)\n", m_sPathFileName);
    KELD_QSK_CALL(FIL_import_file(m_sPathFileName, NULL, m_iFileType, &m_tagFile, &fileDescriptor));
    KELD_QSK_CALL(OBJ_save(m_tagFile));
    KELD_QSK_CALL(OBJ_refresh(m_tagFile, FALSE));
    return QSK_ok;
}

// Set the file as the dataset's named reference. Kept: a failure leaves the dataset locked.
int NewDatasetOperation::addNamedReference() {
    KELD_QSK_CALL(OBJ_load(m_tagNewDataset));
    KELD_QSK_CALL(OBJ_refresh(m_tagNewDataset, TRUE));
    if (existsDataset()) {
        // Kept: also without an old file: replacing NULLTAG adds the reference.
        tag_t tagOld = NULLTAG;
        const int iRet = getTagOldFile(&tagOld);
        if (iRet != QSK_ok)
            return iRet;
        KELD_QSK_CALL(DST_replace_dataset_named_ref(m_tagNewDataset, tagOld, m_sReferenceName,
                                                    reference_type, m_tagFile));
    } else {
        KELD_QSK_CALL(DST_add_dataset_named_ref(m_tagNewDataset, m_sReferenceName, reference_type,
                                                m_tagFile));
    }
    KELD_QSK_CALL(OBJ_save(m_tagNewDataset));
    KELD_QSK_CALL(OBJ_refresh(m_tagNewDataset, FALSE));
    return QSK_ok;
}

// Find the file under the reference; NULLTAG if there is none.
int NewDatasetOperation::getTagOldFile(tag_t* ptagOld) {
    int iCountNamedRefs = 0;
    tag_t* ptagNamedRefs = nullptr;
    *ptagOld = NULLTAG;
    KELD_QSK_CALL(DST_ask_all_dataset_named_refs(m_tagNewDataset, m_sReferenceName,
                                                 &iCountNamedRefs, &ptagNamedRefs));
    if (iCountNamedRefs > 0) {
        char acOldOriginalName[133] = {};
        // Asked for, never used. Kept: a failure leaves the list allocated.
        KELD_QSK_CALL(FIL_ask_original_file_name(ptagNamedRefs[0], acOldOriginalName));
        *ptagOld = ptagNamedRefs[0];
    }
    HEAP_free(ptagNamedRefs);
    return QSK_ok;
}

int NewDatasetOperation::getLatestDataset(tag_t p_tagDataset, tag_t* ptagDataset) {
    *ptagDataset = NULLTAG;
    KELD_QSK_CALL(DST_ask_dataset(p_tagDataset, ptagDataset));
    return QSK_ok;
}
