// What the rename of a large item costs: the library against the same platform calls made in a bare
// loop.
//
// Every measurement works on a new world of its own; a new store gives the same handles again, so
// that what was recorded on one world plays on the next.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>

#include "bench/call_recorder.h"
#include "platform/keld_basetool.h"
#include "platform/keld_se.h"
#include "tests/support/files.h"
#include "workbench/workbench.h"

namespace {

using namespace mervane;
namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr char kOldId[] = "BENCH-1";
constexpr char kNewId[] = "RENAMED-1";

struct Size {
    int revisions, related;
};

// An item of many revisions; the objects that hang on them carry its id. Each fourth is a dataset
// with a file, the others are forms.
class World {
public:
    World(const std::string& path, const Size& size, const std::string& file) {
        auto* bench = mervane_workbench();
        if (path != ":memory:")
            bench->createStore(path);
        store_ = bench->openStore(path);
        bench->openSession(store_, {});
        tag_t revision = NULLTAG;
        const tag_t item = bench->createItem(kOldId, "pump", "Item", "1", &revision);
        const std::string id = kOldId;
        int made = 0;
        for (int i = 1; i <= size.revisions; ++i) {
            if (i > 1)
                revision = bench->createRevision(item, std::to_string(i));
            for (; made < size.related * i / size.revisions; ++made) {
                const std::string name = id + "-" + std::to_string(made);
                tag_t object = NULLTAG;
                if (made % 4 == 0) {
                    object = bench->createDataset("Text", name);
                    bench->addFile(object, "Text", file, name + ".txt");
                } else {
                    object = bench->createForm("Form", name);
                }
                bench->relate(revision, object, "VANE_specification");
            }
        }
    }
    ~World() { mervane_workbench()->closeStore(store_); }
    World(const World&) = delete;

private:
    Workbench::StoreId store_ = 0;
};

double seconds(const std::function<void()>& body) {
    const auto start = Clock::now();
    body();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Both passes, without the registry.
void runLibrary() {
    const int status = KELD_BatchReName(kOldId, "", kNewId, "", "", "");
    if (status != 0) {
        fprintf(stderr, "the rename gave %d\n", status);
        exit(1);
    }
}

struct Result {
    double off = 1e9, trace = 1e9, bare = 1e9, durable = 1e9;
    std::size_t calls = 0;
};

// Record the calls, and prove with the journal that none was missed.
void recordCalls(const Size& size, const std::string& file) {
    std::map<std::string, int> made;
    {
        const World world(":memory:", size, file);
        mervane_workbench()->startJournal();
        call_recorder::start();
        runLibrary();
        call_recorder::stop();
        made = call_recorder::countsOf(mervane_workbench()->stopJournal());
    }
    const World again(":memory:", size, file);
    mervane_workbench()->startJournal();
    call_recorder::play(0);
    const auto played = call_recorder::countsOf(mervane_workbench()->stopJournal());
    if (played == made)
        return;
    fprintf(stderr, "the bare loop makes other calls than the library\n");
    for (const auto& [operation, count] : made)
        if (const auto at = played.find(operation); at == played.end() || at->second != count)
            fprintf(stderr, "  %s %d\n", operation.c_str(), count);
    exit(1);
}

Result measure(const Size& size, int rounds, const fs::path& directory, const std::string& file) {
    Result result;
    KELD_SetLogLevel(0);
    recordCalls(size, file);
    result.calls = call_recorder::count();
    for (int round = 0; round < rounds; ++round) {
        const auto library = [&](int level) {
            const World world(":memory:", size, file);
            KELD_SetLogLevel(level);
            const double time = seconds(runLibrary);
            KELD_SetLogLevel(0);
            return time;
        };
        result.off = std::min(result.off, library(0));
        result.trace = std::min(result.trace, library(3));
        {
            const World world(":memory:", size, file);
            result.bare = std::min(result.bare, seconds([] { call_recorder::play(0); }));
        }
        fs::remove(directory / "keld.log");
    }
    const World world((directory / ("store" + std::to_string(size.related))).string(), size, file);
    result.durable = seconds(runLibrary);
    return result;
}

}  // namespace

int main(int argc, char** argv) {
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    const bool json = argc > 1 && std::string(argv[1]) == "--json";
    const keld_test::Directory directory;
    setenv("KELD_CFG_PATH", directory.string().c_str(), 1);
    setenv("KELD_LOG_FILE", (directory / "keld.log").c_str(), 1);
    const std::string file = (directory / "content").string();
    std::ofstream(file) << "content\n";

    if (!json)
        printf("%9s %8s %8s | %8s %8s %8s %8s | %7s %7s\n", "revisions", "related", "calls", "off",
               "trace", "bare", "durable", "off/b", "trace/b");
    else
        printf("[");
    bool first = true;
    for (const Size& size : {Size{20, 200}, Size{200, 2000}}) {
        const Result r = measure(size, 3, directory, file);
        const double us = 1e6 / (size.revisions + size.related);
        if (json)
            printf(
                "%s{\"revisions\":%d,\"related\":%d,\"calls\":%zu,\"off_us\":%.2f,"
                "\"trace_us\":%.2f,\"bare_us\":%.2f,\"durable_us\":%.2f}",
                first ? "" : ",", size.revisions, size.related, r.calls, r.off * us, r.trace * us,
                r.bare * us, r.durable * us);
        else
            printf("%9d %8d %8zu | %8.2f %8.2f %8.2f %8.2f | %7.2f %7.2f\n", size.revisions,
                   size.related, r.calls, r.off * us, r.trace * us, r.bare * us, r.durable * us,
                   r.off / r.bare, r.trace / r.bare);
        first = false;
    }
    printf(json ? "]\n"
                : "Microseconds per object (a revision or a related object), both passes.\n");
    return 0;
}
