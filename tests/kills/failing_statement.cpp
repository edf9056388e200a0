#include "tests/kills/failing_statement.h"

#include <dlfcn.h>
#include <sqlite3.h>

#include <cstring>

namespace kills {

namespace {

struct Plan {
    int n = 0, seen = 0;
    bool gone = false, happened = false;
    std::string text;
};
Plan plan;

bool takesBack(const char* sql) {
    return sql && (std::strncmp(sql, "ROLLBACK", 8) == 0 || std::strncmp(sql, "RELEASE", 7) == 0);
}

// Whether this step is the one.
bool failsNow(sqlite3_stmt* statement) {
    const char* sql = sqlite3_sql(statement);
    if (plan.n == 0 || takesBack(sql) || ++plan.seen != plan.n)
        return false;
    plan.happened = true;
    plan.text = sql ? sql : "";
    if (plan.gone && sqlite3_get_autocommit(sqlite3_db_handle(statement)) == 0)
        sqlite3_exec(sqlite3_db_handle(statement), "ROLLBACK", nullptr, nullptr, nullptr);
    return true;
}

}  // namespace

StatementFault::StatementFault(int n, bool gone) {
    plan = {};
    plan.n = n;
    plan.gone = gone;
}

void StatementFault::end() {
    plan.n = 0;
}

bool StatementFault::happened() const {
    return plan.happened;
}

std::string StatementFault::text() const {
    return plan.text;
}

}  // namespace kills

extern "C" __attribute__((visibility("default"))) int sqlite3_step(sqlite3_stmt* statement) {
    using Step = int (*)(sqlite3_stmt*);
    static const auto real = reinterpret_cast<Step>(::dlsym(RTLD_NEXT, "sqlite3_step"));
    return kills::failsNow(statement) ? SQLITE_FULL : real(statement);
}
