#pragma once

// The verbs that change something, each with a change that can be told from outside.

#include <functional>
#include <string>
#include <vector>

#include "tests/injection/sandbox.h"

namespace injection {

enum class Sort {
    Whole,    // one transaction: a refusal leaves everything as it was
    Steps,    // several: what a refusal leaves is sound
    Outside,  // something beside the store: a refusal leaves nothing of it
};

struct Verb {
    std::string name;
    std::vector<std::string> arguments;
    Sort sort;
    // Whether the change is there, whole.
    std::function<bool(const Sandbox&, const State&)> done;
    // Names that a refusal may leave in the directory.
    std::vector<std::string> may_leave = {};
};

const std::vector<Verb>& verbs();

}  // namespace injection
