#pragma once

// The tables of a store on a server. docs/store-server.md describes them.

namespace mervane {

class ServerConnection;

inline constexpr int kServerSchemaVersion = 2;
// Of a store whose files are in the database, which programs of version 1 know.
inline constexpr int kServerSchemaWithoutDirectory = 1;

// Make the tables in the schema of the connection, which is made unless it is there. They are no
// store until finishStore(). Failure kStoreFailure if the schema has any tables.
void createServerTables(ServerConnection& connection);
// Undo that. Requires: createServerTables() on this connection.
void dropServerTables(ServerConnection& connection);
// Programs that know nothing of a directory for files must not open a store that has one.
void finishStore(ServerConnection& connection, bool has_directory);
// 0: there is no store; -1: one that isn't finished.
int serverSchemaVersion(ServerConnection& connection);
// Failure kStoreFailure unless it is a store of a version that is known. `unfinished`: also one
// that isn't finished.
void needServerStore(ServerConnection& connection, bool unfinished);

}  // namespace mervane
