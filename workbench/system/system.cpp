#include "workbench/system/system.h"

#include <random>

namespace mervane::system {

std::string randomName() {
    std::random_device source;
    char text[17];
    std::snprintf(text, sizeof text, "%08x%08x", source(), source());
    return text;
}

}  // namespace mervane::system
