#pragma once

#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/kills/ledger.h"
#include "tests/kills/plant.h"
#include "tests/kills/running.h"
#include "tests/support/files.h"

namespace kills {

struct Options {
    enum class Kind { Kills, Care, Power, Server } kind = Kind::Kills;
    int kills = 100;
    unsigned seed = 0;
    std::string operation;  // empty: all of them in turn
    std::string deaf;
    bool expect_loss = false;
};

// The exit code of the program: 0 if all was well.
int runKills(const Options& options);
int runCare(const Options& options);
int runPower(const Options& options);
int runServer(const Options& options);

// What the three kinds share: a directory, random numbers, the list of what went wrong.
class Rounds {
public:
    explicit Rounds(const Options& options);
    ~Rounds();
    Rounds(const Rounds&) = delete;

protected:
    const Options& options_;
    std::mt19937 random_;
    std::string directory_;  // of the present store and what is around it
    std::string path_;       // of the store
    int kills_ = 0;
    std::vector<std::string> wrong_;
    std::map<std::string, std::map<std::string, int>> counts_;  // kills by operation and phase

    int upTo(int limit);  // 0 ... limit
    // A new, empty directory; the last one goes.
    void freshDirectory();
    void note(const std::vector<std::string>& wrong, const std::string& when);
    bool tooMuchWrong() const { return wrong_.size() >= 10; }
    void count(const Running& killed) { ++counts_[killed.kind][killed.phase]; }
    void report() const;

private:
    keld_test::Directory base_;
    int directories_ = 0;
};

// Rounds with three workers.
class WorkRounds : public Rounds {
public:
    WorkRounds(const Options& options, std::string program);
    virtual ~WorkRounds() = default;

protected:
    using Workers = std::vector<std::unique_ptr<Running>>;
    using Stop = std::function<bool(const Running&, const std::string&)>;

    Ledger ledger_;
    Workers workers_;
    std::vector<std::pair<std::string, std::string>> environment_;
    // How the workers of the present store run their operations. With "none" among them, some
    // changes aren't recorded.
    std::vector<std::string> ways_{"none", "server", "whole", "rehearsal"};

    void start(std::size_t place);
    // Hear all workers for this long, or until one says a line that `stop` waits for.
    bool hear(std::chrono::microseconds time, const Stop& stop);
    // Hear the last lines of a dead worker.
    void hearLast(Running& worker);
    // Find what is wrong with the objects of a killed worker.
    std::vector<std::string> settle(Plant& plant, Running& dead) {
        return ledger_.settle(plant.bare(), dead, workers_, [this] {
            for (const auto& worker : workers_)
                hearLast(*worker);
        });
    }
    void newWorld();
    // Choose where the store of a new directory lies, if it isn't in it.
    virtual void placeStore() {}
    // What the worker at this place calls the store.
    virtual std::string pathFor(std::size_t) { return path_; }

private:
    std::string program_;
    std::vector<std::string> kinds_;
    std::size_t next_kind_ = 0;
    int started_ = 0;

    std::string nextKind();
};

}  // namespace kills
