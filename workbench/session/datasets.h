#pragma once

// Datasets and their files. Versions of a dataset are listed by one anchor, the newest last; a file
// is in the volume under the tag of its object.
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
// A first version with its anchor, which is stored along with it.
Object& newDataset(Session& session, const Type& type, const std::string& name,
                   const std::string& description);
// A file object with a copy of the file in the volume. A process that ends before the object is
// saved leaves a file that no object owns. An empty original name: the path's last part.
Object& importFile(Session& session, const std::string& path, const std::string& original_name,
                   int file_type);

// ---- the same and stored when the call returns, as the admin interface has them ----
tag_t createDataset(Session& session, const std::string& type, const std::string& name);
// A next version with the values and references of the newest one.
tag_t createDatasetVersion(Session& session, tag_t dataset);
tag_t addFile(Session& session, tag_t dataset, const std::string& reference_name,
              const std::string& path, const std::string& original_name);
void addNamedReference(Session& session, tag_t dataset, const std::string& reference_name,
                       tag_t object);

// ---- versions ----
tag_t datasetAnchor(Session& session, Object& dataset);
std::vector<tag_t> datasetVersions(Session& session,
                                   tag_t anchor);  // oldest first, what can be loaded
tag_t latestVersion(Session& session, Object& dataset);
tag_t previousVersion(Session& session, Object& dataset);  // Failure kNoPreviousVersion

// ---- named references ----
std::vector<NamedReference> namedReferences(Session& session, Object& dataset);
// Failure kNotLocked, kBadValue for a name that the type doesn't have, kUnknownObject.
void addReference(Session& session, Object& dataset, const NamedReference& reference);
// An old reference of NULLTAG adds. Failure kBadValue if the old one isn't there by that name.
void replaceReference(Session& session, Object& dataset, tag_t old_object,
                      const NamedReference& reference);

// ---- deletion ----
// What goes with the dataset: all versions, the anchor, and the files that nothing else refers to.
std::vector<tag_t> datasetParts(Session& session, Object& dataset);
// Delete the older versions and the files that only they refer to.
void purgeVersions(Session& session, Object& dataset);

// Write the contents to a path that doesn't exist yet. Failure kFileFailure.
void exportFile(Session& session, Object& file, const std::string& path);

}  // namespace mervane
