#pragma once

#include <memory>
#include <string>

#include "workbench/store/locks.h"

namespace mervane {

// The locks of a store in a file, shared by the processes that have it open. Failure kFileFailure
// or kStoreFailure if the files beside the store can't be made or used.
std::shared_ptr<Locks> fileLocks(const std::string& store_path);

}  // namespace mervane
