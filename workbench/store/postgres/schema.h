#pragma once

// The tables of a store on a server. docs/store-server.md describes them.

namespace mervane {

class ServerConnection;

inline constexpr int kServerSchemaVersion = 1;

// Make the tables in the schema of the connection, which is made unless it is there. They are no
// store until finishStore(). Failure kStoreFailure if the schema has any tables.
void createServerTables(ServerConnection& connection);
// Undo that. Requires: createServerTables() on this connection.
void dropServerTables(ServerConnection& connection);
void finishStore(ServerConnection& connection);
// 0: there is no store; -1: one that isn't finished.
int serverSchemaVersion(ServerConnection& connection);
// Failure kStoreFailure unless it is a store of this version. `unfinished`: also one that isn't
// finished.
void needServerStore(ServerConnection& connection, bool unfinished);

}  // namespace mervane
