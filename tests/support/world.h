#pragma once

// A small world for a test: a fresh store in memory with one session, a configuration directory and
// the lines that the library has written to its log since the world was made.

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "workbench/workbench.h"

namespace world {

struct LogLine {
    char level;  // E, W, T or D
    int depth;   // steps of indentation
    std::string text;
};

struct ItemTags {
    tag_t item = NULLTAG;
    tag_t revision = NULLTAG;
};

class World {
public:
    World();
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    mervane::Workbench& bench;

    // ---- objects, each stored when the call returns ----
    ItemTags item(const std::string& id, const std::string& type = "");
    tag_t revision(tag_t item, const std::string& revision_id);
    tag_t masterForm(tag_t object);
    tag_t dataset(const std::string& name, const std::string& type = "Text");
    // A dataset that the object specifies.
    tag_t specification(tag_t primary, const std::string& name, const std::string& type = "Text");
    tag_t occurrence(tag_t parent_revision, tag_t child_revision);
    void put(tag_t object, const std::string& attribute, const std::string& text);
    void put(tag_t object, const std::string& attribute, date_s date);
    // Append a status of this name; the object's date is left alone.
    tag_t giveStatus(tag_t object, const std::string& name);
    // Another user with a session, which doesn't become the current one.
    mervane::Workbench::SessionId otherUser(const std::string& id);
    // Do something in another session.
    void as(mervane::Workbench::SessionId session, const std::function<void()>& action);
    mervane::Workbench::SessionId session() const { return session_; }
    mervane::Workbench::StoreId store() const { return store_; }

    // ---- what is stored, as a session that has just been opened sees it ----
    mervane::Values stored(tag_t object, const std::string& attribute);
    std::string storedText(tag_t object, const std::string& attribute);  // empty: no value
    date_s storedDate(tag_t object, const std::string& attribute);       // all zero: no value
    std::vector<tag_t> storedTags(tag_t object, const std::string& attribute);
    std::vector<std::string> statuses(tag_t object);  // names of the statuses that exist
    bool exists(tag_t object);
    int count(const std::string& cls);  // objects of a class
    // Everything stored, as one text.
    std::string everything();

    // ---- configuration ----
    // The status manager's INI file.
    void ini(const std::string& text);
    // A file of the configuration directory.
    void configure(const std::string& file, const std::string& text);

    // ---- the log, at its finest level, without the calls' enter and leave lines ----
    std::vector<std::string> lines(std::string_view levels = "EWTD");
    std::vector<LogLine> log();  // with them
    void clearLog();

    // ---- journal and faults ----
    // The calls of an action, each as "OPERATION(argument, argument)", without results, dates,
    // handles of the model and the questions for error texts that the trace asks. Objects appear
    // under the name that they have been given, others as "?".
    std::vector<std::string> calls(const std::function<void()>& action);
    void name(tag_t object, const std::string& name) { names_[object] = name; }
    // Let the n-th call of an operation from now on give a status; without an operation the n-th
    // call of all.
    void fail(const std::string& operation, int n = 1, int status = 4711);
    void failNothing();

    // Heap blocks that are live now, and how many more than after the world was made.
    std::size_t newBlocks() { return blocks() - blocks_at_start_; }
    std::size_t blocks() { return bench.liveHeapBlocks(); }
    bool locked(tag_t object) { return bench.holdsLock(object); }

private:
    std::string shownArguments(const std::string& arguments) const;
    template <typename Result>
    Result look(const std::function<Result()>& action);

    mervane::Workbench::StoreId store_ = 0;
    mervane::Workbench::SessionId session_ = 0;
    std::size_t log_start_ = 0;
    std::size_t blocks_at_start_ = 0;
    std::map<tag_t, std::string> names_;
};

}  // namespace world
