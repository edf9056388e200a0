#include "workbench/run/recorder.h"

#include <algorithm>

#include "workbench/model/status.h"
#include "workbench/run/reads.h"
#include "workbench/session/journal.h"
#include "workbench/store/store.h"
#include "workbench/system/system.h"

namespace mervane {

namespace {

Values texts(const std::vector<std::string>& list) {
    return {list.begin(), list.end()};
}

}  // namespace

Recorder::Recorder(Store& store, bool stored, RunHead head, std::int64_t session)
    : store_(store),
      stored_(stored),
      head_(std::move(head)),
      session_(session),
      token_(system::randomName()),
      tables_(store.runs(!stored)) {
}

Recorder::~Recorder() = default;

void Recorder::gatherReads() {
    reads_ = std::make_unique<Reads>();
}

void Recorder::add(StoredEntry entry) {
    // An import makes no calls of the platform, which notice an interruption otherwise.
    if (callsAreInterrupted())
        throw Failure(kInterrupted, "no further change");
    if (reads_ && entry.change == RunChange::ObjectMade)
        reads_->made(entry.object);
    // Positions ascend with gaps: a save that goes back takes its entries along, not the count.
    entry.position = ++position_;
    // Ask for the head each time: the save that stored it may have gone back.
    tables_->add(tables_->begin(token_, head_, session_), entry);
}

StoredEntry Recorder::stored(tag_t object, RunChange change, Side side) {
    StoredEntry entry;
    entry.change = change;
    entry.object = object;
    store_.load(
        object,
        [&](tag_t type, std::int64_t version) {
            entry.type = type;
            entry.version = version;
        },
        [&](tag_t attribute, std::size_t, Value&& value) {
            if (!store_.model().attributeOf(attribute))
                return;
            if (entry.values.empty() || entry.values.back().attribute != attribute) {
                entry.values.emplace_back();
                entry.values.back().attribute = attribute;
            }
            StoredValue& values = entry.values.back();
            (side == Side::Before ? values.before : values.after).push_back(std::move(value));
        });
    return entry;
}

void Recorder::addMade(tag_t object) {
    StoredEntry entry = stored(object, RunChange::ObjectMade, Side::After);
    const tag_t handle = entry.type;
    const Type* type = store_.model().typeOf(handle);
    add(std::move(entry));
    if (!type || !type->cls->isA(*store_.model().findClass("VaneFile")))
        return;
    StoredEntry file;
    file.change = RunChange::FileStored;
    file.object = object;
    file.type = handle;
    file.text = store_.knownFile(object).name;
    add(std::move(file));
}

void Recorder::addDifference(const StoredEntry& before) {
    StoredEntry now = stored(before.object, RunChange::ObjectChanged, Side::After);
    for (const StoredValue& old : before.values) {
        const auto at = std::find_if(
            now.values.begin(), now.values.end(),
            [&](const StoredValue& value) { return value.attribute == old.attribute; });
        if (at != now.values.end())
            at->before = old.before;
        else
            // The attribute has no value any more.
            now.values.push_back({old.attribute, old.before, {}});
    }
    std::erase_if(now.values, [](const StoredValue& value) { return value.before == value.after; });
    if (!now.values.empty())
        add(std::move(now));
}

void Recorder::checkOut(RunChange change, tag_t object, tag_t user, const std::string& date,
                        const std::string& comment) {
    StoredEntry entry;
    entry.change = change;
    entry.object = object;
    entry.type = store_.typeOf(object);
    Values values{Reference{user}, date, comment};
    if (change == RunChange::CheckOutMade)
        entry.values.push_back({NULLTAG, {}, std::move(values)});
    else
        entry.values.push_back({NULLTAG, std::move(values), {}});
    add(std::move(entry));
}

void Recorder::checkedOut(tag_t object, tag_t user, const std::string& date,
                          const std::string& comment) {
    checkOut(RunChange::CheckOutMade, object, user, date, comment);
}

void Recorder::checkedIn(tag_t object, tag_t user, const std::string& date,
                         const std::string& comment) {
    checkOut(RunChange::CheckOutEnded, object, user, date, comment);
}

void Recorder::idChanged(RunChange change, const std::string& item_id,
                         const std::string& registry) {
    StoredEntry entry;
    entry.change = change;
    entry.text = item_id;
    // A shared registry doesn't go back, so an undo needs its path to tell that.
    if (!registry.empty())
        entry.values.push_back({NULLTAG, {}, {registry}});
    add(std::move(entry));
}

void Recorder::registered(const std::string& item_id, const std::string& registry) {
    idChanged(RunChange::IdRegistered, item_id, registry);
}

void Recorder::takenOut(const std::string& item_id, const std::string& registry) {
    idChanged(RunChange::IdTakenOut, item_id, registry);
}

void Recorder::preference(const std::string& name, const std::vector<std::string>* before,
                          const std::vector<std::string>* after) {
    StoredEntry entry;
    entry.change = RunChange::PreferenceSet;
    entry.text = name;
    entry.values.push_back({NULLTAG, asValues(before), asValues(after)});
    if (entry.values.front().before != entry.values.front().after)
        add(std::move(entry));
}

void Recorder::right(RunChange change, const Right& right, std::int64_t position) {
    StoredEntry entry;
    entry.change = change;
    // An undo puts a right that was taken away back at this position.
    entry.version = position;
    if (change == RunChange::RightAdded)
        entry.values.push_back({NULLTAG, {}, asValues(right)});
    else
        entry.values.push_back({NULLTAG, asValues(right), {}});
    add(std::move(entry));
}

void Recorder::modelExtended(const std::string& what) {
    StoredEntry entry;
    entry.change = RunChange::ModelExtended;
    entry.text = what;
    add(std::move(entry));
}

Values asValues(const Right& right) {
    Values values =
        texts({right.subject_kind, right.subject, right.scope_kind, right.scope, right.privilege});
    values.emplace_back(right.allowed);
    return values;
}

Right rightOf(const Values& values) {
    if (values.size() != 6)
        throw Failure(kStoreFailure, "a right in the record of a run is damaged");
    const auto text = [&](std::size_t i) { return std::get<std::string>(values[i]); };
    return {text(0), text(1), text(2), text(3), text(4), std::get<bool>(values[5])};
}

Values asValues(const std::vector<std::string>* preference) {
    Values values{preference != nullptr};
    if (preference)
        values.insert(values.end(), preference->begin(), preference->end());
    return values;
}

}  // namespace mervane
