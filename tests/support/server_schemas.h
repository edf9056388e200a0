#pragma once

// Schemas on the server of KELD_TEST_SERVER, for store_kind.cpp.

#include <string>

namespace keld_test {

// A name that no other process on this server gets, to be dropped at the end of this one. Throws
// std::runtime_error if the server can't be reached.
std::string newSchema();

// Drop the schema, unless this process has asked for that before, and again at its end. Throws as
// newSchema().
void dropWithProcess(const std::string& schema);

// Wait until the server has ended the connections with this name, which it does soon after the
// process that had them. Throws as newSchema(), and if they last for a minute.
void waitForEndOf(const std::string& application);

}  // namespace keld_test
