// A status run over a tree of revisions with a dataset each, on a durable store in a file and on
// one on a server: as one transaction, and as the server, for each object.
//   server_store ADDRESS [REVISIONS [whole|each]]
// The address is that of a database without "schema=": it is left with new schemas.

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench/status_settings.h"
#include "bench/status_tree.h"
#include "platform/keld_basetool.h"
#include "platform/keld_se.h"
#include "workbench/workbench.h"

using mervane::RunWay;

namespace {

mervane::Workbench& bench() {
    return *mervane_workbench();
}

struct Took {
    double microseconds = 0, round_trips = 0;  // per object
    bool failed = false;
};

void fill(const std::string& store_path, int revisions) {
    bench().createStore(store_path);
    const auto store = bench().openStore(store_path);
    bench().openSession(store, {});
    status_tree::make("", revisions);
    bench().closeStore(store);
}

Took step(const std::string& store_path, const char* status, bool whole, int revisions) {
    const auto store = bench().openStore(store_path);
    bench().openSession(store, {});
    const tag_t top = bench().openBomWindow(bench().resolve("000000/A"));
    const auto trips = bench().roundTrips();
    const auto began = std::chrono::steady_clock::now();
    if (whole)
        bench().beginRun({RunWay::Whole, "KELD_StatusManager", "", "", ""});
    Took took;
    took.failed = KELD_StatusManager_ManageStatus(top, "BOMLine", status) != 0;
    if (whole)
        bench().endRun({}, true, nullptr);
    const std::chrono::duration<double, std::micro> time = std::chrono::steady_clock::now() - began;
    took.microseconds = time.count() / (2.0 * revisions);
    took.round_trips = static_cast<double>(bench().roundTrips() - trips) / (2.0 * revisions);
    bench().closeStore(store);
    return took;
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 2) {
        std::fprintf(stderr, "expected the address of a database\n");
        return 2;
    }
    const int revisions = count > 2 ? std::atoi(arguments[2]) : 10000;
    const std::filesystem::path directory =
        std::filesystem::temp_directory_path() /
        ("server_store-" +
         std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
    std::filesystem::create_directories(directory);
    std::ofstream(directory / "keld_statusmanager.ini") << kStatusSettings;
    setenv("KELD_CFG_PATH", directory.c_str(), 1);
    setenv("KELD_LOG_FILE", (directory / "keld.log").c_str(), 1);
    KELD_SetLogLevel(0);
    bool failed = false;
    std::printf("%d revisions with a dataset each\n", revisions);
    std::printf("%-30s %12s %12s %8s %12s\n", "", "file us/obj", "server", "ratio", "round trips");
    for (const bool whole : {true, false}) {
        const std::string name = whole ? "whole" : "each";
        if (count > 3 && arguments[3] != name)
            continue;
        const std::string file = (directory / (name + ".db")).string(),
                          server = status_tree::withSchema(
                              arguments[1], "bench_" + std::to_string(getpid()) + "_" + name);
        fill(file, revisions);
        fill(server, revisions);
        for (const char* status : {"Frozen", "Released"}) {
            const Took here = step(file, status, whole, revisions),
                       there = step(server, status, whole, revisions);
            failed = failed || here.failed || there.failed;
            std::printf(
                "%-30s %12.1f %12.1f %8.2f %12.2f\n",
                (std::string(whole ? "one transaction, " : "as the server, ") + status).c_str(),
                here.microseconds, there.microseconds, there.microseconds / here.microseconds,
                there.round_trips);
            std::fflush(stdout);
        }
    }
    std::filesystem::remove_all(directory);
    if (failed)
        std::printf("FAILED\n");
    return failed ? 1 : 0;
}
