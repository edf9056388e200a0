#pragma once

// The program store_proxy in front of a server, for tests and benchmarks.

#include <signal.h>

#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/child.h"
#include "tests/support/files.h"
#include "tests/support/proxy.h"

namespace keld_test {

class StartedProxy {
public:
    // `server`: the directory of the server's socket. `options`: those of the program. Throws
    // std::runtime_error if it doesn't start.
    StartedProxy(const std::string& program, const std::string& server,
                 std::vector<std::string> options = {})
        : process_(program, arguments(server, std::move(options))) {
        if (process_.line() != "ready")
            throw std::runtime_error(program + " doesn't start");
    }

    // The directory of the proxy's socket.
    std::string directory() const { return directory_.string(); }
    // A server's address that leads through the proxy, with the rest as it is. Requires: it has the
    // directory of the server's socket as its host.
    std::string through(std::string address, const std::string& server) const {
        const std::string host = "host=" + server;
        const std::size_t at = address.find(host);
        if (at == std::string::npos)
            throw std::runtime_error(address + " doesn't have " + host);
        return address.replace(at, host.size(), "host=" + directory());
    }
    // Break the next answer in the middle.
    void cutNext() {
        ::kill(process_.process(), SIGUSR1);
        process_.line();
    }
    // Let the n-th statement from now on fail, from 1; 0: none. Requires: the option "--messages".
    void failAt(int n, StatementFault fault) {
        sigval value{};
        value.sival_int = n * kFaults + static_cast<int>(fault);
        ::sigqueue(process_.process(), SIGRTMIN, value);
        process_.line();
    }
    ProxyCounts counts() {
        ::kill(process_.process(), SIGUSR2);
        ProxyCounts counts;
        std::string word;
        std::istringstream(process_.line()) >> word >> counts.connections >> word >>
            counts.round_trips >> word >> counts.asked >> word >> counts.answered >> word >>
            counts.cuts >> word >> counts.statements >> word >> counts.faults;
        return counts;
    }

private:
    const Directory directory_;
    Child process_;

    std::vector<std::string> arguments(const std::string& server,
                                       std::vector<std::string> options) const {
        options.insert(options.begin(), {directory_.string(), server});
        return options;
    }
};

// The directory of the socket in an address whose host is one.
inline std::string socketDirectory(const std::string& address) {
    const std::size_t at = address.find("host=");
    if (at == std::string::npos)
        throw std::runtime_error(address + " names no host");
    const std::size_t begin = at + 5;
    return address.substr(begin, address.find('&', begin) - begin);
}

}  // namespace keld_test
