#pragma once

// Writes down what a session changes while a run lasts, in the transactions of the changes
// themselves: an entry is stored if, and only if, its change is.

#include <memory>
#include <string>

#include "workbench/store/run_entry.h"
#include "workbench/store/runs.h"

namespace mervane {

class Reads;
class Store;
struct Right;

// Requires, for all that adds an entry: a transaction that the change is a part of. Failure
// kStoreFailure if the entry can't be stored, kInterrupted after interrupt(): the transaction then
// has to go back.
class Recorder {
public:
    // With `stored` the record stays in the store, else it ends with the store's connection.
    Recorder(Store& store, bool stored, RunHead head, std::int64_t session);
    ~Recorder();

    bool isStored() const { return stored_; }
    RunHead& head() { return head_; }
    // Null: nobody wants to know what the run reads.
    Reads* reads() { return reads_.get(); }
    void gatherReads();

    // Gives the entry its position.
    void add(StoredEntry entry);

    // An object as the store has it, all values in `before` or in `after`; without a type if it
    // isn't stored. Adds nothing.
    enum class Side { Before, After };
    StoredEntry stored(tag_t object, RunChange change, Side side);
    // An object that was made outside the session's saves, and its file if it is one.
    void addMade(tag_t object);
    // An object that was changed outside the session's saves, by its values before. Nothing if they
    // are the same now.
    void addDifference(const StoredEntry& before);

    void checkedOut(tag_t object, tag_t user, const std::string& date, const std::string& comment);
    void checkedIn(tag_t object, tag_t user, const std::string& date, const std::string& comment);
    // `registry`: path of a shared one, which is outside the store; empty: the store's own.
    void registered(const std::string& item_id, const std::string& registry = "");
    void takenOut(const std::string& item_id, const std::string& registry = "");
    // Null: the preference isn't there.
    void preference(const std::string& name, const std::vector<std::string>* before,
                    const std::vector<std::string>* after);
    void right(RunChange change, const Right& right, std::int64_t position);
    void modelExtended(const std::string& what);

    // The number under which entries are stored; 0: there is none, or they went back.
    std::int64_t number() { return tables_->numberOf(token_); }
    RunTables& tables() { return *tables_; }

private:
    Store& store_;
    bool stored_;
    RunHead head_;
    std::int64_t session_;
    std::string token_;
    std::unique_ptr<RunTables> tables_;
    std::int64_t position_ = 0;
    std::unique_ptr<Reads> reads_;

    void idChanged(RunChange change, const std::string& item_id, const std::string& registry);
    void checkOut(RunChange change, tag_t object, tag_t user, const std::string& date,
                  const std::string& comment);
};

// Values of a right and back, as an entry has them. Failure kStoreFailure for damaged ones.
Values asValues(const Right& right);
Right rightOf(const Values& values);
// Of a preference: a logical that says whether it is there, then its values.
Values asValues(const std::vector<std::string>* preference);

}  // namespace mervane
