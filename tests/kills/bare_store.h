#pragma once

// The tables of a store, past the workbench.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tests/kills/digest.h"

namespace kills {

class BareStore {
public:
    // Of a file or, at an address, of a server. Throws std::runtime_error.
    static std::unique_ptr<BareStore> open(const std::string& path);
    virtual ~BareStore() = default;

    virtual Stored storedOf(std::int64_t tag) = 0;
    // What is left of sessions and locks where there is one session, which has no lock.
    virtual std::vector<std::string> leftLocks() = 0;
};

bool isOnServer(const std::string& path);
// Throws std::runtime_error in a build without the store on a server.
std::unique_ptr<BareStore> openBareServer(const std::string& address);

}  // namespace kills
