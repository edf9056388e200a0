#include "tests/support/server_schemas.h"

#include <libpq-fe.h>
#include <unistd.h>

#include <chrono>
#include <set>
#include <stdexcept>
#include <thread>

#include "tests/support/server_value.h"
#include "tests/support/store_kind.h"

namespace keld_test {

namespace {

// One connection for the process, and what it drops at the end.
class Schemas {
public:
    Schemas() : connection_(PQconnectdb(serverAddress().c_str())) {
        if (PQstatus(connection_) != CONNECTION_OK) {
            const std::string why = PQerrorMessage(connection_);
            PQfinish(connection_);
            throw std::runtime_error(
                "the server of KELD_TEST_SERVER isn't reached (run the tests by scripts/test): " +
                why);
        }
        // A test that failed may have left a transaction open in this process.
        run("SET lock_timeout = '2s'; SET client_min_messages = error");
    }
    ~Schemas() {
        // A child of the test's process has none of its own.
        if (::getpid() != process_)
            return;
        for (const std::string& schema : schemas_)
            PQclear(PQexec(connection_, dropping(schema).c_str()));
        PQfinish(connection_);
    }
    Schemas(const Schemas&) = delete;

    std::string fresh() {
        // A process number comes again, the number of a server's process with its start doesn't.
        static const std::string begin =
            run("SELECT 'f_' || pid || '_' || (extract(epoch FROM backend_start) * 1000000)::bigint"
                " FROM pg_stat_get_activity(pg_backend_pid())");
        const std::string schema = begin + "_" + std::to_string(schemas_.size());
        schemas_.insert(schema);
        return schema;
    }
    void add(const std::string& schema) {
        if (schemas_.insert(schema).second)
            run(dropping(schema));
    }

    void waitForEndOf(const std::string& application) const {
        const std::string sql =
            "SELECT count(*) FROM pg_stat_activity WHERE application_name='" + application + "'";
        for (int i = 0; run(sql) != "0"; ++i) {
            if (i == 12000)
                throw std::runtime_error("the server keeps connections of " + application);
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }

private:
    PGconn* connection_;
    pid_t process_ = ::getpid();
    std::set<std::string> schemas_;

    static std::string dropping(const std::string& schema) {
        return "DROP SCHEMA IF EXISTS " + schema + " CASCADE";
    }
    std::string run(const std::string& sql) const { return firstValue(connection_, sql); }
};

Schemas& schemas() {
    static Schemas all;
    return all;
}

}  // namespace

std::string newSchema() {
    return schemas().fresh();
}

void waitForEndOf(const std::string& application) {
    schemas().waitForEndOf(application);
}

void dropWithProcess(const std::string& schema) {
    schemas().add(schema);
}

}  // namespace keld_test
