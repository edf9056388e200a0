// A process that runs one operation on a store again and again, until it is killed or its standard
// input ends. On standard output it tells, a line each:
//
//   R                     the session is open
//   B N, D N              run N begins, is done
//   I CHANGE...           this is about to be committed: +TAG made, -TAG gone, TAG:N saved N times
//   A STATE...            this is stored: TAG:VERSION:DIGEST, -TAG gone
//   F, C                  the store is being closed, is closed
//   E TEXT                what should not have happened
//
//   keld_kill_worker KIND NAME DIRECTORY STORE PAGES

#include <poll.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <string>

#include "tests/kills/care.h"
#include "tests/kills/operations.h"
#include "tests/kills/told_saves.h"
#include "workbench/workbench.h"

namespace {

using namespace kills;

bool inputEnded() {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    if (::poll(&input, 1, 0) <= 0)
        return false;
    char byte;
    return ::read(STDIN_FILENO, &byte, 1) <= 0;
}

void work(const std::string& kind, const std::string& name, const std::string& directory,
          const std::string& path) {
    mervane::Workbench& bench = *mervane_workbench();
    const auto store = bench.openStore(path);
    bench.openSession(store, {});
    say("R");
    const auto operation = makeOperation(kind, name, directory);
    operation->prepare();
    for (int number = 1; !inputEnded(); ++number) {
        say("B " + std::to_string(number));
        operation->run(number);
        say("D " + std::to_string(number));
    }
    say("F");
    bench.closeStore(store);
    say("C");
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 6)
        return 64;
    try {
        const std::string kind = arguments[1], directory = arguments[3], path = arguments[4];
        useWorld(directory);
        if (isCare(kind)) {
            care(kind, directory, path);
            return 0;
        }
        tellOfSaves(path, std::atoi(arguments[5]));
        work(kind, arguments[2], directory, path);
        return 0;
    } catch (const std::exception& error) {
        say(std::string("E ") + error.what());
        return 1;
    }
}
