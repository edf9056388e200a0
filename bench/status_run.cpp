// What a status run costs: the library against the same platform calls made in a bare loop, and
// the workbench against the bare SQL statements that it runs.
//
// This program defines the platform functions that a run calls; on Linux a host's own definition
// wins, so the library calls these, which record the call if told to and go on to the workbench.
// Every measurement works on a new world of its own; a new store gives the same handles again, so
// that what was recorded on one world plays on the next.

#include <dlfcn.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/keld_basetool.h"
#include "platform/keld_se.h"
#include "platform/mv_acl.h"
#include "platform/mv_cko.h"
#include "platform/mv_dbo.h"
#include "platform/mv_ent.h"
#include "platform/mv_heap.h"
#include "platform/mv_line.h"
#include "platform/mv_obj.h"
#include "platform/mv_rel.h"
#include "platform/mv_rls.h"
#include "workbench/workbench.h"

namespace {

using namespace mervane;
namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

// ---- recording and playing the platform's calls ----

struct Call {
    std::function<int()> play;
};
std::vector<Call> calls;
bool recording = false;
// Handles of BOM lines are counted through the process: those of the world that a recording plays
// on lie this far behind the recorded ones.
tag_t line_shift = 0;

template <typename F>
F real(const char* name) {
    void* address = dlsym(RTLD_NEXT, name);
    if (!address) {
        fprintf(stderr, "%s isn't there\n", name);
        exit(1);
    }
    return reinterpret_cast<F>(address);
}

void record(std::function<int()> play) {
    calls.push_back({std::move(play)});
}

std::vector<tag_t> tagsOf(int count, const tag_t* tags) {
    return {tags, tags + count};
}

#define REAL(name) static const auto next = real<decltype(&name)>(#name)

}  // namespace

extern "C" {

KELD_EXPORT int ENT_ask_object_type(tag_t object, char* type) {
    REAL(ENT_ask_object_type);
    if (recording)
        record([=] {
            char out[129] = "";
            return next(object, out);
        });
    return next(object, type);
}

KELD_EXPORT int REL_find_relation_type(const char* name, tag_t* type) {
    REAL(REL_find_relation_type);
    if (recording)
        record([=, text = std::string(name)] {
            tag_t out = 0;
            return next(text.c_str(), &out);
        });
    return next(name, type);
}

KELD_EXPORT int REL_list_secondary_objects(tag_t primary, tag_t type, int* count,
                                           rel_entry_s** entries) {
    REAL(REL_list_secondary_objects);
    if (recording)
        record([=] {
            int n = 0;
            rel_entry_s* out = nullptr;
            const int status = next(primary, type, &n, &out);
            HEAP_free(out);
            return status;
        });
    return next(primary, type, count, entries);
}

KELD_EXPORT int LINE_look_up_attribute(const char* name, int* attribute) {
    REAL(LINE_look_up_attribute);
    if (recording)
        record([=, text = std::string(name)] {
            int out = 0;
            return next(text.c_str(), &out);
        });
    return next(name, attribute);
}

KELD_EXPORT int LINE_ask_attribute_tag(tag_t line, int attribute, tag_t* value) {
    REAL(LINE_ask_attribute_tag);
    if (recording)
        record([=] {
            tag_t out = 0;
            return next(line + line_shift, attribute, &out);
        });
    return next(line, attribute, value);
}

KELD_EXPORT int LINE_ask_child_lines(tag_t line, int* count, tag_t** children) {
    REAL(LINE_ask_child_lines);
    if (recording)
        record([=] {
            int n = 0;
            tag_t* out = nullptr;
            const int status = next(line + line_shift, &n, &out);
            HEAP_free(out);
            return status;
        });
    return next(line, count, children);
}

KELD_EXPORT int CKO_is_checked_out(tag_t object, logical* flag) {
    REAL(CKO_is_checked_out);
    if (recording)
        record([=] {
            logical out = false;
            return next(object, &out);
        });
    return next(object, flag);
}

KELD_EXPORT int CKO_assert_object_modifiable(tag_t object) {
    REAL(CKO_assert_object_modifiable);
    if (recording)
        record([=] { return next(object); });
    return next(object);
}

KELD_EXPORT int ACL_check_privilege(tag_t object, const char* privilege, logical* allowed) {
    REAL(ACL_check_privilege);
    if (recording)
        record([=, text = std::string(privilege)] {
            logical out = false;
            return next(object, text.c_str(), &out);
        });
    return next(object, privilege, allowed);
}

KELD_EXPORT int ACL__set_application_bypass(logical on) {
    REAL(ACL__set_application_bypass);
    if (recording)
        record([=] { return next(on); });
    return next(on);
}

KELD_EXPORT int OBJ_ask_if_modifiable(tag_t object, logical* modifiable) {
    REAL(OBJ_ask_if_modifiable);
    if (recording)
        record([=] {
            logical out = false;
            return next(object, &out);
        });
    return next(object, modifiable);
}

KELD_EXPORT int RLS_create_release_status(const char* name, tag_t* status) {
    REAL(RLS_create_release_status);
    const int result = next(name, status);
    if (recording)
        record([=, text = std::string(name), expected = *status] {
            tag_t out = 0;
            const int again = next(text.c_str(), &out);
            if (out != expected) {
                fprintf(stderr, "another handle than recorded\n");
                exit(1);
            }
            return again;
        });
    return result;
}

KELD_EXPORT int DBO_class_of_instance(tag_t instance, tag_t* classId) {
    REAL(DBO_class_of_instance);
    if (recording)
        record([=] {
            tag_t out = 0;
            return next(instance, &out);
        });
    return next(instance, classId);
}

KELD_EXPORT int DBO_name_of_class(tag_t classId, char** name) {
    REAL(DBO_name_of_class);
    if (recording)
        record([=] {
            char* out = nullptr;
            const int status = next(classId, &out);
            HEAP_free(out);
            return status;
        });
    return next(classId, name);
}

KELD_EXPORT int DBO_attr_id_of_attr(const char* attribute, const char* className, tag_t* attr) {
    REAL(DBO_attr_id_of_attr);
    if (recording)
        record([=, a = std::string(attribute), c = std::string(className)] {
            tag_t out = 0;
            return next(a.c_str(), c.c_str(), &out);
        });
    return next(attribute, className, attr);
}

KELD_EXPORT int DBO_length_of_attr(tag_t instance, tag_t attr, int* length) {
    REAL(DBO_length_of_attr);
    if (recording)
        record([=] {
            int out = 0;
            return next(instance, attr, &out);
        });
    return next(instance, attr, length);
}

KELD_EXPORT int DBO_ask_attr_tags(tag_t instance, tag_t attr, int first, int count, tag_t** values,
                                  logical** isNull, logical** isEmpty) {
    REAL(DBO_ask_attr_tags);
    if (recording)
        record([=] {
            tag_t* out = nullptr;
            logical *null = nullptr, *empty = nullptr;
            const int status = next(instance, attr, first, count, &out, &null, &empty);
            HEAP_free(out);
            HEAP_free(null);
            HEAP_free(empty);
            return status;
        });
    return next(instance, attr, first, count, values, isNull, isEmpty);
}

KELD_EXPORT int DBO_ask_attr_string(tag_t instance, tag_t attr, char** value, logical* isNull,
                                    logical* isValid) {
    REAL(DBO_ask_attr_string);
    if (recording)
        record([=] {
            char* out = nullptr;
            logical null = false, valid = false;
            const int status = next(instance, attr, &out, &null, &valid);
            HEAP_free(out);
            return status;
        });
    return next(instance, attr, value, isNull, isValid);
}

KELD_EXPORT int DBO_load_instances_possible(int count, const tag_t* instances, int* loaded,
                                            tag_t** loadedInstances) {
    REAL(DBO_load_instances_possible);
    if (recording)
        record([=, tags = tagsOf(count, instances)] {
            int n = 0;
            tag_t* out = nullptr;
            const int status = next(count, tags.data(), &n, &out);
            HEAP_free(out);
            return status;
        });
    return next(count, instances, loaded, loadedInstances);
}

KELD_EXPORT int DBO_refresh_instances_any_class(int count, const tag_t* instances, int lockMode) {
    REAL(DBO_refresh_instances_any_class);
    if (recording)
        record([=, tags = tagsOf(count, instances)] { return next(count, tags.data(), lockMode); });
    return next(count, instances, lockMode);
}

KELD_EXPORT int DBO_set_attr_string(int count, const tag_t* instances, tag_t attr,
                                    const char* value) {
    REAL(DBO_set_attr_string);
    if (recording)
        record([=, tags = tagsOf(count, instances), text = std::string(value)] {
            return next(count, tags.data(), attr, text.c_str());
        });
    return next(count, instances, attr, value);
}

KELD_EXPORT int DBO_set_attr_date(int count, const tag_t* instances, tag_t attr, date_s value) {
    REAL(DBO_set_attr_date);
    if (recording)
        record(
            [=, tags = tagsOf(count, instances)] { return next(count, tags.data(), attr, value); });
    return next(count, instances, attr, value);
}

KELD_EXPORT int DBO_set_attr_null(int count, const tag_t* instances, tag_t attr) {
    REAL(DBO_set_attr_null);
    if (recording)
        record([=, tags = tagsOf(count, instances)] { return next(count, tags.data(), attr); });
    return next(count, instances, attr);
}

KELD_EXPORT int DBO_append_attr_tags(int count, const tag_t* instances, tag_t attr, int n,
                                     const tag_t* newTags) {
    REAL(DBO_append_attr_tags);
    if (recording)
        record([=, tags = tagsOf(count, instances), more = tagsOf(n, newTags)] {
            return next(count, tags.data(), attr, n, more.data());
        });
    return next(count, instances, attr, n, newTags);
}

KELD_EXPORT int DBO_remove_from_attr(int count, const tag_t* instances, tag_t attr, int first,
                                     int n) {
    REAL(DBO_remove_from_attr);
    if (recording)
        record([=, tags = tagsOf(count, instances)] {
            return next(count, tags.data(), attr, first, n);
        });
    return next(count, instances, attr, first, n);
}

KELD_EXPORT int DBO_save_instances(int count, const tag_t* instances, logical flag) {
    REAL(DBO_save_instances);
    if (recording)
        record([=, tags = tagsOf(count, instances)] { return next(count, tags.data(), flag); });
    return next(count, instances, flag);
}

KELD_EXPORT int DBO_delete_instances(int count, const tag_t* instances) {
    REAL(DBO_delete_instances);
    if (recording)
        record([=, tags = tagsOf(count, instances)] { return next(count, tags.data()); });
    return next(count, instances);
}

KELD_EXPORT int DBO_referencers_of_instance(tag_t instance, int levels, int mode, int* count,
                                            tag_t** instances, int** instanceLevels,
                                            int** instanceWhereFound, int* classCount,
                                            tag_t** classes, int** classLevels,
                                            int** classWhereFound) {
    REAL(DBO_referencers_of_instance);
    if (recording)
        record([=] {
            int n = 0, m = 0;
            tag_t *a = nullptr, *b = nullptr;
            int *c = nullptr, *d = nullptr, *e = nullptr, *f = nullptr;
            const int status = next(instance, levels, mode, &n, &a, &c, &d, &m, &b, &e, &f);
            for (void* block : std::initializer_list<void*>{a, b, c, d, e, f})
                HEAP_free(block);
            return status;
        });
    return next(instance, levels, mode, count, instances, instanceLevels, instanceWhereFound,
                classCount, classes, classLevels, classWhereFound);
}

}  // extern "C"

namespace {

// ---- recording and playing SQL statements ----

struct Statement {
    int connection = 0;
    std::string sql;
    std::vector<std::string> literals;  // of the parameters, as SQL literals
};
std::vector<sqlite3*> connections;
std::vector<Statement> statements;
bool tracing = false;

// The literals that stand in the expanded text where the template has its parameters.
std::vector<std::string> literalsOf(const char* sql, const char* expanded) {
    std::vector<std::string> found;
    for (const char *s = sql, *e = expanded; *s;) {
        if (*s != '?') {
            ++s;
            ++e;
            continue;
        }
        ++s;
        while (*s >= '0' && *s <= '9')
            ++s;
        const char* start = e;
        if ((*e == 'x' || *e == 'X') && e[1] == '\'')
            ++e;
        if (*e == '\'') {
            for (++e; *e != '\'' || e[1] == '\''; ++e)
                if (*e == '\'')
                    ++e;
            ++e;
        } else {
            while (*e && strchr("+-.0123456789eENULinf", *e))
                ++e;
        }
        found.emplace_back(start, e);
    }
    return found;
}

int onStatement(unsigned, void* context, void* prepared, void*) {
    if (!tracing)
        return 0;
    auto* statement = static_cast<sqlite3_stmt*>(prepared);
    if (sqlite3_sql(statement)[0] == '-')
        return 0;  // a trigger's note, no statement of its own
    char* expanded = sqlite3_expanded_sql(statement);
    const char* sql = sqlite3_sql(statement);
    statements.push_back({static_cast<int>(reinterpret_cast<std::intptr_t>(context)), sql,
                          literalsOf(sql, expanded)});
    sqlite3_free(expanded);
    return 0;
}

int onOpen(sqlite3* connection, char**, const sqlite3_api_routines*) {
    const auto index = static_cast<std::intptr_t>(connections.size());
    connections.push_back(connection);
    sqlite3_trace_v2(connection, SQLITE_TRACE_STMT, onStatement, reinterpret_cast<void*>(index));
    return SQLITE_OK;
}

struct Bound {
    sqlite3_stmt* statement = nullptr;
    std::vector<std::string> texts;
    std::vector<int> kinds;  // 0 null, 1 integer, 2 real, 3 text
    std::vector<sqlite3_int64> integers;
    std::vector<double> reals;
};

// Prepare each different statement once, as the workbench does; then run all in their order.
double playStatements() {
    for (sqlite3* connection : connections)
        sqlite3_trace_v2(connection, 0, nullptr, nullptr);
    std::map<std::pair<int, std::string>, sqlite3_stmt*> prepared;
    std::vector<Bound> all;
    for (const Statement& statement : statements) {
        sqlite3_stmt*& handle = prepared[{statement.connection, statement.sql}];
        if (!handle &&
            sqlite3_prepare_v3(connections[static_cast<std::size_t>(statement.connection)],
                               statement.sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &handle,
                               nullptr) != SQLITE_OK) {
            fprintf(stderr, "can't prepare %s\n", statement.sql.c_str());
            exit(1);
        }
        Bound bound;
        bound.statement = handle;
        for (const std::string& literal : statement.literals) {
            int kind = 1;
            sqlite3_int64 integer = 0;
            double real_value = 0;
            std::string text;
            if (literal == "NULL") {
                kind = 0;
            } else if (literal[0] == '\'') {
                kind = 3;
                for (std::size_t i = 1; i + 1 < literal.size(); ++i) {
                    text += literal[i];
                    if (literal[i] == '\'')
                        ++i;
                }
            } else if (literal.find_first_of(".eE") != std::string::npos) {
                kind = 2;
                real_value = atof(literal.c_str());
            } else {
                integer = atoll(literal.c_str());
            }
            bound.kinds.push_back(kind);
            bound.integers.push_back(integer);
            bound.reals.push_back(real_value);
            bound.texts.push_back(text);
        }
        all.push_back(std::move(bound));
    }
    std::size_t bytes = 0;
    const auto start = Clock::now();
    for (const Bound& bound : all) {
        for (std::size_t i = 0; i < bound.kinds.size(); ++i) {
            const int at = static_cast<int>(i) + 1;
            if (bound.kinds[i] == 1)
                sqlite3_bind_int64(bound.statement, at, bound.integers[i]);
            else if (bound.kinds[i] == 2)
                sqlite3_bind_double(bound.statement, at, bound.reals[i]);
            else if (bound.kinds[i] == 3)
                sqlite3_bind_text(bound.statement, at, bound.texts[i].data(),
                                  static_cast<int>(bound.texts[i].size()), SQLITE_STATIC);
        }
        int result;
        while ((result = sqlite3_step(bound.statement)) == SQLITE_ROW)
            for (int c = sqlite3_column_count(bound.statement); c-- > 0;)
                if (sqlite3_column_text(bound.statement, c))
                    bytes += static_cast<std::size_t>(sqlite3_column_bytes(bound.statement, c));
        if (result != SQLITE_DONE) {
            fprintf(stderr, "%s: %s\n", sqlite3_sql(bound.statement),
                    sqlite3_errmsg(sqlite3_db_handle(bound.statement)));
            exit(1);
        }
        sqlite3_reset(bound.statement);
        sqlite3_clear_bindings(bound.statement);
    }
    const std::chrono::duration<double> elapsed = Clock::now() - start;
    if (bytes == 0)
        exit(1);
    return elapsed.count();
}

// ---- the world and the run ----

// A tree with ten children per assembly and a dataset at each revision, in a store of its own.
class World {
public:
    World(const std::string& path, int revisions) {
        connections.clear();
        auto* bench = mervane_workbench();
        if (path != ":memory:")
            bench->createStore(path);
        store_ = bench->openStore(path);
        bench->openSession(store_, {});
        std::vector<tag_t> all;
        for (int i = 0; i < revisions; ++i) {
            char id[16];
            snprintf(id, sizeof id, "%06d", i);
            tag_t revision = NULLTAG;
            bench->createItem(id, "part", "Item", "A", &revision);
            const tag_t dataset = bench->createDataset("Text", id);
            bench->relate(revision, dataset, "VANE_specification");
            if (i > 0)
                bench->addOccurrence(all[static_cast<std::size_t>((i - 1) / 10)], revision, "", "");
            all.push_back(revision);
        }
        top_ = bench->openBomWindow(all[0]);
    }
    ~World() { mervane_workbench()->closeStore(store_); }
    World(const World&) = delete;
    tag_t top() const { return top_; }

private:
    Workbench::StoreId store_ = 0;
    tag_t top_ = NULLTAG;
};

void writeSettings(const fs::path& directory) {
    std::ofstream ini(directory / "keld_statusmanager.ini");
    ini << "[SelectWSO]\nBOMLine=1\n"
           "[Frozen_BOMLine]\nChangeForward=ChildBomLines;bl_revision\n"
           "[Frozen_ItemRevision]\nPrevReleaseStatus=none\nSetReleaseState=Frozen\n"
           "DoNothingOnReleaseStatus=Frozen\nChangeForward=Rel.VANE_specification.*\n"
           "[Frozen_VANE_specification.*]\nPrevReleaseStatus=none\nSetReleaseState=Frozen\n"
           "DoNothingOnReleaseStatus=Frozen\n";
}

double seconds(const std::function<void()>& body) {
    const auto start = Clock::now();
    body();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void runLibrary(tag_t top) {
    const int status = KELD_StatusManager_ManageStatus(top, "BOMLine", "Frozen");
    if (status != 0) {
        fprintf(stderr, "the run gave %d\n", status);
        exit(1);
    }
}

std::map<std::string, int> callCounts(const std::vector<JournalEntry>& journal) {
    std::map<std::string, int> counts;
    for (const JournalEntry& entry : journal)
        if (entry.operation != "HEAP_free")
            ++counts[entry.operation];
    return counts;
}

struct Result {
    int revisions = 0;
    double off = 1e9, warning = 1e9, trace = 1e9, bare = 1e9, sql = 1e9, durable = 1e9;
    std::size_t calls = 0, statements = 0;
};

Result measure(int revisions, int rounds, const fs::path& directory) {
    Result result;
    result.revisions = revisions;
    KELD_SetLogLevel(0);
    tag_t recorded_top = NULLTAG;
    {
        // Record the calls, and prove with the journal that none was missed.
        World world(":memory:", revisions);
        mervane_workbench()->startJournal();
        calls.clear();
        recording = true;
        runLibrary(world.top());
        recording = false;
        recorded_top = world.top();
        const auto made = callCounts(mervane_workbench()->stopJournal());
        World again(":memory:", revisions);
        line_shift = again.top() - recorded_top;
        mervane_workbench()->startJournal();
        for (const Call& call : calls)
            call.play();
        if (callCounts(mervane_workbench()->stopJournal()) != made) {
            fprintf(stderr, "the bare loop makes other calls than the library\n");
            exit(1);
        }
    }
    {
        World world(":memory:", revisions);
        statements.clear();
        tracing = true;
        runLibrary(world.top());
        tracing = false;
    }
    result.calls = calls.size();
    result.statements = statements.size();
    for (int round = 0; round < rounds; ++round) {
        const auto library = [&](int level, const std::string& path) {
            World world(path, revisions);
            KELD_SetLogLevel(level);
            const double time = seconds([&] { runLibrary(world.top()); });
            KELD_SetLogLevel(0);
            return time;
        };
        result.off = std::min(result.off, library(0, ":memory:"));
        result.warning = std::min(result.warning, library(2, ":memory:"));
        result.trace = std::min(result.trace, library(3, ":memory:"));
        {
            World world(":memory:", revisions);
            line_shift = world.top() - recorded_top;
            result.bare = std::min(result.bare, seconds([] {
                                       for (const Call& call : calls)
                                           call.play();
                                   }));
        }
        {
            World world(":memory:", revisions);
            result.sql = std::min(result.sql, playStatements());
        }
        fs::remove(directory / "keld.log");
    }
    const std::string path = (directory / ("store" + std::to_string(revisions))).string();
    {
        World world(path, revisions);
        result.durable = seconds([&] { runLibrary(world.top()); });
    }
    return result;
}

}  // namespace

int main(int argc, char** argv) {
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);  // a row is seen when it is measured, in a pipe too
    const bool json = argc > 1 && std::string(argv[1]) == "--json";
    std::string pattern = (fs::temp_directory_path() / "keld-bench-XXXXXX").string();
    const fs::path directory = mkdtemp(pattern.data());
    setenv("KELD_CFG_PATH", directory.c_str(), 1);
    setenv("KELD_LOG_FILE", (directory / "keld.log").c_str(), 1);
    writeSettings(directory);
    sqlite3_auto_extension(reinterpret_cast<void (*)()>(onOpen));

    if (!json)
        printf("%9s %8s %10s | %8s %8s %8s %8s %8s %8s | %7s %7s %7s\n", "revisions", "calls",
               "statements", "off", "warning", "trace", "bare", "SQL", "durable", "off/b",
               "trace/b", "bare/SQL");
    if (json)
        printf("[");
    bool first = true;
    for (const int revisions : {1000, 10000}) {
        const Result r = measure(revisions, revisions > 5000 ? 3 : 5, directory);
        const double us = 1e6 / (2.0 * r.revisions);
        if (json)
            printf(
                "%s{\"revisions\":%d,\"calls\":%zu,\"statements\":%zu,\"off_us\":%.2f,"
                "\"warning_us\":%.2f,\"trace_us\":%.2f,\"bare_us\":%.2f,\"sql_us\":%.2f,"
                "\"durable_us\":%.2f}",
                first ? "" : ",", r.revisions, r.calls, r.statements, r.off * us, r.warning * us,
                r.trace * us, r.bare * us, r.sql * us, r.durable * us);
        else
            printf("%9d %8zu %10zu | %8.2f %8.2f %8.2f %8.2f %8.2f %8.2f | %7.2f %7.2f %7.2f\n",
                   r.revisions, r.calls, r.statements, r.off * us, r.warning * us, r.trace * us,
                   r.bare * us, r.sql * us, r.durable * us, r.off / r.bare, r.trace / r.bare,
                   r.bare / r.sql);
        first = false;
    }
    printf(json ? "]\n"
                : "Microseconds per object (a revision or a dataset). Targets: off/b at most 1.3, "
                  "trace/b at most 2, bare/SQL at most 3.\n");
    fs::remove_all(directory);
    return 0;
}
