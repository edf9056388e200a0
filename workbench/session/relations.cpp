#include "workbench/session/relations.h"

namespace mervane {

namespace {

tag_t typeOf(Session& session, Object& relation) {
    const Values values = session.values(relation, "relation_type");
    return values.empty() ? NULLTAG : static_cast<tag_t>(std::get<std::int64_t>(values.front()));
}

void checkType(Session& session, tag_t relation_type) {
    if (!session.model().relationTypeOf(relation_type))
        throw Failure(kUnknownType,
                      "#" + std::to_string(relation_type) + " is no type of relations");
}

std::vector<Relation> list(Session& session, tag_t here, const char* this_end,
                           const char* other_end, tag_t relation_type) {
    // First, since a server tells with it what is asked below.
    const std::vector<tag_t> relations = session.referrersBy("Relation", this_end, here);
    // Another session may have deleted the object, which may still be in this cache.
    session.living(here);
    if (relation_type != NULLTAG)
        checkType(session, relation_type);
    std::vector<Relation> found;
    for (const tag_t tag : relations) {
        Object* relation = session.tryObject(tag);
        if (!relation)
            continue;
        const tag_t type = typeOf(session, *relation);
        if (relation_type != NULLTAG && type != relation_type)
            continue;
        const tag_t other = session.reference(*relation, other_end);
        // An end that another session has deleted drops out with its relation.
        if (session.tryLiving(other))
            found.push_back({tag, type, other, session.reference(*relation, "user_data")});
    }
    return found;
}

}  // namespace

Object& newRelation(Session& session, tag_t primary, tag_t secondary, tag_t relation_type,
                    tag_t user_data) {
    // All is tested before the relation is made, so a failure leaves none in the session.
    session.living(primary);
    session.living(secondary);
    checkType(session, relation_type);
    if (user_data != NULLTAG)
        session.living(user_data);
    Object& relation = session.create(*session.model().findType("Relation"));
    session.put(relation, "primary", {Reference{primary}});
    session.put(relation, "secondary", {Reference{secondary}});
    session.put(relation, "relation_type", {std::int64_t{relation_type}});
    if (user_data != NULLTAG)
        session.put(relation, "user_data", {Reference{user_data}});
    return relation;
}

std::vector<Relation> relationsFrom(Session& session, tag_t primary, tag_t relation_type) {
    return list(session, primary, "primary", "secondary", relation_type);
}

std::vector<Relation> relationsTo(Session& session, tag_t secondary, tag_t relation_type) {
    return list(session, secondary, "secondary", "primary", relation_type);
}

}  // namespace mervane
