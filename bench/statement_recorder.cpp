#include "bench/statement_recorder.h"

#include <sqlite3.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

struct Statement {
    int connection = 0;
    std::string sql;
    std::vector<std::string> literals;  // of the parameters, as SQL literals
};
std::vector<sqlite3*> connections;
std::vector<Statement> statements;
bool tracing = false;

// The literals of the expanded text, in place of the template's parameters.
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
    std::vector<int> kinds;  // 0 null, 1 integer, 2 real, 3 text, 4 bytes
    std::vector<sqlite3_int64> integers;
    std::vector<double> reals;
};

}  // namespace

namespace statement_recorder {

void watch() {
    sqlite3_auto_extension(reinterpret_cast<void (*)()>(onOpen));
}

void newWorld() {
    connections.clear();
}

void start() {
    statements.clear();
    tracing = true;
}

void stop() {
    tracing = false;
}

std::size_t count() {
    return statements.size();
}

// Each different statement is prepared once, as the workbench does.
double play() {
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
            } else if (literal[0] == 'x') {
                kind = 4;
                for (std::size_t i = 2; i + 2 < literal.size(); i += 2)
                    text += static_cast<char>(std::stoi(literal.substr(i, 2), nullptr, 16));
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
            else if (bound.kinds[i] == 4)
                sqlite3_bind_blob(bound.statement, at, bound.texts[i].data(),
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

}  // namespace statement_recorder
