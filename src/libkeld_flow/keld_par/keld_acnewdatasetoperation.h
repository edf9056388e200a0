#pragma once

// Puts a file from the server's disk into a dataset: a new one, or the newest version of an
// existing one, where it takes the place of the file that is there.

#include "platform/types.h"

class NewDatasetOperation {
public:
    // Looks up type, tool and formats; what can't be found stays 0 and fails the run.
    NewDatasetOperation(const char* p_sDatasetName, const char* p_sDatasetDescr,
                        const char* p_sDocumentType, const char* p_sReferenceName, int p_iFileType,
                        const char* p_sPathFileName, tag_t p_tagBaseDataset);
    NewDatasetOperation(const NewDatasetOperation&) = delete;
    NewDatasetOperation& operator=(const NewDatasetOperation&) = delete;
    virtual ~NewDatasetOperation();

    // All members that return an int give 0 or the status of the first platform call that failed.
    int init();
    // The run. Leaves locked: the dataset, if a step fails after it has been locked.
    int execute();
    logical existsDataset();
    int importDataset();
    int createDataset();
    int getHighestDatasetVersion(tag_t p_tagDataset, tag_t* ptagDataset);
    int importFile();
    int addNamedReference();
    int getTagOldFile(tag_t* ptagOld);
    int getLatestDataset(tag_t p_tagDataset, tag_t* ptagDataset);

    char m_sDatasetName[240];
    char m_sDatasetDescr[240];
    char m_sDocumentType[240];
    char m_sReferenceName[240];
    int m_iFileType;
    char m_sPathFileName[260];
    tag_t m_tagBaseDataset;  // NULLTAG: a new one is made
    tag_t m_tagNewDataset;   // the dataset worked on, in the end the result
    tag_t m_tagDatasetType;
    tag_t m_tagDefaultTool;
    char** m_acToolOutputFormats;
    int m_iCountToolFormat;
    tag_t m_tagFile;
};
