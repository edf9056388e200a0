#include "tests/kills/kill_rounds.h"

#include <sys/wait.h>

#include <algorithm>
#include <filesystem>
#include <iostream>

#include "tests/support/run_program.h"

namespace kills {

namespace {

using std::chrono::microseconds;
using namespace std::chrono_literals;

constexpr int kKillsOfAStore = 75;  // a store that grows takes longer to check
// Longer than anything takes, also on a busy machine.
constexpr auto kPatience = 60s;

}  // namespace

void KillRounds::learn(double& mean, Clock::time_point since) {
    const double took = std::chrono::duration<double, std::micro>(Clock::now() - since).count();
    mean = mean == 0 ? took : 0.8 * mean + 0.2 * took;
}

int KillRounds::runTime(const std::string& kind) const {
    const auto at = run_time_.find(kind);
    return at == run_time_.end() || at->second == 0 ? 10000 : static_cast<int>(at->second);
}

// Listen until this worker says such a line.
void KillRounds::untilLine(std::size_t place, char wanted) {
    const Running* worker = workers_[place].get();
    if (!worker->error.empty())
        return;  // noted when it is looked at
    if (!hear(kPatience, [&](const Running& who, const std::string& line) {
            return &who == worker && (line[0] == wanted || line[0] == 'E' || line[0] == 'C');
        }))
        throw std::runtime_error(worker->kind + " says nothing any more, it was " + worker->phase +
                                 (worker->ended ? " and has ended" : "") + ", wanted " + wanted);
}

// The same, but not for long: an operation need not save anything.
void KillRounds::untilSave(std::size_t place, char wanted) {
    const Running* worker = workers_[place].get();
    hear(300ms, [&](const Running& who, const std::string& line) {
        return &who == worker && line[0] == wanted;
    });
}

// Wait for a moment at which the worker at this place is to be killed.
void KillRounds::aim(std::size_t place) {
    const std::string kind = workers_[place]->kind;
    switch (upTo(9)) {
        case 0: {  // while it opens the store
            end(place);
            start(place);
            waitRandom(static_cast<int>(opening_time_));
            break;
        }
        case 1: {  // while it closes it
            if (workers_[place]->phase == "opening")
                untilLine(place, 'R');
            workers_[place]->askToEnd();
            untilLine(place, 'F');
            waitRandom(static_cast<int>(closing_time_ / 2));
            break;
        }
        case 2:  // about to commit
            untilSave(place, 'I');
            waitRandom(300);
            break;
        case 3:  // has committed
            untilSave(place, 'A');
            waitRandom(300);
            break;
        default: {  // anywhere in a run
            for (int runs = upTo(1); runs >= 0; --runs)
                untilLine(place, 'B');
            const auto began = workers_[place]->run_began;
            const int delay = upTo(runTime(kind) * 6 / 5);
            const Running* worker = workers_[place].get();
            hear(microseconds(delay), [&](const Running& who, const std::string& line) {
                if (&who == worker && line[0] == 'D')
                    learn(run_time_[kind], began);
                return false;
            });
        }
    }
}

void KillRounds::killThese(const std::vector<std::size_t>& places) {
    for (const std::size_t place : places) {
        workers_[place]->kill();
        ++kills_;
    }
    for (const std::size_t place : places) {
        hearLast(*workers_[place]);
        count(*workers_[place]);
    }
}

std::vector<std::size_t> KillRounds::strike(std::size_t place) {
    killThese({place});
    return {place};
}

// After a kill, with the others at work.
void KillRounds::lookAfter(const std::vector<std::size_t>& places) {
    std::set<int> living;
    for (const auto& worker : workers_)
        if (worker->process() > 0)
            living.insert(worker->process());
    const Running& first = *workers_[places.front()];
    const std::string when = first.kind + ", " + first.way + ", " + first.phase;
    try {
        for (const std::size_t place : places)
            waitUntilGone(*workers_[place]);
        Plant plant(path_);
        note(plant.check(false), when);
        for (const std::size_t place : places) {
            Running& dead = *workers_[place];
            if (!isExpected(dead))
                note({dead.kind + ": " + dead.error}, when);
            beforeSettling(plant, dead.saved);
            note(settle(plant, dead), when);
            std::set<std::int64_t> objects;
            for (auto at = dead.saved.rbegin(); at != dead.saved.rend() && objects.size() < 12;
                 ++at)
                if (plant.bare().storedOf(*at).version != 0)
                    objects.insert(*at);
            note(plant.takeLocks(objects, living), when);
        }
    } catch (const std::exception& error) {
        note({std::string("the store can't be looked at: ") + error.what()}, when);
    }
}

// With nobody at work.
void KillRounds::lookAlone(const std::string& when) {
    ++alone_;
    try {
        for (const auto& worker : workers_)
            waitUntilGone(*worker);
        Plant plant(path_);
        beforeSettling(plant, ledger_.wanted());
        for (const auto& worker : workers_)
            note(settle(plant, *worker), when);
        note(ledger_.settleAbsent(plant.bare()), when);
        note(plant.leftLocks(), when);
        note(plant.check(true), when);
        note(ledger_.compare(plant.bare()), when);
        if (ways_.front() != "none") {
            const auto records = plant.checkRecords();
            note(records.wrong, when);
            runs_ = records.runs;
            not_ended_ = records.not_ended;
            entries_ = records.entries;
        }
    } catch (const std::exception& error) {
        note({std::string("the store can't be looked at: ") + error.what()}, when);
    }
}

// Let a worker end by itself.
void KillRounds::end(std::size_t place) {
    Running& worker = *workers_[place];
    const auto asked = Clock::now();
    worker.askToEnd();
    while (!worker.ended && Clock::now() - asked < kPatience)
        hear(1ms, [&](const Running& who, const std::string& line) {
            if (&who == &worker && line[0] == 'F')
                worker.run_began = Clock::now();
            else if (&who == &worker && line[0] == 'C' && worker.run_began > asked)
                learn(closing_time_, worker.run_began);
            return false;
        });
    hearLast(worker);
    if (!worker.ended)
        throw std::runtime_error(worker.kind + " doesn't end");
    const int status = worker.wait();
    if (status != 0 || !worker.closed)
        note({worker.kind + " ended with " + std::to_string(status) + ": " + worker.error}, "end");
}

void KillRounds::endAll(bool kill) {
    if (kill) {
        aim(static_cast<std::size_t>(upTo(kWorkers - 1)));
        std::vector<std::size_t> living;
        for (std::size_t place = 0; place < kWorkers; ++place)
            if (workers_[place]->process() > 0)
                living.push_back(place);
        killThese(living);
    } else {
        for (std::size_t place = 0; place < kWorkers; ++place)
            end(place);
    }
    lookAlone(kill ? "all killed" : "all ended");
}

// The same by the command, once for each store.
void KillRounds::lookWithCommand() {
    const auto check = [&](const std::vector<std::string>& more) {
        std::vector<std::string> arguments{"--store", path_, "check"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const keld_test::Ended ended = keld_test::runProgram(KELD, arguments, {directory_});
        return std::to_string(ended.exit_code) + " " + ended.out;
    };
    const std::string before = check({"--repair"}), after = check({});
    if (before[0] != '0' || after != "0 the store is sound\n")
        note({before, after}, "keld check");
}

void KillRounds::startAll() {
    for (std::size_t place = 0; place < kWorkers; ++place)
        start(place);
}

void KillRounds::store(int kills) {
    newWorld();
    // Every second store is changed in recorded runs alone, on a server each of them.
    recorded_ = !recorded_ || isOnServer(path_);
    ways_ = recorded_ ? std::vector<std::string>{"server", "server", "whole", "whole", "rehearsal"}
                      : std::vector<std::string>{"none"};
    runs_ = not_ended_ = entries_ = 0;
    const int until = kills_ + kills;
    startAll();
    while (kills_ < until && !tooMuchWrong()) {
        const int choice = upTo(19);
        if (choice < 2) {
            endAll(choice == 0);
            startAll();
            continue;
        }
        const auto place = static_cast<std::size_t>(upTo(kWorkers - 1));
        aim(place);
        const std::vector<std::size_t> dead = strike(place);
        if (dead.size() == kWorkers) {
            for (const std::size_t each : dead)
                if (!isExpected(*workers_[each]))
                    note({workers_[each]->kind + ": " + workers_[each]->error}, "all dead");
            lookAlone("all dead");
            startAll();
            continue;
        }
        lookAfter(dead);
        const auto began = Clock::now();
        start(place);
        if (upTo(3) == 0) {
            untilLine(place, 'R');
            learn(opening_time_, began);
        }
    }
    endAll(false);
    lookWithCommand();
    all_runs_ += runs_;
    all_not_ended_ += not_ended_;
    all_entries_ += entries_;
}

int KillRounds::run() {
    const auto began = Clock::now();
    while (kills_ < options_.kills && !tooMuchWrong())
        store(std::min(kKillsOfAStore, options_.kills - kills_));
    report();
    const double took = std::chrono::duration<double>(Clock::now() - began).count();
    std::cout << ledger_.acknowledged() << " saves acknowledged; of those under way at a kill "
              << ledger_.whole() << " were there whole and " << ledger_.absent() << " not at all; "
              << alone_ << " looks with nobody left; " << took << " s\n"
              << all_runs_ << " records of runs with " << all_entries_
              << " entries fit the stores, " << all_not_ended_ << " of them of runs that didn't end"
              << std::endl;
    return wrong_.empty() && all_entries_ > 0 && kills_ >= options_.kills &&
                   ledger_.acknowledged() > 0
               ? 0
               : 1;
}

int runKills(const Options& options) {
    return KillRounds(options).run();
}

}  // namespace kills
