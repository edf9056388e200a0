#include <gtest/gtest.h>

#include "workbench/session/items.h"
#include "workbench/session/structure.h"
#include "workbench/store/store.h"

namespace mervane {
namespace {

tag_t storedRevision(Session& session, const char* id) {
    Object* revision = nullptr;
    Object& item = newItem(session, *session.model().findType("Item"), id, id, "A", &revision);
    const tag_t tag = revision->tag;
    session.save(item);
    return tag;
}

TEST(UnsavedOccurrences, TheirOwnSessionFindsTheUserAndNoOtherDoes) {
    const auto store = Store::open(":memory:");
    Session::ensureOrganisation(store);
    Session session(store, SessionOptions{});
    Session other(Store::again(store), SessionOptions{});
    const tag_t top = storedRevision(session, "1"), part = storedRevision(session, "2");
    const tag_t view = bomViewRevision(session, top);
    Object& occurrence = session.create(*session.model().findType("STROccurrence"));
    session.put(occurrence, "parent_bvr", {Reference{view}});
    session.put(occurrence, "child", {Reference{part}});

    ASSERT_EQ(1u, whereUsed(session, part, 1).size());
    EXPECT_EQ(top, whereUsed(session, part, 1).front().parent);
    EXPECT_TRUE(whereUsed(other, part, 1).empty());
    session.save(occurrence);
    EXPECT_EQ(1u, whereUsed(session, part, 1).size());
    EXPECT_EQ(1u, whereUsed(other, part, 1).size());
}

}  // namespace
}  // namespace mervane
