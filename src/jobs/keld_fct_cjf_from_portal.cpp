#include "jobs/keld_fct_cjf_from_portal.h"

#include <cstring>
#include <ctime>
#include <string>

#include "frame/keld_copytext.h"
#include "frame/keld_trace.h"
#include "jobs/keld_jobfile.h"
#include "jobs/keld_jobtargets.h"
#include "os/keld_os.h"
#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_art.h"
#include "platform/mv_dbo.h"
#include "platform/mv_ent.h"
#include "platform/mv_err.h"
#include "platform/mv_heap.h"
#include "platform/mv_org.h"
#include "platform/mv_str.h"

namespace {

constexpr std::size_t uiNameSize = 129;
constexpr std::size_t uiDirNameSize = 256;
constexpr std::size_t uiLongestPath = 255;
constexpr std::size_t uiLongTextSize = 1024;
constexpr int iAllowedFileLength = 256;
constexpr int iNoJobDirectory = 515186;
constexpr int iBadPathOrArgument = 2010;

bool IsText(const char* szText, const char* szWanted) {
    return szText != nullptr && std::strcmp(szText, szWanted) == 0;
}

// Kept: the texts of the display ids stay allocated.
void TraceTargets(const KELD_JobRun& run) {
    for (int i = 0; i < run.m_iTargets; ++i) {
        const tag_t target = run.m_ptTargets[i];
        char* text = nullptr;
        int iIgnored = QSK_ok;
        KELD_TRACE("Targets-tags %d\n", static_cast<int>(target));
        KELD_CALL(iIgnored, ENT_ask_id_string(target, &text));
        KELD_TRACE("id = %s\n", text);
    }
}

// Refuse an argument that its field can't hold. Returns: 0, or 2010 with the error told.
int CheckLength(const char* szName, const char* szText, std::size_t uiLimit) {
    const std::size_t uiLength = szText != nullptr ? std::strlen(szText) : 0;
    if (uiLength <= uiLimit)
        return QSK_ok;
    const std::string sText = std::string("Argument ") + szName + " has " +
                              std::to_string(uiLength) + " characters, at most " +
                              std::to_string(uiLimit) + " are allowed.\n";
    KELD_ERROR("%s", sText.c_str());
    (void)ERR_store_error_s1(ERR_severity_error, iBadPathOrArgument, sText.c_str());
    return iBadPathOrArgument;
}

// Make the job directory below the path, one level. False: it can't be made.
bool MakeJobDirectory(const char* szDirName, std::string* psFilePath) {
    *psFilePath += keld_os::szPathSeparator;
    *psFilePath += szDirName;
    if (szDirName[0] != '\0' && psFilePath->size() <= uiLongestPath &&
        keld_os::MakeDirectory(psFilePath->c_str(), false) == 0)
        return true;
    KELD_TRACE("ERROR:  FilePath:%s\n", psFilePath->c_str());
    KELD_ERROR("ERROR: Unable to create directory %s.\n", psFilePath->c_str());
    (void)ERR_store_error_s1(ERR_severity_error, iNoJobDirectory, "KELD_fct_CRJ_from_portal");
    return false;
}

// City and mail address of a person. A failure ends the look-up, so without a city there is no mail
// address. Kept: cut at 32 bytes without a warning, in the middle of a character too.
void AskPerson(tag_t person, bool bCity, bool bMail, KELD_JobFields* pFields) {
    int iRet = QSK_ok;
    char* text = nullptr;
    if (bCity) {
        KELD_CALL(iRet, ORG_ask_person_attr(person, "PA2", &text));
        if (iRet != QSK_ok)
            return;
        if (text != nullptr) {
            std::snprintf(pFields->m_szCity, sizeof(pFields->m_szCity), "%.32s", text);
            HEAP_free(text);
            text = nullptr;
        }
    }
    if (bMail) {
        KELD_CALL(iRet, ORG_ask_person_attr(person, "PA9", &text));
        if (iRet == QSK_ok && text != nullptr) {
            std::snprintf(pFields->m_szMailto, sizeof(pFields->m_szMailto), "%.32s", text);
            HEAP_free(text);
        }
    }
}

// User, city and mail address. What isn't found stays empty, and the job goes on without it.
void FindIdentity(const char* user_flag, bool bMail, bool bCity, KELD_JobFields* pFields) {
    const bool bName = IsText(user_flag, "currentUserName");
    const bool bId = IsText(user_flag, "currentUserId");
    if (!bName && !bId)
        return;
    int iRet = QSK_ok;
    char* name = nullptr;
    tag_t user = NULLTAG;
    tag_t person = NULLTAG;
    KELD_CALL(iRet, DBO_get_user(&name, &user));
    KELD_TRACE("Username: %s, usertag: %d\n", name, static_cast<int>(user));
    if (bName)
        KELD_CopyText(pFields->m_szUser, name, "szUser");
    if (name != nullptr)
        HEAP_free(name);
    if (bId && iRet == QSK_ok && user != NULLTAG) {
        char text[uiNameSize] = "";
        KELD_CALL(iRet, ORG_ask_user_identifier(user, text));
        KELD_CopyText(pFields->m_szUser, text, "szUser");
    }
    if (iRet == QSK_ok && user != NULLTAG)
        KELD_CALL(iRet, ORG_ask_user_person(user, &person));
    if (iRet == QSK_ok && person != NULLTAG)
        AskPerson(person, bCity, bMail, pFields);
}

// Kept: the statuses of the first two calls don't count; without a group the name can't be read,
// and that is the status returned.
int FindGroup(KELD_JobFields* pFields) {
    int iIgnored = QSK_ok;
    tag_t member = NULLTAG;
    tag_t group = NULLTAG;
    KELD_CALL(iIgnored, ORG_ask_current_groupmember(&member));
    KELD_CALL(iIgnored, ORG_ask_groupmember_group(member, &group));
    return KELD_getGroupFullName(group, pFields->m_szUsersGroup);
}

// options.txt beside the job files. *pbAtOnce: the file can't be made.
int WriteOptions(const std::string& sFilePath, const char* options, bool* pbAtOnce) {
    const std::string sName = std::string(keld_os::szPathSeparator) + "options.txt";
    if (sFilePath.size() + sName.size() > static_cast<std::size_t>(iAllowedFileLength)) {
        // Kept: the log's words differ from the client's.
        KELD_ERROR("File Name excekeld allowed file length of %d.\n", iAllowedFileLength);
        const std::string sText = "File Name exceeds allowed file length of " +
                                  std::to_string(iAllowedFileLength) + ".\n";
        (void)ERR_store_error_s1(ERR_severity_error, iBadPathOrArgument, sText.c_str());
        return iBadPathOrArgument;
    }
    const std::string sOptionsFile = sFilePath + sName;
    KELD_TRACE("Options File: %s\n", sOptionsFile.c_str());
    const std::string sText = KELD_JobOptionsText(options);  // may throw: before the file is open
    FILE* pFile = nullptr;
    if (const int iRet = KELD_OpenJobFile(sOptionsFile.c_str(), &pFile); iRet != QSK_ok) {
        *pbAtOnce = true;
        return iRet;
    }
    KELD_TRACE("OptionsString:%s\n", options);
    std::fputs(sText.c_str(), pFile);
    return KELD_CloseJobFile(pFile, sOptionsFile.c_str());
}

}  // namespace

// Kept: returns marked "at once" leave without the scope line and without lowering the depth.
int KELD_fct_CRJ_from_portal(const char* destination_path, const char* type, const char* all_types,
                             const char* target_flag, const tag_t* tpRelationTypes,
                             int iRelationTypeCount, const char* jobtype, const char* options,
                             const char* state_flag, const char* file_flag, const char* user_flag,
                             const char* mail_flag, const char* city_flag, const char* new_status,
                             const char* new_owner, const char* new_group, logical bFileOnlyPid,
                             int iCountTargets, tag_t* of_targetList, char* job_directory) {
    KELD_FUNC_ENTER("KELD_fct_CRJ_from_portal");
    KELD_TRACE("destination_path = %s\n", destination_path);
    KELD_TRACE("type = %s\n", type);
    KELD_TRACE("all_types = %s\n", all_types);
    KELD_TRACE("target_flag = %s\n", target_flag);
    KELD_TRACE("iRelationTypeCount = %d\n", iRelationTypeCount);
    KELD_TRACE("jobtype = %s\n", jobtype);
    KELD_TRACE("options = %s\n", options);
    KELD_TRACE("state_flag = %s\n", state_flag);
    KELD_TRACE("file_flag = %s\n", file_flag);
    KELD_TRACE("user_flag = %s\n", user_flag);
    KELD_TRACE("mail_flag = %s\n", mail_flag);
    KELD_TRACE("city_flag = %s\n", city_flag);
    KELD_TRACE("new_status = %s\n", new_status);
    KELD_TRACE("new_owner = %s\n", new_owner);
    KELD_TRACE("new_group = %s\n", new_group);
    KELD_TRACE("bFileOnlyPid = %d\n", bFileOnlyPid ? 1 : 0);

    KELD_JobRun run;
    run.m_ptTargets = of_targetList;
    run.m_iTargets = of_targetList != nullptr ? iCountTargets : 0;
    run.m_ptRelationTypes = tpRelationTypes;
    run.m_iRelationTypes = tpRelationTypes != nullptr ? iRelationTypeCount : 0;
    run.m_bFileOnlyPid = bFileOnlyPid;
    TraceTargets(run);

    const char* const szTyp = type != nullptr ? type : "";
    run.m_sFileFlag = file_flag != nullptr ? file_flag : "";
    run.m_bOnlyTargets = IsText(target_flag, "true");
    run.m_bAllTypes = IsText(all_types, "true");
    KELD_TRACE("szTyp <%s> szFileFlag <%s> szJobtype <%s>\n", szTyp, run.m_sFileFlag.c_str(),
               jobtype != nullptr ? jobtype : "");
    run.m_sFilePath = destination_path != nullptr ? destination_path : "";
    KELD_TRACE("szFilePath <%s>\n", run.m_sFilePath.c_str());

    (void)KELD_splitItemString(szTyp, ";", &run.m_iTypes, &run.m_pszTypes);  // none, if it fails
    for (int i = 0; i < run.m_iTypes; ++i)
        KELD_TRACE("spTypes[%d]=%s\n", i, run.m_pszTypes[i]);

    // Kept: one HEAP_free of the array, so its texts stay allocated.
    const auto FreeTypes = [&run] {
        if (run.m_pszTypes != nullptr)
            HEAP_free(run.m_pszTypes);
    };
    const auto FreeTargets = [of_targetList] {
        if (of_targetList != nullptr)
            HEAP_free(of_targetList);
    };

    for (int i = 0; i < run.m_iTypes && run.m_iRet == QSK_ok; ++i)
        run.m_iRet = CheckLength("type", run.m_pszTypes[i], uiJobTypeNameLength);
    if (run.m_iRet == QSK_ok)
        run.m_iRet = CheckLength("file_flag", file_flag, uiJobTypeNameLength);
    if (run.m_iRet == QSK_ok)
        run.m_iRet = CheckLength("target_flag", target_flag, uiJobTypeNameLength);
    if (run.m_iRet == QSK_ok)
        run.m_iRet = CheckLength("jobtype", jobtype, uiJobArgumentLength);
    if (run.m_iRet == QSK_ok)
        run.m_iRet = CheckLength("state_flag", state_flag, uiJobArgumentLength);
    if (run.m_iRet != QSK_ok) {
        FreeTargets();
        FreeTypes();
        KELD_FUNC_LEAVE("KELD_fct_CRJ_from_portal");
        return run.m_iRet;
    }
    KELD_CopyText(run.m_fields.m_szJobtype, jobtype, "szJobtype");

    char szDirName[uiDirNameSize] = "";
    // Kept: without a name no directory is made, and the files go into destination_path itself.
    if (KELD_buildDirName(szDirName) == QSK_ok) {
        if (!MakeJobDirectory(szDirName, &run.m_sFilePath))
            return iNoJobDirectory;  // at once; kept: both lists stay allocated
        KELD_TRACE("FilePath:%s\n", run.m_sFilePath.c_str());
        KELD_CopyText(job_directory, uiLongTextSize, run.m_sFilePath.c_str(), "job_directory");
    }

    KELD_TRACE("We have <%d> target objects\n", run.m_iTargets);
    FindIdentity(user_flag, IsText(mail_flag, "true"), IsText(city_flag, "true"), &run.m_fields);

    KELD_CopyText(run.m_fields.m_szState, state_flag, "szState");
    run.m_iRet = FindGroup(&run.m_fields);
    KELD_TRACE("szUser = <%s>    szusers_group = <%s>\n", run.m_fields.m_szUser,
               run.m_fields.m_szUsersGroup);
    KELD_TRACE("FilePath:%s user=<%s> city=<%s> mailto=<%s> state=<%s>\n", run.m_sFilePath.c_str(),
               run.m_fields.m_szUser, run.m_fields.m_szCity, run.m_fields.m_szMailto,
               run.m_fields.m_szState);

    for (int i = 0; i < run.m_iTargets && run.m_iRet == QSK_ok; ++i)
        if (!KELD_WriteJobTarget(&run, i)) {
            FreeTargets();  // kept: the list of types stays allocated
            return run.m_iRet;
        }

    FreeTargets();
    FreeTypes();
    bool bAtOnce = false;
    if (run.m_iRet == QSK_ok)
        run.m_iRet = WriteOptions(run.m_sFilePath, options, &bAtOnce);
    if (!bAtOnce)
        KELD_FUNC_LEAVE("KELD_fct_CRJ_from_portal");
    return run.m_iRet;
}

int KELD_buildDirName(char* dirName) {
    KELD_FUNC_ENTER("KELD_buildDirName");
    int iRet = QSK_ok;
    char* text = nullptr;
    if (dirName != nullptr)
        dirName[0] = '\0';
    KELD_CALL(iRet, DBO_get_user_id(&text));
    if (iRet == QSK_ok) {
        std::tm time{};
        char szPid[32] = "";  // a time, no process id: only the log calls it so
        (void)keld_os::LocalTime(keld_os::WallClock(), &time);
        (void)std::strftime(szPid, sizeof(szPid), "%Y%m%d%H%M%S", &time);
        KELD_TRACE("pid:<%s>\n", szPid);
        // The path goes into a command line that isn't quoted.
        KELD_RepSpecialChar(text);
        std::string sDirName = std::string(szPid) + (text != nullptr ? text : "");
        if (text != nullptr)
            HEAP_free(text);
        if (sDirName.size() >= uiDirNameSize)
            sDirName.clear();
        KELD_TRACE("dirName:<%s>\n", sDirName.c_str());
        KELD_CopyText(dirName, uiDirNameSize, sDirName.c_str(), "dirName");
    }
    KELD_FUNC_LEAVE("KELD_buildDirName");
    return iRet;
}

int KELD_getGroupFullName(tag_t group, char* fullName) {
    KELD_FUNC_ENTER("KELD_getGroupFullName");
    int iRet = QSK_ok;
    tag_t parent = NULLTAG;
    char text[uiNameSize] = "";
    KELD_CALL(iRet, ORG_ask_group_name(group, text));
    std::string sFullName = text;
    KELD_TRACE("s_group = <%s>\n", sFullName.c_str());
    if (iRet == QSK_ok)
        KELD_CALL(iRet, ORG_ask_group_parent(group, &parent));
    while (parent != NULLTAG && iRet == QSK_ok) {
        group = parent;
        sFullName += '.';
        text[0] = '\0';
        KELD_CALL(iRet, ORG_ask_group_name(group, text));
        // Kept: the name that crosses the limit isn't counted against it, and no scope line comes.
        if (sFullName.size() >= uiLongTextSize)
            return iRet;
        sFullName += text;
        KELD_TRACE("dummy = <%s>\n", sFullName.c_str());
        if (iRet == QSK_ok) {
            parent = NULLTAG;
            KELD_CALL(iRet, ORG_ask_group_parent(group, &parent));
        }
        KELD_TRACE("parent group tag is %d\n", static_cast<int>(parent));
    }
    KELD_CopyText(fullName, uiLongTextSize, sFullName.c_str(), "szusers_group");
    KELD_FUNC_LEAVE("KELD_getGroupFullName");
    return iRet;
}

int KELD_write_bom_infos(FILE* file, tag_t revision) {
    KELD_FUNC_ENTER("KELD_write_bom_infos");
    int iIgnored = QSK_ok;
    int iBvrs = 0;
    tag_t* ptBvrs = nullptr;
    KELD_CALL(iIgnored, ART_rev_list_bom_view_revs(revision, &iBvrs, &ptBvrs));
    KELD_TRACE("Found <%d> BOMRevs\n", iBvrs);
    for (int i = 0; i < iBvrs && ptBvrs != nullptr; ++i) {
        const tag_t bvr = ptBvrs[i];
        int count = 0;
        tag_t* list = nullptr;
        KELD_CALL(iIgnored, STR_list_occurrences_of_bvr(bvr, &count, &list));
        if (list != nullptr)
            HEAP_free(list);
        if (count <= 0)
            continue;
        char szType[uiNameSize] = "";
        char szName[uiNameSize] = "";
        KELD_CALL(iIgnored, ENT_ask_object_type(bvr, szType));
        KELD_CALL(iIgnored, ENT_ask_name(bvr, szName));
        if (file != nullptr)
            std::fprintf(file, "-bom_rev_type=%s\n-bom_rev_name=%s\n", szType, szName);
    }
    if (ptBvrs != nullptr)
        HEAP_free(ptBvrs);
    KELD_FUNC_LEAVE("KELD_write_bom_infos");
    return QSK_ok;
}
