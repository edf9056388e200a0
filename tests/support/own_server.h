#pragma once

// A database server for one test alone, which may stop and kill it.

#include <cstdlib>
#include <stdexcept>
#include <string>

#include "tests/support/child.h"
#include "tests/support/places.h"

namespace keld_test {

class OwnServer {
public:
    // Throws std::runtime_error if it doesn't start.
    OwnServer()
        // Else it synchronises all of its files whenever it begins after a kill.
        : process_(
              "/usr/bin/env",
              {"KELD_TEST_SERVER_QUICK=on", KELD_SOURCE_DIR "/scripts/with-store-server", "sh",
               "-c", "echo \"$KELD_TEST_SERVER\"; echo \"$KELD_TEST_SERVER_CONTROL\"; read end"}) {
        address_ = process_.line();
        control_ = process_.line();
        if (control_.empty())
            throw std::runtime_error("no server for the test");
    }
    // It and its files are gone then.
    ~OwnServer() { process_.end(); }

    // Of a store, without its schema.
    const std::string& address() const { return address_; }
    // At once, in the middle of what it does.
    void stop() const { run("stop"); }
    // The first process alone, with SIGKILL; the others notice it.
    void kill() const { run("kill"); }
    // Again, with what was stored.
    void start() const { run("start"); }

private:
    Child process_;
    std::string address_, control_;

    void run(const std::string& verb) const {
        if (std::system((control_ + " " + verb).c_str()) != 0)
            throw std::runtime_error("the server doesn't " + verb);
    }
};

}  // namespace keld_test
