// Kills processes at random moments while they work on one store, and looks after each kill whether
// everything that they had saved is there, nothing by half, and nothing locked.
//
//   kill_loop [--kills N] [--seed S] [--operation KIND]      three processes, killed with SIGKILL
//   kill_loop --care [--kills N] [--seed S]                  kills while a store is made, upgraded,
//                                                            copied, repaired
//   kill_loop --power [--kills N] [--seed S] [--deaf PART] [--expect-loss]
//                       the power fails: what wasn't synchronised is gone. PART: what has it in its
//                       path is not synchronised by mistake. --expect-loss: succeed only if a loss
//                       was found, as MERVANE_SYNC=normal or --deaf must show one.
//   kill_loop --server [--kills N] [--seed S]
//                       the store is on the server that scripts/with-store-server has started:
//                       processes are killed, their connections ended and cut, the server and its
//                       processes killed; with --expect-loss it is stopped, as
//                       PGOPTIONS=-csynchronous_commit=off must show a loss

#include <cstdlib>
#include <exception>
#include <iostream>
#include <random>
#include <string>

#include "tests/kills/rounds.h"

int main(int count, char** arguments) {
    kills::Options options;
    options.seed = std::random_device{}();
    const auto value = [&](int& i) -> std::string {
        if (++i >= count) {
            std::cerr << arguments[i - 1] << " needs a value\n";
            std::exit(64);
        }
        return arguments[i];
    };
    for (int i = 1; i < count; ++i) {
        const std::string option = arguments[i];
        if (option == "--kills")
            options.kills = std::atoi(value(i).c_str());
        else if (option == "--seed")
            options.seed = static_cast<unsigned>(std::strtoul(value(i).c_str(), nullptr, 10));
        else if (option == "--operation")
            options.operation = value(i);
        else if (option == "--deaf")
            options.deaf = value(i);
        else if (option == "--care")
            options.kind = kills::Options::Kind::Care;
        else if (option == "--server")
            options.kind = kills::Options::Kind::Server;
        else if (option == "--power")
            options.kind = kills::Options::Kind::Power;
        else if (option == "--expect-loss")
            options.expect_loss = true;
        else {
            std::cerr << "unknown option " << option << "\n";
            return 64;
        }
    }
    if (options.kills < 1) {
        std::cerr << "--kills takes a number above 0\n";
        return 64;
    }
    std::cout << "seed " << options.seed << std::endl;
    try {
        switch (options.kind) {
            case kills::Options::Kind::Kills:
                return kills::runKills(options);
            case kills::Options::Kind::Care:
                return kills::runCare(options);
            case kills::Options::Kind::Power:
                return kills::runPower(options);
            case kills::Options::Kind::Server:
                return kills::runServer(options);
        }
    } catch (const std::exception& error) {
        std::cout << "the loop itself failed: " << error.what() << std::endl;
    }
    return 2;
}
