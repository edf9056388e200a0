#pragma once

// The arguments of a service call, pulled in the order in which the client sent them.

#include <cstddef>
#include <utility>
#include <vector>

#include "workbench/model/status.h"
#include "workbench/workbench.h"

namespace mervane {

class ArgumentStream {
public:
    // What is left of earlier arguments goes.
    void send(std::vector<Argument> arguments) {
        arguments_ = std::move(arguments);
        next_ = 0;
    }
    // The next argument. The reference holds until send(). Failure kNoMoreArguments, or
    // kArgumentKind: it then stays the next one.
    template <typename T>
    const T& next() {
        if (next_ >= arguments_.size())
            throw Failure(kNoMoreArguments, "the call has " + std::to_string(arguments_.size()) +
                                                " arguments, one more was asked for");
        const T* value = std::get_if<T>(&arguments_[next_]);
        if (!value)
            throw Failure(kArgumentKind, "argument " + std::to_string(next_ + 1) +
                                             " was sent as another kind than it is read");
        ++next_;
        return *value;
    }

private:
    std::vector<Argument> arguments_;
    std::size_t next_ = 0;
};

// The one of this process.
ArgumentStream& argumentStream();

}  // namespace mervane
