#pragma once

// The status manager: changes the release status of an object and of everything that its INI file
// connects with it, in a test pass, an attribute pass and an action pass over the same tree. The
// file is described in docs/status-manager-ini.md.

#include "platform/keld_se.h"

class CKELD_StatusManager {
public:
    CKELD_StatusManager(const char* status);
    CKELD_StatusManager(const CKELD_StatusManager&) = delete;
    CKELD_StatusManager& operator=(const CKELD_StatusManager&) = delete;
    virtual ~CKELD_StatusManager();

    // ---- the run; 0, the number of a refusal (919401 to 919405) or a failed call's status ----
    [[nodiscard]] static int ManageStatus(tag_t object, const char* type, const char* status);
    [[nodiscard]] int Run(tag_t object, const char* type);

    // ---- the walk; pass is 1 in the test pass, 0 in the attribute pass, 2 in the action pass ----
    [[nodiscard]] int Process(const char* type, tag_t object, int iRekursion, int pass,
                              const char* prefix);
    [[nodiscard]] int ChangeRel(const char* section, tag_t object, int direction, int pass,
                                const char* prefix);

    // ---- what is done to one object ----
    [[nodiscard]] int CheckNeedFields(const char* section, const char* type, tag_t object);
    [[nodiscard]] int SetAttributes(const char* section, tag_t object);
    [[nodiscard]] int SetDefaultValuesByForm1(const char* formSection, tag_t object, tag_t form);
    [[nodiscard]] int DeleteDatasets(const char* section, tag_t object);
    [[nodiscard]] int DeleteDataset(tag_t relation, tag_t dataset);
    [[nodiscard]] int StartJob(tag_t object, const char* section);

    // ---- configuration ----
    static const char* GetConfigFileName();
    static void ReadConfigString(const char* section, const char* key, char* out /*1025*/,
                                 const char* defaultValue);
    static int ReadConfigInt(const char* section, const char* key, int defaultValue);

    CKELD_Status1* m_pStatus1;  // the run's first two statuses, made when they are first needed
    CKELD_Status1* m_pStatus2;
    bool m_bContinue;            // false stops every further Process
    char m_cStatus[100];         // target status of the run
    char m_cPrivilegName[1025];  // privilege that GLOBAL names

private:
    // Refuse an object that may not change: the checks of the test pass.
    [[nodiscard]] int TestObject(const char* section, const char* type, tag_t object,
                                 const char* latest);
    // Set the status that the section names, if it names one.
    [[nodiscard]] int SetReleaseState(const char* section, tag_t object);

    // The kinds of a walk list's entries.
    [[nodiscard]] int GoToLastItemRevision(tag_t object, int direction, int pass,
                                           const char* prefix);
    [[nodiscard]] int GoToItemOfRev(tag_t object, int direction, int pass, const char* prefix);
    [[nodiscard]] int GoToOldItemRevisions(tag_t object, int direction, int pass);
    [[nodiscard]] int GoToBomViewRevs(tag_t object, int direction, int pass, const char* prefix);
    [[nodiscard]] int GoToChildBomLines(tag_t object, int direction, int pass, const char* prefix);
    [[nodiscard]] int GoToBomLineRevision(tag_t object, int direction, int pass,
                                          const char* prefix);
    [[nodiscard]] int GoToRelated(const char* entry, tag_t object, int direction, int pass,
                                  const char* prefix);

    int m_iLevel;  // Process calls under way
};
