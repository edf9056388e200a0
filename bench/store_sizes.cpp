// What people run, in stores of so many items (10,000, 100,000 and 1,000,000): the time and the
// memory of the program keld, from its start to its end, and the time of a question in a session
// that is open. What works on one object takes the same in each store; what works on all of it
// grows with it, and its memory doesn't.
//   store_sizes [ITEMS...]                   stores in files
//   store_sizes --server ADDRESS [ITEMS...]  stores on a server
// The address is that of a database without "schema=": it is left with new schemas.

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/child.h"
#include "bench/status_tree.h"
#include "platform/keld_basetool.h"
#include "platform/keld_se.h"

#include "platform/mv_heap.h"
#include "platform/mv_str.h"
#include "platform/mv_supplement.h"
#include "tests/support/files.h"
#include "workbench/workbench.h"

namespace {

namespace fs = std::filesystem;
using bench_child::runProgram;
using bench_child::Spent;

constexpr int kOfAnAssembly = 10;
constexpr int kTimes = 11;
constexpr int kTimesInSession = 101;

// Parts, each tenth an assembly of the nine after it, with a dataset each. Written in pieces, as
// files of an export would come.
void writeWorld(const fs::path& file, int items) {
    std::ofstream out(file);
    out << R"({"world": 1, "items": [)";
    for (int i = 0; i < items; ++i) {
        out << (i > 0 ? ",\n" : "\n") << R"({"id": "p)" << i << R"(", "name": "part )" << i
            << R"(", "revisions": [{"id": "A")";
        if (i % 100 == 0)
            out << R"(, "datasets": [{"type": "Text", "name": "d"}])";
        if (i % kOfAnAssembly == 0) {
            out << R"(, "bom": [)";
            for (int child = 1; child < kOfAnAssembly; ++child)
                out << (child > 1 ? "," : "") << R"({"item": "p)" << i + child << "\"}";
            out << "]";
        }
        out << "}]}";
    }
    out << "\n]}\n";
}

Spent median(std::vector<Spent> all) {
    std::sort(all.begin(), all.end(),
              [](const Spent& a, const Spent& b) { return a.seconds < b.seconds; });
    return all[all.size() / 2];
}

void check(int status) {
    if (status != 0)
        throw std::runtime_error("status " + std::to_string(status));
}

using Words = std::vector<std::string>;

struct Line {
    std::string what;
    std::vector<Spent> of_sizes;
};

class Stores {
public:
    // `server`: empty for stores in files.
    Stores(const fs::path& directory, const std::string& server)
        : directory_(directory), server_(server) {}

    void measure(int items) {
        store_ = server_.empty()
                     ? (directory_ / ("store" + std::to_string(items))).string()
                     : status_tree::withSchema(server_, "sizes_" + std::to_string(getpid()) + "_" +
                                                            std::to_string(items));
        items_ = items;
        sizes_.push_back(items);
        const fs::path world = directory_ / "world.json";
        writeWorld(world, items);
        runProgram({KELD_PROGRAM, "--store", store_, "init"});
        whole("load", {"load", world.string()});
        fs::remove(world);
        runProgram(words({"prefs", "set", "KELD_DELBackupTopDirCentral", directory_.string()}));
        each("users", 0, [](const std::string&) { return Words{"users"}; });
        each("show", 0, [](const std::string& part) { return Words{"show", part + "/A"}; });
        each("find by id", 0, [](const std::string& part) { return Words{"find", part}; });
        each("where-used", 1, [](const std::string& part) {
            return Words{"where-used", part + "/A"};
        });
        each("status set", 1, [](const std::string& part) {
            return Words{"status", "set", part + "/A", "Frozen"};
        });
        each("status set --dry-run", 2, [](const std::string& part) {
            return Words{"status", "set", part + "/A", "Frozen", "--dry-run"};
        });
        each("rename", 3, [](const std::string& part) {
            return Words{"rename", part, "--to", "x" + part};
        });
        long newest = newestRun();
        each("runs undo", 3, [&newest](const std::string&) {
            return Words{"runs", "undo", std::to_string(newest--)};
        });
        each("delete-check", 0, [](const std::string& part) {
            return Words{"delete-check", part + "/A:d", "--dry-run"};
        });
        inSession();
        const std::string exported = (directory_ / "out.json").string();
        whole("export", {"export", exported});
        if (server_.empty()) {
            const std::string again = store_ + "-again";
            runProgram({KELD_PROGRAM, "--store", again, "init"});
            add("load of the export",
                runProgram({KELD_PROGRAM, "--store", again, "load", exported}));
        }
        whole("check", {"check"});
        const std::string copy = (directory_ / "copy").string();
        if (server_.empty())
            whole("backup", {"backup", copy});
        else
            add("copy-store to a file", runProgram({KELD_PROGRAM, "copy-store", store_, copy}));
        for (const auto& entry : fs::directory_iterator(directory_))
            fs::remove_all(entry.path());
        line_ = 0;
    }

    void show() const {
        printf("%-26s", "");
        for (const int size : sizes_)
            printf(" %12d items    ", size);
        printf(" %8s\n", "ratio");
        for (const Line& line : lines_) {
            printf("%-26s", line.what.c_str());
            for (const Spent& spent : line.of_sizes)
                if (spent.kilobytes == 0)
                    printf(" %9.2f ms %9s", spent.seconds * 1e3, "");
                else
                    printf(" %9.1f ms %6.1f MB", spent.seconds * 1e3,
                           static_cast<double>(spent.kilobytes) / 1024);
            const auto [least, most] = std::minmax_element(
                line.of_sizes.begin(), line.of_sizes.end(),
                [](const Spent& a, const Spent& b) { return a.seconds < b.seconds; });
            printf(" %8.2f\n", most->seconds / least->seconds);
        }
    }

private:
    fs::path directory_;
    std::string server_, store_;
    int items_ = 0;
    std::vector<int> sizes_;
    std::size_t line_ = 0;
    std::vector<Line> lines_;

    Words words(const Words& arguments) const {
        Words all = {KELD_PROGRAM, "--store", store_};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return all;
    }
    void add(const std::string& what, const Spent& spent) {
        if (line_ == lines_.size())
            lines_.push_back({what, {}});
        lines_[line_++].of_sizes.push_back(spent);
    }
    void whole(const std::string& what, const Words& arguments) {
        add(what, runProgram(words(arguments)));
    }
    // Run it for parts from all over the store, each once; `offset` gives each verb other parts.
    template <typename Arguments>
    void each(const std::string& what, int offset, Arguments&& arguments) {
        std::vector<Spent> all;
        for (int i = 0; i < kTimes; ++i) {
            const int part = (i + 1) * (items_ / 1200) * 100 + offset;
            all.push_back(runProgram(words(arguments("p" + std::to_string(part)))));
        }
        add(what, median(all));
    }
    // In one process with an open session, each for parts that it hasn't read yet.
    void inSession() {
        eachInSession("find by id, in a session", [](const std::string& part) {
            tag_t item = NULLTAG;
            check(ART_find_item(part.c_str(), &item));
            if (item == NULLTAG)
                throw std::runtime_error("a part isn't found");
        });
        eachInSession("where-used, in a session", [](const std::string& part) {
            int count = 0;
            int* levels = nullptr;
            tag_t* parents = nullptr;
            check(STR_where_used_all(mervane_workbench()->resolve(part + "/A"), 1, &count, &levels,
                                     &parents));
            HEAP_free(levels);
            HEAP_free(parents);
            if (count != 1)
                throw std::runtime_error("a part has " + std::to_string(count) + " users");
        });
        eachInSession("status set, in a session", [](const std::string& part) {
            mervane::Workbench& bench = *mervane_workbench();
            bench.beginRun({mervane::RunWay::Whole, "KELD_StatusManager", "", "", ""});
            check(KELD_StatusManager_ManageStatus(bench.resolve(part + "/A"), "ItemRevision",
                                                  "Frozen"));
            if (bench.endRun({}, true, nullptr).number == 0)
                throw std::runtime_error("the run has changed nothing");
        });
    }
    void eachInSession(const std::string& what,
                       const std::function<void(const std::string&)>& question) {
        const double seconds = bench_child::fromChild([&] {
            KELD_SetLogLevel(0);
            mervane::Workbench& bench = *mervane_workbench();
            bench.openSession(bench.openStore(store_), {});
            std::vector<Spent> all;
            for (int i = 0; i < kTimesInSession; ++i) {
                const int part = i * (items_ / kTimesInSession) / kOfAnAssembly * kOfAnAssembly + 5;
                const auto start = std::chrono::steady_clock::now();
                question("p" + std::to_string(part));
                all.emplace_back();
                all.back().seconds =
                    std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            }
            return median(all).seconds;
        });
        add(what, {seconds, seconds, 0});
    }
    long newestRun() const {
        const std::string command = "'" KELD_PROGRAM "' --store '" + store_ + "' runs --json";
        FILE* const out = popen(command.c_str(), "r");
        std::string text;
        for (int c = 0; out && (c = fgetc(out)) != EOF;)
            text += static_cast<char>(c);
        const std::size_t at = text.find("\"number\":");
        if (!out || pclose(out) != 0 || at == std::string::npos) {
            fprintf(stderr, "no run is recorded\n");
            exit(1);
        }
        return strtol(text.c_str() + at + 9, nullptr, 10);
    }
};

}  // namespace

int main(int argc, char** argv) {
    std::vector<int> sizes;
    int first = 1;
    std::string server;
    if (argc > 2 && argv[1] == std::string("--server")) {
        server = argv[2];
        first = 3;
    }
    for (int i = first; i < argc; ++i)
        sizes.push_back(std::max(1200, atoi(argv[i])));
    if (sizes.empty())
        sizes = {10000, 100000, 1000000};
    const keld_test::Directory directory;
    const fs::path configuration = directory / "cfg", work = directory / "work";
    fs::create_directory(configuration);
    fs::create_directory(work);
    setenv("KELD_CFG_PATH", configuration.c_str(), 1);
    setenv("KELD_LOG_FILE", (configuration / "keld.log").c_str(), 1);
    std::ofstream(configuration / "keld_statusmanager.ini")
        << "[SelectWSO]\nItemRevision=1\n"
           "[Frozen_ItemRevision]\nPrevReleaseStatus=none\nSetReleaseState=Frozen\n"
           "DoNothingOnReleaseStatus=Frozen\n";
    Stores stores(work, server);
    for (const int size : sizes)
        stores.measure(size);
    stores.show();
    return 0;
}
