// For a build without the store on a server.

#include <stdexcept>

#include "tests/support/server_schemas.h"

namespace keld_test {

namespace {

[[noreturn]] void fail() {
    throw std::runtime_error("this program was built with KELD_POSTGRES=OFF");
}

}  // namespace

std::string newSchema() {
    fail();
}

void waitForEndOf(const std::string&) {
    fail();
}

void dropWithProcess(const std::string&) {
    fail();
}

}  // namespace keld_test
