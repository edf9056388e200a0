#pragma once

// The job file writer: a new directory of job files for an outside batch program. The format of the
// files is described in docs/job-files.md. The writer reads from the platform and changes no
// object.

#include <cstdio>

#include "platform/types.h"

// Write the job files of the targets and options.txt into a new directory below destination_path.
//
//   type             wanted object types, separated by ";", tried in this order; "Item" means the
//                    item of the revision. At most 128 bytes for each
//   all_types        "true": go through all types for each target; else stop at the first one that
//                    found something
//   target_flag      "true": an attachment counts only if it is one of the targets. At most 128
//   tpRelationTypes  relation types to search; NULLTAG means all
//   jobtype, state_flag  values of -jobtype and -state, at most 240 bytes each
//   options          content of options.txt; "%%" in it becomes "%"
//   file_flag        "true": one file for each target and type; "false": one for each attachment;
//                    else none but those of items. At most 128
//   user_flag        "currentUserName", "currentUserId"; else no user, mail address or city
//   mail_flag, city_flag  "true": fill -mailto and -city
//   new_status, new_owner, new_group  traced, no other effect
//   bFileOnlyPid     leaves the target's id out of the names of the files
//   of_targetList    item revisions; others are passed over
//   job_directory    receives the path of the job directory once that exists, else it is left alone
//
// All texts are compared as a whole and may be null, which counts as empty.
//
// Returns: 0; 515186 if the directory can't be made (it exists, its parent doesn't, or its path has
// more than 255 bytes); 2010 if a file can't be made, for a path without room for options.txt, or
// for an argument longer than named above; 2002 if there is no memory; else the status of a
// platform call that failed. What was made before stays; without status 0 there is no options.txt.
// Frees: of_targetList, with HEAP_free, on every path but the failed creation of the directory.
int KELD_fct_CRJ_from_portal(const char* destination_path, const char* type, const char* all_types,
                             const char* target_flag, const tag_t* tpRelationTypes,
                             int iRelationTypeCount, const char* jobtype, const char* options,
                             const char* state_flag, const char* file_flag, const char* user_flag,
                             const char* mail_flag, const char* city_flag, const char* new_status,
                             const char* new_owner, const char* new_group, logical bFileOnlyPid,
                             int iCountTargets, tag_t* of_targetList, char* job_directory /*1024*/);

// Name of a job directory: the local time as 14 digits and the user's id, cleaned as
// KELD_RepSpecialChar does, since the name becomes part of a command line that isn't quoted. A name
// of more than 255 bytes is never cut but left empty.
// Returns: the status of DBO_get_user_id; the name is empty on failure.
int KELD_buildDirName(char* dirName /*256*/);

// Names of a group and of all above it, joined by dots, its own first. At most 1023 bytes; where
// the names before the last exceed that, `fullName` is left untouched.
// Returns: 0, or the status of the platform call that ended the way up.
int KELD_getGroupFullName(tag_t group, char* fullName /*1024*/);

// Write type and name of each BOM view revision of the revision that has occurrences.
// Returns: 0 always; what can't be read is left out.
int KELD_write_bom_infos(FILE* file, tag_t revision);
