#include "workbench/run/undo.h"

#include <algorithm>
#include <map>
#include <set>

#include "workbench/run/recorder.h"
#include "workbench/run/run.h"
#include "workbench/session/dates.h"
#include "workbench/store/store.h"

namespace mervane {

namespace {

// What a run has done to one object, all of its entries together.
struct Net {
    tag_t type = NULLTAG;
    bool was = false, is = false;  // there before the run, and after it
    std::int64_t version = 0;      // the last one of an object that is gone
    std::string label;
    std::map<tag_t, std::pair<Values, Values>> values;  // attribute -> before, after
};

struct Effects {
    std::map<tag_t, Net> objects;
    std::vector<tag_t> order;             // of the objects, as they were changed first
    std::vector<StoredEntry> others;      // changes beside the objects, in order
    std::vector<std::string> not_undone;  // what can't go back
};

void addObject(Effects& effects, StoredEntry&& entry) {
    const auto [at, fresh] = effects.objects.try_emplace(entry.object);
    Net& net = at->second;
    if (fresh) {
        effects.order.push_back(entry.object);
        net.was = entry.change != RunChange::ObjectMade;
    }
    net.type = entry.type;
    net.is = entry.change != RunChange::ObjectDeleted;
    if (entry.change == RunChange::ObjectDeleted) {
        net.version = entry.version;
        net.label = entry.text;
    }
    for (StoredValue& value : entry.values) {
        // The first entry has the value before the run, the last one that after it.
        const auto [known, first] = net.values.try_emplace(value.attribute);
        if (first)
            known->second.first = std::move(value.before);
        known->second.second = std::move(value.after);
    }
}

Effects effectsOf(RunTables& tables, std::int64_t number) {
    Effects effects;
    tables.entries(number, [&](StoredEntry&& entry) {
        switch (entry.change) {
            case RunChange::ObjectMade:
            case RunChange::ObjectChanged:
            case RunChange::ObjectDeleted:
                addObject(effects, std::move(entry));
                break;
            case RunChange::FileStored:  // all three go with their objects
            case RunChange::FileRemoved:
            case RunChange::WorkflowStarted:
                break;
            case RunChange::ModelExtended:
                effects.not_undone.push_back("the store keeps " + entry.text);
                break;
            case RunChange::IdRegistered:
            case RunChange::IdTakenOut:
                if (!entry.values.empty()) {
                    effects.not_undone.push_back(
                        "the id " + entry.text +
                        (entry.change == RunChange::IdRegistered ? " stays registered in "
                                                                 : " stays taken out of ") +
                        std::get<std::string>(entry.values.front().after.at(0)));
                    break;
                }
                // An id of the store's own registry is in the same transaction, so it can go back.
                [[fallthrough]];
            default:
                effects.others.push_back(std::move(entry));
        }
    });
    return effects;
}

class Undo {
public:
    Undo(Session& session, Effects effects, UndoReport& report)
        : session_(session),
          store_(session.store()),
          effects_(std::move(effects)),
          report_(report) {
        const Class& workspace = standardClass(session, "WorkspaceObject");
        last_date_ = session.model().findAttribute(workspace, "last_mod_date")->handle;
        last_user_ = session.model().findAttribute(workspace, "last_mod_user")->handle;
    }

    void run() {
        for (const tag_t tag : effects_.order)
            checkObject(tag, effects_.objects.at(tag));
        if (!report_.conflicts.empty())
            return;
        // In this order: what is changed may refer to what comes back, and must no longer refer to
        // what goes.
        reviveObjects();
        changeObjects();
        if (report_.conflicts.empty())
            deleteObjects();
        // The latest first: a preference that was set twice goes back step by step.
        std::for_each(effects_.others.rbegin(), effects_.others.rend(),
                      [this](const StoredEntry& entry) { takeBack(entry); });
    }

private:
    Session& session_;
    Store& store_;
    Effects effects_;
    UndoReport& report_;
    tag_t last_date_ = NULLTAG, last_user_ = NULLTAG;

    void conflict(const std::string& text) { report_.conflicts.push_back(text); }

    std::string label(tag_t tag, const Net& net) {
        std::string id = net.label;
        if (id.empty() && session_.tryObject(tag))
            id = session_.displayId(tag);
        const Type* type = session_.model().typeOf(net.type);
        return (id.empty() ? "#" + std::to_string(tag) : id + " (#" + std::to_string(tag) + ")") +
               (type ? " of the type " + type->name : "");
    }

    std::string shown(const Values& values) {
        std::string text;
        for (const Value& value : values)
            text += (text.empty() ? "" : ", ") + Session::displayText(session_, value);
        return values.empty() ? "no value" : "\"" + text + "\"";
    }

    // ---- what speaks against it ----

    void checkObject(tag_t tag, const Net& net) {
        if (!net.is) {
            // What the run has made and deleted again leaves nothing to take back.
            if (net.was)
                checkGone(tag, net);
            return;
        }
        Object* object = nullptr;
        try {
            object = session_.tryObject(tag);
            if (object)
                // Compare with what is stored now, not with what this session read earlier.
                session_.refresh(*object, object->locked);
        } catch (const Failure&) {
            object = nullptr;
        }
        if (!object)
            return conflict(label(tag, net) + " isn't there any more");
        checkHolders(*object, net);
        for (const auto& [handle, change] : net.values) {
            // Each later save sets both, so they tell nothing of the other values.
            if (handle == last_date_ || handle == last_user_)
                continue;
            const auto place = object->type->by_handle.find(handle);
            if (place == object->type->by_handle.end())
                continue;
            const Values now = object->fields.values(place->second);
            if (now != change.second)
                conflict(label(tag, net) + ": " + object->type->layout[place->second]->name +
                         " has the value " + shown(now) + " now; the run has set " +
                         shown(change.second));
        }
        // An attribute that the run didn't give to an object it made.
        if (!net.was)
            for (std::size_t place = 0; place < object->type->layout.size(); ++place)
                if (const Attribute& attribute = *object->type->layout[place];
                    !net.values.count(attribute.handle) && !object->fields.isNull(place))
                    conflict(label(tag, net) + ": " + attribute.name + " has the value " +
                             shown(object->fields.values(place)) + " now; the run has set none");
    }

    void checkGone(tag_t tag, const Net& net) {
        const Type* type = session_.model().typeOf(net.type);
        if (store_.exists(tag))
            return conflict(label(tag, net) + " is there again");
        if (!type)
            return conflict(label(tag, net) + " is of a type that isn't defined any more");
        if (!type->cls->isA(standardClass(session_, "VaneFile")))
            return;
        StoredFile file;
        file.tag = tag;
        for (const auto& [handle, change] : net.values) {
            const Attribute* attribute = session_.model().attributeOf(handle);
            if (!attribute || change.first.empty())
                continue;
            if (attribute->name == "byte_size")
                file.byte_size = std::get<std::int64_t>(change.first.front());
            else if (attribute->name == "sha256")
                file.sha256 = std::get<std::string>(change.first.front());
            else if (attribute->name == "original_file_name")
                file.name = std::get<std::string>(change.first.front());
        }
        try {
            // The record keeps a removed file in the volume until it is pruned; it may be damaged.
            store_.volume().compare(file);
        } catch (const Failure& failure) {
            conflict(failure.what());
        }
    }

    void checkHolders(Object& object, const Net& net) {
        if (const auto owner = store_.locks().owner(object.tag);
            owner && owner->session != session_.lockSession())
            conflict(label(object.tag, net) + " is locked by " + described(*owner));
        Session::CheckOut by;
        // A check-out of the run itself goes back with it.
        const bool by_run =
            std::any_of(effects_.others.begin(), effects_.others.end(), [&](const auto& entry) {
                return entry.change == RunChange::CheckOutMade && entry.object == object.tag;
            });
        if (!by_run && session_.checkedOut(object.tag, &by))
            conflict(label(object.tag, net) + " is checked out by user " +
                     session_.displayId(by.user) + " since " + by.date);
        const char* privilege = net.was ? "WRITE" : "DELETE";
        if (!session_.allowed(object, privilege))
            conflict("user " + session_.userId() + " may not " + privilege + " " +
                     label(object.tag, net));
    }

    // ---- taking back ----

    void reviveObjects() {
        for (const tag_t tag : effects_.order) {
            const Net& net = effects_.objects.at(tag);
            if (!net.was || net.is)
                continue;
            // A higher version than any that a session has read: nobody's old copy passes for the
            // new one.
            Session::Revived object{tag, net.type, net.version + 1, {}};
            for (const auto& [handle, change] : net.values)
                object.values.emplace_back(handle, change.first);
            session_.revive(object);
        }
    }

    void changeObjects() {
        std::vector<Object*> changed;
        for (const tag_t tag : effects_.order) {
            const Net& net = effects_.objects.at(tag);
            if (!net.was || !net.is)
                continue;
            Object& object = session_.object(tag);
            bool differs = false;
            for (const auto& [handle, change] : net.values) {
                // The date is that of the undo: the save sets it in any case.
                if (handle == last_date_ || change.first == change.second)
                    continue;
                session_.put(object, session_.attribute(object, handle).name, change.first);
                differs = true;
            }
            if (differs)
                changed.push_back(&object);
        }
        // The run's values before include the last user: the save must not write the undoing one.
        session_.keepLastUser(true);
        try {
            session_.save(changed);
        } catch (const Failure& failure) {
            conflict(failure.what());
        } catch (...) {
            session_.keepLastUser(false);
            throw;
        }
        session_.keepLastUser(false);
    }

    void deleteObjects() {
        std::vector<tag_t> going;
        for (const tag_t tag : effects_.order)
            if (const Net& net = effects_.objects.at(tag); !net.was && net.is)
                going.push_back(tag);
        const std::set<tag_t> gone(going.begin(), going.end());
        for (const tag_t tag : going)
            for (const Session::Referrer& referrer : session_.referrers(tag))
                if (!gone.count(referrer.tag)) {
                    Object* from = session_.tryObject(referrer.tag);
                    const Attribute* attribute = session_.model().attributeOf(referrer.attribute);
                    conflict(label(tag, effects_.objects.at(tag)) + " is referred to by " +
                             (from ? session_.displayId(referrer.tag) : "") + " (#" +
                             std::to_string(referrer.tag) + ") in " +
                             (attribute ? attribute->name : "?"));
                }
        if (report_.conflicts.empty())
            session_.erase(going);
    }

    void takeBack(const StoredEntry& entry) {
        switch (entry.change) {
            case RunChange::CheckOutMade:
                return endCheckOut(entry);
            case RunChange::CheckOutEnded:
                return makeCheckOut(entry);
            case RunChange::IdRegistered:
                return store_.ownRegistry().has(entry.text)
                           ? session_.takeOutId(entry.text)
                           : conflict("the item id " + entry.text + " isn't registered any more");
            case RunChange::IdTakenOut:
                return store_.ownRegistry().has(entry.text)
                           ? conflict("the item id " + entry.text + " is registered again")
                           : session_.registerId(entry.text);
            case RunChange::PreferenceSet:
                return setPreference(entry);
            case RunChange::RightAdded:
                return removeRight(entry);
            case RunChange::RightRemoved:
                return addRight(entry);
            default:
                return;
        }
    }

    // User, date and comment as the run has left or found them.
    static Store::CheckOutRow rowOf(tag_t object, const Values& values) {
        return {object, std::get<Reference>(values.at(0)).tag, std::get<std::string>(values.at(1)),
                std::get<std::string>(values.at(2))};
    }

    void endCheckOut(const StoredEntry& entry) {
        const auto at = effects_.objects.find(entry.object);
        if (at != effects_.objects.end() && !at->second.was)
            return;  // went with its object
        const Store::CheckOutRow made = rowOf(entry.object, entry.values.front().after);
        const auto now = store_.checkOut(entry.object);
        const std::string name = "#" + std::to_string(entry.object);
        // The date tells the run's check-out from a later one of the same user.
        if (!now || now->user != made.user || now->date != made.date)
            return conflict("the check-out of " + name + " isn't the run's any more");
        store_.removeCheckOut(entry.object);
        session_.recorder()->checkedIn(now->object, now->user, now->date, now->comment);
    }

    void makeCheckOut(const StoredEntry& entry) {
        const Store::CheckOutRow ended = rowOf(entry.object, entry.values.front().before);
        if (!store_.exists(entry.object))
            return;
        // Session::checkOut() would write the undoing user and the time of now.
        if (!store_.addCheckOut(ended))
            return conflict("#" + std::to_string(entry.object) + " is checked out again");
        session_.recorder()->checkedOut(ended.object, ended.user, ended.date, ended.comment);
    }

    // Only administrators change rights and preferences, also by an undo. A rehearsal changes
    // nothing.
    void needAdministrator() {
        if (!session_.rehearses())
            session_.needAdministrator("undo a change of preferences or rights");
    }

    void setPreference(const StoredEntry& entry) {
        needAdministrator();
        const StoredValue& change = entry.values.front();
        const auto now = store_.preference(entry.text);
        if (asValues(now ? &*now : nullptr) != change.after)
            return conflict("the preference " + entry.text + " has another value now");
        std::vector<std::string> before;
        for (std::size_t i = 1; i < change.before.size(); ++i)
            before.push_back(std::get<std::string>(change.before[i]));
        session_.setPreference(entry.text, std::get<bool>(change.before.at(0)) ? &before : nullptr);
    }

    void removeRight(const StoredEntry& entry) {
        needAdministrator();
        const Right right = rightOf(entry.values.front().after);
        const std::int64_t had = store_.removeRight(right);
        if (!had)
            return conflict("a right of " + right.subject_kind + " " + right.subject + " to " +
                            right.privilege + " isn't there any more");
        session_.recorder()->right(RunChange::RightRemoved, right, had);
    }

    void addRight(const StoredEntry& entry) {
        needAdministrator();
        const Right right = rightOf(entry.values.front().before);
        // The store has no question for one right: take it out, and put it back at its position.
        if (const std::int64_t had = store_.removeRight(right)) {
            store_.addRight(right, had);
            return conflict("a right of " + right.subject_kind + " " + right.subject + " to " +
                            right.privilege + " is there again");
        }
        // Session::addRight() would put the right after all others.
        session_.recorder()->right(RunChange::RightAdded, right,
                                   store_.addRight(right, entry.version));
    }
};

}  // namespace

UndoReport undoRun(Session& session, std::int64_t number, const std::string& version) {
    RunHead head;
    if (!readHead(session, number, head))
        throw Failure(kBadValue, "there is no run " + std::to_string(number));
    if (head.running)
        throw Failure(kBadValue, "run " + std::to_string(number) + " (" + head.service +
                                     ") hasn't ended: process " + std::to_string(head.process) +
                                     " is at work on it");
    UndoReport report;
    const auto tables = session.store().runs(false);
    // A whole run of its own: a conflict takes all of it back, and the undo can be undone.
    Run run(session, {RunWay::Whole, "undo", std::to_string(number), "", version}, number);
    Effects effects = effectsOf(*tables, number);
    report.not_undone = effects.not_undone;
    for (const std::string& note : head.outcome.notes)
        report.not_undone.push_back(note);
    Undo(session, std::move(effects), report).run();
    const bool keep = report.conflicts.empty();
    const RunHead ended =
        run.end({keep ? RunResult::Done : RunResult::Refused, 0, "", {}, {}}, keep, nullptr);
    // Cached objects may be older than what the undo has stored.
    session.forgetAll();
    report.run = keep ? ended.number : 0;
    report.done = keep;
    return report;
}

}  // namespace mervane
