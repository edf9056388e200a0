// ART_: items and revisions.

#include "platform/mv_art.h"

#include "platform/mv_supplement.h"
#include "workbench/modules/support.h"
#include "workbench/session/items.h"
#include "workbench/session/structure.h"

using namespace mervane;

namespace {

Object& itemObject(Session& session, tag_t tag) {
    return session.object(tag, standardClass(session, "Item"));
}
Object& revisionObject(Session& session, tag_t tag) {
    return session.object(tag, standardClass(session, "ItemRevision"));
}

}  // namespace

extern "C" {

int ART_ask_id(tag_t item, char* id) {
    return call(
        "ART_ask_id",
        [&] {
            need(id, "id");
            Session& session = currentSession();
            copyInto(id, kNameSize, session.text(itemObject(session, item), "item_id"), "item id");
        },
        item, id);
}

int ART_ask_rev_id(tag_t revision, char* id) {
    return call(
        "ART_ask_rev_id",
        [&] {
            need(id, "id");
            Session& session = currentSession();
            copyInto(id, kNameSize,
                     session.text(revisionObject(session, revision), "item_revision_id"),
                     "revision id");
        },
        revision, id);
}

int ART_ask_name(tag_t item, char* name) {
    return call(
        "ART_ask_name",
        [&] {
            need(name, "name");
            Session& session = currentSession();
            copyInto(name, kNameSize, session.text(itemObject(session, item), "object_name"),
                     "name");
        },
        item, name);
}

int ART_ask_item_of_rev(tag_t revision, tag_t* item) {
    return call(
        "ART_ask_item_of_rev",
        [&] {
            need(item, "item");
            Session& session = currentSession();
            const tag_t found = session.reference(revisionObject(session, revision), "items_tag");
            *item = itemObject(session, found).tag;
        },
        revision, item);
}

int ART_ask_latest_rev(tag_t item, tag_t* revision) {
    return call(
        "ART_ask_latest_rev",
        [&] {
            need(revision, "revision");
            Session& session = currentSession();
            const auto all = revisionsOf(session, itemObject(session, item).tag);
            *revision = all.empty() ? NULLTAG : all.back();
        },
        item, revision);
}

int ART_list_all_revs(tag_t item, int* count, tag_t** revisions) {
    return call(
        "ART_list_all_revs",
        [&] {
            need(count, "count");
            need(revisions, "revisions");
            Session& session = currentSession();
            giveTags(revisionsOf(session, itemObject(session, item).tag), count, revisions);
        },
        item, count, revisions);
}

int ART_list_bom_views(tag_t item, int* count, tag_t** views) {
    return call(
        "ART_list_bom_views",
        [&] {
            need(count, "count");
            need(views, "views");
            Session& session = currentSession();
            giveTags(viewsOf(session, itemObject(session, item).tag), count, views);
        },
        item, count, views);
}

int ART_rev_list_bom_view_revs(tag_t revision, int* count, tag_t** bvrs) {
    return call(
        "ART_rev_list_bom_view_revs",
        [&] {
            need(count, "count");
            need(bvrs, "bvrs");
            Session& session = currentSession();
            giveTags(viewRevisionsOf(session, revisionObject(session, revision).tag), count, bvrs);
        },
        revision, count, bvrs);
}

int ART_find_revision(tag_t item, const char* revId, tag_t* revision) {
    return call(
        "ART_find_revision",
        [&] {
            need(revId, "revId");
            need(revision, "revision");
            Session& session = currentSession();
            *revision = findRevision(session, itemObject(session, item).tag, revId);
        },
        item, revId, revision);
}

int ART_set_rev_id(tag_t revision, const char* newId) {
    return call(
        "ART_set_rev_id",
        [&] {
            need(newId, "newId");
            Session& session = currentSession();
            Object& object = revisionObject(session, revision);
            // The save refuses an empty id for stored revisions alone.
            if (!*newId)
                throw Failure(kBadValue, session.displayId(revision) +
                                             " can't be renamed: a revision needs an id");
            const tag_t item = session.reference(object, "items_tag");
            const tag_t twin = findRevision(session, item, newId);
            if (twin != NULLTAG && twin != revision)
                throw Failure(kDuplicateId, session.displayId(revision) +
                                                " can't be renamed: the item has a revision \"" +
                                                newId + "\" already");
            session.set(object, "item_revision_id", {std::string(newId)});
        },
        revision, newId);
}

int ART_create_item(const char* itemId, const char* name, const char* className, const char* revId,
                    tag_t* item, tag_t* revision) {
    return call(
        "ART_create_item",
        [&] {
            need(className, "className");
            need(item, "item");
            need(revision, "revision");
            Session& session = currentSession();
            const Type* type = session.model().findType(className);
            if (!type)
                throw Failure(kUnknownClass,
                              "there is no class \"" + std::string(className) + "\"");
            Object* first = nullptr;
            Object& made = newItem(session, *type, itemId ? itemId : "", name ? name : "",
                                   revId ? revId : "", &first);
            *item = made.tag;
            *revision = first->tag;
        },
        itemId, name, className, revId, item, revision);
}

int ART_find_item(const char* itemId, tag_t* item) {
    return call(
        "ART_find_item",
        [&] {
            need(itemId, "itemId");
            need(item, "item");
            *item = findItem(currentSession(), itemId);
        },
        itemId, item);
}

}  // extern "C"
