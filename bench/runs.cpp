// What runs cost: a status run over a durable store, as the server with and without a record,
// whole and rehearsed; and one object's status in stores of different sizes.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "platform/keld_basetool.h"
#include "platform/keld_se.h"
#include "workbench/workbench.h"

namespace {

using namespace mervane;
namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

Workbench& bench() {
    return *mervane_workbench();
}

double seconds(const std::function<void()>& body) {
    const auto start = Clock::now();
    body();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Runs the body in a process of its own, so that its memory is its own; gives its peak in KB.
long inChild(const std::function<void()>& body) {
    fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        body();
        fflush(stdout);
        _exit(0);
    }
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    if (status != 0) {
        fprintf(stderr, "a measurement failed\n");
        exit(1);
    }
    return usage.ru_maxrss;
}

// Parts with a dataset each under one assembly, imported in one go.
void makeStore(const std::string& path, int parts) {
    const std::string file = path + ".json";
    {
        std::ofstream out(file);
        out << R"({"world": 1, "items": [)";
        for (int i = 1; i <= parts; ++i)
            out << "{\"id\": \"" << i << R"(", "revisions": [{"id": "A", "datasets": [)"
                << R"({"type": "Text", "name": "d"}]}]},)";
        out << R"({"id": "top", "revisions": [{"id": "A", "bom": [)";
        for (int i = 1; i <= parts; ++i)
            out << (i > 1 ? "," : "") << "{\"item\": \"" << i << "\"}";
        out << "]}]}]}";
    }
    bench().createStore(path);
    const auto store = bench().openStore(path);
    bench().openSession(store, {});
    std::ifstream in(file);
    bench().importWorld(in, file);
    bench().closeStore(store);
    fs::remove(file);
}

void runLibrary(tag_t object, const char* type) {
    const int status = KELD_StatusManager_ManageStatus(object, type, "Frozen");
    if (status != 0) {
        fprintf(stderr, "the run gave %d\n", status);
        exit(1);
    }
}

struct Way {
    const char* name;
    RunWay way;
    bool records, in_run;
};

// The store is copied for each measurement, since a run changes it.
double measureWay(const std::string& store_path, const Way& way) {
    const std::string path = store_path + "-copy";
    for (const char* suffix : {"", "-wal", "-shm", "-locks", "-locks-guard", "-locks-wal",
                               "-locks-shm", "-sessions", ".volume"})
        fs::remove_all(path + suffix);
    const auto base = bench().openStore(store_path);
    bench().backup(base, path);
    bench().closeStore(base);
    const auto store = bench().openStore(path);
    bench().openSession(store, {});
    bench().recordRuns(way.records);
    const tag_t top = bench().openBomWindow(bench().resolve("top/A"));
    const double time = seconds([&] {
        if (way.in_run)
            bench().beginRun({way.way, "KELD_StatusManager", "", "", ""});
        runLibrary(top, "BOMLine");
        if (way.in_run)
            bench().endRun({}, true, nullptr);
    });
    bench().closeStore(store);
    return time;
}

void measureWays(const fs::path& directory, int parts) {
    const std::string path = (directory / "ways").string();
    makeStore(path, parts);
    const Way ways[] = {{"as the server, no run", RunWay::AsServer, false, false},
                        {"as the server, recorded", RunWay::AsServer, true, true},
                        {"whole, recorded", RunWay::Whole, true, true},
                        {"rehearsal", RunWay::Rehearsal, true, true}};
    printf("%d revisions with a dataset each\n%-26s %9s %8s %12s\n", parts, "", "seconds", "ratio",
           "peak KB each");
    double server = 0;
    long server_peak = 0;
    for (const Way& way : ways) {
        int pipes[2];
        if (pipe(pipes) != 0)
            exit(1);
        const long peak = inChild([&] {
            const double time = measureWay(path, way);
            if (write(pipes[1], &time, sizeof time) != sizeof time)
                _exit(1);
        });
        double time = 0;
        if (read(pipes[0], &time, sizeof time) != sizeof time)
            exit(1);
        close(pipes[0]);
        close(pipes[1]);
        if (server == 0) {
            server = time;
            server_peak = peak;
        }
        printf("%-26s %9.2f %8.2f %12.2f\n", way.name, time, time / server,
               static_cast<double>(peak - server_peak) / (2.0 * parts));
    }
}

void measureOne(const fs::path& directory, int parts) {
    const std::string path = (directory / ("one" + std::to_string(parts))).string();
    makeStore(path, parts);
    const long peak = inChild([&] {
        double all = 0, set = 0;
        constexpr int kTimes = 20;
        for (int i = 1; i <= kTimes; ++i)
            all += seconds([&] {
                const auto store = bench().openStore(path);
                bench().openSession(store, {});
                const tag_t revision = bench().resolve(std::to_string(i) + "/A");
                set += seconds([&] {
                    bench().beginRun({RunWay::Whole, "KELD_StatusManager", "", "", ""});
                    runLibrary(revision, "ItemRevision");
                    bench().endRun({}, true, nullptr);
                });
                bench().closeStore(store);
            });
        printf("%9d items: %7.2f ms with opening, %6.2f ms the run", parts, all / kTimes * 1e3,
               set / kTimes * 1e3);
    });
    printf(", peak %.1f MB\n", static_cast<double>(peak) / 1024);
}

}  // namespace

int main() {
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    std::string pattern = (fs::temp_directory_path() / "keld-bench-XXXXXX").string();
    const fs::path directory = mkdtemp(pattern.data());
    setenv("KELD_CFG_PATH", directory.c_str(), 1);
    setenv("KELD_LOG_FILE", (directory / "keld.log").c_str(), 1);
    std::ofstream(directory / "keld_statusmanager.ini")
        << "[SelectWSO]\nBOMLine=1\nItemRevision=1\n"
           "[Frozen_BOMLine]\nChangeForward=ChildBomLines;bl_revision\n"
           "[Frozen_ItemRevision]\nPrevReleaseStatus=none\nSetReleaseState=Frozen\n"
           "DoNothingOnReleaseStatus=Frozen\nChangeForward=Rel.VANE_specification.*\n"
           "[Frozen_VANE_specification.*]\nPrevReleaseStatus=none\nSetReleaseState=Frozen\n"
           "DoNothingOnReleaseStatus=Frozen\n";
    KELD_SetLogLevel(0);
    for (const int parts : {1000, 10000})
        inChild([&] { measureWays(directory, parts); });
    printf("\none object's status, a whole run of its own, in a store of\n");
    for (const int parts : {1000, 10000, 100000})
        inChild([&] { measureOne(directory, parts); });
    fs::remove_all(directory);
    return 0;
}
