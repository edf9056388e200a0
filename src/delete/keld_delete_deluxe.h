#pragma once

// The go-ahead for a deletion: checks whether a list of folders and datasets may be deleted, and
// saves the datasets' files to the central backup directory first. Nothing is deleted here; the
// client does that after a status of 0. Backup tree and delete log are described in
// docs/delete-backup.md.

#include <cstdio>

#include "platform/keld_se.h"

// ---- checks ----

// Check each object of the list and, if nothing speaks against the deletion and a backup directory
// is configured, back up the files of all datasets in it. Other objects are passed over.
// Returns: 0 to go ahead; 919500 if a folder isn't empty, else 919502 if a dataset of a configured
// type belongs to a revision in a structure: all objects are checked then and nothing is saved;
// 1100 if a backup directory can't be made; the status of a failed call, which ends the run. What
// was saved before a failure stays saved.
// Keeps the preferences for the process unless KELD_IsLocPrefCacheDisabled().
[[nodiscard]] int delete_deluxe_check(int iObjectsCount, tag_t* ObjectsList);

// Whether a folder is empty.
// Returns: 0; 919500, also on the error stack with the folder's name; the status of a failed call.
[[nodiscard]] int check_folder(tag_t tFolder);

// Whether none of the revisions that a dataset specifies is used in a structure. `ptRevision`
// becomes the last revision examined, NULLTAG if there is none.
// Returns: 0; 919502, not on the error stack; the status of a failed call.
[[nodiscard]] int check_dataset(tag_t tDataset, tag_t* ptRevision);

// Whether a revision is used in no structure.
// Returns: 0; 919502, not on the error stack; the status of a failed call.
[[nodiscard]] int check_revision(tag_t tRevision, tag_t tDataset);

// ---- backup; the log may be null, its lines are left out then ----

// Save the files of a dataset below the backup directory, in the directory of the revision, of the
// first revision or item that holds the dataset if tRevision is 0, else of another object that
// holds it, else of the user.
// Returns: 0; 1100 if the directory can't be made; the status of a failed call.
[[nodiscard]] int PerformCentralBackup(tag_t tDataset, tag_t tRevision /*may be 0*/,
                                       const char* szCentralBackupDir, FILE* pDeleteLogFile);

// Make a directory with those above it, with full access for everybody; one that exists is left
// as it is, and so is a file. An empty path is no directory to make. A link is never taken for a
// directory.
// Returns: 0; 1100, also on the error stack with the path.
[[nodiscard]] int CreateAndCheckSubDir(const char* sPathBuffer);

// Write the files of a dataset into a directory, replacing files of their names, with a line in the
// log for each. Only the latest version of a dataset of this site has files to save.
// Returns: 0; 2010 for a path that doesn't fit, also on the error stack; the status of a failed
// call, after which the remaining files are left out.
[[nodiscard]] int ExportAllNamedRefs(tag_t tDataset, const char* sPathBuffer, FILE* pDeleteLogFile,
                                     const char* szUserId, const char* szParentObjString,
                                     const char* szDatasetName, const char* szDatasetType);

// Write one line to the delete log: time, user, parent, dataset name and type, path. A time that
// can't be formatted is left out.
// Returns: the status of the time's formatting.
[[nodiscard]] int WriteToDeleteLog(FILE* pDeleteLogFile, const char* szUserId,
                                   const char* szParentObjString, const char* szDatasetName,
                                   const char* szDatasetType, const char* sFilePathBuffer);
