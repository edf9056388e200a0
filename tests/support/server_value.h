#pragma once

// What a database server answers to a statement of a test.

#include <libpq-fe.h>

#include <stdexcept>
#include <string>

namespace keld_test {

// The first value of the answer; empty: there is none. Throws std::runtime_error with the
// statement.
inline std::string firstValue(PGconn* connection, const std::string& sql) {
    PGresult* result = PQexec(connection, sql.c_str());
    const bool answered =
        PQresultStatus(result) == PGRES_TUPLES_OK || PQresultStatus(result) == PGRES_COMMAND_OK;
    const std::string value = PQntuples(result) > 0 ? PQgetvalue(result, 0, 0) : "";
    PQclear(result);
    if (!answered)
        throw std::runtime_error(sql + ": " + PQerrorMessage(connection));
    return value;
}

}  // namespace keld_test
