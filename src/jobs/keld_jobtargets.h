#pragma once

// The walk of the job file writer over its targets.

#include <string>

#include "jobs/keld_jobfile.h"
#include "platform/types.h"

// One call of the writer.
struct KELD_JobRun {
    const tag_t* m_ptTargets = nullptr;
    int m_iTargets = 0;
    const tag_t* m_ptRelationTypes = nullptr;
    int m_iRelationTypes = 0;
    char** m_pszTypes = nullptr;
    int m_iTypes = 0;
    bool m_bAllTypes = false;
    bool m_bOnlyTargets = false;  // an attachment counts only if it is a target
    std::string m_sFileFlag;
    logical m_bFileOnlyPid = false;
    std::string m_sFilePath;  // the job directory
    KELD_JobFields m_fields;
    int m_iFileCounter = 1;  // for the names of the files; never reset
    int m_iRet = QSK_ok;     // running status
};

// Write the job files of one target. The running status becomes that of a step that fails.
// Returns: false if the writer is to leave at once; the list of attachments is then freed unless a
// file couldn't be opened.
[[nodiscard]] bool KELD_WriteJobTarget(KELD_JobRun* pRun, int iTarget);
