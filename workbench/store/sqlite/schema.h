#pragma once

// The tables of a store and their versions. docs/store.md describes them.

#include <functional>

namespace mervane {

class Connection;

inline constexpr int kSchemaVersion = 4;

// Make the tables of a new store. Requires: a transaction.
void createSchema(Connection& connection);
// Tables of runs that live and die with the connection, under "temp.".
void createTemporaryRuns(Connection& connection);
// 0: it is no store.
int schemaVersion(Connection& connection);
// Failure kStoreFailure for a newer version or a file that is no store.
void needStore(Connection& connection);
// Bring an older store to this version. `move_values` moves the objects from object_3, value and
// ref_3 into the new tables. Failure as needStore(). Requires: a transaction.
void upgradeSchema(Connection& connection, const std::function<void()>& move_values);

}  // namespace mervane
