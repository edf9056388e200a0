#include "tests/kills/rounds.h"

#include <poll.h>

#include <algorithm>
#include <filesystem>
#include <iostream>

#include "tests/kills/operations.h"

namespace kills {

namespace fs = std::filesystem;

// ---- what all share ----

Rounds::Rounds(const Options& options) : options_(options), random_(options.seed) {
}

Rounds::~Rounds() {
    if (wrong_.empty() || options_.expect_loss)
        return;
    base_.keep();
    std::cout << "what was found lies in " << base_.string() << std::endl;
}

int Rounds::upTo(int limit) {
    return std::uniform_int_distribution<int>(0, std::max(limit, 0))(random_);
}

void Rounds::freshDirectory() {
    if (wrong_.empty() && !directory_.empty())
        fs::remove_all(directory_);
    directory_ = base_.at(std::to_string(++directories_));
    fs::create_directories(directory_ + "/store");
    path_ = directory_ + "/store/keld.db";
}

void Rounds::note(const std::vector<std::string>& wrong, const std::string& when) {
    for (const std::string& text : wrong) {
        wrong_.push_back(text);
        std::cout << "kill " << kills_ << " (" << when << "): " << text << std::endl;
    }
}

void Rounds::report() const {
    for (const auto& [kind, phases] : counts_) {
        int all = 0;
        std::string text;
        for (const auto& [phase, count] : phases) {
            all += count;
            text += "  " + phase + " " + std::to_string(count);
        }
        std::cout << "  " << kind << ": " << all << " kills:" << text << "\n";
    }
    std::cout << kills_ << " kills, " << wrong_.size() << " findings" << std::endl;
}

// ---- workers ----

WorkRounds::WorkRounds(const Options& options, std::string program)
    : Rounds(options), program_(std::move(program)) {
}

std::string WorkRounds::nextKind() {
    if (!options_.operation.empty())
        return options_.operation;
    if (next_kind_ == kinds_.size()) {
        kinds_ = operationKinds();
        std::shuffle(kinds_.begin(), kinds_.end(), random_);
        next_kind_ = 0;
    }
    return kinds_[next_kind_++];
}

void WorkRounds::start(std::size_t place) {
    const std::string kind = nextKind();
    const std::string name = kind + "-" + std::to_string(++started_);
    // Sometimes the product's 1,000 pages, mostly fewer, so that kills hit the checkpoints.
    const int pages = upTo(9) == 0 ? 1000 : 20 + upTo(200);
    const std::string& way =
        ways_[static_cast<std::size_t>(upTo(static_cast<int>(ways_.size()) - 1))];
    workers_.resize(std::max(workers_.size(), place + 1));
    auto environment = environment_;
    environment.emplace_back("PGAPPNAME", name);  // how a server tells whose connections it has
    workers_[place] =
        std::make_unique<Running>(program_,
                                  std::vector<std::string>{kind, name, directory_, pathFor(place),
                                                           std::to_string(pages), way},
                                  environment);
    workers_[place]->kind = kind;
    workers_[place]->name = name;
    workers_[place]->way = way;
}

bool WorkRounds::hear(std::chrono::microseconds time, const Stop& stop) {
    const auto until = Clock::now() + time;
    for (;;) {
        std::string line;
        for (auto& worker : workers_)
            while (worker->line(line)) {
                ledger_.hear(*worker, line);
                if (stop && stop(*worker, line))
                    return true;
            }
        const auto left =
            std::chrono::duration_cast<std::chrono::nanoseconds>(until - Clock::now()).count();
        if (left <= 0)
            return false;
        std::vector<pollfd> outputs;
        for (auto& worker : workers_)
            if (!worker->ended)
                outputs.push_back({worker->output(), POLLIN, 0});
        const timespec wait{left / 1000000000, left % 1000000000};
        if (::ppoll(outputs.data(), outputs.size(), &wait, nullptr) > 0)
            for (auto& worker : workers_)
                if (!worker->ended)
                    worker->ended = !worker->listen();
    }
}

void WorkRounds::hearLast(Running& worker) {
    worker.ended = !worker.listen();
    std::string line;
    while (worker.line(line))
        ledger_.hear(worker, line);
}

void WorkRounds::newWorld() {
    workers_.clear();
    freshDirectory();
    placeStore();
    makeWorld(directory_, path_);
    ledger_.clear();
}

}  // namespace kills
