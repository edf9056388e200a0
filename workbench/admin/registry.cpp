#include <filesystem>

#include "workbench/admin/store_workbench.h"
#include "workbench/system/system.h"

// The registry of item ids that the current session's store uses.

namespace mervane {

namespace {

// Whoever opens the store later may work in another directory.
std::string absolutePath(const std::string& path) {
    return path.empty()
               ? path
               : std::filesystem::absolute(system::pathOf(path)).lexically_normal().string();
}

}  // namespace

void StoreWorkbench::createRegistry(const std::string& path) {
    Registry::create(path);
}

void StoreWorkbench::useRegistry(const std::string& path) {
    now().needAdministrator("choose the registry");
    now().store().useRegistry(absolutePath(path));
}

std::string StoreWorkbench::registryPath() {
    return now().store().registryPath();
}

std::vector<std::string> StoreWorkbench::registeredIds() {
    return now().store().registryEvenDown().ids();
}

bool StoreWorkbench::registryReachable() {
    try {
        // now() is in here, too: without a session the answer is no.
        return now().store().registryEvenDown().isReachable();
    } catch (const Failure&) {
        return false;
    }
}

void StoreWorkbench::setRegistryReachable(bool reachable) {
    now().needAdministrator("switch the registry on or off");
    now().store().registryEvenDown().setReachable(reachable);
}

}  // namespace mervane
