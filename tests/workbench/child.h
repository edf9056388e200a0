#pragma once

// A process of the program workbench_writer.

#include "tests/support/child.h"

namespace mervane::test {

class Child : public keld_test::Child {
public:
    explicit Child(const std::vector<std::string>& arguments, const char* program = WRITER)
        : keld_test::Child(program, arguments) {}
};

}  // namespace mervane::test
