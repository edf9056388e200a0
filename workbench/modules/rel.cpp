// REL_: relations.

#include "platform/mv_rel.h"

#include "workbench/modules/support.h"
#include "workbench/session/relations.h"

using namespace mervane;

namespace {

void giveEntries(tag_t asked, const std::vector<Relation>& relations, int* count,
                 rel_entry_s** entries) {
    std::vector<rel_entry_s> list;
    for (const Relation& each : relations)
        // The object found is in the third field in both directions, as types.h has it.
        list.push_back({each.relation, asked, each.other, each.type, each.user_data});
    *entries = copyList(list);
    *count = static_cast<int>(list.size());
}

void giveOthers(const std::vector<Relation>& relations, int* count, tag_t** objects) {
    std::vector<tag_t> tags;
    for (const Relation& each : relations)
        tags.push_back(each.other);
    giveTags(tags, count, objects);
}

Object& relationObject(Session& session, tag_t tag) {
    return session.object(tag, standardClass(session, "Relation"));
}

}  // namespace

extern "C" {

int REL_find_relation_type(const char* name, tag_t* type) {
    return call(
        "REL_find_relation_type",
        [&] {
            need(name, "name");
            need(type, "type");
            const RelationType* found = currentSession().model().findRelationType(name);
            *type = found ? found->handle : NULLTAG;
        },
        name, type);
}

int REL_list_secondary_objects(tag_t primary, tag_t type, int* count, rel_entry_s** entries) {
    return call(
        "REL_list_secondary_objects",
        [&] {
            need(count, "count");
            need(entries, "entries");
            giveEntries(primary, relationsFrom(currentSession(), primary, type), count, entries);
        },
        primary, type, count, entries);
}

int REL_list_primary_objects(tag_t secondary, tag_t type, int* count, rel_entry_s** entries) {
    return call(
        "REL_list_primary_objects",
        [&] {
            need(count, "count");
            need(entries, "entries");
            giveEntries(secondary, relationsTo(currentSession(), secondary, type), count, entries);
        },
        secondary, type, count, entries);
}

int REL_list_secondary_objects_only(tag_t primary, tag_t type, int* count, tag_t** objects) {
    return call(
        "REL_list_secondary_objects_only",
        [&] {
            need(count, "count");
            need(objects, "objects");
            giveOthers(relationsFrom(currentSession(), primary, type), count, objects);
        },
        primary, type, count, objects);
}

int REL_list_primary_objects_only(tag_t secondary, tag_t type, int* count, tag_t** objects) {
    return call(
        "REL_list_primary_objects_only",
        [&] {
            need(count, "count");
            need(objects, "objects");
            giveOthers(relationsTo(currentSession(), secondary, type), count, objects);
        },
        secondary, type, count, objects);
}

int REL_create_relation(tag_t primary, tag_t secondary, tag_t type, tag_t userData,
                        tag_t* relation) {
    return call(
        "REL_create_relation",
        [&] {
            need(relation, "relation");
            *relation = newRelation(currentSession(), primary, secondary, type, userData).tag;
        },
        primary, secondary, type, userData, relation);
}

int REL_save_relation(tag_t relation) {
    return call(
        "REL_save_relation",
        [&] {
            Session& session = currentSession();
            session.save(relationObject(session, relation));
        },
        relation);
}

int REL_delete_relation(tag_t relation) {
    return call(
        "REL_delete_relation",
        [&] {
            Session& session = currentSession();
            session.remove(relationObject(session, relation));
        },
        relation);
}

}  // extern "C"
