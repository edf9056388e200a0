#include "workbench/store/sqlite/registry.h"

#include "workbench/model/status.h"
#include "workbench/store/making.h"
#include "workbench/workbench.h"

namespace mervane {

namespace {

constexpr const char* kRegistryTables = R"(
CREATE TABLE meta(name TEXT PRIMARY KEY, value) WITHOUT ROWID;
CREATE TABLE registry(item_id TEXT PRIMARY KEY) WITHOUT ROWID;
INSERT INTO meta VALUES('format', 'mervane registry');
)";

}  // namespace

void Registry::create(const std::string& path) {
    const MakingPlace place(path);
    {
        Connection connection(place / "registry", Connection::Mode::Create);
        Transaction transaction(connection);
        connection.execute(kRegistryTables);
        transaction.commit();
    }
    place.put("registry", path);
}

namespace {

std::unique_ptr<Connection> openRegistry(const std::string& path) {
    try {
        auto connection = std::make_unique<Connection>(path, Connection::Mode::Open);
        // A store has both tables, too; only the format tells a registry for several stores.
        Statement format = connection->statement(
            "SELECT 1 FROM meta WHERE name='format' AND value='mervane registry'");
        if (format.step())
            return connection;
    } catch (const Failure& failure) {
        throw Failure(kRegistryDown, failure.what());
    }
    throw Failure(kRegistryDown, path + " is no registry of item ids");
}

}  // namespace

RegistryFile::RegistryFile(const std::string& path)
    : connection_(openRegistry(path)), tables_(*connection_) {
}

std::vector<std::string> RegistryTables::ids() {
    std::vector<std::string> all;
    Statement rows = connection_.statement("SELECT item_id FROM registry ORDER BY item_id");
    while (rows.step())
        all.emplace_back(rows.text(0));
    return all;
}

bool RegistryTables::has(const std::string& item_id) {
    Statement row = connection_.statement("SELECT 1 FROM registry WHERE item_id=?");
    row.bind(std::string_view(item_id));
    return row.step();
}

void RegistryTables::add(const std::string& item_id) {
    connection_.statement("INSERT OR IGNORE INTO registry VALUES(?)")
        .bind(std::string_view(item_id))
        .run();
}

void RegistryTables::remove(const std::string& item_id) {
    connection_.statement("DELETE FROM registry WHERE item_id=?")
        .bind(std::string_view(item_id))
        .run();
}

void RegistryTables::clear() {
    connection_.statement("DELETE FROM registry").run();
}

bool RegistryTables::isReachable() {
    Statement row = connection_.statement("SELECT 1 FROM meta WHERE name='registry_down'");
    return !row.step();
}

void RegistryTables::setReachable(bool reachable) {
    connection_
        .statement(reachable ? "DELETE FROM meta WHERE name='registry_down'"
                             : "INSERT OR REPLACE INTO meta VALUES('registry_down', 1)")
        .run();
}

}  // namespace mervane
