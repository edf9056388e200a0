// For a build without the store on a server.

#include <stdexcept>

#include "tests/kills/bare_store.h"

namespace kills {

std::unique_ptr<BareStore> openBareServer(const std::string&) {
    throw std::runtime_error("this program was built with KELD_POSTGRES=OFF");
}

}  // namespace kills
