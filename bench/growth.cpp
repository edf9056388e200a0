// How costs grow with the work: each row doubles its number of objects and tells the exponent of
// the growth. Seconds of the processor without waiting for the disk, which would hide it.

#include <cmath>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "bench/child.h"
#include "platform/keld_basetool.h"
#include "platform/keld_se.h"
#include "platform/mv_obj.h"
#include "tests/support/files.h"
#include "workbench/workbench.h"

namespace {

using namespace mervane;
namespace fs = std::filesystem;

fs::path directory;

Workbench& bench() {
    return *mervane_workbench();
}

double cpuSeconds(const std::function<void()>& body) {
    const auto now = [] {
        timespec time{};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
    };
    const double start = now();
    body();
    return now() - start;
}

std::string name(const char* kind, int number) {
    return kind + std::to_string(number);
}

// A store of its own with a session, in a process of its own.
void openNewStore() {
    const std::string path = (directory / "store").string();
    for (const auto& entry : fs::directory_iterator(directory))
        if (entry.path().filename().string().starts_with("store"))
            fs::remove_all(entry.path());
    bench().createStore(path);
    bench().openSession(bench().openStore(path), {});
}

void check(int status) {
    if (status != 0)
        throw std::runtime_error("status " + std::to_string(status));
}

void runStatus(tag_t top, const char* status) {
    bench().beginRun({RunWay::Whole, "KELD_StatusManager", "", "", ""});
    check(KELD_StatusManager_ManageStatus(top, "BOMLine", status));
    bench().endRun({}, true, nullptr);
}

// A document with so many parts below one assembly.
std::string flatDocument(int parts) {
    std::string text = R"({"world": 1, "items": [)";
    for (int i = 1; i <= parts; ++i)
        text += R"({"id": "p)" + std::to_string(i) + R"(", "revisions": [{"id": "A"}]},)";
    text += R"({"id": "top", "revisions": [{"id": "A", "bom": [)";
    for (int i = 1; i <= parts; ++i)
        text += (i > 1 ? ",{\"item\": \"p" : "{\"item\": \"p") + std::to_string(i) + "\"}";
    return text + "]}]}]}";
}

void load(const std::string& document) {
    const fs::path file = directory / "world.json";
    std::ofstream(file) << document;
    std::ifstream in(file);
    bench().importWorld(in, file.string());
}

double importJson(int parts) {
    openNewStore();
    const std::string document = flatDocument(parts);
    return cpuSeconds([&] { load(document); });
}

tag_t flatTop(int parts) {
    openNewStore();
    load(flatDocument(parts));
    return bench().openBomWindow(bench().resolve("top/A"));
}

double freeze(int parts) {
    const tag_t top = flatTop(parts);
    return cpuSeconds([&] { runStatus(top, "Frozen"); });
}

double releaseFrozen(int parts) {
    const tag_t top = flatTop(parts);
    runStatus(top, "Frozen");
    return cpuSeconds([&] { runStatus(top, "Released"); });
}

double deleteVersions(int versions) {
    openNewStore();
    tag_t dataset = NULLTAG;
    bench().asOne([&] {
        dataset = bench().createDataset("Text", "d");
        for (int i = 1; i < versions; ++i)
            bench().createDatasetVersion(dataset);
    });
    return cpuSeconds([&] { check(OBJ_delete(dataset)); });
}

double addOccurrences(int parts) {
    openNewStore();
    std::string text = R"({"world": 1, "items": [{"id": "top", "revisions": [{"id": "A"}]})";
    for (int i = 1; i <= parts; ++i)
        text += R"(,{"id": ")" + name("p", i) + R"(", "revisions": [{"id": "A"}]})";
    load(text + "]}");
    std::vector<tag_t> revisions;
    for (int i = 1; i <= parts; ++i)
        revisions.push_back(bench().resolve(name("p", i) + "/A"));
    const tag_t top = bench().resolve("top/A");
    return cpuSeconds([&] {
        bench().asOne([&] {
            for (const tag_t revision : revisions)
                bench().addOccurrence(top, revision, "1", "");
        });
    });
}

double makeRevisions(int revisions) {
    openNewStore();
    const tag_t item = bench().createItem("i", "item", "", "0", nullptr);
    return cpuSeconds([&] {
        bench().asOne([&] {
            for (int i = 1; i <= revisions; ++i)
                bench().createRevision(item, std::to_string(i));
        });
    });
}

// Show a chain of so many levels.
double showTree(int levels) {
    const std::string path = (directory / "store").string();
    bench_child::inChild([&] {
        openNewStore();
        std::string text = R"({"world": 1, "items": [)";
        for (int i = levels; i >= 0; --i) {
            text += R"({"id": ")" + name("c", i) + R"(", "revisions": [{"id": "A")";
            if (i < levels)
                text += R"(, "bom": [{"item": ")" + name("c", i + 1) + "\"}]";
            text += i > 0 ? "}]}," : "}]}";
        }
        load(text + "]}");
    });
    return bench_child::runProgram({KELD_PROGRAM, "--store", path, "tree", "c0"}).cpu_seconds;
}

// A run on 2,000 parts, with more and more rights.
double runWithRights(int rights) {
    const tag_t top = flatTop(2000);
    for (int i = 0; i < rights; ++i)
        bench().addRight({"user", "infodba", "object",
                          std::to_string(bench().resolve(name("p", i % 2000 + 1))),
                          i < 2000 ? "WRITE" : "READ", true});
    return cpuSeconds([&] { runStatus(top, "Frozen"); });
}

struct Row {
    const char* what;
    double (*measure)(int);
    int smallest;
    bool own_process;
};

constexpr Row kRows[] = {
    {"status set on parts, flat", freeze, 1000, true},
    {"release of parts that share a status, flat", releaseFrozen, 1000, true},
    {"JSON import, parts below one assembly", importJson, 2000, true},
    {"deletion of a dataset with versions", deleteVersions, 250, true},
    {"occurrences added below one revision", addOccurrences, 1000, true},
    {"revisions made of one item", makeRevisions, 500, true},
    {"keld tree, levels of a chain", showTree, 225, false},
    {"status set on 2,000 parts with rights", runWithRights, 250, true},
};

// The slope of the straight line through the logarithms.
double exponentOf(const std::vector<double>& sizes, const std::vector<double>& times) {
    double x = 0, y = 0, xx = 0, xy = 0;
    const auto n = static_cast<double>(sizes.size());
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        const double lx = std::log(sizes[i]), ly = std::log(times[i]);
        x += lx, y += ly, xx += lx * lx, xy += lx * ly;
    }
    return (n * xy - x * y) / (n * xx - x * x);
}

void measureRow(const Row& row) {
    std::vector<double> sizes, times;
    printf("%-44s", row.what);
    for (int i = 0; i < 5; ++i) {
        const int size = row.smallest << i;
        sizes.push_back(size);
        times.push_back(row.own_process ? bench_child::fromChild([&] { return row.measure(size); })
                                        : row.measure(size));
        printf(" %6d: %7.3f s", size, times.back());
    }
    printf("  exponent %5.2f\n", exponentOf(sizes, times));
}

}  // namespace

int main() {
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    const keld_test::Directory made;
    directory = made;
    setenv("KELD_CFG_PATH", directory.c_str(), 1);
    setenv("KELD_LOG_FILE", (directory / "keld.log").c_str(), 1);
    setenv("MERVANE_SYNC", "off", 1);
    std::ofstream(directory / "keld_statusmanager.ini")
        << "[SelectWSO]\nBOMLine=1\n"
           "[Frozen_BOMLine]\nChangeForward=ChildBomLines;bl_revision\n"
           "[Frozen_ItemRevision]\nPrevReleaseStatus=none\nSetReleaseState=Frozen\n"
           "DoNothingOnReleaseStatus=Frozen\n"
           "[Released_BOMLine]\nChangeForward=ChildBomLines;bl_revision\n"
           "[Released_ItemRevision]\nPrevReleaseStatus=Frozen\nSetReleaseState=Released\n"
           "DoNothingOnReleaseStatus=Released\n";
    KELD_SetLogLevel(0);
    for (const Row& row : kRows)
        measureRow(row);
    return 0;
}
