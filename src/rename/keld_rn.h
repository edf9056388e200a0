#pragma once

// The rename: a new item id, revision id, name and description across an item, its revisions, their
// BOM views, related objects and named references. There is no transaction: what has been saved
// stays saved, and the first failing status ends the work. Therefore the walk can run as a test
// first, which visits the same objects in the same order and changes nothing.
//
// The settings are described in docs/settings.md. Every function that returns an int returns 0 or
// the first failing status. Null texts count as empty unless a function says otherwise.

#include "platform/keld_se.h"

class CKELD_ReName {
public:
    // ---- settings ----

    // Fill the section KELD_ItemRename from the preference of that name: at the service's first
    // call, and at each call while preferences aren't kept. `lProfileLoaded` is the flag of the
    // calling service; it says that loading was tried.
    static void LoadRenameProfile(logical* lProfileLoaded);

    // ---- id registry ----

    // Whether the item's id may change, and registration of the new one if that is configured. It
    // stays registered whatever comes after. Without an active registry nothing is asked and
    // `sOldItemId` stays empty; `iMode` is the mode of ChangeRegisteredItemId.
    // Returns: 0, 919345 (this user may not change the id), 100304 (the new id is taken). An
    // unreachable registry is no failure.
    [[nodiscard]] static int CheckItemIdRegistry(tag_t tagItem, const char* sNewItemId,
                                                 char* sOldItemId /*129*/,
                                                 logical* lOldIdRegistered, int* iMode);

    // Take the old id out of the registry, unless an item still has it, the mode is 3 or the
    // preferences say no. An unreachable registry is no failure.
    [[nodiscard]] static int UnregisterOldItemId(const char* sOldItemId, int iMode);

    // ---- the walk ----

    // A test pass, then a modifying pass over the item and all its revisions.
    // Returns: 919320 for an empty id, without an entry on the error stack.
    [[nodiscard]] static int RenameItem(tag_t tagItem, const char* pcNewId, const char* pcNewName,
                                        const char* pcNewDesc);

    // One pass, as the bits of `iAction` say.
    // Returns: 919320 for an empty item or revision id, with an entry on the error stack.
    [[nodiscard]] static int RenameItemExtended(tag_t tagItem, tag_t tagRev,
                                                const char* pcNewItemId, const char* pcNewRevId,
                                                const char* pcNewName, const char* pcNewDesc,
                                                int iAction);

    // One pass of the walk. Without `tagRev` the item's first revision counts as the one that the
    // rename is about; `cNewRevId` may be null.
    [[nodiscard]] static int RenameItemTreeCombined(tag_t tagItem, tag_t tagRev,
                                                    const char* cNewItemId, const char* cNewRevId,
                                                    const char* pcNewName, const char* pcNewDesc,
                                                    int iAction);

    // The item's own id, name and description. A null id or description is left alone; an empty
    // name becomes the new id, an empty description clears. The lock is taken and given up.
    [[nodiscard]] static int ChangeItemInfos(tag_t tagItem, const char* cOldItemId,
                                             const char* cOldName, const char* cOldDesc,
                                             const char* cNewItemId, const char* pcNewName,
                                             const char* pcNewDesc);

    // One revision with its related objects, in either pass. `tagRev` is the revision that the
    // rename is about: it alone takes the new revision id. A read-only revision whose latest status
    // is listed in `cRenameOnStatus` is passed over.
    // Returns: 919342 or 919343 for a revision that can't change.
    // Leaves locked: the revision, if setting its id, name or description fails.
    [[nodiscard]] static int ChangeRevInfos(
        tag_t tagRev, tag_t tagThisRev, const char* cItemRevisionType,
        const char* cExclRevRelations, const char* cRenameOnStatus, const char* cOldItemId,
        const char* cOldRevId, const char* cOldName, const char* cOldDesc, const char* cNewItemId,
        const char* cNewRevId, const char* pcNewName, const char* pcNewDesc, int iAction,
        logical lChangeRevisionName, logical lChangeRevisionDesc);

    // Whether the revisions may change. If one may not for its status, but the last one has no
    // status and the revisions take part, RENAME_ITEM in `iAction` is cleared instead.
    // Returns: 919342 or 919343 for a revision that can't change.
    [[nodiscard]] static int CheckRevisionStatuses(int iRevCount, const tag_t* RevList,
                                                   const char* cRenameOnStatus, int* iAction);

    // The settings of the walk, by the item's type. Kept: the revision's type isn't used. The
    // relation VANE_based_on is among the excluded ones in any case.
    static void ReadRenameSettings(const char* cItemType, const char* cItemRevisionType,
                                   logical* lChangeRevisionName, logical* lChangeRevisionDesc,
                                   char* cExclItemRelations /*1025*/,
                                   char* cExclRevRelations /*1025*/,
                                   char* cRenameOnStatus /*1025*/);

    // ---- related objects ----

    // One related object, in either pass: test it, or rename it with its named references and older
    // versions. `p_bChanged` becomes true if its name or description was set; it may be null.
    // Returns: 919342 in the test pass for an object that can't change.
    [[nodiscard]] static int ProcessRelatedObj(rel_entry_s RelationInfo, const char* cExclRelations,
                                               const char* cPrimaryType, int iAction,
                                               const char* cOldItemId, const char* cOldRevId,
                                               const char* cOldName, const char* cOldDesc,
                                               const char* cNewItemId, const char* cNewRevId,
                                               const char* pcNewName, const char* pcNewDesc,
                                               logical* p_bChanged);

    // New name and description of one object, as the configured modes say. Everything from
    // `p_bChanged` on may be null. An object whose name can't be read is passed over.
    // Leaves locked: the object, if it ends up unchanged although a mode is above 0, or if a step
    // fails after it has been locked.
    [[nodiscard]] static int RenameObj(tag_t tagObj, const char* pcNewId, const char* pcOldId,
                                       logical* p_bChanged, const char* pcOldName,
                                       const char* pcOldDesc, const char* pcNewName,
                                       const char* pcNewDesc, const char* cPrimaryType,
                                       const char* cRelTypeName);

    // The same with item and revision ids.
    [[nodiscard]] static int RenameObjExtended(tag_t tagObj, const char* pcNewItemId,
                                               const char* pcNewRevId, const char* pcOldItemId,
                                               const char* pcOldRevId, logical* p_bChanged,
                                               const char* pcOldName, const char* pcOldDesc,
                                               const char* pcNewName, const char* pcNewDesc,
                                               const char* cPrimaryType, const char* cRelTypeName);

    // Original file names and object names of a dataset's named references, from its old name to
    // its new one. Without an old name all follow. `cNewDSName` may be cut in place to 128
    // characters.
    // Leaves locked: the reference at which a step fails.
    [[nodiscard]] static int RenameNamedRef(tag_t tagDS, const char* cOldName, char* cNewDSName);

    // The id of a classification object. The lock is taken and given up.
    [[nodiscard]] static int ChangeIcoId(tag_t tIco, const char* cOldItemId, const char* cOldRevId,
                                         const char* cNewItemId, const char* cNewRevId,
                                         int iAction);

    // Put the new id in the place of the first occurrence of the old one; without one `cNew` is the
    // old text. An empty old id counts as found at the start.
    // Returns: whether it occurs, also if both ids are equal.
    static logical ChangeString(const char* cOld, const char* cOldId, const char* cNewId,
                                char* cNew /*1025*/);

    // The same for the item id, and then for the revision id in the text after it. A revision id
    // before the item id, or in a text without it, stays.
    static logical ChangeStringExtended(const char* cOld, const char* cOldItemId,
                                        const char* cOldRevId, const char* cNewItemId,
                                        const char* cNewRevId, char* cNew /*1025*/);

    // The modes of an object's name and description, 0 to 4. BOM views have no primary type and no
    // relation; their keys have the text "(null)" for the type.
    static void ReadObjectChangeModes(const char* cPrimaryType, const char* cRelTypeName,
                                      const char* cObjType, int* iChangeName, int* iChangeDesc);

    // Whether an object that can't change doesn't refuse the rename.
    static logical IgnoreNoWriteAccess(const char* cPrimaryType, const char* cRelTypeName,
                                       tag_t secondary);

    // ---- follow-ups ----

    // Write the old id to the configured property of the item or its master form.
    // Returns: 919344 for a setting that names neither, without an entry on the error stack.
    [[nodiscard]] static int SaveOldItemIdToAttribute(tag_t tagItem, const char* pcOldId,
                                                      logical bTestOnly);

    // Start the configured workflow on the revision or the item; an object that is in a process
    // already gets none.
    [[nodiscard]] static int StartWorkflow(tag_t tagItem, tag_t tagRev);
};
