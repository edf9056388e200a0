// Kills while a store is made, upgraded, copied and repaired.

#include <sys/wait.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <thread>

#include "tests/kills/disk_image.h"
#include "tests/kills/operations.h"
#include "tests/kills/rounds.h"
#include "tests/support/files.h"

namespace kills {

namespace {

namespace fs = std::filesystem;

constexpr int kKillsOfAStore = 40;

mervane::Workbench& bench() {
    return *mervane_workbench();
}

void runSql(const std::string& path, const std::string& text) {
    sqlite3* database = nullptr;
    if (sqlite3_open(path.c_str(), &database) != SQLITE_OK ||
        sqlite3_exec(database, text.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
        throw std::runtime_error(path + ": " + sqlite3_errmsg(database));
    sqlite3_close(database);
}

void removeStore(const std::string& path) {
    for (const char* suffix : {"", "-wal", "-shm", "-journal", ".volume", "-locks", "-locks-guard",
                               "-locks-wal", "-locks-shm", "-locks-held", "-sessions"})
        fs::remove_all(path + suffix);
}

class CareRounds final : public Rounds {
public:
    explicit CareRounds(const Options& options)
        : Rounds(options),
          version_1_(keld_test::readText(KELD_SOURCE_DIR "/tests/workbench/version_1.sql")) {}
    int run();

private:
    std::string version_1_;
    std::map<std::string, int> times_;  // microseconds, means
    int done_ = 0;

    std::unique_ptr<Running> begin(const std::string& kind, const std::string& program);
    // Whether it said that it had done its work.
    bool hear(Running& worker);
    bool killDuring(const std::string& kind);
    bool finish(const std::string& kind);
    void sound(const std::string& path, const std::string& when);
    void create();
    void createWithoutPower();
    void upgrade();
    void backup();
    void repair();
    void need(bool truth, const std::string& text, const std::string& when) {
        if (!truth)
            note({text}, when);
    }
};

std::unique_ptr<Running> CareRounds::begin(const std::string& kind, const std::string& program) {
    std::vector<std::pair<std::string, std::string>> environment;
    if (program != KILL_WORKER)
        environment = {{"KELD_DISK_ROOT", directory_ + "/store"},
                       {"KELD_DISK_IMAGE", directory_ + "/disk"}};
    auto worker = std::make_unique<Running>(
        program, std::vector<std::string>{kind, kind, directory_, path_, "1000", "none"},
        environment);
    worker->kind = kind;
    return worker;
}

bool CareRounds::hear(Running& worker) {
    bool done = false;
    worker.listen();
    for (std::string line; worker.line(line);) {
        done = done || line == "D 1";
        if (line[0] == 'B')
            worker.phase = "at work";
        if (line[0] == 'E')
            worker.error = line.substr(2);
    }
    if (done)
        worker.phase = "done";
    return done;
}

bool CareRounds::finish(const std::string& kind) {
    const auto worker = begin(kind, KILL_WORKER);
    const int status = worker->wait();
    const bool done = hear(*worker);
    need(status == 0 && done, kind + " ended with " + std::to_string(status) + ": " + worker->error,
         kind);
    return done;
}

bool CareRounds::killDuring(const std::string& kind) {
    int& time = times_[kind];
    if (time == 0)
        time = 30000;
    const auto worker = begin(kind, KILL_WORKER);
    std::this_thread::sleep_for(std::chrono::microseconds(upTo(time)));
    worker->kill();
    ++kills_;
    const bool done = hear(*worker);
    // So that a quarter comes too late: the whole of the work is met.
    time = std::clamp(done ? time * 80 / 100 : time * 108 / 100, 2000, 2000000);
    done_ += done;
    need(worker->error.empty(), worker->error, kind);
    count(*worker);
    return done;
}

void CareRounds::sound(const std::string& path, const std::string& when) {
    try {
        Plant plant(path);
        note(plant.leftLocks(), when);
        note(plant.check(true), when);
    } catch (const std::exception& error) {
        note({std::string("it can't be opened: ") + error.what()}, when);
    }
}

// There is no store or a whole one; an unfinished one is in a file beside it.
void CareRounds::create() {
    freshDirectory();
    const bool done = killDuring("create");
    if (fs::exists(path_))
        return sound(path_, "create");
    need(!done, "a store that was made isn't there", "create");
    bench().createStore(path_);
    sound(path_, "create again");
}

void CareRounds::createWithoutPower() {
    freshDirectory();
    DiskImage disk(directory_ + "/store", directory_ + "/disk");
    disk.reset();
    const auto worker = begin("create", KILL_WORKER "_forgetful");
    worker->wait();
    ++kills_;
    need(hear(*worker), "not made: " + worker->error, "create, power");
    count(*worker);
    disk.fail([] { return false; });
    need(fs::exists(path_ + ".volume"), "the volume is gone", "create, power");
    sound(path_, "create, power");
}

// Three processes open an old store; one is killed.
void CareRounds::upgrade() {
    freshDirectory();
    runSql(path_, version_1_);
    const auto second = begin("open", KILL_WORKER), third = begin("open", KILL_WORKER);
    killDuring("open");
    for (const auto& other : {second.get(), third.get()}) {
        const int status = other->wait();
        hear(*other);
        need(status == 0, other->error, "upgrade, others");
    }
    sound(path_, "upgrade");
    const auto store = bench().openStore(path_);
    bench().openSession(store, {});
    const tag_t item = bench().resolve("000123");
    need(std::get<std::string>(bench().get(item, "object_name").front()) == "Bracket",
         "the item has another name", "upgrade");
    bench().closeStore(store);
}

// One process copies while another one works.
void CareRounds::backup() {
    if (!fs::exists(path_ + ".volume"))
        makeWorld(directory_, path_);
    const std::string copy = directory_ + "/copy";
    Running other(KILL_WORKER,
                  {"files", "files-" + std::to_string(kills_), directory_, path_, "50", "none"},
                  {});
    const bool done = killDuring("backup");
    if (fs::exists(copy))
        sound(copy, "the copy");
    else
        need(!done, "a copy that was made isn't there", "backup");
    std::vector<fs::path> in_the_making;
    for (const auto& left : fs::directory_iterator(directory_))
        if (left.path().filename().string().starts_with("copy.new-"))
            in_the_making.push_back(left.path());
    for (const fs::path& left : in_the_making)
        fs::remove_all(left);
    removeStore(copy);
    for (const auto& left : fs::directory_iterator(directory_))
        need(left.path().filename().string().find("copy") == std::string::npos,
             left.path().string() + " is left", "backup");
    if (upTo(3) == 0 && finish("backup")) {
        sound(copy, "the next copy");
        removeStore(copy);
    }
    other.kill();
    sound(path_, "the store after the copy");
}

void CareRounds::repair() {
    if (!fs::exists(path_ + ".volume"))
        makeWorld(directory_, path_);
    for (int i = 0; i < 30; ++i)
        for (const std::string& name :
             {std::to_string(2000000000 + i), "new-1-" + std::to_string(i),
              std::to_string(i + 1) + ".removed"})
            std::ofstream(path_ + ".volume/" + name) << "nobody's";
    std::ofstream(path_ + "-sessions/123456").flush();
    const bool done = killDuring("repair");
    if (done)
        need(!fs::exists(path_ + ".volume/new-1-0"), "not repaired", "repair");
    sound(path_, "repair");
}

int CareRounds::run() {
    const auto began = Clock::now();
    const int fifth = std::max(1, options_.kills / 5);
    while (kills_ < options_.kills && !tooMuchWrong()) {
        const int part = std::min(kills_ / fifth, 4);
        // A store that grows takes longer to check.
        if (part >= 3 && (kills_ - part * fifth) % kKillsOfAStore == 0)
            freshDirectory();
        switch (part) {
            case 0:
            case 1:
                upTo(19) == 0 ? createWithoutPower() : create();
                break;
            case 2:
                upgrade();
                break;
            case 3:
                backup();
                break;
            default:
                repair();
        }
    }
    report();
    std::cout << done_ << " came too late; "
              << std::chrono::duration<double>(Clock::now() - began).count() << " s" << std::endl;
    return wrong_.empty() && kills_ >= options_.kills && done_ < kills_ ? 0 : 1;
}

}  // namespace

int runCare(const Options& options) {
    return CareRounds(options).run();
}

}  // namespace kills
