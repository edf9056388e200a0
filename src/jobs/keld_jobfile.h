#pragma once

// The files that the job file writer makes. Their format is described in docs/job-files.md.

#include <cstddef>
#include <cstdio>
#include <string>

// Most characters of the values that have a limit.
inline constexpr std::size_t uiJobTypeNameLength = 128;
inline constexpr std::size_t uiJobArgumentLength = 240;
inline constexpr std::size_t uiJobShortLength = 32;

// The values in the header of a job file, apart from the type. The first six are the same for all
// files of a job.
struct KELD_JobFields {
    char m_szUser[uiJobShortLength + 1] = "";
    char m_szUsersGroup[1024] = "";
    char m_szMailto[uiJobShortLength + 1] = "";
    char m_szCity[uiJobShortLength + 1] = "";
    char m_szJobtype[uiJobArgumentLength + 1] = "";
    char m_szState[uiJobArgumentLength + 1] = "";
    char m_szItemId[129] = "";
    char m_szRevId[129] = "";
};

// Open a new file, emptying an existing one. A file that can't be opened is reported in the log and
// on the error stack.
// Returns: 0, or 2010.
[[nodiscard]] int KELD_OpenJobFile(const char* szFileName, FILE** ppFile);

// Close a file. What couldn't be written, on a full disk for example, is reported in the log and on
// the error stack.
// Returns: 0, or 2010.
[[nodiscard]] int KELD_CloseJobFile(FILE* pFile, const char* szFileName);

void KELD_WriteJobHeader(FILE* pFile, const char* szTyp, const KELD_JobFields& fields);

// Write the name of a dataset or item, and the relation that attaches it to the target, cut to 32
// bytes; an item has an empty relation.
void KELD_WriteJobObject(FILE* pFile, const char* szName, const char* szRelation);

// The options text as it goes into its file: "%%" becomes "%", all else stays.
std::string KELD_JobOptionsText(const char* szOptions);
