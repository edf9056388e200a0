#include "workbench/session/argument_stream.h"

namespace mervane {

ArgumentStream& argumentStream() {
    static ArgumentStream stream;
    return stream;
}

}  // namespace mervane
