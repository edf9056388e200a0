#pragma once

// Handing the row of an object from a kind of store to whoever reads it, without a copy.

#include <cstdint>
#include <string_view>

#include "platform/types.h"

namespace mervane {

struct ObjectRow {
    tag_t type = NULLTAG;
    std::int64_t version = 0;
    std::string_view data;  // good while the row is taken
};

// A callable that gets the row; it must outlive this object.
class RowTaker {
public:
    template <typename Callable>
    RowTaker(const Callable& callable)  // NOLINT: made where a row is asked for
        : callable_(&callable), call_([](const void* at, const ObjectRow& row) {
              (*static_cast<const Callable*>(at))(row);
          }) {}
    void operator()(const ObjectRow& row) const { call_(callable_, row); }

private:
    const void* callable_;
    void (*call_)(const void*, const ObjectRow&);
};

}  // namespace mervane
