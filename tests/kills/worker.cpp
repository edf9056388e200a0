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
//   keld_kill_worker KIND NAME DIRECTORY STORE PAGES WAY
//
// WAY: none, or how each run of the operation is one of the workbench's: server, whole, rehearsal.
// On a store on a server I and A come with the end of a run, for all that its record tells.

#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <thread>

#include "tests/kills/bare_store.h"
#include "tests/kills/care.h"
#include "tests/kills/operations.h"
#include "tests/kills/told_saves.h"
#include "workbench/workbench.h"

namespace {

using namespace kills;

// Operations do different things by their number's remainders of 2, 3 and 4.
constexpr int kFirstAgain = 12;

bool inputEnded() {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    if (::poll(&input, 1, 0) <= 0)
        return false;
    char byte;
    return ::read(STDIN_FILENO, &byte, 1) <= 0;
}

// The store past the workbench, where the workbench's database can't be listened to.
std::unique_ptr<BareStore> bare_server;

// What the run under way has done to objects, '+' made, '-' deleted, ' ' saved.
std::map<tag_t, char> changesSoFar() {
    std::map<tag_t, char> changes;
    mervane_workbench()->readRunSoFar([&](const mervane::RunEntry& entry) {
        if (entry.change == mervane::RunChange::ObjectMade)
            changes[entry.object] = '+';
        else if (entry.change == mervane::RunChange::ObjectChanged)
            changes.emplace(entry.object, ' ');
        else if (entry.change == mervane::RunChange::ObjectDeleted &&
                 !changes.insert({entry.object, '-'}).second)
            changes[entry.object] = changes[entry.object] == '+' ? '?' : '-';
    });
    std::erase_if(changes, [](const auto& each) { return each.second == '?'; });
    return changes;
}

void sayIntent(const std::map<tag_t, char>& changes) {
    constexpr char kAnyNumberOfSaves[] = ":1000000";
    std::string line = "I";
    for (const auto& [tag, change] : changes)
        line += change == ' ' ? " " + std::to_string(tag) + kAnyNumberOfSaves
                              : std::string(" ") + change + std::to_string(tag);
    say(line);
}

void sayStored(const std::map<tag_t, char>& changes) {
    std::string line = "A";
    for (const auto& [tag, change] : changes) {
        const Stored stored = bare_server->storedOf(tag);
        if (stored.version == 0 && change != '-')
            throw std::runtime_error("the workbench says that #" + std::to_string(tag) +
                                     " is stored, and it isn't");
        line += change == '-' ? " -" + std::to_string(tag)
                              : " " + std::to_string(tag) + ":" + std::to_string(stored.version) +
                                    ":" + std::to_string(stored.digest);
    }
    say(line);
}

// On a server a run goes back that meets another one on a shared object, and of two imports of the
// same parts at once one is told that the other has stored an id.
bool isOfAnother(const char* failure) {
    return std::strstr(failure, "so this run goes back") ||
           std::strstr(failure, "another session has stored an object with the same id meanwhile");
}

// The body as a run, which is kept unless it is a rehearsal.
template <typename Body>
void inRun(const std::string& kind, const std::string& way, Body&& body) {
    if (way == "none")
        return body();
    mervane::Workbench& bench = *mervane_workbench();
    const auto end = [&](const std::map<tag_t, char>& changes, bool keep) {
        if (!changes.empty())
            sayIntent(changes);
        bench.endRun({}, keep, nullptr);
        if (!changes.empty())
            sayStored(changes);
    };
    const auto isDone = [&](bool may_go_back) {
        bench.beginRun({way == "server"  ? mervane::RunWay::AsServer
                        : way == "whole" ? mervane::RunWay::Whole
                                         : mervane::RunWay::Rehearsal,
                        kind, "", "", ""});
        try {
            body();
            end(bare_server && way != "rehearsal" ? changesSoFar() : std::map<tag_t, char>(), true);
            return true;
        } catch (const std::exception& error) {
            if (!bare_server || !may_go_back || !isOfAnother(error.what()))
                throw;
            // A service may pass over what it is told; the end of its run doesn't.
            if (bench.inRun())
                // As the server, what was done before stays.
                end(way == "server" ? changesSoFar() : std::map<tag_t, char>(), false);
            return false;
        }
    };
    // The other one may do the same again and again: look at other moments than it.
    std::minstd_rand random(static_cast<unsigned>(::getpid()));
    for (const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
         !isDone(std::chrono::steady_clock::now() < until);)
        std::this_thread::sleep_for(std::chrono::milliseconds(1 + random() % 50));
}

void work(const std::string& kind, const std::string& name, const std::string& directory,
          const std::string& path, const std::string& way) {
    mervane::Workbench& bench = *mervane_workbench();
    const auto store = bench.openStore(path);
    bench.openSession(store, {});
    if (isOnServer(path))
        bare_server = BareStore::open(path);
    say("R");
    const auto operation = makeOperation(kind, name, directory);
    // The prepared objects must stay, so never rehearse this.
    inRun(kind, way == "rehearsal" ? "whole" : way, [&] { operation->prepare(); });
    for (int number = 1; !inputEnded(); ++number) {
        say("B " + std::to_string(number));
        // Each rehearsal is a first run again; the numbers only make the names differ.
        const int shown = way == "rehearsal" ? kFirstAgain * number + 1 : number;
        inRun(kind, operation->hasOwnRuns() ? "none" : way, [&] { operation->run(shown); });
        say("D " + std::to_string(number));
    }
    say("F");
    bench.closeStore(store);
    say("C");
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 7)
        return 64;
    keepOutput();
    try {
        const std::string kind = arguments[1], directory = arguments[3], path = arguments[4];
        useWorld(directory);
        if (isCare(kind)) {
            care(kind, directory, path);
            return 0;
        }
        tellOfSaves(path, std::atoi(arguments[5]));
        work(kind, arguments[2], directory, path, arguments[6]);
        return 0;
    } catch (const std::exception& error) {
        say(std::string("E ") + error.what());
        return 1;
    }
}
