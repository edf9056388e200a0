// A proxy between programs and a database server on local sockets.
//
//   store_proxy DIRECTORY SERVER [--delay MICROSECONDS] [--cut-after BYTES] [--cut-every N] [--seed
//   S] [--messages 1]
//
// DIRECTORY: where the proxy's socket is made, as a server makes its own: the "host" of an address.
// SERVER: the directory of the server's socket.
//   --delay      each answer comes so much later
//   --cut-after  a connection breaks after so many bytes of answers
//   --cut-every  one in so many answers breaks its connection in the middle; with --seed at random
//   --messages   it reads the messages of the protocol, so that it can let statements fail
//
// It says "ready" when programs can connect, and what it has counted at SIGUSR2 and at its end by
// SIGTERM or SIGINT. SIGUSR1: the next answer breaks in the middle; it says "soon" when it knows.
// SIGRTMIN with a number: let a statement fail, see StartedProxy::failAt(); it says "soon", too.

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

volatile sig_atomic_t number_that_came;

void note(int signal, siginfo_t* what, void*) {
    came[signal] = 1;
    if (signal == SIGRTMIN)
        number_that_came = what->si_value.sival_int;
}

void tell(const keld_test::ProxyCounts& counts) {
    std::cout << "connections " << counts.connections << " round-trips " << counts.round_trips
              << " asked " << counts.asked << " answered " << counts.answered << " cuts "
              << counts.cuts << " statements " << counts.statements << " faults " << counts.faults
              << std::endl;
}

int run(const keld_test::ProxyOptions& options) {
    sigset_t ours, others;
    sigemptyset(&ours);
    struct sigaction action = {};
    action.sa_sigaction = note;
    action.sa_flags = SA_SIGINFO;
    for (const int signal : {SIGTERM, SIGINT, SIGUSR1, SIGUSR2, SIGRTMIN}) {
        sigaddset(&ours, signal);
        ::sigaction(signal, &action, nullptr);
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
        if (came[SIGRTMIN]) {
            proxy.failAt(
                static_cast<unsigned>(number_that_came) / keld_test::kFaults,
                static_cast<keld_test::StatementFault>(number_that_came % keld_test::kFaults));
            std::cout << "soon" << std::endl;
        }
        if (came[SIGUSR2])
            tell(proxy.counts());
        came[SIGRTMIN] = 0;
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
        else if (option == "--messages")
            options.reads_messages = number != 0;
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
