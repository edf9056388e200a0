// ORG_: users, groups, sites.

#include "platform/mv_org.h"

#include "workbench/modules/support.h"

using namespace mervane;

namespace {

bool isPersonKey(std::string_view key) {
    if (key.size() < 3 || key.size() > 4 || key.substr(0, 2) != "PA")
        return false;
    const std::string_view number = key.substr(2);
    return number == "10" || (number.size() == 1 && number[0] >= '1' && number[0] <= '9');
}

}  // namespace

extern "C" {

int ORG_find_site(const char* name, tag_t* site) {
    return call(
        "ORG_find_site",
        [&] {
            need(name, "name");
            need(site, "site");
            const auto found = currentSession().findByText("Site", "site_name", name);
            *site = found.empty() ? NULLTAG : found.front();
        },
        name, site);
}

int ORG_ask_site_info(tag_t site, char* name, int* siteId) {
    return call(
        "ORG_ask_site_info",
        [&] {
            need(name, "name");
            need(siteId, "siteId");
            Session& session = currentSession();
            Object& object = session.object(site, standardClass(session, "Site"));
            const Values id = session.values(object, "site_id");
            // Both values are read before the first is handed out: reading may fail.
            const int number = id.empty() ? 0 : static_cast<int>(std::get<std::int64_t>(id[0]));
            copyInto(name, kNameSize, session.text(object, "site_name"), "name");
            *siteId = number;
        },
        site, name, siteId);
}

int ORG_ask_user_person(tag_t user, tag_t* person) {
    return call(
        "ORG_ask_user_person",
        [&] {
            need(person, "person");
            Session& session = currentSession();
            *person =
                session.reference(session.object(user, standardClass(session, "User")), "person");
        },
        user, person);
}

int ORG_ask_user_identifier(tag_t user, char* id) {
    return call(
        "ORG_ask_user_identifier",
        [&] {
            need(id, "id");
            Session& session = currentSession();
            Object& object = session.object(user, standardClass(session, "User"));
            copyInto(id, kShortNameSize, session.text(object, "user_id"), "user id");
        },
        user, id);
}

int ORG_ask_person_attr(tag_t person, const char* key, char** value) {
    return call(
        "ORG_ask_person_attr",
        [&] {
            need(key, "key");
            need(value, "value");
            Session& session = currentSession();
            Object& object = session.object(person, standardClass(session, "Person"));
            // Only these keys are attributes for callers: the class has others, such as the name.
            if (!isPersonKey(key))
                throw Failure(kUnknownAttribute, "a person has no attribute \"" + std::string(key) +
                                                     "\", only PA1 to PA10");
            *value = copyText(session.text(object, key));
        },
        person, key, value);
}

int ORG_ask_current_groupmember(tag_t* member) {
    return call(
        "ORG_ask_current_groupmember",
        [&] {
            need(member, "member");
            Session& session = currentSession();
            for (tag_t tag : session.referrersBy("GroupMember", "user", session.user()))
                if (Object* found = session.tryObject(tag);
                    found && session.reference(*found, "group") == session.group()) {
                    *member = tag;
                    return;
                }
            throw Failure(kUnknownObject, "the user " + session.userId() +
                                              " is no member of the group " + session.groupName());
        },
        member);
}

int ORG_ask_groupmember_group(tag_t member, tag_t* group) {
    return call(
        "ORG_ask_groupmember_group",
        [&] {
            need(group, "group");
            Session& session = currentSession();
            *group = session.reference(
                session.object(member, standardClass(session, "GroupMember")), "group");
        },
        member, group);
}

int ORG_ask_group_name(tag_t group, char* name) {
    return call(
        "ORG_ask_group_name",
        [&] {
            need(name, "name");
            Session& session = currentSession();
            Object& object = session.object(group, standardClass(session, "Group"));
            copyInto(name, kShortNameSize, session.text(object, "group_name"), "group name");
        },
        group, name);
}

int ORG_ask_group_parent(tag_t group, tag_t* parent) {
    return call(
        "ORG_ask_group_parent",
        [&] {
            need(parent, "parent");
            Session& session = currentSession();
            *parent =
                session.reference(session.object(group, standardClass(session, "Group")), "parent");
        },
        group, parent);
}

}  // extern "C"
