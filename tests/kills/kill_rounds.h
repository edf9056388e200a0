#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "tests/kills/rounds.h"

namespace kills {

// Three processes, of which one, or all at once, are killed with SIGKILL.
class KillRounds : public WorkRounds {
public:
    explicit KillRounds(const Options& options) : WorkRounds(options, KILL_WORKER) {}
    // The exit code of the program.
    int run();

protected:
    static constexpr std::size_t kWorkers = 3;

    // Kill the worker at this place or, in another kind of rounds, what it works with. Returns: the
    // places of the workers that are dead now, and heard to the last line.
    virtual std::vector<std::size_t> strike(std::size_t place);
    // Whether a dead worker said what it should have said.
    virtual bool isExpected(const Running& dead) const { return dead.error.empty(); }
    // What is to be known of these workers before the ledger looks at them.
    virtual void beforeSettling(Plant&, const std::vector<std::int64_t>&) {}
    // Nothing of a dead worker is at work any more when this returns.
    virtual void waitUntilGone(const Running&) {}

    void killThese(const std::vector<std::size_t>& places);

private:
    int alone_ = 0;  // number of kills after which no worker was left
    // Sums of the current store, then of all stores.
    std::size_t runs_ = 0, not_ended_ = 0, entries_ = 0;
    std::size_t all_runs_ = 0, all_not_ended_ = 0, all_entries_ = 0;
    bool recorded_ = false;
    // Mean times in microseconds.
    std::map<std::string, double> run_time_;
    double opening_time_ = 15000, closing_time_ = 1000;

    static void learn(double& mean, Clock::time_point since);
    int runTime(const std::string& kind) const;
    void aim(std::size_t place);
    void untilLine(std::size_t place, char wanted);
    void untilSave(std::size_t place, char wanted);
    void waitRandom(int longest) { hear(std::chrono::microseconds(upTo(longest)), nullptr); }
    void lookAfter(const std::vector<std::size_t>& places);
    void lookAlone(const std::string& when);
    void end(std::size_t place);
    void endAll(bool kill);
    void lookWithCommand();
    void startAll();
    void store(int kills);
};

}  // namespace kills
