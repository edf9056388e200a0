// What a status run costs, the first step (Frozen) and the second (Released, of parts that share
// one status): the library against the same platform calls made in a bare loop, and
// the workbench against the bare SQL statements that it runs.
//
// Every measurement works on a new world of its own; a new store gives the same handles again, so
// that what was recorded on one world plays on the next.

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "bench/call_recorder.h"
#include "bench/statement_recorder.h"
#include "bench/status_settings.h"
#include "platform/keld_basetool.h"
#include "platform/keld_se.h"
#include "tests/support/files.h"
#include "workbench/workbench.h"

namespace {

using namespace mervane;
namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

void runLibrary(tag_t top, const char* status) {
    const int failure = KELD_StatusManager_ManageStatus(top, "BOMLine", status);
    if (failure != 0) {
        fprintf(stderr, "the run to %s gave %d\n", status, failure);
        exit(1);
    }
}

constexpr const char* kSteps[] = {"Frozen", "Released"};

// A tree with ten children per assembly and a dataset at each revision, in a store of its own; all
// has the status before the step.
class World {
public:
    World(const std::string& path, int revisions, int step) {
        statement_recorder::newWorld();
        auto* bench = mervane_workbench();
        if (path != ":memory:")
            bench->createStore(path);
        store_ = bench->openStore(path);
        bench->openSession(store_, {});
        std::vector<tag_t> all;
        for (int i = 0; i < revisions; ++i) {
            char id[16];
            snprintf(id, sizeof id, "%06d", i);
            tag_t revision = NULLTAG;
            bench->createItem(id, "part", "Item", "A", &revision);
            const tag_t dataset = bench->createDataset("Text", id);
            bench->relate(revision, dataset, "VANE_specification");
            if (i > 0)
                bench->addOccurrence(all[static_cast<std::size_t>((i - 1) / 10)], revision, "", "");
            all.push_back(revision);
        }
        top_ = bench->openBomWindow(all[0]);
        for (int before = 0; before < step; ++before)
            runLibrary(top_, kSteps[before]);
    }
    ~World() { mervane_workbench()->closeStore(store_); }
    World(const World&) = delete;
    tag_t top() const { return top_; }

private:
    Workbench::StoreId store_ = 0;
    tag_t top_ = NULLTAG;
};

void writeSettings(const fs::path& directory) {
    std::ofstream ini(directory / "keld_statusmanager.ini");
    ini << kStatusSettings;
}

double seconds(const std::function<void()>& body) {
    const auto start = Clock::now();
    body();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

struct Result {
    int revisions = 0;
    double off = 1e9, warning = 1e9, trace = 1e9, bare = 1e9, sql = 1e9, durable = 1e9;
    double settings = 1e9;
    std::size_t calls = 0, statements = 0, setting_reads = 0;
};

Result measure(int revisions, int step, int rounds, const fs::path& directory) {
    const char* const status = kSteps[step];
    Result result;
    result.revisions = revisions;
    KELD_SetLogLevel(0);
    tag_t recorded_top = NULLTAG;
    {
        // Record the calls, and prove with the journal that none was missed.
        World world(":memory:", revisions, step);
        mervane_workbench()->startJournal();
        call_recorder::start();
        runLibrary(world.top(), status);
        call_recorder::stop();
        recorded_top = world.top();
        const auto made = call_recorder::countsOf(mervane_workbench()->stopJournal());
        World again(":memory:", revisions, step);
        mervane_workbench()->startJournal();
        call_recorder::play(again.top() - recorded_top);
        if (call_recorder::countsOf(mervane_workbench()->stopJournal()) != made) {
            fprintf(stderr, "the bare loop makes other calls than the library\n");
            exit(1);
        }
    }
    {
        World world(":memory:", revisions, step);
        statement_recorder::start();
        runLibrary(world.top(), status);
        statement_recorder::stop();
    }
    result.calls = call_recorder::count();
    result.setting_reads = call_recorder::settingCount();
    result.statements = statement_recorder::count();
    for (int round = 0; round < rounds; ++round) {
        const auto library = [&](int level, const std::string& path) {
            World world(path, revisions, step);
            KELD_SetLogLevel(level);
            const double time = seconds([&] { runLibrary(world.top(), status); });
            KELD_SetLogLevel(0);
            return time;
        };
        result.off = std::min(result.off, library(0, ":memory:"));
        result.warning = std::min(result.warning, library(2, ":memory:"));
        result.trace = std::min(result.trace, library(3, ":memory:"));
        {
            World world(":memory:", revisions, step);
            const tag_t shift = world.top() - recorded_top;
            result.bare = std::min(result.bare, seconds([shift] { call_recorder::play(shift); }));
        }
        {
            World world(":memory:", revisions, step);
            result.sql = std::min(result.sql, statement_recorder::play());
        }
        result.settings = std::min(result.settings, seconds(call_recorder::readSettings));
        fs::remove(directory / "keld.log");
    }
    const std::string path = (directory / (status + std::to_string(revisions))).string();
    {
        World world(path, revisions, step);
        result.durable = seconds([&] { runLibrary(world.top(), status); });
    }
    return result;
}

}  // namespace

int main(int argc, char** argv) {
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);  // a row is seen when it is measured, in a pipe too
    const bool json = argc > 1 && std::string(argv[1]) == "--json";
    const keld_test::Directory directory;
    setenv("KELD_CFG_PATH", directory.string().c_str(), 1);
    setenv("KELD_LOG_FILE", (directory / "keld.log").c_str(), 1);
    writeSettings(directory);
    statement_recorder::watch();

    if (!json)
        printf("%-8s %9s %8s %10s %8s | %8s %8s %8s %8s %8s %8s %8s | %7s %7s %7s\n", "step",
               "revisions", "calls", "statements", "settings", "off", "warning", "trace",
               "settings", "bare", "SQL", "durable", "off/b", "trace/b", "bare/SQL");
    if (json)
        printf("[");
    bool first = true;
    for (const int step : {0, 1})
        for (const int revisions : {1000, 10000}) {
            const Result r = measure(revisions, step, revisions > 5000 ? 3 : 5, directory);
            const double us = 1e6 / (2.0 * r.revisions);
            if (json)
                printf(
                    "%s{\"step\":\"%s\",\"revisions\":%d,\"calls\":%zu,\"statements\":%zu,\"off_"
                    "us\":%.2f,"
                    "\"warning_us\":%.2f,\"trace_us\":%.2f,\"bare_us\":%.2f,\"sql_us\":%.2f,"
                    "\"durable_us\":%.2f,\"setting_reads\":%zu,\"settings_us\":%.2f}",
                    first ? "" : ",", kSteps[step], r.revisions, r.calls, r.statements, r.off * us,
                    r.warning * us, r.trace * us, r.bare * us, r.sql * us, r.durable * us,
                    r.setting_reads, r.settings * us);
            else
                printf(
                    "%-8s %9d %8zu %10zu %8zu | %8.2f %8.2f %8.2f %8.2f %8.2f %8.2f %8.2f | %7.2f "
                    "%7.2f "
                    "%7.2f\n",
                    kSteps[step], r.revisions, r.calls, r.statements, r.setting_reads, r.off * us,
                    r.warning * us, r.trace * us, r.settings * us, r.bare * us, r.sql * us,
                    r.durable * us, r.off / r.bare, r.trace / r.bare, r.bare / r.sql);
            first = false;
        }
    printf(json ? "]\n"
                : "Microseconds per object (a revision or a dataset); settings: the same settings "
                  "read by themselves. Targets: off/b at most 1.3, "
                  "trace/b at most 1.9, bare/SQL at most 1.3.\n");
    return 0;
}
