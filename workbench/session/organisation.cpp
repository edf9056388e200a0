#include "workbench/session/organisation.h"

#include <cstdio>
#include <string_view>

#include "workbench/session/rights.h"
#include "workbench/session/session.h"
#include "workbench/store/store.h"

namespace mervane {

namespace {

tag_t first(const std::vector<tag_t>& tags) {
    return tags.empty() ? NULLTAG : tags.front();
}

tag_t membership(Session& session, tag_t user, tag_t group) {
    for (const tag_t member : session.referrersBy("GroupMember", "user", user))
        if (session.reference(session.object(member), "group") == group)
            return member;
    return NULLTAG;
}

Object& newMember(Session& session, tag_t user, tag_t group) {
    Object& member = session.create(*session.model().findType("GroupMember"));
    session.put(member, "user", {Reference{user}});
    session.put(member, "group", {Reference{group}});
    return member;
}

}  // namespace

tag_t findUser(Session& session, const std::string& id) {
    return first(session.findByText("User", "user_id", id));
}

tag_t findGroup(Session& session, const std::string& name) {
    return first(session.findByText("Group", "group_name", name));
}

Session::Asker askerOf(Session& session, const std::string& user, const std::string& group) {
    const tag_t who = findUser(session, user);
    if (who == NULLTAG)
        throw Failure(kUnknownObject, "there is no user " + user);
    const tag_t own = session.reference(session.object(who), "default_group");
    const tag_t in = group.empty() ? own : findGroup(session, group);
    if (in == NULLTAG)
        throw Failure(kUnknownObject, group.empty() ? "user " + user + " has no default group"
                                                    : "there is no group " + group);
    // Everybody may work in his default group, as openAs() has it.
    if (in != own && membership(session, who, in) == NULLTAG)
        throw Failure(kNotAllowed, "user " + user + " is no member of the group " + group);
    const std::string name = session.text(session.object(in), "group_name");
    return {user, name, name == kAdministrators};
}

void needPlainName(const char* what, const std::string& name) {
    constexpr std::string_view kRead = "\"'`$&|;<>()[]{}*?!\\~#%^";
    for (const char each : name)
        if (static_cast<unsigned char>(each) < ' ' || each == '\x7F' ||
            kRead.find(each) != std::string_view::npos) {
            char shown[8];
            std::snprintf(shown, sizeof shown, each > ' ' && each != '\x7F' ? "%c" : "\\x%02X",
                          static_cast<unsigned char>(each));
            throw Failure(kBadValue, std::string("a ") + what + " can't have the character " +
                                         shown + ", which has a meaning on command lines");
        }
}

tag_t createGroup(Session& session, const std::string& name, const std::string& parent) {
    if (name.empty())
        throw Failure(kBadValue, "a group needs a name");
    needPlainName("group name", name);
    if (findGroup(session, name) != NULLTAG)
        throw Failure(kDuplicateId, "there is a group " + name + " already");
    const tag_t above = parent.empty() ? NULLTAG : findGroup(session, parent);
    if (!parent.empty() && above == NULLTAG)
        throw Failure(kUnknownObject, "there is no group " + parent);
    Object& group = session.create(*session.model().findType("Group"));
    try {
        session.put(group, "group_name", {name});
        session.put(group, "parent", {Reference{above}});
        session.save(group);
    } catch (...) {
        session.unload(group.tag);
        throw;
    }
    return group.tag;
}

tag_t createUser(Session& session, const std::string& id, const std::string& name,
                 const std::string& group) {
    if (id.empty())
        throw Failure(kBadValue, "a user needs an id");
    needPlainName("user id", id);
    if (findUser(session, id) != NULLTAG)
        throw Failure(kDuplicateId, "there is a user " + id + " already");
    const tag_t in = findGroup(session, group);
    if (in == NULLTAG)
        throw Failure(kUnknownObject, "there is no group " + group);
    Object& person = session.create(*session.model().findType("Person"));
    Object& user = session.create(*session.model().findType("User"));
    Object& member = newMember(session, user.tag, in);
    try {
        session.put(person, "person_name", {name.empty() ? id : name});
        session.put(user, "user_id", {id});
        session.put(user, "user_name", {name.empty() ? id : name});
        session.put(user, "person", {Reference{person.tag}});
        session.put(user, "default_group", {Reference{in}});
        // One save stores all three, so there is no user without a person or a group.
        Object* const all[] = {&person, &user, &member};
        session.save(all);
    } catch (...) {
        for (const tag_t tag : {member.tag, user.tag, person.tag})
            session.unload(tag);
        throw;
    }
    return user.tag;
}

void addToGroup(Session& session, const std::string& user, const std::string& group) {
    const tag_t who = findUser(session, user), in = findGroup(session, group);
    if (who == NULLTAG)
        throw Failure(kUnknownObject, "there is no user " + user);
    if (in == NULLTAG)
        throw Failure(kUnknownObject, "there is no group " + group);
    if (membership(session, who, in) != NULLTAG)
        return;
    Object& member = newMember(session, who, in);
    try {
        session.save(member);
    } catch (...) {
        session.unload(member.tag);
        throw;
    }
}

void Session::ensureOrganisation(const std::shared_ptr<Store>& store) {
    if (!store->ofType(store->model().findType("User")->handle, 1, 1).empty())
        return;
    // This session has no user, so it may make users and groups.
    Session session(store, Bootstrap{});
    SessionBatch batch(session);
    // Asked again inside: another process may have been faster.
    if (store->ofType(store->model().findType("User")->handle, 1, 1).empty()) {
        createGroup(session, kAdministrators, "");
        createUser(session, "infodba", "infodba", kAdministrators);
        Object& site = session.create(*session.model().findType("Site"));
        session.put(site, "site_name", {std::string("Local")});
        session.put(site, "site_id", {std::int64_t{1}});
        session.save(site);
    }
    batch.commit();
}

void Session::openAs(const SessionOptions& options) {
    const std::string id = options.user.empty() ? "infodba" : options.user;
    user_ = findUser(*this, id);
    if (user_ == NULLTAG)
        throw Failure(kUnknownObject, "there is no user " + id);
    group_ = options.group.empty() ? reference(object(user_), "default_group")
                                   : findGroup(*this, options.group);
    if (group_ == NULLTAG)
        throw Failure(kUnknownObject, options.group.empty() ? "user " + id + " has no default group"
                                                            : "there is no group " + options.group);
    // A default group that is gone is refused before anything is stored.
    object(group_);
    if (membership(*this, user_, group_) == NULLTAG) {
        if (group_ != reference(object(user_), "default_group"))
            throw Failure(kNotAllowed, "user " + id + " is no member of the group " + groupName());
        // The default group is a membership, too, and platform functions hand out its object.
        Object& member = newMember(*this, user_, group_);
        save(member);
    }
    // Last: a session that can't be opened leaves nothing among the locks.
    lock_session_ = store_->locks().open(id);
}

}  // namespace mervane
