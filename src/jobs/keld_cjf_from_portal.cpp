// Create-job service: a client asks for job files for the objects that it has selected, and for the
// start of a program that works on them.

#include <cstdio>
#include <cstring>
#include <string>

#include "frame/keld_copytext.h"
#include "frame/keld_entry.h"
#include "frame/keld_trace.h"
#include "jobs/keld_fct_cjf_from_portal.h"
#include "os/keld_os.h"
#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/keld_se.h"
#include "platform/mv_art.h"
#include "platform/mv_ent.h"
#include "platform/mv_err.h"
#include "platform/mv_heap.h"
#include "platform/mv_rel.h"
#include "platform/mv_svcarg.h"

namespace {

constexpr std::size_t uiArgumentSize = 1000;
constexpr std::size_t uiPathSize = 1024;
constexpr int iRefused = 919998;
constexpr int iNoMemory = 2002;

// The client's arguments as received.
struct Received {
    char* m_szTypGot = nullptr;
    char* m_szWinDestinationPath = nullptr;
    char* m_szUnixDestinationPath = nullptr;
    char* m_szJobTypeGot = nullptr;
    char* m_szStateFlagGot = nullptr;
    char* m_szOptionsGot = nullptr;
    char* m_szAllTypesFlag = nullptr;
    char* m_szRelationGot = nullptr;
    char* m_programexeGot = nullptr;
};

// The relation types that the client named.
struct RelationTypes {
    int m_iCount = 0;
    tag_t* m_ptTypes = nullptr;
    char** m_pszNames = nullptr;  // null for "all"
};

// The arguments of the writer: those of the client and the fixed settings.
struct JobRequest {
    char m_szTyp[uiArgumentSize] = "";
    std::string m_sDestinationPath;
    char m_szJobType[uiArgumentSize] = "";
    char m_szStateFlag[uiArgumentSize] = "";
    char m_szOptions[uiArgumentSize] = "";
    const char* m_szAllTypesFlag = "false";
    char m_szRelation[uiArgumentSize] = "";
    char m_szProgramexe[uiArgumentSize] = "";
    const char* m_szFileFlag = "false";
    logical m_bFileOnlyPid = false;
    const char* m_szUserFlag = "";
    const char* m_szMailFlag = "";
    const char* m_szCityFlag = "";
    const char* m_szStatus = "";
    const char* m_szOwner = "";
    const char* m_szGroup = "";
    const char* m_szTargetFlag = "";
};

bool IsEmptyOrBlank(const char* szText) {
    return szText == nullptr || szText[0] == '\0' || std::strcmp(szText, " ") == 0;
}

// Put a text on the client's error stack; the callers log the same words.
void StoreRefusal(const char* szText) {
    (void)ERR_store_error_s1(ERR_severity_error, iRefused, szText);
}

// Refuse a text that its field can't hold. Returns: 0, or 919998 with the error told.
int CheckLength(const char* szText, const char* szName) {
    const std::size_t uiLength = szText != nullptr ? std::strlen(szText) : 0;
    if (uiLength < uiArgumentSize)
        return QSK_ok;
    const std::string sText = std::string("Argument ") + szName + " has " +
                              std::to_string(uiLength) + " characters, at most " +
                              std::to_string(uiArgumentSize - 1) + " are allowed.\n";
    KELD_ERROR("%s", sText.c_str());
    StoreRefusal(sText.c_str());
    return iRefused;
}

// Copy a received text into its field. Returns: as CheckLength; the field is empty then.
int CopyArgument(char (&szField)[uiArgumentSize], const char* szText, const char* szName) {
    szField[0] = '\0';
    const int iRet = CheckLength(szText, szName);
    if (iRet == QSK_ok)
        KELD_CopyText(szField, szText, szName);
    return iRet;
}

// The base directory if the client names none.
std::string DefaultDestination() {
    std::string sTemp;
    if (!keld_os::GetEnv("TEMP", &sTemp) || sTemp.empty())
        return keld_os::bWindows ? "c:\\temp\\job" : "/tmp/job";
    return sTemp + keld_os::szPathSeparator + "job";
}

// The base directory for this system, not yet extended. Returns: as CheckLength.
int ChooseDestination(const Received& received, std::string* psPath) {
    const char* szPath = received.m_szWinDestinationPath;
    const char* szName = "szWinDestinationPath";
    if (!keld_os::bWindows && !IsEmptyOrBlank(received.m_szUnixDestinationPath)) {
        szPath = received.m_szUnixDestinationPath;
        szName = "szUnixDestinationPath";
    }
    KELD_TRACE(keld_os::bWindows ? "_WIN32\n" : "_UNIX\n");
    if (const int iRet = CheckLength(szPath, szName); iRet != QSK_ok)
        return iRet;
    *psPath = IsEmptyOrBlank(szPath) ? DefaultDestination() : szPath;
    return QSK_ok;
}

// Look up one relation type by its name. Kept: "no:" shows the number of names, not the index.
int FindRelationType(RelationTypes* pTypes, int iIndex) {
    const char* const szName = pTypes->m_pszNames[iIndex];
    tag_t tag = NULLTAG;
    int iRet = QSK_ok;
    KELD_CALL(iRet, REL_find_relation_type(szName, &tag));
    pTypes->m_ptTypes[iIndex] = tag;
    if (iRet == QSK_ok && tag == NULLTAG) {
        const std::string sText =
            "type NOT found: no:" + std::to_string(pTypes->m_iCount) + "; name:" + szName + "\n";
        KELD_TRACE("%s", sText.c_str());
        StoreRefusal(sText.c_str());
        return iRefused;
    }
    KELD_TRACE("type found: no:%d; name:%s, tag:%d\n", pTypes->m_iCount, szName,
               static_cast<int>(tag));
    return iRet;
}

tag_t* AllocateTags(int iCount) {
    return static_cast<tag_t*>(HEAP_alloc(static_cast<std::size_t>(iCount) * sizeof(tag_t)));
}

// The relation types of a list of names, or NULLTAG for "all".
int ResolveRelationTypes(const char* szRelation, RelationTypes* pTypes) {
    if (std::strcmp(szRelation, "all") == 0) {
        pTypes->m_ptTypes = AllocateTags(1);
        if (pTypes->m_ptTypes == nullptr)
            return iNoMemory;
        pTypes->m_ptTypes[0] = NULLTAG;
        pTypes->m_iCount = 1;
        return QSK_ok;
    }
    int iRet = KELD_splitItemString(szRelation, ";", &pTypes->m_iCount, &pTypes->m_pszNames);
    KELD_TRACE("iRelationTypeCount = %d\n", pTypes->m_iCount);
    if (iRet == QSK_ok && pTypes->m_iCount > 0) {
        pTypes->m_ptTypes = AllocateTags(pTypes->m_iCount);
        if (pTypes->m_ptTypes == nullptr)
            iRet = iNoMemory;
    }
    for (int i = 0; i < pTypes->m_iCount && iRet == QSK_ok; ++i)
        iRet = FindRelationType(pTypes, i);
    if (iRet != QSK_ok)
        KELD_ERROR("%s", "Argument [reference] value is not valid.\n");
    return iRet;
}

// Put the latest revision in the place of each item. *piRet becomes the status of the last target's
// id look-up.
// Returns: not 0 if the service is to return at once.
int ExpandTargets(int iCountTargets, tag_t* tagTargets, int* piRet) {
    for (int i = 0; i < iCountTargets && tagTargets != nullptr; ++i) {
        logical bIsItem = false;
        char* sItemRevName = nullptr;
        KELD_TRACE("Targets-tags %d\n", static_cast<int>(tagTargets[i]));
        KELD_QSK_CALL(KELD_isObjectOfTypeExt(tagTargets[i], "Item", &bIsItem, true));
        if (bIsItem) {
            // Kept: an item without a revision is no failure, so its status isn't the service's.
            int iRet = QSK_ok;
            KELD_CALL(iRet, ENT_ask_id_string(tagTargets[i], &sItemRevName));
            KELD_CALL(iRet, ART_ask_latest_rev(tagTargets[i], &tagTargets[i]));
            if (iRet == QSK_ok && tagTargets[i] != NULLTAG)
                KELD_TRACE("Latest ItemRevision for Item found.\n");
            else
                KELD_TRACE("An Item with name <%s> has no revision\n", sItemRevName);
            if (sItemRevName != nullptr)
                HEAP_free(sItemRevName);
            sItemRevName = nullptr;
            KELD_TRACE("Cleaned up sItemRevName\n");
        }
        // Kept: each target overwrites the status, so that only the last one counts.
        KELD_CALL(*piRet, ENT_ask_id_string(tagTargets[i], &sItemRevName));
        KELD_TRACE("id = %s\n", sItemRevName);
        if (sItemRevName != nullptr)
            HEAP_free(sItemRevName);
        KELD_TRACE("Cleaned up sItemRevName\n");
    }
    return QSK_ok;
}

// Run the client's program on the job directory and wait for its end. Kept: its exit code isn't
// looked at, and no part of the command is quoted.
int StartServer(const char* programexe, const char* szJobDirectory) {
    KELD_TRACE("Calling the command!\n");
    const std::string system_command = std::string(programexe) + " " + szJobDirectory;
    KELD_TRACE("system_command <%s>\n", system_command.c_str());
    if (keld_os::RunCommand(system_command.c_str()) != -1)
        return QSK_ok;
    constexpr char szText[] = "ERROR: \"KELD_CRJ_from_portal\" did not start the server.\n";
    std::printf("ERROR starting the server!\n");
    KELD_ERROR("%s", szText);
    StoreRefusal(szText);
    return iRefused;
}

// Arguments 1 to 3: the types and the base directory.
// Returns: the status of the path's extension. Kept: those of the reads are dropped.
int ReadTypesAndDestination(Received* pReceived, JobRequest* pRequest) {
    char*& szTypGot = pReceived->m_szTypGot;
    char*& szWinDestinationPath = pReceived->m_szWinDestinationPath;
    char*& szUnixDestinationPath = pReceived->m_szUnixDestinationPath;
    int iRead = QSK_ok;
    KELD_CALL(iRead, SVCARG_get_string_argument(&szTypGot));
    int iRet = CopyArgument(pRequest->m_szTyp, szTypGot, "szTyp");
    KELD_TRACE("New stringToServer = %s\n", pRequest->m_szTyp);
    if (IsEmptyOrBlank(pRequest->m_szTyp))
        KELD_CopyText(pRequest->m_szTyp, "CADPART;CADMASTER", "szTyp");
    KELD_TRACE("New stringToServer = %s\n", pRequest->m_szTyp);
    if (iRead == QSK_ok) {
        KELD_CALL(iRead, SVCARG_get_string_argument(&szWinDestinationPath));
        KELD_TRACE("New stringToServer = %s\n", szWinDestinationPath);
        if (iRead == QSK_ok) {
            KELD_CALL(iRead, SVCARG_get_string_argument(&szUnixDestinationPath));
            KELD_TRACE("New stringToServer = %s\n", szUnixDestinationPath);
        }
    }
    if (iRet == QSK_ok)
        iRet = ChooseDestination(*pReceived, &pRequest->m_sDestinationPath);
    if (iRet != QSK_ok)
        return iRet;
    char szExtended[uiPathSize] = "";
    KELD_TRACE("ExtendPathVar:\n");
    iRet = KELD_ExtendPathVar(pRequest->m_sDestinationPath.c_str(), szExtended);
    if (iRet == QSK_ok)
        pRequest->m_sDestinationPath = szExtended;
    KELD_TRACE("Destination-Path with extended path-variable will be <%s>\n",
               pRequest->m_sDestinationPath.c_str());
    return iRet;
}

// A read of an argument with its copy. Returns: the status of the read, else as CopyArgument.
int CopyRead(int iRead, char (&szField)[uiArgumentSize], const char* szText, const char* szName) {
    const int iCopied = CopyArgument(szField, szText, szName);
    return iRead != QSK_ok ? iRead : iCopied;
}

// Arguments 4 to 6: texts that go through to the files.
int ReadJobTexts(Received* pReceived, JobRequest* pRequest) {
    char*& szJobTypeGot = pReceived->m_szJobTypeGot;
    char*& szStateFlagGot = pReceived->m_szStateFlagGot;
    char*& szOptionsGot = pReceived->m_szOptionsGot;
    int iRet = QSK_ok;
    KELD_CALL(iRet, SVCARG_get_string_argument(&szJobTypeGot));
    iRet = CopyRead(iRet, pRequest->m_szJobType, szJobTypeGot, "szJobType");
    KELD_TRACE("New stringToServer (szJobType) = %s\n", pRequest->m_szJobType);
    if (iRet != QSK_ok)
        return iRet;
    KELD_CALL(iRet, SVCARG_get_string_argument(&szStateFlagGot));
    iRet = CopyRead(iRet, pRequest->m_szStateFlag, szStateFlagGot, "szStateFlag");
    KELD_TRACE("New stringToServer (szStateFlag) = %s\n", pRequest->m_szStateFlag);
    if (iRet != QSK_ok)
        return iRet;
    KELD_CALL(iRet, SVCARG_get_string_argument(&szOptionsGot));
    iRet = CopyRead(iRet, pRequest->m_szOptions, szOptionsGot, "szOptions");
    KELD_TRACE("New stringToServer (szOptions) = %s\n", pRequest->m_szOptions);
    return iRet;
}

// Argument 7: exactly "true" or "false"; empty or one blank means "false".
int ReadAllTypes(Received* pReceived, JobRequest* pRequest) {
    char*& szAllTypesFlag = pReceived->m_szAllTypesFlag;
    int iRet = QSK_ok;
    KELD_CALL(iRet, SVCARG_get_string_argument(&szAllTypesFlag));
    KELD_TRACE("New stringToServer = %s\n", szAllTypesFlag);
    // The default isn't written into the received block, whose room isn't known.
    pRequest->m_szAllTypesFlag = IsEmptyOrBlank(szAllTypesFlag) ? "false" : szAllTypesFlag;
    if (std::strcmp(pRequest->m_szAllTypesFlag, "true") != 0 &&
        std::strcmp(pRequest->m_szAllTypesFlag, "false") != 0) {
        constexpr char szText[] = "Argument [all_types] value is not valid.\n";
        KELD_ERROR("%s", szText);
        StoreRefusal(szText);
        KELD_TRACE("Vor iRetcode = !QSK_ok \n");
        iRet = iRefused;
        KELD_TRACE("Nach iRetcode = !QSK_ok \n");
        return iRet;
    }
    KELD_TRACE("szAllTypesFlag = %s\n", pRequest->m_szAllTypesFlag);
    return iRet;
}

// Argument 8: the relation types.
int ReadRelationTypes(Received* pReceived, JobRequest* pRequest, RelationTypes* pTypes) {
    char*& szRelationGot = pReceived->m_szRelationGot;
    int iRet = QSK_ok;
    KELD_CALL(iRet, SVCARG_get_string_argument(&szRelationGot));
    iRet = CopyRead(iRet, pRequest->m_szRelation, szRelationGot, "szRelation");
    KELD_TRACE("New stringToServer (szRelation) = %s\n", pRequest->m_szRelation);
    if (iRet != QSK_ok)
        return iRet;
    if (IsEmptyOrBlank(pRequest->m_szRelation))
        KELD_CopyText(pRequest->m_szRelation, VANE_specification, "szRelation");
    return ResolveRelationTypes(pRequest->m_szRelation, pTypes);
}

// Argument 9: the program.
int ReadProgram(Received* pReceived, JobRequest* pRequest) {
    char*& programexeGot = pReceived->m_programexeGot;
    int iRet = QSK_ok;
    KELD_CALL(iRet, SVCARG_get_string_argument(&programexeGot));
    iRet = CopyRead(iRet, pRequest->m_szProgramexe, programexeGot, "programexe");
    KELD_TRACE("New stringToServer (programexe) = %s\n", pRequest->m_szProgramexe);
    return iRet;
}

// Everything but the targets. The first failure leaves the remaining arguments unread.
int ReadRequest(Received* pReceived, JobRequest* pRequest, RelationTypes* pTypes) {
    int iRet = ReadTypesAndDestination(pReceived, pRequest);
    pRequest->m_szFileFlag = "false";
    KELD_TRACE("szFileFlag:%s\n", pRequest->m_szFileFlag);
    pRequest->m_bFileOnlyPid = false;
    KELD_TRACE("bFileOnlyPid:%d\n", pRequest->m_bFileOnlyPid ? 1 : 0);
    if (iRet != QSK_ok)
        return iRet;
    pRequest->m_szUserFlag = "currentUserId";
    KELD_TRACE("current user:%s\n", pRequest->m_szUserFlag);
    pRequest->m_szMailFlag = "true";
    KELD_TRACE("szMailFlag = %s\n", pRequest->m_szMailFlag);
    pRequest->m_szCityFlag = "true";
    KELD_TRACE("szCityFlag = %s\n", pRequest->m_szCityFlag);
    if (iRet = ReadJobTexts(pReceived, pRequest); iRet != QSK_ok)
        return iRet;
    pRequest->m_szStatus = "IREV";
    KELD_TRACE("szStatus = %s\n", pRequest->m_szStatus);
    pRequest->m_szOwner = "IREV";
    KELD_TRACE("szOwner = %s\n", pRequest->m_szOwner);
    pRequest->m_szGroup = "IREV";
    KELD_TRACE("szGroup = %s\n", pRequest->m_szGroup);
    if (iRet = ReadAllTypes(pReceived, pRequest); iRet != QSK_ok)
        return iRet;
    pRequest->m_szTargetFlag = "false";
    KELD_TRACE("szTargetFlag = %s\n", pRequest->m_szTargetFlag);
    if (iRet = ReadRelationTypes(pReceived, pRequest, pTypes); iRet != QSK_ok)
        return iRet;
    return ReadProgram(pReceived, pRequest);
}

void FreeText(char** pszText, const char* szTrace) {
    if (*pszText == nullptr)
        return;
    HEAP_free(*pszText);
    *pszText = nullptr;
    KELD_TRACE("%s", szTrace);
}

// Kept: the received all-types flag and the array of names stay allocated.
void CleanUp(Received* pReceived, RelationTypes* pTypes) {
    KELD_TRACE("Clean up:\n");
    FreeText(&pReceived->m_szTypGot, "Cleaned up szTyp\n");
    FreeText(&pReceived->m_szWinDestinationPath, "Cleaned up szWinDestinationPath\n");
    FreeText(&pReceived->m_szUnixDestinationPath, "Cleaned up szUnixDestinationPath\n");
    FreeText(&pReceived->m_szJobTypeGot, "Cleaned up szJobType\n");
    FreeText(&pReceived->m_szStateFlagGot, "Cleaned up szStateFlag\n");
    FreeText(&pReceived->m_szOptionsGot, "Cleaned up szOptions\n");
    FreeText(&pReceived->m_szRelationGot, "Cleaned up szRelation\n");
    FreeText(&pReceived->m_programexeGot, "Cleaned up programexe\n");
    KELD_TRACE("Clean up tp... spRelationTypes.\n");
    if (pTypes->m_iCount <= 0)
        return;
    if (pTypes->m_ptTypes != nullptr)
        HEAP_free(pTypes->m_ptTypes);
    for (int i = 0; i < pTypes->m_iCount && pTypes->m_pszNames != nullptr; ++i)
        if (pTypes->m_pszNames[i] != nullptr)
            HEAP_free(pTypes->m_pszNames[i]);
    pTypes->m_pszNames = nullptr;
}

}  // namespace

int KELD_SrvCallCRJFromPortal(int* result) {
    return KELD_Entry([&] {
        int iSlot = 0;
        if (result == nullptr)
            result = &iSlot;
        KELD_FUNC_ENTER("KELD_SrvCallCRJFromPortal");
        *result = 0;
        Received received;
        JobRequest request;
        RelationTypes types;
        // Guarded apart, so that the clean-up below comes also when memory runs out.
        int iRet = KELD_Entry([&] { return ReadRequest(&received, &request, &types); });

        int iCountTargets = 0;
        tag_t* tagTargets = nullptr;
        KELD_TRACE("Start getting tags \n");
        if (iRet == QSK_ok) {
            KELD_CALL(iRet, SVCARG_get_tag_array_argument(&iCountTargets, &tagTargets));
            KELD_TRACE("Number of given tags: [%d]\n", iCountTargets);
            // Kept: returned at once, without the clean-up and the closing scope line.
            if (const int iAtOnce = ExpandTargets(iCountTargets, tagTargets, &iRet);
                iAtOnce != QSK_ok)
                return iAtOnce;
        }

        char szJobDirectory[uiPathSize] = "";
        if (iRet == QSK_ok) {
            // The list of targets belongs to the writer from here on.
            iRet = KELD_Entry([&] {
                return KELD_fct_CRJ_from_portal(
                    request.m_sDestinationPath.c_str(), request.m_szTyp, request.m_szAllTypesFlag,
                    request.m_szTargetFlag, types.m_ptTypes, types.m_iCount, request.m_szJobType,
                    request.m_szOptions, request.m_szStateFlag, request.m_szFileFlag,
                    request.m_szUserFlag, request.m_szMailFlag, request.m_szCityFlag,
                    request.m_szStatus, request.m_szOwner, request.m_szGroup,
                    request.m_bFileOnlyPid, iCountTargets, tagTargets, szJobDirectory);
            });
            if (iRet == QSK_ok)
                *result = 0;
        }
        KELD_TRACE("Call from client passed.\n");

        const char* const programexe = request.m_szProgramexe;
        if (iRet == QSK_ok && !IsEmptyOrBlank(programexe) && std::strcmp(programexe, "none") != 0)
            iRet = KELD_Entry([&] { return StartServer(programexe, szJobDirectory); });

        CleanUp(&received, &types);
        KELD_FUNC_LEAVE("KELD_SrvCallCRJFromPortal");
        return iRet;
    });
}
