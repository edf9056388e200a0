#include <libpq-fe.h>

#include <stdexcept>

#include "tests/kills/bare_store.h"

namespace kills {

namespace {

class BareServer final : public BareStore {
public:
    explicit BareServer(const std::string& address) {
        const std::string name = "schema=";
        const std::size_t at = address.find(name);
        const std::string schema = address.substr(at + name.size());
        connection_ = PQconnectdb(address.substr(0, at - 1).c_str());
        if (PQstatus(connection_) != CONNECTION_OK) {
            const std::string why = PQerrorMessage(connection_);
            PQfinish(connection_);
            throw std::runtime_error("no connection past the workbench: " + why);
        }
        PQsetNoticeProcessor(
            connection_, [](void*, const char*) {}, nullptr);
        asked("SET search_path TO " + schema);
        // Whoever breaks the connections of a process leaves this one.
        asked("SET application_name TO bare");
    }
    ~BareServer() override { PQfinish(connection_); }
    BareServer(const BareServer&) = delete;

    Stored storedOf(std::int64_t tag) override {
        const std::vector<std::string> row =
            asked("SELECT version::text, data FROM object WHERE tag=" + std::to_string(tag));
        return row.empty() ? Stored{} : storedAs(std::stoll(row[0]), row[1]);
    }
    std::vector<std::string> leftLocks() override {
        std::vector<std::string> wrong;
        const auto need = [&](const std::string& table, const std::string& expected) {
            const std::string found = asked("SELECT count(*)::text FROM " + table).at(0);
            if (found != expected)
                wrong.push_back(table + " has " + found + " rows, not " + expected);
        };
        need("session", "1");
        need("held", "0");
        need("kept_number", "0");
        return wrong;
    }

private:
    PGconn* connection_ = nullptr;

    // The first row of the answer, in bytes; empty: there is none.
    std::vector<std::string> asked(const std::string& sql) {
        PGresult* result =
            PQexecParams(connection_, sql.c_str(), 0, nullptr, nullptr, nullptr, nullptr, 1);
        const bool answered =
            PQresultStatus(result) == PGRES_TUPLES_OK || PQresultStatus(result) == PGRES_COMMAND_OK;
        std::vector<std::string> row;
        if (PQntuples(result) > 0)
            for (int i = 0; i < PQnfields(result); ++i)
                row.emplace_back(PQgetvalue(result, 0, i),
                                 static_cast<std::size_t>(PQgetlength(result, 0, i)));
        PQclear(result);
        if (!answered)
            throw std::runtime_error(sql + ": " + PQerrorMessage(connection_));
        return row;
    }
};

}  // namespace

std::unique_ptr<BareStore> openBareServer(const std::string& address) {
    return std::make_unique<BareServer>(address);
}

}  // namespace kills
