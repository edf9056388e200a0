// A proxy between programs and a database server on local sockets.
//
//   store_proxy DIRECTORY SERVER [--delay MICROSECONDS] [--cut-after BYTES] [--cut-every N] [--seed
//   S]
//
// DIRECTORY: where the proxy's socket is made, as a server makes its own: the "host" of an address.
// SERVER: the directory of the server's socket.
//   --delay      each answer comes so much later
//   --cut-after  a connection breaks after so many bytes of answers
//   --cut-every  one in so many answers breaks its connection in the middle; with --seed at random
//
// It says "ready" when programs can connect, and what it has counted at SIGUSR2 and at its end by
// SIGTERM or SIGINT. SIGUSR1: the next answer breaks in the middle; it says "soon" when it knows.

#include <sys/prctl.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

#include "tests/support/proxy.h"

namespace {

constexpr char kSocket[] = "/.s.PGSQL.5432";
volatile sig_atomic_t came[65];

void note(int signal) {
    came[signal] = 1;
}

void tell(const keld_test::ProxyCounts& counts) {
    std::cout << "connections " << counts.connections << " round-trips " << counts.round_trips
              << " asked " << counts.asked << " answered " << counts.answered << " cuts "
              << counts.cuts << std::endl;
}

int run(const keld_test::ProxyOptions& options) {
    sigset_t ours, others;
    sigemptyset(&ours);
    for (const int signal : {SIGTERM, SIGINT, SIGUSR1, SIGUSR2}) {
        sigaddset(&ours, signal);
        std::signal(signal, note);
    }
    // They come while the proxy waits, and nowhere else.
    sigprocmask(SIG_BLOCK, &ours, &others);
    // A delay isn't longer than it should be.
    ::prctl(PR_SET_TIMERSLACK, 1);
    keld_test::Proxy proxy(options);
    std::cout << "ready" << std::endl;
    while (!came[SIGTERM] && !came[SIGINT]) {
        proxy.work(&others);
        if (came[SIGUSR1]) {
            proxy.cutNext();
            std::cout << "soon" << std::endl;
        }
        if (came[SIGUSR2])
            tell(proxy.counts());
        came[SIGUSR1] = 0;
        came[SIGUSR2] = 0;
    }
    tell(proxy.counts());
    return 0;
}

}  // namespace

int main(int count, char** arguments) {
    keld_test::ProxyOptions options;
    if (count < 3 || count % 2 == 0) {
        std::cerr << "store_proxy DIRECTORY SERVER [OPTION NUMBER]...\n";
        return 64;
    }
    options.listen = std::string(arguments[1]) + kSocket;
    options.server = std::string(arguments[2]) + kSocket;
    for (int i = 3; i < count; i += 2) {
        const std::string option = arguments[i];
        const unsigned long number = std::strtoul(arguments[i + 1], nullptr, 10);
        if (option == "--delay")
            options.delay = std::chrono::microseconds(number);
        else if (option == "--cut-after")
            options.cut_after = number;
        else if (option == "--cut-every")
            options.cut_every = static_cast<unsigned>(number);
        else if (option == "--seed")
            options.seed = static_cast<unsigned>(number);
        else {
            std::cerr << "unknown option " << option << "\n";
            return 64;
        }
    }
    try {
        return run(options);
    } catch (const std::exception& error) {
        std::cerr << error.what() << "\n";
        return 1;
    }
}
