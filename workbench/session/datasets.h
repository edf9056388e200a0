#pragma once

// Datasets and their files. An anchor lists the versions of a dataset, the newest last; the file of
// a file object is in the volume under the object's tag.
//
// Attributes used here:
//   Dataset        anchor -> DatasetAnchor, version_no (int, from 1), tool, format (string),
//                  ref_names (string[]), ref_types (int[]), ref_list (reference[]); the three
//                  run in parallel, one entry for each named reference
//   DatasetAnchor  revisions -> Dataset[]
//   VaneFile       original_file_name (string, 132), file_type, byte_size (int), sha256 (string)

#include <string>
#include <string_view>
#include <vector>

#include "workbench/session/session.h"

namespace mervane {

struct NamedReference {
    std::string name;
    int kind = 0;
    tag_t object = NULLTAG;
};

inline constexpr int kFileReference = 2;  // kind of a named reference to a file

// ---- types ----
// The dataset type of this name; null if there is none.
const Type* findDatasetType(Session& session, std::string_view name);
// The named references that its datasets may have; empty: any.
std::vector<std::string> referenceNamesOf(Session& session, const Type& type);
// Its tool, its own or that of the nearest type above it; null if there is none.
const Tool* defaultTool(Session& session, const Type& type);

// ---- making; nothing is stored before the object is saved ----
// A first version with its anchor, which is stored along with it. Failure kUnknownType for a type
// that is none of datasets, kTooLong.
Object& newDataset(Session& session, const Type& type, const std::string& name,
                   const std::string& description);
// A file object with a copy of the file in the volume. A process that ends before the object is
// saved leaves a file that no object owns. An empty original name is the path's last part. Failure
// kFileFailure if the file can't be read or copied, kTooLong.
Object& importFile(Session& session, const std::string& path, const std::string& original_name,
                   int file_type);

// ---- the same and stored when the call returns, as the admin interface has them ----
tag_t createDataset(Session& session, const std::string& type, const std::string& name);
// Locks the anchor and what refers to the newest version, while it writes; these may leave the
// cache in a failure.
tag_t createDatasetVersion(Session& session, tag_t dataset);
tag_t addFile(Session& session, tag_t dataset, const std::string& reference_name,
              const std::string& path, const std::string& original_name);
void addNamedReference(Session& session, tag_t dataset, const std::string& reference_name,
                       tag_t object);

// ---- versions; a dataset without an anchor is its own only version ----
// Failure kUnknownObject if it has none.
tag_t datasetAnchor(Session& session, Object& dataset);
// Oldest first, those that aren't deleted. Failure kWrongClass for an object that is no anchor.
std::vector<tag_t> datasetVersions(Session& session, tag_t anchor);
tag_t latestVersion(Session& session, Object& dataset);
// Failure kNoPreviousVersion for the oldest one.
tag_t previousVersion(Session& session, Object& dataset);

// ---- named references ----
// Those whose objects aren't deleted.
std::vector<NamedReference> namedReferences(Session& session, Object& dataset);
// Set the references with this one after the others; the others that lead nowhere go. Failure
// kNotLocked, kBadValue for a name that the type doesn't have, kUnknownObject.
void addReference(Session& session, Object& dataset, const NamedReference& reference);
// The same in the place of an old reference; one of NULLTAG adds. Failure kBadValue too if the old
// one isn't there by that name.
void replaceReference(Session& session, Object& dataset, tag_t old_object,
                      const NamedReference& reference);

// ---- deletion ----
// What goes with the dataset: all versions, the anchor, and the files that nothing else refers to.
std::vector<tag_t> datasetParts(Session& session, Object& dataset);
// Delete the older versions and the files that only they refer to, in one transaction. Failure
// kStillReferenced while anything else refers to an older version; kNotAllowed without the right to
// DELETE one; kCheckedOut or kLockedByOther for one or the anchor. Nothing is deleted then.
void purgeVersions(Session& session, Object& dataset);

// Write the contents to a path where nothing is. Failure kFileFailure if something is there, which
// stays, or if the file is damaged or can't be written: nothing of it is left.
void exportFile(Session& session, Object& file, const std::string& path);

}  // namespace mervane
