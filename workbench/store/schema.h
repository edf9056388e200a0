#pragma once

// The tables of a store and their versions. docs/store.md describes them.

#include <string>

namespace mervane {

class Connection;

inline constexpr int kSchemaVersion = 3;

// Make the tables of a new store. Requires: a transaction.
void createSchema(Connection& connection);
// Tables of runs that live and die with the connection, under "temp.".
void createTemporaryRuns(Connection& connection);
// Bring an older store to this version, in one transaction. Failure kStoreFailure for a newer one
// or for a file that is no store.
void upgradeSchema(Connection& connection);

}  // namespace mervane
