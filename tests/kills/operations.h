#pragma once

// The operations that are killed: each changing service, the imports, and saves made directly. An
// operation works again and again on a part of the store that is its own.

#include <memory>
#include <string>
#include <vector>

#include "platform/types.h"

namespace kills {

class Operation {
public:
    virtual ~Operation() = default;
    // Once, before the first run.
    virtual void prepare() {}
    // Throws with a reason if it ends in another way than it should.
    virtual void run(int number) = 0;
    // It begins and ends runs of the workbench itself.
    virtual bool hasOwnRuns() const { return false; }
};

// `name` begins the names of all that it makes; `directory` is where the store and the files of its
// surroundings lie.
std::unique_ptr<Operation> makeOperation(const std::string& kind, const std::string& name,
                                         const std::string& directory);
const std::vector<std::string>& operationKinds();

// Make a store at the path with what the operations need, and the files of their surroundings in
// its directory.
void makeWorld(const std::string& directory, const std::string& path);
// Point the libraries' settings to that directory. Requires: nothing of the library was called.
void useWorld(const std::string& directory);

// The items on which all processes work together.
inline constexpr int kSharedItems = 4;
std::string sharedItem(int number);

}  // namespace kills
