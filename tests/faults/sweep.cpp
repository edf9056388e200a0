#include "tests/faults/sweep.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <set>

#include "platform/keld_basetool.h"
#include "tests/faults/counts.h"
#include "tests/faults/functions.h"
#include "tests/faults/snapshot.h"
#include "workbench/session/session.h"

namespace faults {
namespace {

using world::World;

constexpr std::size_t kMostProblems = 30;
constexpr unsigned kSecondsPerRun = 60;

// Statuses that no rule knows.
constexpr int kStatuses[] = {4711, -1, 2147483647, 1, -2147483647 - 1, 65535};

std::string shown(const Outcome& outcome) {
    return "status " + std::to_string(outcome.status) +
           (outcome.slot ? ", slot " + std::to_string(*outcome.slot) : "");
}

class Run {
public:
    Run(World& world, const Scenario& scenario, const Rules& rules)
        : world_(world), scenario_(scenario), rules_(rules) {}

    // One run of the service under a plan, and everything that is checked afterwards.
    struct Result {
        Record record;
        Verdict verdict;
    };
    Result once(const std::vector<mervane::Fault>& plan, bool again) {
        const int status = plan.empty() ? 0 : plan[0].status;
        where_ = again ? "second run: " : "";
        world_.bench.startJournal();  // calls are seen in a run without faults too
        world_.bench.setFaults(plan);
        startWatching(__builtin_frame_address(0));
        const Outcome outcome =
            again && scenario_.again ? scenario_.again(world_) : scenario_.run(world_);
        Record record = stopWatching();
        world_.bench.setFaults({});
        world_.bench.stopJournal();
        Verdict verdict = judge(record, rules_, status, scenario_.drops);
        for (const std::string& problem : verdict.problems)
            add(problem);
        std::optional<int> answer;
        if (scenario_.answers)
            answer = scenario_.answers(record, verdict);
        const Outcome expected = scenario_.gives(answer.value_or(verdict.travelled));
        if (outcome != expected)
            add(shown(outcome) + " instead of " + shown(expected));
        lookAtSession(record);
        depth_ += verdict.deeper;
        lookAtLog();
        for (const mervane::CheckFinding& finding : world_.bench.check(world_.store(), false))
            if (finding.error)
                add("check: " + finding.text);
        return {std::move(record), std::move(verdict)};
    }

    void add(const std::string& problem) { problems_.push_back(where_ + problem); }
    const std::vector<std::string>& problems() const { return problems_; }

private:
    void lookAtSession(const Record& record) {
        const auto planned = [&](const char* operation) {
            return std::any_of(record.calls.begin(), record.calls.end(), [&](const Call& call) {
                return call.planned && std::strcmp(call.operation, operation) == 0;
            });
        };
        const Call* last_bypass = nullptr;
        int marks = 0;
        for (const Call& call : record.calls) {
            if (std::strcmp(call.operation, "ACL__set_application_bypass") == 0)
                last_bypass = &call;
            if (std::strcmp(call.operation, "ERR_set_protect_mark") == 0 && call.status == 0)
                ++marks;
            if (std::strcmp(call.operation, "ERR_clear_protect_mark") == 0)
                --marks;
        }
        if (mervane::currentSession().bypass() && !(last_bypass && last_bypass->planned))
            add("the bypass is on");
        // A failing ERR_clear_errors ends the function between the two by its rule.
        if (marks > 0 && !planned("ERR_clear_errors"))
            add("a protect mark is open");
    }

    void lookAtLog() {
        world_.clearLog();
        KELD_ERROR("here\n");
        const auto log = world_.log();
        const int depth = log.empty() ? -1 : log.back().depth;
        if (depth != depth_)
            add("the log is at depth " + std::to_string(depth) + ", not " + std::to_string(depth_));
    }

    World& world_;
    const Scenario& scenario_;
    const Rules& rules_;
    int depth_ = 0;
    std::string where_;
    std::vector<std::string> problems_;
};

// ---- a process for each run ----

// What the action writes in a process of its own, and how that ended: empty if well.
std::string inProcess(const std::function<void(std::FILE*)>& action, std::string* text) {
    int ends[2];
    if (::pipe(ends) != 0)
        return "no pipe";
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child < 0)
        return "no process";
    if (child == 0) {
        ::close(ends[0]);
        ::alarm(kSecondsPerRun);
        std::FILE* out = ::fdopen(ends[1], "w");
        try {
            action(out);
        } catch (const std::exception& error) {
            std::fprintf(out, "%s\n", error.what());
        }
        std::fclose(out);
        ::_exit(0);
    }
    ::close(ends[1]);
    text->clear();
    char buffer[1 << 14];
    for (ssize_t got; (got = ::read(ends[0], buffer, sizeof buffer)) > 0;)
        text->append(buffer, static_cast<std::size_t>(got));
    ::close(ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    if (WIFSIGNALED(status))
        return "ended by signal " + std::to_string(WTERMSIG(status));
    if (WEXITSTATUS(status) != 0)
        return "ended with exit code " + std::to_string(WEXITSTATUS(status));
    return "";
}

std::vector<std::string> split(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1)
        lines.push_back(text.substr(start, end - start));
    return lines;
}

void write(std::FILE* out, const std::vector<std::string>& lines) {
    for (std::string line : lines) {
        for (char& c : line)
            if (c == '\n')
                c = ' ';
        std::fprintf(out, "%s\n", line.c_str());
    }
}

class Sweep {
public:
    Sweep(const Scenario& scenario, const Rules& rules, const Share& share, int before)
        : scenario_(scenario),
          rules_(rules),
          share_(share),
          before_this_(before),
          world_(std::make_unique<World>()) {
        readFunctions();
        scenario_.build(*world_);
        before_ = snapshot();
    }

    Sums run() {
        if (!completeRun())
            return std::move(sums_);
        std::map<std::string, int> nth;
        for (std::size_t i = 0; i < operations_.size(); ++i) {
            const std::string& operation = operations_[i];
            const int n = static_cast<int>(i) + 1;
            const int status = kStatuses[i % std::size(kStatuses)];
            const int other = kStatuses[(i + 1) % std::size(kStatuses)];
            inject({"", n, status, false}, operation);
            inject({operation, ++nth[operation], other, true}, operation);
            inject({"", n, status, true}, operation);
            if (sums_.problems.size() >= kMostProblems)
                break;
        }
        return std::move(sums_);
    }

private:
    void add(const std::string& problem) {
        if (sums_.problems.size() < kMostProblems)
            sums_.problems.push_back(scenario_.name + ", " + problem);
    }

    // Without faults: the list of calls, and what is stored in the end.
    bool completeRun() {
        // Nothing runs in this process: its values stay as they are in a fresh one.
        std::string text;
        const std::string end = inProcess(
            [&](std::FILE* out) {
                Run run(*world_, scenario_, rules_);
                const Run::Result result = run.once({}, false);
                for (const Call& call : result.record.calls)
                    std::fprintf(out, "=%s\n", call.operation);
                for (const std::uintptr_t code : codesIn(result.record))
                    std::fprintf(out, "$%zu\n", code);
                write(out, snapshot());
                run.once({}, true);
                write(out, run.problems());
            },
            &text);
        std::vector<std::uintptr_t> codes;
        for (const std::string& line : split(text))
            if (line.starts_with("$"))
                codes.push_back(std::stoull(line.substr(1)));
            else if (line.starts_with("="))
                operations_.push_back(line.substr(1));
            else if (line.starts_with("@"))
                read(line, &complete_);
            else
                add("without faults: " + line);
        if (!end.empty())
            add("without faults: " + end);
        readRules(rules_, codes);
        if (operations_.empty())
            add("without faults: no calls");
        return sums_.problems.empty();
    }

    static std::set<std::uintptr_t> codesIn(const Record& record) {
        std::set<std::uintptr_t> codes;
        for (const Call& call : record.calls)
            for (const Frame& frame : call.frames)
                codes.insert(frame.code);
        for (const Block& block : record.blocks)
            for (const Frame& frame : block.frames)
                codes.insert(frame.code);
        return codes;
    }

    void inject(const mervane::Fault& fault, const std::string& operation) {
        if (!share_.has(before_this_ + sums_.injections++))
            return;
        ++sums_.run;
        const std::string what = (fault.operation.empty() ? "call " : fault.operation + " call ") +
                                 std::to_string(fault.n) + (fault.onwards ? " and later" : "") +
                                 " (" + operation + " gives " + std::to_string(fault.status) +
                                 "): ";
        std::string text;
        const std::string end = inProcess([&](std::FILE* out) { faultyRun(fault, out); }, &text);
        for (const std::string& line : split(text))
            add(what + line);
        if (!end.empty())
            add(what + end);
        keepLogSmall();
    }

    void faultyRun(const mervane::Fault& fault, std::FILE* out) {
        Run run(*world_, scenario_, rules_);
        const auto [record, verdict] = run.once({fault}, false);
        const auto failed = std::find_if(record.calls.begin(), record.calls.end(),
                                         [](const Call& call) { return call.planned; });
        if (failed == record.calls.end())
            run.add("no call failed");
        const Snapshot now = snapshot();
        for (const std::string& loss : losses(before_, complete_, now, scenario_.on_the_way))
            run.add(loss);
        const auto changes =
            std::find(operations_.begin(), operations_.end(), scenario_.changes_from);
        if (changes != operations_.end() && verdict.travelled != 0 &&
            failed - record.calls.begin() < changes - operations_.begin() && now != before_)
            run.add("something has changed");
        if (scenario_.look)
            for (const std::string& problem : scenario_.look(*world_, record))
                run.add(problem);
        run.once({}, true);
        write(out, run.problems());
    }

    void keepLogSmall() {
        constexpr std::uintmax_t most = 20'000'000;
        std::error_code ignored;
        const std::filesystem::path log = std::getenv("KELD_LOG_FILE");
        if (std::filesystem::file_size(log, ignored) > most)
            std::filesystem::resize_file(log, 0, ignored);
    }

    const Scenario& scenario_;
    const Rules& rules_;
    const Share share_;
    const int before_this_;
    std::unique_ptr<World> world_;
    Snapshot before_, complete_;  // without faults
    std::vector<std::string> operations_;
    Sums sums_;
};

}  // namespace

Sums sweep(const Scenario& scenario, const Rules& rules, const Share& share, int before) {
    return Sweep(scenario, rules, share, before).run();
}

void expectSweep(const std::string& service, const std::vector<Scenario>& scenarios,
                 const Rules& rules) {
    const Share share = keld_test::readShare(std::getenv("KELD_SWEEP_SHARE"));
    int injections = 0, run = 0;
    for (const Scenario& scenario : scenarios) {
        const Sums sums = sweep(scenario, rules, share, injections);
        for (const std::string& problem : sums.problems)
            ADD_FAILURE() << problem;
        injections += sums.injections;
        run += sums.run;
        std::printf("  %s: %d of %d injections\n", scenario.name.c_str(), sums.run,
                    sums.injections);
    }
    std::printf("%s: %d of %d injections\n", service.c_str(), run, injections);
    EXPECT_GE(injections, atLeast(service)) << "fewer injections than this service is to have";
    EXPECT_GE(run, injections / share.of)
        << "fewer injections than the share " << share.part << "/" << share.of;
}

}  // namespace faults
