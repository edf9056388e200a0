// What runs cost: a status run over a durable store, as the server with and without a record,
// whole and rehearsed; and one object's status in stores of different sizes.

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "bench/child.h"
#include "platform/keld_basetool.h"
#include "platform/keld_se.h"
#include "tests/support/files.h"
#include "workbench/workbench.h"

namespace {

using namespace mervane;
namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using bench_child::inChild;

Workbench& bench() {
    return *mervane_workbench();
}

double seconds(const std::function<void()>& body) {
    const auto start = Clock::now();
    body();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Parts with a dataset each. They come in documents of limited size, each with its own session, so
// that memory stays at that of one document.
void importParts(Workbench::StoreId store, const std::string& file, int parts, bool datasets) {
    constexpr int kOfADocument = 20000;
    for (int first = 1; first <= parts; first += kOfADocument) {
        {
            std::ofstream out(file);
            out << R"({"world": 1, "items": [)";
            for (int i = first; i < first + kOfADocument && i <= parts; ++i)
                out << (i > first ? "," : "") << "{\"id\": \"" << i
                    << R"(", "revisions": [{"id": "A")"
                    << (datasets ? R"(, "datasets": [{"type": "Text", "name": "d"}])" : "")
                    << "}]}";
            out << "]}";
        }
        const auto session = bench().openSession(store, {});
        std::ifstream in(file);
        bench().importWorld(in, file);
        bench().closeSession(session);
    }
    fs::remove(file);
}

// Open the store, with as many parts, below one assembly if `assembled`.
void fillStore(Workbench::StoreId store, const std::string& file, int parts, bool assembled) {
    importParts(store, file, parts, assembled);
    if (assembled) {
        {
            std::ofstream out(file);
            out << R"({"world": 1, "items": [{"id": "top", "revisions": [{"id": "A", "bom": [)";
            for (int i = 1; i <= parts; ++i)
                out << (i > 1 ? "," : "") << "{\"item\": \"" << i << "\"}";
            out << "]}]}]}";
        }
        bench().openSession(store, {});
        std::ifstream in(file);
        bench().importWorld(in, file);
    }
    fs::remove(file);
}

void makeStore(const std::string& path, int parts, bool assembled) {
    bench().createStore(path);
    const auto store = bench().openStore(path);
    fillStore(store, path + ".json", parts, assembled);
    bench().closeStore(store);
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
    int log_level;
};

// A run changes its store, so each has one of its own.
void copyStore(const std::string& from, const std::string& to) {
    for (const char* suffix : {"", "-wal", "-shm", "-locks", "-locks-guard", "-locks-held",
                               "-locks-wal", "-locks-shm", "-sessions", ".volume"})
        fs::remove_all(to + suffix);
    const auto base = bench().openStore(from);
    bench().backup(base, to);
    bench().closeStore(base);
}

// What the process has for itself now, in KB: pages of the store's file, which the system maps and
// takes back as it likes, aren't among it.
long ownMemory() {
    std::ifstream status("/proc/self/status");
    std::string word;
    long kilobytes = 0;
    while (status >> word)
        if (word == "RssAnon:")
            status >> kilobytes;
    return kilobytes;
}

struct Measured {
    double seconds = 0;
    long kilobytes = 0;
};

Measured measureWay(const std::string& path, const Way& way) {
    const auto store = bench().openStore(path);
    bench().openSession(store, {});
    bench().recordRuns(way.records);
    const tag_t top = bench().openBomWindow(bench().resolve("top/A"));
    KELD_SetLogLevel(way.log_level);
    Measured measured;
    measured.seconds = seconds([&] {
        if (way.in_run)
            bench().beginRun({way.way, "KELD_StatusManager", "", "", ""});
        runLibrary(top, "BOMLine");
        if (way.in_run)
            bench().endRun({}, true, nullptr);
    });
    measured.kilobytes = ownMemory();
    bench().closeStore(store);
    return measured;
}

constexpr Way kWays[] = {{"as the server, no run", RunWay::AsServer, false, false, 0},
                         {"as the server, recorded", RunWay::AsServer, true, true, 0},
                         {"whole, recorded", RunWay::Whole, true, true, 0},
                         {"rehearsal", RunWay::Rehearsal, true, true, 0},
                         {"whole, log at trace", RunWay::Whole, true, true, 3},
                         {"whole, log at debug", RunWay::Whole, true, true, 4}};

// Measure a run in each of the ways.
std::vector<Measured> measureWays(const fs::path& directory, int parts) {
    const std::string path = (directory / ("ways" + std::to_string(parts))).string();
    inChild([&] { makeStore(path, parts, true); });
    std::vector<Measured> all;
    for (const Way& way : kWays) {
        const std::string copy = path + "-copy";
        inChild([&] { copyStore(path, copy); });
        int pipes[2];
        if (pipe(pipes) != 0)
            exit(1);
        inChild([&] {
            const Measured measured = measureWay(copy, way);
            if (write(pipes[1], &measured, sizeof measured) != sizeof measured)
                _exit(1);
        });
        all.emplace_back();
        if (read(pipes[0], &all.back(), sizeof all.back()) != sizeof all.back())
            exit(1);
        close(pipes[0]);
        close(pipes[1]);
    }
    return all;
}

void showWays(const fs::path& directory) {
    constexpr int kFew = 1000, kMany = 10000;
    const auto few = measureWays(directory, kFew), many = measureWays(directory, kMany);
    printf(
        "seconds for %d and %d revisions with a dataset each; KB: more memory per object\n"
        "%-26s %8s %8s %7s %8s\n",
        kFew, kMany, "", "few", "many", "ratio", "KB");
    for (std::size_t i = 0; i < std::size(kWays); ++i)
        printf("%-26s %8.2f %8.2f %7.2f %8.2f\n", kWays[i].name, few[i].seconds, many[i].seconds,
               many[i].seconds / many[0].seconds,
               static_cast<double>(many[i].kilobytes - few[i].kilobytes) / (2.0 * (kMany - kFew)));
}

// A whole run over many parts with a dataset each, with its record and the log off.
void showMany(const fs::path& directory) {
    constexpr int kParts = 100000;
    const std::string path = (directory / "many").string();
    inChild([&] { makeStore(path, kParts, true); });
    const auto run = [&](const char* name, const std::string& store_path) {
        const auto peak = inChild([&] {
            const auto store = bench().openStore(store_path);
            if (store_path == ":memory:")
                fillStore(store, path + ".json", kParts, true);
            bench().openSession(store, {});
            const tag_t top = bench().openBomWindow(bench().resolve("top/A"));
            const double time = seconds([&] {
                bench().beginRun({RunWay::Whole, "KELD_StatusManager", "", "", ""});
                runLibrary(top, "BOMLine");
                bench().endRun({}, true, nullptr);
            });
            printf("%-20s %7.2f s %6.1f us per object, %5.1f MB of its own at the end", name, time,
                   time * 1e6 / (2 * kParts), static_cast<double>(ownMemory()) / 1024);
        });
        printf(", peak %.1f MB\n", static_cast<double>(peak.kilobytes) / 1024);
    };
    printf(
        "\na whole run over %d revisions with a dataset each; the peak has the pages of the\n"
        "store, of one in a file those that the system maps and takes back as it likes\n",
        kParts);
    run("store in a file", path);
    run("store in memory", ":memory:");
}

double median(std::vector<double> all) {
    std::nth_element(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(all.size() / 2),
                     all.end());
    return all[all.size() / 2];
}

void measureOne(const fs::path& directory, int parts) {
    const std::string path = (directory / ("one" + std::to_string(parts))).string();
    inChild([&] { makeStore(path, parts, false); });
    const long peak =
        inChild([&] {
            std::vector<double> all, set;
            constexpr int kTimes = 31;
            for (int i = 1; i <= kTimes; ++i)
                all.push_back(seconds([&] {
                    const auto store = bench().openStore(path);
                    bench().openSession(store, {});
                    const tag_t revision = bench().resolve(std::to_string(i * (parts / 40)) + "/A");
                    set.push_back(seconds([&] {
                        bench().beginRun({RunWay::Whole, "KELD_StatusManager", "", "", ""});
                        runLibrary(revision, "ItemRevision");
                        bench().endRun({}, true, nullptr);
                    }));
                    bench().closeStore(store);
                }));
            printf("%9d items: %7.2f ms with opening, %6.2f ms the run", parts, median(all) * 1e3,
                   median(set) * 1e3);
        }).kilobytes;
    printf(", peak %.1f MB\n", static_cast<double>(peak) / 1024);
}

}  // namespace

int main() {
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    const keld_test::Directory directory;
    setenv("KELD_CFG_PATH", directory.string().c_str(), 1);
    setenv("KELD_LOG_FILE", (directory / "keld.log").c_str(), 1);
    std::ofstream(directory / "keld_statusmanager.ini")
        << "[SelectWSO]\nBOMLine=1\nItemRevision=1\n"
           "[Frozen_BOMLine]\nChangeForward=ChildBomLines;bl_revision\n"
           "[Frozen_ItemRevision]\nPrevReleaseStatus=none\nSetReleaseState=Frozen\n"
           "DoNothingOnReleaseStatus=Frozen\nChangeForward=Rel.VANE_specification.*\n"
           "[Frozen_VANE_specification.*]\nPrevReleaseStatus=none\nSetReleaseState=Frozen\n"
           "DoNothingOnReleaseStatus=Frozen\n";
    KELD_SetLogLevel(0);
    showWays(directory);
    showMany(directory);
    printf("\none object's status, a whole run of its own, in a store of\n");
    for (const int parts : {1000, 10000, 100000, 1000000})
        measureOne(directory, parts);
    return 0;
}
