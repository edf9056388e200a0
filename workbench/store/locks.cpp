#include "workbench/store/locks.h"

#include "workbench/system/system.h"

namespace mervane {

std::string described(const LockOwner& owner) {
    std::string text = "user " + owner.user + ", process " + std::to_string(owner.process);
    if (!owner.host.empty() && owner.host != system::hostName())
        text += " on " + owner.host;
    return text;
}

}  // namespace mervane
