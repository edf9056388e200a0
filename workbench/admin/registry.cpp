#include <filesystem>

#include "workbench/admin/bench.h"
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

void Bench::createRegistry(const std::string& path) {
    Registry::create(path);
}

void Bench::useRegistry(const std::string& path) {
    now().needAdministrator("choose the registry");
    now().store().useRegistry(absolutePath(path));
}

std::string Bench::registryPath() {
    return now().store().registryPath();
}

std::vector<std::string> Bench::registeredIds() {
    return now().store().registryEvenDown().ids();
}

bool Bench::registryReachable() {
    try {
        return now().store().registryEvenDown().isReachable();
    } catch (const Failure&) {
        return false;
    }
}

void Bench::setRegistryReachable(bool reachable) {
    now().needAdministrator("switch the registry on or off");
    now().store().registryEvenDown().setReachable(reachable);
}

}  // namespace mervane
