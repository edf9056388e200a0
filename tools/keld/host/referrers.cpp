#include "tools/keld/host/referrers.h"

#include <algorithm>

#include "platform/keld_qsktool.h"
#include "platform/mv_art.h"
#include "platform/mv_dbo.h"
#include "platform/mv_dst.h"
#include "platform/mv_err.h"
#include "platform/mv_obj.h"
#include "platform/mv_rel.h"
#include "tools/keld/host/deeds.h"
#include "tools/keld/host/known.h"
#include "tools/keld/host/platform_text.h"

namespace keld {

namespace {

bool holds(const std::vector<tag_t>& tags, tag_t tag) {
    return std::find(tags.begin(), tags.end(), tag) != tags.end();
}

// Referrers that are deleted together with the object: its own relations and parts.
std::vector<tag_t> ownOf(const Context& context, tag_t object) {
    std::vector<tag_t> own;
    for (const rel_entry_s& entry : listOf<rel_entry_s>([&](int*count, rel_entry_s**list) {
             return REL_list_secondary_objects(object, NULLTAG, count, list);
         }))
        own.push_back(entry.relation);
    const auto add = [&](const std::vector<tag_t>& more) {
        own.insert(own.end(), more.begin(), more.end());
    };
    if (isOf(context, object, "Dataset")) {
        tag_t anchor = NULLTAG;
        (void)DST_ask_dataset_anchor(object, &anchor);
        own.push_back(anchor);
    } else if (isOf(context, object, "Item")) {
        add(listOf<tag_t>(
            [&](int* count, tag_t** list) { return ART_list_all_revs(object, count, list); }));
        add(listOf<tag_t>(
            [&](int* count, tag_t** list) { return ART_list_bom_views(object, count, list); }));
    } else if (isOf(context, object, "ItemRevision")) {
        add(listOf<tag_t>([&](int* count, tag_t** list) {
            return ART_rev_list_bom_view_revs(object, count, list);
        }));
    }
    return own;
}

}  // namespace

Referrers referrersOf(const Context& context, tag_t object) {
    Referrers found;
    for (const rel_entry_s& entry : listOf<rel_entry_s>([&](int*count, rel_entry_s**list) {
             return REL_list_primary_objects(object, NULLTAG, count, list);
         }))
        found.relations.push_back(entry.relation);
    const std::vector<tag_t> own = ownOf(context, object);
    ERR_clear_errors();

    int count = 0, classes = 0;
    tag_t *instances = nullptr, *class_tags = nullptr;
    int *levels = nullptr, *where = nullptr, *class_levels = nullptr, *class_where = nullptr;
    require(context,
            DBO_referencers_of_instance(object, 1, DBO_in_ds_and_db, &count, &instances, &levels,
                                        &where, &classes, &class_tags, &class_levels, &class_where),
            "DBO_referencers_of_instance");
    for (int i = 0; i < count; ++i) {
        const tag_t tag = instances[i];
        if (holds(own, tag) || holds(found.relations, tag) || holds(found.folders, tag))
            continue;
        if (isOf(context, tag, "Folder"))
            found.folders.push_back(tag);
        else
            found.others.push_back(tag);
    }
    for (void* block : {static_cast<void*>(instances), static_cast<void*>(levels),
                        static_cast<void*>(where), static_cast<void*>(class_tags),
                        static_cast<void*>(class_levels), static_cast<void*>(class_where)})
        HEAP_free(block);
    return found;
}

bool takeOutOfFolder(const Context& context, tag_t folder, tag_t object) {
    tag_t attribute = NULLTAG;
    need(context, OBJ_refresh(folder, true), "OBJ_refresh", folder);
    need(context, DBO_attr_id_of_attr("contents", "Folder", &attribute), "DBO_attr_id_of_attr",
         folder);
    const mervane::Values contents = context.workbench().get(folder, "contents");
    bool found = false;
    for (std::size_t i = contents.size(); i-- > 0;)
        if (contents[i] == mervane::Value(mervane::Reference{object})) {
            need(context, DBO_remove_from_attr(1, &folder, attribute, static_cast<int>(i), 1),
                 "DBO_remove_from_attr", folder);
            found = true;
        }
    if (found)
        need(context, OBJ_save(folder), "OBJ_save", folder);
    need(context, OBJ_unlock(folder), "OBJ_unlock", folder);
    return found;
}

void cutOff(const Context& context, const Referrers& referrers, tag_t object) {
    for (const tag_t relation : referrers.relations)
        need(context, REL_delete_relation(relation), "REL_delete_relation", relation);
    for (const tag_t folder : referrers.folders)
        (void)takeOutOfFolder(context, folder, object);
}

}  // namespace keld
