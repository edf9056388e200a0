// For a build without the store on a server.

#include <stdexcept>

#include "tests/kills/rounds.h"

namespace kills {

int runServer(const Options&) {
    throw std::runtime_error("this program was built with KELD_POSTGRES=OFF");
}

}  // namespace kills
