#include "tests/server/statement_sweep.h"

#include <libpq-fe.h>

#include <memory>
#include <sstream>
#include <stdexcept>

#include "tests/kills/operations.h"
#include "tests/support/server_value.h"
#include "tests/workbench/support.h"

namespace mervane::test {

namespace {

void need(int status) {
    if (status == 0)
        return;
    const auto stack = bench().errorStack();
    const std::string text = stack.empty() ? "" : stack.back().text;
    ERR_clear_errors();
    throw Failure(status, text);
}

// A run that fails is ended, as a caller does, unless it has gone with its session.
std::int64_t inRun(RunWay way, const std::function<void()>& body) {
    bench().beginRun({way, "sweep", "", "", ""});
    try {
        body();
    } catch (...) {
        (void)statusOf([] { bench().endRun({}, false, nullptr); });
        throw;
    }
    return bench().endRun({}, true, nullptr).number;
}

// Operations tell their failures by another type.
void runOperation(kills::Operation& operation, int number) {
    try {
        operation.run(number);
    } catch (const std::runtime_error& error) {
        const auto stack = bench().errorStack();
        ERR_clear_errors();
        throw Failure(stack.empty() ? 0 : stack.front().status, error.what());
    }
}

// What a run of many kinds of changes works on.
struct Parts {
    std::string id;
    tag_t item = NULLTAG, revision = NULLTAG, old = NULLTAG, relation = NULLTAG;
};

Parts makeParts(const std::string& id) {
    Parts parts;
    parts.id = id;
    parts.item = bench().createItem(id, "old", "", "A", &parts.revision);
    parts.old = bench().createDataset("Text", id + " old");
    parts.relation = bench().relate(parts.revision, parts.old, "VANE_specification");
    return parts;
}

Steps manyChanges(const Parts& parts, const std::string& directory) {
    const auto made = std::make_shared<tag_t>(NULLTAG);
    return {[=] { *made = bench().createDataset("Text", parts.id + " new"); },
            [=] { bench().addFile(*made, "Text", directory + "/notes.txt", "notes.txt"); },
            [=] { bench().relate(parts.revision, *made, "VANE_specification"); },
            [=] {
                bench().asOne([&] {
                    bench().set(parts.item, "object_name", {std::string("new")});
                    bench().set(parts.revision, "object_name", {std::string("new")});
                });
            },
            [=] { need(OBJ_delete(parts.relation)); },
            [=] { need(OBJ_delete(parts.old)); }};
}

Work manyChangesInOneRun(const std::string& name, RunWay way, const std::string& directory) {
    return {name, [=](int number) -> Steps {
                const Steps all = manyChanges(makeParts(name + std::to_string(number)), directory);
                return {[=] {
                    inRun(way, [&] {
                        for (const auto& step : all)
                            step();
                    });
                }};
            }};
}

// A run, and taking it back.
Steps undo(const std::string& directory, int number) {
    const Steps all = manyChanges(makeParts("undo" + std::to_string(number)), directory);
    const auto run = std::make_shared<std::int64_t>(0);
    return {[=] {
                *run = inRun(RunWay::Whole, [&] {
                    for (const auto& step : all)
                        step();
                });
            },
            [=] {
                const UndoReport undone = bench().undoRun(*run, "");
                if (!undone.done)
                    throw Failure(0, "the undo is refused: " + undone.conflicts.front());
            }};
}

Work service(const std::string& kind, RunWay way, const std::string& directory) {
    return {kind, [=](int number) -> Steps {
                const std::shared_ptr<kills::Operation> operation =
                    kills::makeOperation(kind, kind + std::to_string(number), directory);
                operation->prepare();
                return {[=] { inRun(way, [&] { runOperation(*operation, 1); }); }};
            }};
}

Steps savesOutsideOfRuns(int number) {
    const std::string id = "saves" + std::to_string(number);
    const tag_t one = bench().createItem(id + "one", "old", "", "A", nullptr);
    const tag_t two = bench().createItem(id + "two", "old", "", "A", nullptr);
    const auto made = std::make_shared<tag_t>(NULLTAG);
    Steps steps{[=] {
                    if (*made == NULLTAG) {
                        tag_t revision = NULLTAG;
                        need(ART_create_item((id + "new").c_str(), "name", "Item", "A", made.get(),
                                             &revision));
                    }
                },
                [=] { need(OBJ_save(*made)); }};
    for (const tag_t item : {one, two})
        steps.insert(steps.end(), {[=] { need(OBJ_refresh(item, true)); },
                                   [=] {
                                       need(setName(item, "new"));
                                       need(OBJ_save(item));
                                   },
                                   [=] { need(OBJ_refresh(item, false)); }});
    return steps;
}

Steps locks(int number) {
    const std::string id = "locks" + std::to_string(number);
    const tag_t one = bench().createItem(id + "one", "", "", "A", nullptr);
    const tag_t two = bench().createItem(id + "two", "", "", "A", nullptr);
    return {[=] { need(OBJ_lock(one)); }, [=] { need(OBJ_lock(two)); },
            [=] { need(OBJ_refresh(one, false)); }, [=] { need(OBJ_refresh(two, false)); }};
}

Steps settings(int number) {
    const std::string id = "settings" + std::to_string(number);
    const tag_t item = bench().createItem(id, "", "", "A", nullptr);
    return {[=] {
                bench().setPreference(id, {"one", "two"});
            },
            [=] { bench().checkOut(item, "mine"); }, [=] { bench().checkIn(item); },
            [=] {
                bench().defineType("Type" + id, "Form", {{"v", Kind::String, false, 80}});
            },
            [=] { bench().defineDatasetType("Data" + id, "Tool" + id, {"a"}, {"b"}); }};
}

Steps document(int number) {
    const std::string id = "document" + std::to_string(number);
    const std::string world =
        R"({"world": 1, "items": [{"id": ")" + id +
        R"(", "name": "Wheel", "revisions": [{"id": "A", "status": ["Released"],
           "datasets": [{"type": "Text", "name": "notes", "files":
             [{"reference": "Text", "name": "notes.txt", "text": "36 spokes"}]}],
           "bom": [{"item": ")" +
        id + R"(x", "revision": "A", "quantity": "36", "number": "10"}]}]},
         {"id": ")" +
        id + R"(x", "name": "Spoke", "revisions": [{"id": "A"}]}]})";
    return {[=] {
        std::istringstream in(world);
        bench().importWorld(in, "world");
    }};
}

}  // namespace

std::vector<Work> worksOf(const std::string& directory) {
    return {{"opening", [](int) -> Steps { return {[] {
                                               bench().find({"*", "Item", "", 0});
                                           }}; },
             true},
            {"saves", savesOutsideOfRuns},
            {"locks", locks},
            {"settings", settings},
            {"document", document},
            {"export",
             [](int) -> Steps {
                 return {[] {
                     std::ostringstream out;
                     bench().exportWorld(out);
                 }};
             }},
            {"outside",
             [=](int number) {
                 return manyChanges(makeParts("outside" + std::to_string(number)), directory);
             }},
            {"server",
             [=](int number) {
                 Steps steps = manyChanges(makeParts("server" + std::to_string(number)), directory);
                 steps.insert(steps.begin(), [] {
                     bench().beginRun({RunWay::AsServer, "sweep", "", "", ""});
                 });
                 steps.push_back([] { bench().endRun({}, true, nullptr); });
                 return steps;
             },
             false, true},
            manyChangesInOneRun("whole", RunWay::Whole, directory),
            manyChangesInOneRun("rehearsal", RunWay::Rehearsal, directory),
            {"undo", [=](int number) { return undo(directory, number); }},
            service("status", RunWay::Whole, directory)};
}

// ---- tables ----

Growth StoredState::since(const StoredState& before) const {
    Growth grown;
    for (const auto& [name, measure] : measures)
        if (const long by = measure - before.measures.at(name); by != 0)
            grown[name] = by;
    return grown;
}

std::string wrongState(const StoredState& before, const StoredState& now,
                       const std::vector<Growth>& stored, std::size_t done, bool unknown) {
    const Growth growth = now.since(before);
    // What stores nothing changes nothing either.
    const auto is = [&](const Growth& expected) {
        return growth == expected && (!expected.empty() || now.contents == before.contents);
    };
    if (is(stored.at(done)) || (unknown && done + 1 < stored.size() && is(stored[done + 1])))
        return "";
    std::string text = "after " + std::to_string(done) + " steps there are more";
    for (const auto& [name, by] : growth)
        text += ", " + name + " " + std::to_string(by);
    text += "; and there should be";
    for (const auto& [name, by] : stored[done])
        text += ", " + name + " " + std::to_string(by);
    return text + (is(stored[done]) ? "" : "; was " + before.contents + "is " + now.contents);
}

Tables::Tables(const std::string& address) {
    const std::string name = "schema=";
    const std::size_t at = address.find(name);
    connection_ = PQconnectdb(address.substr(0, at - 1).c_str());
    asked("SET search_path TO " + address.substr(at + name.size()));
}

Tables::~Tables() {
    PQfinish(connection_);
}

std::string Tables::asked(const std::string& sql) const {
    return keld_test::firstValue(connection_, sql);
}

StoredState Tables::state() const {
    const std::string own_tables[] = {"object",   "text",     "ref",        "unique_id",
                                      "model",    "rights",   "model_part", "preference",
                                      "checkout", "registry", "run",        "run_entry"};
    const std::string of_objects = " WHERE tag IN (SELECT tag FROM object)";
    std::string sql;
    const auto add = [&](const std::string& table, const std::string& rows) {
        sql += (sql.empty() ? "" : " UNION ALL ") + std::string("SELECT '") + table +
               "' AS name, count(*) AS measure, md5(coalesce(string_agg(r::text, ',' ORDER BY "
               "r::text), '')) AS "
               "sum FROM " +
               rows + " r";
    };
    for (const std::string& table : own_tables)
        add(table, table);
    for (const char* table : {"file", "file_piece"})
        add(table, "(SELECT * FROM " + std::string(table) + of_objects + ")");
    add("meta", "(SELECT * FROM meta WHERE name<>'next_tag')");
    sql +=
        " UNION ALL SELECT 'versions', coalesce(sum(version), 0), '' FROM object"
        " UNION ALL SELECT 'bytes of texts', coalesce(sum(length(v)), 0), '' FROM text"
        " UNION ALL SELECT 'runs that have ended', count(*), '' FROM run WHERE ended IS NOT NULL";
    std::istringstream lines(asked(
        "SELECT string_agg(concat_ws(';', name, measure, sum), E'\\n') FROM (" + sql + ") t"));
    StoredState state;
    for (std::string name, measure, sum; std::getline(lines, name, ';') &&
                                         std::getline(lines, measure, ';') &&
                                         std::getline(lines, sum);) {
        state.measures[name] = std::stol(measure);
        state.contents += name + " " + sum + "\n";
    }
    return state;
}

}  // namespace mervane::test
