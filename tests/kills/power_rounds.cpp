// Three processes on a file layer that forgets; then the power fails.

#include <iostream>

#include "tests/kills/disk_image.h"
#include "tests/kills/rounds.h"

namespace kills {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t kWorkers = 3;
constexpr int kFailuresOfAStore = 40;

class PowerRounds final : public WorkRounds {
public:
    explicit PowerRounds(const Options& options) : WorkRounds(options, KILL_WORKER "_forgetful") {}
    int run();

private:
    void store(int failures);
    void look();
};

void PowerRounds::look() {
    try {
        Plant plant(path_);
        for (const auto& worker : workers_) {
            if (!worker->error.empty())
                note({worker->kind + ": " + worker->error}, worker->kind);
            note(settle(plant, *worker), worker->kind);
        }
        note(plant.leftLocks(), "power");
        note(plant.check(true), "power");
        note(ledger_.compare(plant.bare()), "power");
    } catch (const std::exception& error) {
        note({std::string("the store can't be looked at: ") + error.what()}, "power");
    }
}

void PowerRounds::store(int failures) {
    newWorld();
    DiskImage disk(directory_ + "/store", directory_ + "/disk");
    environment_ = {{"KELD_DISK_ROOT", directory_ + "/store"},
                    {"KELD_DISK_IMAGE", directory_ + "/disk"}};
    if (!options_.deaf.empty())
        environment_.emplace_back("KELD_DISK_DEAF", options_.deaf);
    for (int failure = 0; failure < failures && wrong_.empty(); ++failure) {
        disk.reset();
        for (std::size_t place = 0; place < kWorkers; ++place)
            start(place);
        hear(50ms + std::chrono::microseconds(upTo(300000)), nullptr);
        for (const auto& worker : workers_)
            worker->kill();
        ++kills_;
        for (const auto& worker : workers_) {
            hearLast(*worker);
            count(*worker);
        }
        // In half of the rounds nothing was written early; in the others each part has its own
        // chance.
        const bool strict = upTo(1) == 0;
        disk.fail([&] { return !strict && upTo(1) == 0; });
        look();
    }
}

int PowerRounds::run() {
    const auto began = Clock::now();
    while (kills_ < options_.kills && wrong_.empty())
        store(std::min(kFailuresOfAStore, options_.kills - kills_));
    report();
    std::cout << ledger_.acknowledged() << " saves acknowledged; "
              << std::chrono::duration<double>(Clock::now() - began).count() << " s" << std::endl;
    if (ledger_.acknowledged() == 0)
        return 1;
    if (!options_.expect_loss)
        return wrong_.empty() && kills_ >= options_.kills ? 0 : 1;
    for (const std::string& text : wrong_)
        if (text.starts_with("lost: ") || text.starts_with("check: file of "))
            return 0;
    std::cout << "a loss was expected, none was found" << std::endl;
    return 1;
}

}  // namespace

int runPower(const Options& options) {
    return PowerRounds(options).run();
}

}  // namespace kills
