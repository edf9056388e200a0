// Eight processes work on four structures of one store on a server, two on each, with whole status
// runs that set and take away the status of all in the structure; and one process alone does the
// same. Two runs on one structure conflict for their whole length: the second is refused with a
// text that names the other, and is tried again when the other's lock is gone. One during which the
// other ends may find old and new statuses: it goes back, and is tried again, too. At the end it
// looks whether the store has what the processes were told, and fails if it doesn't.
//   server_at_once ADDRESS [REVISIONS [RUNS]]
// Each of the eight does so many runs. The address is that of a database without "schema=": it is
// left with a new schema.

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "bench/server_cpu.h"
#include "bench/status_tree.h"
#include "platform/keld_basetool.h"
#include "platform/keld_se.h"
#include "platform/mv_err.h"
#include "tests/support/child.h"
#include "tests/support/files.h"
#include "workbench/workbench.h"

namespace {

using mervane::Failure;
using mervane::RunWay;
using Clock = std::chrono::steady_clock;

constexpr int kStructures = 4, kProcesses = 8;
constexpr unsigned kHangs = 500;                 // seconds
constexpr std::chrono::milliseconds kPause(20);  // before a refused process looks again

constexpr char kSettings[] =
    "[SelectWSO]\nBOMLine=1\n"
    "[Frozen_BOMLine]\nChangeForward=ChildBomLines;bl_revision\n"
    "[Frozen_ItemRevision]\nPrevReleaseStatus=none\nSetReleaseState=Frozen\n"
    "ChangeForward=Rel.VANE_specification.*\n"
    "[Frozen_VANE_specification.*]\nPrevReleaseStatus=none\nSetReleaseState=Frozen\n"
    "[Free_BOMLine]\nChangeForward=ChildBomLines;bl_revision\n"
    "[Free_ItemRevision]\nPrevReleaseStatus=Frozen\nSetReleaseState=none\n"
    "ChangeForward=Rel.VANE_specification.*\n"
    "[Free_VANE_specification.*]\nPrevReleaseStatus=Frozen\nSetReleaseState=none\n";

mervane::Workbench& bench() {
    return *mervane_workbench();
}

std::string structure(int number) {
    return "s" + std::to_string(number) + "-";
}

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// ---- one of the processes ----

// Another process that the text names; 0: none.
int othersIn(const std::string& text) {
    static const std::string before = "process ";
    for (std::size_t at = text.find(before); at != std::string::npos; at = text.find(before, at)) {
        at += before.size();
        if (const int named = std::atoi(text.c_str() + at); named != 0 && named != getpid())
            return named;
    }
    return 0;
}

// The object of a text that tells a conflict, "#12 (Item) is locked by user ...".
tag_t lockedIn(const std::string& text) {
    const std::size_t at = text.rfind('#', text.find(" is locked by user "));
    return at == std::string::npos ? NULLTAG
                                   : static_cast<tag_t>(std::atoll(text.c_str() + at + 1));
}

std::int64_t newestRunOf(tag_t object) {
    mervane::RunQuery query;
    query.object = object;
    query.limit = 1;
    const std::vector<mervane::RunHead> runs = bench().runs(query);
    return runs.empty() ? 0 : runs.front().number;
}

struct Tried {
    std::int64_t number = 0;  // of the run that is stored
    std::string refusal;      // empty: the run is stored
};

// Take the status away from a structure that has it, or give it to one that hasn't.
Tried tryRun(tag_t top_revision) {
    Tried tried;
    const tag_t line = bench().openBomWindow(top_revision);
    try {
        bench().beginRun({RunWay::Whole, "KELD_StatusManager", "", "", ""});
        const bool frozen = !bench().get(top_revision, "release_status_list").empty();
        const int status =
            KELD_StatusManager_ManageStatus(line, "BOMLine", frozen ? "Free" : "Frozen");
        // As "keld status set" does: what isn't done wholly goes back.
        const std::vector<mervane::StackEntry> stack = bench().errorStack();
        const bool done = status == 0 && stack.empty();
        if (!done)
            tried.refusal = "status " + std::to_string(status);
        for (const mervane::StackEntry& each : stack)
            tried.refusal += "; " + each.text;
        tried.number = bench().endRun({}, done, nullptr).number;
    } catch (const Failure& failure) {
        tried.refusal += std::string("; ") + failure.what();
        if (bench().inRun())
            bench().endRun({}, false, nullptr);
    }
    ERR_clear_errors();
    bench().closeBomWindow(line);
    return tried;
}

// Says "run NUMBER" for each run that is stored, "refused PROCESS" for each that conflicts with
// another process, "overtaken" for each during which the other's was stored, and at the end
// "waited" with the longest time that a run was tried, and "cpu".
int work(const std::string& store_path, const std::string& prefix, int runs) {
    // Whoever hangs is ended by this, and found.
    alarm(kHangs);
    const auto store = bench().openStore(store_path);
    bench().openSession(store, {});
    const tag_t top = bench().resolve(status_tree::idOf(prefix, 0) + "/A");
    std::cout << "ready" << std::endl;
    std::string go;
    std::getline(std::cin, go);
    double longest = 0;
    for (int done = 0; done < runs; ++done) {
        const auto start = Clock::now();
        std::int64_t newest = newestRunOf(top);
        for (Tried tried = tryRun(top);; tried = tryRun(top)) {
            if (tried.refusal.empty()) {
                std::cout << "run " << tried.number << std::endl;
                break;
            }
            if (const int other = othersIn(tried.refusal)) {
                std::cout << "refused " << other << std::endl;
                do
                    std::this_thread::sleep_for(kPause);
                while (bench().lockOf(lockedIn(tried.refusal)));
            } else if (newestRunOf(top) != newest &&
                       tried.refusal.find("waited for one another") == std::string::npos) {
                std::cout << "overtaken" << std::endl;
            } else {
                std::cout << "failed " << tried.refusal << std::endl;
                return 1;
            }
            newest = newestRunOf(top);
        }
        longest = std::max(longest, secondsSince(start));
    }
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    const auto of = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    std::cout << "waited " << longest << "\ncpu " << of(used.ru_utime) + of(used.ru_stime)
              << "\nend" << std::endl;
    bench().closeStore(store);
    return 0;
}

// ---- all of them ----

struct Together {
    double seconds = 0, client_cpu = 0, server_cpu = 0, longest_wait = 0;
    int refused = 0, overtaken = 0;
    std::set<std::int64_t> stored;  // numbers of runs
};

bool failed = false;

void complain(const std::string& what) {
    std::printf("FAILED: %s\n", what.c_str());
    failed = true;
}

struct Said {
    std::vector<std::string> lines;
    int end = 0;
};

// Each of the processes does so many runs; they work on the structures in turn.
Together workTogether(const std::string& store_path, pid_t server, int structures,
                      const std::vector<int>& runs) {
    std::vector<std::unique_ptr<keld_test::Child>> all;
    for (std::size_t i = 0; i < runs.size(); ++i)
        all.push_back(std::make_unique<keld_test::Child>(
            "/proc/self/exe", std::vector<std::string>{"work", store_path,
                                                       structure(static_cast<int>(i) % structures),
                                                       std::to_string(runs[i])}));
    std::vector<pid_t> processes;
    for (const auto& each : all) {
        processes.push_back(each->process());
        if (each->line() != "ready")
            complain("a process hasn't begun");
    }
    Together together;
    const double server_before = server_cpu::used(server);
    const auto start = Clock::now();
    for (const auto& each : all)
        each->say("go");
    std::vector<Said> said(all.size());
    std::vector<std::thread> readers;
    for (std::size_t i = 0; i < all.size(); ++i)
        readers.emplace_back(
            [&, i] { said[i].lines = all[i]->linesUntil("end", static_cast<std::size_t>(-1)); });
    for (std::thread& reader : readers)
        reader.join();
    together.seconds = secondsSince(start);
    together.server_cpu = server_cpu::used(server) - server_before;
    for (std::size_t i = 0; i < all.size(); ++i) {
        int stored = 0;
        for (const std::string& line : said[i].lines) {
            std::istringstream words(line);
            std::string word;
            words >> word;
            if (word == "run") {
                std::int64_t number = 0;
                words >> number;
                together.stored.insert(number);
                ++stored;
            } else if (word == "refused") {
                int other = 0;
                words >> other;
                ++together.refused;
                const std::size_t partner = (i + all.size() / 2) % all.size();
                if (partner == i || other != processes[partner])
                    complain("a refusal names process " + std::to_string(other) +
                             ", which is not the one on the same structure");
            } else if (word == "overtaken") {
                ++together.overtaken;
            } else if (word == "waited") {
                double waited = 0;
                words >> waited;
                together.longest_wait = std::max(together.longest_wait, waited);
            } else if (word == "cpu") {
                double cpu = 0;
                words >> cpu;
                together.client_cpu += cpu;
            } else if (word != "end") {
                complain("a process said: " + line);
            }
        }
        if (all[i]->end() != 0 || stored != runs[i])
            complain("a process has stored " + std::to_string(stored) + " of its " +
                     std::to_string(runs[i]) + " runs, or hung");
    }
    return together;
}

// The store has the runs that the processes were told of and no others, each with all its entries;
// and each object has the status that the last of them gave it.
void compare(const std::string& store_path, const std::set<std::int64_t>& told, int revisions) {
    const auto store = bench().openStore(store_path);
    bench().openSession(store, {});
    mervane::RunQuery query;
    query.service = "KELD_StatusManager";
    std::set<std::int64_t> stored;
    for (const mervane::RunHead& head : bench().runs(query)) {
        stored.insert(head.number);
        // Each object, and the status that was made or deleted.
        if (head.entries != 2 * revisions + 1)
            complain("run " + std::to_string(head.number) + " has " + std::to_string(head.entries) +
                     " entries");
    }
    if (stored != told)
        complain("the store has " + std::to_string(stored.size()) + " runs, the processes " +
                 std::to_string(told.size()) + ", or they are others");
    for (int i = 0; i < kStructures; ++i) {
        std::set<tag_t> statuses;  // NULLTAG: an object has none, or more than one
        for (int j = 0; j < revisions; ++j) {
            const std::string id = status_tree::idOf(structure(i), j);
            for (const std::string& name : {id + "/A", id + "/A:" + id}) {
                const mervane::Values values =
                    bench().get(bench().resolve(name), "release_status_list");
                statuses.insert(values.size() == 1 ? std::get<mervane::Reference>(values[0]).tag
                                                   : NULLTAG);
            }
        }
        if (statuses.size() != 1 || statuses.contains(NULLTAG))
            complain("objects of structure " + std::to_string(i) +
                     " don't all have the status that the last run gave them");
    }
    for (const mervane::CheckFinding& finding : bench().check(store, false))
        complain("check: " + finding.text);
    bench().closeStore(store);
}

void show(const char* what, const Together& together, int revisions, double objects) {
    std::printf("%-26s %6zu %8.2f %10.0f %8d %9d %8.2f %8.2f %8.2f %8.1f\n", what,
                together.stored.size(), together.seconds, objects, together.refused,
                together.overtaken, together.longest_wait, together.client_cpu / together.seconds,
                together.server_cpu / together.seconds,
                (together.client_cpu + together.server_cpu) * 1e6 /
                    (2.0 * revisions * static_cast<double>(together.stored.size())));
    std::fflush(stdout);
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 2) {
        std::fprintf(stderr, "expected the address of a database\n");
        return 2;
    }
    KELD_SetLogLevel(0);
    if (count == 5 && arguments[1] == std::string("work"))
        return work(arguments[2], arguments[3], std::atoi(arguments[4]));
    const int revisions = count > 2 ? std::atoi(arguments[2]) : 500,
              runs = count > 3 ? std::atoi(arguments[3]) : 25;
    const keld_test::Directory directory;
    std::ofstream(directory / "keld_statusmanager.ini") << kSettings;
    setenv("KELD_CFG_PATH", directory.string().c_str(), 1);
    setenv("KELD_LOG_FILE", (directory / "keld.log").c_str(), 1);
    const std::string address = arguments[1];
    const std::string store_path =
        status_tree::withSchema(address, "at_once_" + std::to_string(getpid()));
    bench().createStore(store_path);
    const auto store = bench().openStore(store_path);
    bench().openSession(store, {});
    for (int i = 0; i < kStructures; ++i)
        status_tree::make(structure(i), revisions);
    bench().closeStore(store);

    // The directory of the server's socket is the host of its address.
    const std::size_t host = address.rfind("host=");
    const pid_t server =
        host == std::string::npos ? 0 : server_cpu::serverAt(address.substr(host + 5));
    std::printf("structures of %d revisions with a dataset each\n", revisions);
    std::printf("%-26s %6s %8s %10s %8s %9s %8s %8s %8s %8s\n", "", "runs", "seconds", "objects/s",
                "refused", "overtaken", "longest", "clients", "server", "us/obj");
    // An odd number on each structure, so that it has a status at the end.
    std::vector<int> of_each(kProcesses, runs);
    for (int i = 0; i < kStructures; ++i)
        ++of_each[static_cast<std::size_t>(i)];
    const int of_one = 2 * runs;
    const Together one = workTogether(store_path, server, 1, {of_one}),
                   eight = workTogether(store_path, server, kStructures, of_each);
    const auto throughput = [&](const Together& each) {
        return 2.0 * revisions * static_cast<double>(each.stored.size()) / each.seconds;
    };
    show("1 process, 1 structure", one, revisions, throughput(one));
    show("8 processes, 4 structures", eight, revisions, throughput(eight));
    std::set<std::int64_t> told = one.stored;
    told.insert(eight.stored.begin(), eight.stored.end());
    compare(store_path, told, revisions);
    std::printf(
        "8 processes change %.2f times as much as 1; %u processors allow %.2f times\n",
        throughput(eight) / throughput(one), std::thread::hardware_concurrency(),
        std::thread::hardware_concurrency() * one.seconds / (one.client_cpu + one.server_cpu));
    return failed ? 1 : 0;
}
