// The walk of the status manager: Process handles one object, ChangeRel follows one of its
// section's walk lists, and the two call each other. Stack frames are kept small, since a tree may
// be deep: values of settings live on the heap, and code that needs buffers is in separate
// functions.

#include <cstring>
#include <string>

#include "frame/keld_trace.h"
#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_art.h"
#include "platform/mv_dst.h"
#include "platform/mv_ent.h"
#include "platform/mv_heap.h"
#include "platform/mv_line.h"
#include "platform/mv_rel.h"
#include "status/keld_statusconfig.h"
#include "status/keld_statusmanager1.h"

namespace {

constexpr int iMaxLevel = 1000;
constexpr int iTooDeep = 2002;

constexpr int iAttributePass = 0;
constexpr int iTestPass = 1;
constexpr int iActionPass = 2;

// One Process call under way.
class Level {
public:
    explicit Level(int& iLevel) : m_iLevel(iLevel) { ++m_iLevel; }
    Level(const Level&) = delete;
    Level& operator=(const Level&) = delete;
    ~Level() { --m_iLevel; }

private:
    int& m_iLevel;
};

bool EqualNoCase(const char* szLeft, const char* szRight) {
    const auto lower = [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    };
    while (*szLeft != '\0' && lower(*szLeft) == lower(*szRight))
        ++szLeft, ++szRight;
    return lower(*szLeft) == lower(*szRight);
}

// BOM lines have no status, no checks and no attributes of their own.
bool IsBomLine(const char* type) {
    return EqualNoCase(type, "BOMLine");
}

// Whether the object's status is one that the section leaves alone. Kept: the setting isn't split
// but searched for the name, so a part of a listed name counts as listed.
bool IsLeftAlone(const char* section, const char* latest) {
    const std::string sStatuses = KELD_ReadConfigText(section, "DoNothingOnReleaseStatus");
    return !sStatuses.empty() && latest[0] != '\0' && sStatuses.find(latest) != std::string::npos;
}

const char* DirectionKey(int direction) {
    switch (direction) {
        case KELD_STATMGR_CHANGEFORFARD:
            return "ChangeForward";
        case KELD_STATMGR_CHANGEBACK:
            return "ChangeBack";
        default:
            return "ChangeNoRek";
    }
}

}  // namespace

// Handle one object and those that its walk lists name: first the targets that lead no further,
// then the way forward, then the object itself, then the way back.
int CKELD_StatusManager::Process(const char* type, tag_t object, int iRekursion, int pass,
                                 const char* prefix) {
    if (!m_bContinue)
        return QSK_ok;
    const std::string sSection = KELD_ProcessSection(m_cStatus, prefix, type);
    const char* const section = sSection.c_str();
    if (m_iLevel >= iMaxLevel) {
        KELD_ERROR("%s: more than %d levels, the configuration has a cycle\n", section, iMaxLevel);
        return iTooDeep;
    }
    const Level level(m_iLevel);

    char latest[33] = "";
    if (!IsBomLine(type))
        KELD_QSK_CALL(KELD_ask_latest_status(object, latest));
    KELD_TRACE("### Process on:%s LastStat:%s ###\n", section, latest);
    // Read in each pass. Kept: the action pass never skips, since the status has changed by then.
    const bool bLeftAlone = IsLeftAlone(section, latest);
    if (bLeftAlone && pass != iActionPass) {
        KELD_TRACE("   Scip Process on:%s Status:%s\n", section, latest);
        return QSK_ok;
    }
    if (pass == iTestPass && !IsBomLine(type)) {
        if (const int iRet = TestObject(section, type, object, latest); iRet != QSK_ok)
            return iRet;
    }

    if (iRekursion != KELD_STATMGR_CHANGENOREK) {
        KELD_QSK_CALL(ChangeRel(section, object, KELD_STATMGR_CHANGENOREK, pass, prefix));
        if (iRekursion != KELD_STATMGR_CHANGEBACK)
            KELD_QSK_CALL(ChangeRel(section, object, KELD_STATMGR_CHANGEFORFARD, pass, prefix));
    }

    if (pass == iActionPass) {
        (void)StartJob(object, section);  // a job that doesn't start stops nothing
    } else if (pass == iAttributePass && !IsBomLine(type)) {
        // Kept: after a failure of these two, which is logged, the status is set all the same.
        (void)SetAttributes(section, object);
        (void)DeleteDatasets(section, object);
        if (ReadConfigInt(section, "Purge", 0) == 1)
            KELD_QSK_CALL(DST_purge_dataset_revs(object));
        if (const int iRet = SetReleaseState(section, object); iRet != QSK_ok)
            return iRet;
    }

    if (iRekursion == KELD_STATMGR_CHANGENOREK || iRekursion == KELD_STATMGR_CHANGEFORFARD)
        return QSK_ok;
    KELD_QSK_CALL(ChangeRel(section, object, KELD_STATMGR_CHANGEBACK, pass, prefix));
    return QSK_ok;
}

// Follow one of a section's three walk lists.
int CKELD_StatusManager::ChangeRel(const char* section, tag_t object, int direction, int pass,
                                   const char* prefix) {
    const std::string sList = KELD_ReadConfigText(section, DirectionKey(direction));
    std::string sEntry;
    if (!KELD_GetListEntry(sList, ';', 0, &sEntry)) {
        KELD_TRACE("### Break from:%s ###\n", section);
        return QSK_ok;
    }
    // Kept: the index is one signed byte; after entry 127 it turns negative, which ends the list.
    for (signed char i = 0; KELD_GetListEntry(sList, ';', i, &sEntry); ++i) {
        KELD_TRACE("#Go from:%s to %s / %d.%d.%s\n", section, sEntry.c_str(), direction, pass,
                   prefix);
        const std::string sKind = KELD_ListEntry(sEntry, '.', 0);
        int iRet = QSK_ok;
        if (sKind == "LastItemRevision")
            iRet = GoToLastItemRevision(object, direction, pass, prefix);
        else if (sKind == "ItemOfRev")
            iRet = GoToItemOfRev(object, direction, pass, prefix);
        else if (sKind == "OldItemRevision")
            iRet = GoToOldItemRevisions(object, direction, pass);
        else if (sKind == "BOM" || sKind == "Old_BOM")  // kept: "Old_" changes nothing here
            iRet = GoToBomViewRevs(object, direction, pass, prefix);
        else if (sKind == "ChildBomLines")
            iRet = GoToChildBomLines(object, direction, pass, prefix);
        else if (sKind == "bl_revision")
            iRet = GoToBomLineRevision(object, direction, pass, prefix);
        else if (sKind == "Rel" || sKind == "Old_Rel")
            iRet = GoToRelated(sEntry.c_str(), object, direction, pass, prefix);
        else
            KELD_WARNING("CKELD_StatusManager::ChangeRel Relation %s not supported\n",
                         sKind.c_str());
        if (iRet != QSK_ok)
            return iRet;
    }
    KELD_TRACE("### Break from:%s ###\n", section);
    return QSK_ok;
}

// From an item to its latest revision.
int CKELD_StatusManager::GoToLastItemRevision(tag_t object, int direction, int pass,
                                              const char* prefix) {
    tag_t next = NULLTAG;
    char type[129] = "";
    KELD_QSK_CALL(ART_ask_latest_rev(object, &next));
    KELD_QSK_CALL(ENT_ask_object_type(next, type));
    KELD_QSK_CALL(Process(type, next, direction, pass, prefix));
    return QSK_ok;
}

// From a revision to its item.
int CKELD_StatusManager::GoToItemOfRev(tag_t object, int direction, int pass, const char* prefix) {
    tag_t next = NULLTAG;
    char type[129] = "";
    KELD_QSK_CALL(ART_ask_item_of_rev(object, &next));
    KELD_QSK_CALL(ENT_ask_object_type(next, type));
    KELD_QSK_CALL(Process(type, next, direction, pass, prefix));
    return QSK_ok;
}

// From a revision to the older ones of its item, under the prefix of their sections. Kept: from an
// object that isn't among the item's revisions it goes to all of them.
int CKELD_StatusManager::GoToOldItemRevisions(tag_t object, int direction, int pass) {
    if (pass == iTestPass)  // kept: older revisions aren't checked
        return QSK_ok;
    tag_t item = NULLTAG;
    int count = 0;
    tag_t* revs = nullptr;
    KELD_QSK_CALL(ART_ask_item_of_rev(object, &item));
    KELD_QSK_CALL(ART_list_all_revs(item, &count, &revs));
    for (int i = 0; i < count && revs[i] != object; ++i) {
        const tag_t rev = revs[i];
        char type[129] = "";
        KELD_QSK_CALL(ENT_ask_object_type(rev, type));
        KELD_QSK_CALL(Process(type, rev, direction, pass, "Old_"));
    }
    HEAP_free(revs);
    return QSK_ok;
}

// From a revision to its BOM view revisions.
int CKELD_StatusManager::GoToBomViewRevs(tag_t object, int direction, int pass,
                                         const char* prefix) {
    int count = 0;
    tag_t* bvrs = nullptr;
    KELD_QSK_CALL(ART_rev_list_bom_view_revs(object, &count, &bvrs));
    for (int i = 0; i < count; ++i)
        KELD_QSK_CALL(Process("BOM", bvrs[i], direction, pass, prefix));
    HEAP_free(bvrs);
    return QSK_ok;
}

// From a BOM line to its child lines.
int CKELD_StatusManager::GoToChildBomLines(tag_t object, int direction, int pass,
                                           const char* prefix) {
    int count = 0;
    tag_t* lines = nullptr;
    KELD_QSK_CALL(LINE_ask_child_lines(object, &count, &lines));
    for (int i = 0; i < count; ++i)
        KELD_QSK_CALL(Process("BOMLine", lines[i], direction, pass, prefix));
    HEAP_free(lines);
    return QSK_ok;
}

// From a BOM line to the revision that it shows.
int CKELD_StatusManager::GoToBomLineRevision(tag_t object, int direction, int pass,
                                             const char* prefix) {
    int attribute = 0;
    tag_t next = NULLTAG;
    char type[129] = "";
    KELD_QSK_CALL(LINE_look_up_attribute("bl_revision", &attribute));
    KELD_QSK_CALL(LINE_ask_attribute_tag(object, attribute, &next));
    KELD_QSK_CALL(ENT_ask_object_type(next, type));
    KELD_QSK_CALL(Process(type, next, direction, pass, prefix));
    return QSK_ok;
}

// From an object to the secondary objects of a relation, of one type or of all ("*"). Kept: a
// relation that the platform doesn't know means all relations.
int CKELD_StatusManager::GoToRelated(const char* entry, tag_t object, int direction, int pass,
                                     const char* prefix) {
    const std::string sRelation = KELD_ListEntry(entry, '.', 1);
    const std::string sType = KELD_ListEntry(entry, '.', 2);
    const std::string sReachedAs = sRelation + "." + sType;
    tag_t relationType = NULLTAG;
    int count = 0;
    rel_entry_s* relations = nullptr;
    KELD_QSK_CALL(REL_find_relation_type(sRelation.c_str(), &relationType));
    KELD_QSK_CALL(REL_list_secondary_objects(object, relationType, &count, &relations));
    for (int i = 0; i < count; ++i) {
        const tag_t secondary = relations[i].secondary;
        if (sType != "*" && !KELD_HasObjectType(secondary, sType))
            continue;
        KELD_QSK_CALL(Process(sReachedAs.c_str(), secondary, direction, pass, prefix));
    }
    HEAP_free(relations);
    return QSK_ok;
}
