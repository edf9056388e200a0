#include "jobs/keld_jobfile.h"

#include "os/keld_os.h"
#include "platform/keld_basetool.h"
#include "platform/mv_err.h"
#include "platform/types.h"

namespace {

constexpr int iNoFile = 2010;

// Report a failure to the log and to the client in the same words.
int Refuse(const char* szFileName, const char* szReason) {
    const std::string sText = std::string("ERROR: File ") + szFileName + " " + szReason + "!\n";
    KELD_ERROR("%s", sText.c_str());
    (void)ERR_store_error_s1(ERR_severity_error, iNoFile, sText.c_str());  // told already
    return iNoFile;
}

}  // namespace

int KELD_OpenJobFile(const char* szFileName, FILE** ppFile) {
    *ppFile = keld_os::OpenFile(szFileName, "w");
    if (*ppFile != nullptr)
        return QSK_ok;
    return Refuse(szFileName, "couldn't be created");
}

int KELD_CloseJobFile(FILE* pFile, const char* szFileName) {
    const bool bFailed = std::ferror(pFile) != 0;
    if (std::fclose(pFile) == 0 && !bFailed)
        return QSK_ok;
    return Refuse(szFileName, "couldn't be written completely");
}

void KELD_WriteJobHeader(FILE* pFile, const char* szTyp, const KELD_JobFields& fields) {
    std::fprintf(pFile,
                 "-typ=%s\n-iid=%s\n-irv=%s\n-user=%s\n-usersgroup=%s\n-mailto=%s\n-city=%s\n"
                 "-jobtype=%s\n-state=%s\n",
                 szTyp, fields.m_szItemId, fields.m_szRevId, fields.m_szUser, fields.m_szUsersGroup,
                 fields.m_szMailto, fields.m_szCity, fields.m_szJobtype, fields.m_szState);
}

void KELD_WriteJobObject(FILE* pFile, const char* szName, const char* szRelation) {
    constexpr int iRelationLength = static_cast<int>(uiJobShortLength);
    std::fprintf(pFile, "-obj=%s\n-rel=%.*s\n", szName, iRelationLength, szRelation);
}

std::string KELD_JobOptionsText(const char* szOptions) {
    std::string sText;
    for (const char* sz = szOptions != nullptr ? szOptions : ""; *sz != '\0'; ++sz) {
        sText += *sz;
        if (sz[0] == '%' && sz[1] == '%')
            ++sz;
    }
    return sText;
}
