#pragma once

// A process of the program workbench_writer.

#include "tests/support/child.h"
#include "tests/support/server_schemas.h"
#include "tests/support/store_kind.h"

namespace mervane::test {

class Child : public keld_test::Child {
public:
    explicit Child(const std::vector<std::string>& arguments, const char* program = WRITER)
        : keld_test::Child(program, arguments) {}

    // Also on a server nothing of it is at work any more.
    void kill() {
        const std::string name = "process " + std::to_string(process());
        keld_test::Child::kill();
        if (keld_test::onServer())
            keld_test::waitForEndOf(name);
    }
};

}  // namespace mervane::test
