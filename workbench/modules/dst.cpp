// DST_: datasets, their versions and named references.

#include "platform/mv_dst.h"

#include <algorithm>
#include <set>

#include "workbench/modules/support.h"
#include "workbench/session/datasets.h"

using namespace mervane;

namespace {

Object& datasetObject(Session& session, tag_t tag) {
    return session.object(tag, *session.model().findClass("Dataset"));
}

const Type& datasetType(Session& session, tag_t handle) {
    const Type* type = session.model().typeOf(handle);
    if (!type || !type->cls->isA(*session.model().findClass("Dataset")))
        throw Failure(kUnknownType, "#" + std::to_string(handle) + " is no dataset type");
    return *type;
}

const Tool& toolObject(Session& session, tag_t handle) {
    const Tool* tool = session.model().toolOf(handle);
    if (!tool)
        throw Failure(kUnknownObject, "#" + std::to_string(handle) + " is no tool");
    return *tool;
}

}  // namespace

extern "C" {

int DST_find_datasettype(const char* name, tag_t* type) {
    return call(
        "DST_find_datasettype",
        [&] {
            need(name, "name");
            need(type, "type");
            const Type* found = findDatasetType(currentSession(), name);
            *type = found ? found->handle : NULLTAG;
        },
        name, type);
}

int DST_ask_datasettype_name(tag_t type, char* name /*129*/) {
    return call(
        "DST_ask_datasettype_name",
        [&] {
            need(name, "name");
            copyInto(name, 129, datasetType(currentSession(), type).name, "name of a dataset type");
        },
        type, name);
}

int DST_ask_datasettype_def_tool(tag_t type, tag_t* tool) {
    return call(
        "DST_ask_datasettype_def_tool",
        [&] {
            need(tool, "tool");
            Session& session = currentSession();
            const Tool* found = defaultTool(session, datasetType(session, type));
            *tool = found ? found->handle : NULLTAG;
        },
        type, tool);
}

int DST_ask_tool_output_formats(tag_t tool, int* count, char*** formats) {
    return call(
        "DST_ask_tool_output_formats",
        [&] {
            need(count, "count");
            need(formats, "formats");
            const auto& list = toolObject(currentSession(), tool).formats;
            *formats = list.empty() ? nullptr : copyTexts(list);
            *count = static_cast<int>(list.size());
        },
        tool, count, formats);
}

int DST_find_all_datasets(const char* name, int* count, tag_t** datasets) {
    return call(
        "DST_find_all_datasets",
        [&] {
            need(name, "name");
            need(count, "count");
            need(datasets, "datasets");
            Session& session = currentSession();
            // Each dataset once, by its newest version, which has to have the name itself.
            std::set<tag_t> newest;
            for (tag_t tag : session.findByText("Dataset", "object_name", name))
                if (Object* object = session.tryObject(tag))
                    if (latestVersion(session, *object) == tag)
                        newest.insert(tag);
            giveTags({newest.begin(), newest.end()}, count, datasets);
        },
        name, count, datasets);
}

int DST_ask_dataset(tag_t dataset, tag_t* latest) {
    return call(
        "DST_ask_dataset",
        [&] {
            need(latest, "latest");
            Session& session = currentSession();
            *latest = latestVersion(session, datasetObject(session, dataset));
        },
        dataset, latest);
}

int DST_ask_dataset_datasettype(tag_t dataset, tag_t* type) {
    return call(
        "DST_ask_dataset_datasettype",
        [&] {
            need(type, "type");
            *type = datasetObject(currentSession(), dataset).type->handle;
        },
        dataset, type);
}

int DST_ask_dataset_anchor(tag_t dataset, tag_t* anchor) {
    return call(
        "DST_ask_dataset_anchor",
        [&] {
            need(anchor, "anchor");
            Session& session = currentSession();
            *anchor = datasetAnchor(session, datasetObject(session, dataset));
        },
        dataset, anchor);
}

int DST_count_anchor_revisions(tag_t anchor, int* count) {
    return call(
        "DST_count_anchor_revisions",
        [&] {
            need(count, "count");
            *count = static_cast<int>(datasetVersions(currentSession(), anchor).size());
        },
        anchor, count);
}

int DST_ask_anchor_revision(tag_t anchor, int index, tag_t* dataset) {
    return call(
        "DST_ask_anchor_revision",
        [&] {
            need(dataset, "dataset");
            const auto versions = datasetVersions(currentSession(), anchor);
            if (index < 0 || static_cast<std::size_t>(index) >= versions.size())
                throw Failure(kBadIndex, "anchor #" + std::to_string(anchor) + " has " +
                                             std::to_string(versions.size()) +
                                             " versions, none with the index " +
                                             std::to_string(index));
            *dataset = versions[static_cast<std::size_t>(index)];
        },
        anchor, index, dataset);
}

int DST_ask_dataset_prev_rev(tag_t dataset, tag_t* previous) {
    return call(
        "DST_ask_dataset_prev_rev",
        [&] {
            need(previous, "previous");
            Session& session = currentSession();
            *previous = previousVersion(session, datasetObject(session, dataset));
        },
        dataset, previous);
}

int DST_create_dataset_with_id(tag_t type, const char* name, const char* description,
                               const char* id /*null*/, const char* revision /*null*/,
                               tag_t* dataset) {
    return call(
        "DST_create_dataset_with_id",
        [&] {
            need(name, "name");
            need(dataset, "dataset");
            if ((id && *id) || (revision && *revision))
                throw Failure(kBadValue, "a dataset gets its id and revision from the store");
            Session& session = currentSession();
            *dataset = newDataset(session, datasetType(session, type), name,
                                  description ? description : "")
                           .tag;
        },
        type, name, description, id, revision, dataset);
}

int DST_set_dataset_tool(tag_t dataset, tag_t tool) {
    return call(
        "DST_set_dataset_tool",
        [&] {
            Session& session = currentSession();
            session.set(datasetObject(session, dataset), "tool", {toolObject(session, tool).name});
        },
        dataset, tool);
}

int DST_set_dataset_format(tag_t dataset, const char* format) {
    return call(
        "DST_set_dataset_format",
        [&] {
            need(format, "format");
            Session& session = currentSession();
            Object& object = datasetObject(session, dataset);
            const Tool* tool = session.model().findTool(session.text(object, "tool"));
            // A dataset without a tool has no formats to compare with.
            if (tool && std::find(tool->formats.begin(), tool->formats.end(), format) ==
                            tool->formats.end())
                throw Failure(kBadValue,
                              "the tool " + tool->name + " has no format \"" + format + "\"");
            session.set(object, "format", {std::string(format)});
        },
        dataset, format);
}

int DST_save_myself(tag_t dataset) {
    return call(
        "DST_save_myself",
        [&] {
            Session& session = currentSession();
            session.save(datasetObject(session, dataset));
        },
        dataset);
}

int DST_delete_all_dataset_revs(tag_t dataset) {
    return call(
        "DST_delete_all_dataset_revs",
        [&] {
            Session& session = currentSession();
            session.remove(datasetObject(session, dataset));
        },
        dataset);
}

int DST_purge_dataset_revs(tag_t dataset) {
    return call(
        "DST_purge_dataset_revs",
        [&] {
            Session& session = currentSession();
            purgeVersions(session, datasetObject(session, dataset));
        },
        dataset);
}

int DST_ask_dataset_ref_count(tag_t dataset, int* count) {
    return call(
        "DST_ask_dataset_ref_count",
        [&] {
            need(count, "count");
            Session& session = currentSession();
            *count =
                static_cast<int>(namedReferences(session, datasetObject(session, dataset)).size());
        },
        dataset, count);
}

int DST_find_dataset_named_ref(tag_t dataset, int index, char* refName /*33*/, int* refType,
                               tag_t* reference) {
    return call(
        "DST_find_dataset_named_ref",
        [&] {
            need(refName, "refName");
            need(refType, "refType");
            need(reference, "reference");
            Session& session = currentSession();
            const auto list = namedReferences(session, datasetObject(session, dataset));
            if (index < 0 || static_cast<std::size_t>(index) >= list.size())
                throw Failure(kBadIndex, "dataset #" + std::to_string(dataset) + " has " +
                                             std::to_string(list.size()) +
                                             " named references, none with the index " +
                                             std::to_string(index));
            const NamedReference& found = list[static_cast<std::size_t>(index)];
            copyInto(refName, 33, found.name, "name of a named reference");
            *refType = found.kind;
            *reference = found.object;
        },
        dataset, index, refName, refType, reference);
}

int DST_ask_dataset_named_refs(tag_t dataset, int* count, tag_t** references) {
    return call(
        "DST_ask_dataset_named_refs",
        [&] {
            need(count, "count");
            need(references, "references");
            Session& session = currentSession();
            std::vector<tag_t> objects;
            for (const auto& each : namedReferences(session, datasetObject(session, dataset)))
                objects.push_back(each.object);
            giveTags(objects, count, references);
        },
        dataset, count, references);
}

int DST_ask_all_dataset_named_refs(tag_t dataset, const char* refName, int* count,
                                   tag_t** references) {
    return call(
        "DST_ask_all_dataset_named_refs",
        [&] {
            need(refName, "refName");
            need(count, "count");
            need(references, "references");
            Session& session = currentSession();
            std::vector<tag_t> objects;
            for (const auto& each : namedReferences(session, datasetObject(session, dataset)))
                if (each.name == refName)
                    objects.push_back(each.object);
            giveTags(objects, count, references);
        },
        dataset, refName, count, references);
}

int DST_add_dataset_named_ref(tag_t dataset, const char* refName, int refType, tag_t reference) {
    return call(
        "DST_add_dataset_named_ref",
        [&] {
            need(refName, "refName");
            Session& session = currentSession();
            addReference(session, datasetObject(session, dataset), {refName, refType, reference});
        },
        dataset, refName, refType, reference);
}

int DST_replace_dataset_named_ref(tag_t dataset, tag_t oldReference, const char* refName,
                                  int refType, tag_t newReference) {
    return call(
        "DST_replace_dataset_named_ref",
        [&] {
            need(refName, "refName");
            Session& session = currentSession();
            replaceReference(session, datasetObject(session, dataset), oldReference,
                             {refName, refType, newReference});
        },
        dataset, oldReference, refName, refType, newReference);
}

// Nothing to end: the workbench's module needs no start.
int DST_exit_module(void) {
    return call("DST_exit_module", [] {});
}

}  // extern "C"
