#include "workbench/session/rights.h"

#include <algorithm>

#include "workbench/run/recorder.h"
#include "workbench/session/dates.h"
#include "workbench/session/properties.h"
#include "workbench/session/session.h"
#include "workbench/store/store.h"

// Rights and check-outs. The most specific scope decides, in it the most specific subject; where
// both are equal a denial does.

namespace mervane {

const std::vector<std::string>& knownPrivileges() {
    static const std::vector<std::string> names = {"READ",    "WRITE",  "DELETE",    "CHANGE",
                                                   "PROMOTE", "DEMOTE", "COPY",      "PUBLISH",
                                                   "EXPORT",  "IMPORT", kEndCheckOut};
    return names;
}

void needPrivilege(const std::string& name) {
    const auto& known = knownPrivileges();
    if (std::find(known.begin(), known.end(), name) != known.end())
        return;
    std::string list;
    for (const std::string& each : known)
        list += (list.empty() ? "" : ", ") + each;
    throw Failure(kUnknownPrivilege, "\"" + name + "\"; known are " + list);
}

namespace {

// How far up the chain the type or class of this name is; -1: it isn't there.
template <typename Level>
int distance(const Level* from, const std::string& name) {
    int steps = 0;
    for (const Level* at = from; at; at = at->parent, ++steps)
        if (at->name == name)
            return steps;
    return -1;
}

}  // namespace

bool Session::allowed(Object& object, const std::string& privilege) {
    needPrivilege(privilege);
    if (bypass_)
        return true;
    // Whoever administrates is found by a search, and it counts for this privilege alone.
    const bool administrates = privilege == kEndCheckOut && administrator();
    // Without a right for the privilege, user and group needn't be loaded.
    if (store_->rights(privilege).empty())
        return privilege != kEndCheckOut || administrates;
    return decide(object, privilege, {userId(), groupName(), administrates}).allowed;
}

RightDecision Session::decide(Object& object, const std::string& privilege, const Asker& asker) {
    needPrivilege(privilege);
    // Without a right that fits, only the end of a check-out is for some users alone.
    RightDecision decision{privilege != kEndCheckOut || asker.administrator, std::nullopt};
    // Each kind of scope has a range of ranks: object above status, type, class and all.
    constexpr int kFar = 1000;  // deeper than any chain of types
    std::string status;
    bool status_known = false;
    int best = -1;
    for (const Right& right : store_->rights(privilege)) {
        int subject = 0;
        if (right.subject_kind == "user")
            subject = right.subject == asker.user ? 3 : 0;
        else if (right.subject_kind == "group")
            subject = right.subject == asker.group ? 2 : 0;
        else
            subject = 1;
        if (subject == 0)
            continue;
        int scope = 0;
        if (right.scope_kind == "object") {
            scope = right.scope == std::to_string(object.tag) ? 4 * kFar : 0;
        } else if (right.scope_kind == "status") {
            if (!status_known)
                status = latestStatusName(*this, object);
            status_known = true;
            scope = !status.empty() && right.scope == status ? 3 * kFar : 0;
        } else if (right.scope_kind == "type") {
            const int steps = distance(object.type, right.scope);
            scope = steps < 0 ? 0 : 3 * kFar - 1 - steps;
        } else if (right.scope_kind == "class") {
            const int steps = distance(object.type->cls, right.scope);
            scope = steps < 0 ? 0 : 2 * kFar - 1 - steps;
        } else {
            scope = 1;
        }
        if (scope == 0)
            continue;
        // The subject is below 4, so it only decides between equal scopes.
        const int rank = 4 * scope + subject;
        // Of two that are equally near a denial decides.
        if (rank > best || (rank == best && decision.allowed && !right.allowed))
            decision = {right.allowed, right};
        best = std::max(best, rank);
    }
    return decision;
}

// As the store has it: what a session sets and doesn't save gives nobody a right.
bool Session::administrator() {
    const Attribute& name = *model().findAttribute(*known_.group_class, "group_name");
    for (const Store::Hit& hit : store_->withText(name.handle, kAdministrators))
        if (hit.tag == group_)
            return true;
    return false;
}

void Session::needAdministrator(const char* what) {
    // While a session is opened, or a store made, the workbench itself makes users and members.
    if (lock_session_ == 0 || user_ == NULLTAG || administrator())
        return;
    throw Failure(kNotAllowed, "user " + userId() + " in group " + groupName() + " may not " +
                                   what + ": that is for the group " + kAdministrators);
}

void Session::needRightsFor(const Object& object) {
    if (object.isA(*known_.user_class) || object.isA(*known_.group_class) ||
        object.isA(*known_.member))
        needAdministrator("change users and groups");
}

bool Session::modifiable(Object& object) {
    if (object.isNew())
        return true;
    store_->aboutToAsk(object.tag);
    if (!bypass_ && !allowed(object, "WRITE"))
        return false;
    // A replica is changed at the site that owns it.
    if (object.isA(*known_.workspace) && reference(object, "owning_site") != NULLTAG)
        return false;
    CheckOut by;
    if (checkedOut(object.tag, &by) && by.user != user_)
        return false;
    if (object.locked)
        return true;
    const auto owner = store_->locks().owner(object.tag);
    if (!owner || owner->session == lock_session_)
        return true;
    store_->lockMet(plainName(object), *owner);
    return false;
}

void Session::willChange(Object& object) {
    if (object.isNew() || object.locked || locks_held_.count(object.tag))
        return;
    if (const auto owner = store_->lockFirst(lock_session_, object.tag))
        store_->lockMet(plainName(object), *owner);
}

// ---- check-out ----

bool Session::checkedOut(tag_t object, CheckOut* by) {
    const auto row = store_->checkOut(object);
    if (row && by)
        *by = {row->object, row->user, row->date, row->comment};
    return row.has_value();
}

void Session::checkOut(Object& object, const std::string& comment) {
    mayWrite();
    if (object.isNew())
        throw Failure(kBadValue, plainName(object) + " must be saved before it is checked out");
    if (!allowed(object, "WRITE"))
        throw Failure(kNotAllowed, "user " + userId() + " may not WRITE " + plainName(object) +
                                       ", which a check-out is for");
    {
        StoreTransaction transaction(*store_, StoreTransaction::Others::Alone);
        // In the transaction, so nobody deletes the object before its check-out is stored.
        if (!store_->exists(object.tag))
            leaveGone(object);
        const Store::CheckOutRow row{object.tag, user_, dateText(now()), comment};
        if (store_->addCheckOut(row)) {
            if (recorder_)
                recorder_->checkedOut(row.object, row.user, row.date, row.comment);
            return transaction.commit();
        }
    }
    // A check-out that this user has already stays with its comment and date.
    CheckOut by;
    if (checkedOut(object.tag, &by) && by.user != user_)
        throw Failure(kCheckedOut,
                      plainName(object) + " is checked out by user " + displayId(by.user));
}

void Session::checkIn(Object& object) {
    mayWrite();
    // One transaction, so what is ended is the check-out that was tested.
    StoreTransaction transaction(*store_, StoreTransaction::Others::Alone);
    CheckOut by;
    if (!checkedOut(object.tag, &by))
        return;
    if (by.user != user_ && !allowed(object, kEndCheckOut))
        throw Failure(kCheckedOut, plainName(object) + " is checked out by user " +
                                       displayId(by.user) + ", and user " + userId() +
                                       " may not end that (" + kEndCheckOut + ")");
    store_->removeCheckOut(object.tag);
    if (recorder_)
        recorder_->checkedIn(object.tag, by.user, by.date, by.comment);
    transaction.commit();
}

// ---- the session's user ----

std::string Session::userId() {
    return text(object(user_), "user_id");
}

std::string Session::userName() {
    return text(object(user_), "user_name");
}

std::string Session::groupName() {
    return text(object(group_), "group_name");
}

}  // namespace mervane
