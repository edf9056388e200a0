// What numbering the children of one BOM line costs as they grow in number, step by step, in both
// modes, with standard output at the null device and at a pipe whose bytes are counted.
//
//   bom_resequence [LARGEST]    10, 100, 1,000 and 5,000 children up to this number

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "libkeld_flow/keld_par/keld_acbomlinechildrenobjects.h"
#include "platform/keld_basetool.h"
#include "workbench/workbench.h"

namespace {

using namespace mervane;
using Clock = std::chrono::steady_clock;

// Standard output somewhere else for as long as this lives.
class Output {
public:
    explicit Output(bool pipe) : kept_(dup(STDOUT_FILENO)) {
        int ends[2] = {-1, open("/dev/null", O_WRONLY)};
        if (pipe) {
            close(ends[1]);
            if (::pipe(ends) != 0)
                exit(1);
            counter_ = std::thread([this, end = ends[0]] {
                std::vector<char> block(1 << 16);
                for (ssize_t got; (got = read(end, block.data(), block.size())) > 0;)
                    bytes_ += static_cast<unsigned long long>(got);
                close(end);
            });
        }
        fflush(stdout);
        dup2(ends[1], STDOUT_FILENO);
        close(ends[1]);
    }
    Output(const Output&) = delete;
    // Restore the output. Returns: the bytes that came through the pipe.
    unsigned long long end() {
        fflush(stdout);
        dup2(kept_, STDOUT_FILENO);
        close(kept_);
        if (counter_.joinable())
            counter_.join();
        return bytes_;
    }

private:
    int kept_;
    std::thread counter_;
    unsigned long long bytes_ = 0;
};

// Make a top revision with children in random order, four for each component. A third of the
// children have the number of another component, a sixth have none.
tag_t makeStructure(Workbench& bench, int children) {
    const std::string prefix = std::to_string(children) + "-";
    tag_t top = NULLTAG;
    bench.createItem(prefix + "top", "Top", "", "A", &top);
    std::vector<tag_t> parts;
    for (int i = 0; i < (children + 3) / 4; ++i) {
        parts.push_back(NULLTAG);
        bench.createItem(prefix + std::to_string(i), "Part", "", "A", &parts.back());
    }
    std::vector<tag_t> lines;
    for (int i = 0; i < children; ++i)
        lines.push_back(parts[static_cast<std::size_t>(i / 4)]);
    std::mt19937 random(20261121);
    std::shuffle(lines.begin(), lines.end(), random);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const std::size_t number = 10 * (i % 3 == 1 ? i : i + 1);
        bench.addOccurrence(top, lines[i], "1", i % 6 == 5 ? "" : std::to_string(number));
    }
    return top;
}

enum Step { kRead, kNumber, kWrite, kPack, kSteps };

struct Run {
    std::array<double, kSteps> seconds{};
    unsigned long long bytes = 0;
    double total() const {
        return seconds[kRead] + seconds[kNumber] + seconds[kWrite] + seconds[kPack];
    }
};

Run measure(Workbench& bench, tag_t top, bool sort, bool pipe) {
    Run run;
    const tag_t line = bench.openBomWindow(top);
    Output output(pipe);
    auto start = Clock::now();
    const auto lap = [&](Step step) {
        const auto now = Clock::now();
        run.seconds[step] = std::chrono::duration<double>(now - start).count();
        start = now;
    };
    ACBOMLineChildrenObjects children(line);
    children.m_iSeqNoIncr = 10;
    lap(kRead);
    if (sort) {
        children.sort();
        children.setSequenceNumbersFromStart();
    } else {
        children.eliminateEqualSeqonoDifferentComponentsEqualComponentsDifferentSeqono();
    }
    fflush(stdout);
    lap(kNumber);
    children.setNewSequenceNumbers();
    lap(kWrite);
    children.pack();
    lap(kPack);
    run.bytes = output.end();
    bench.closeBomWindow(line);
    return run;
}

}  // namespace

int main(int count, char** arguments) {
    const int largest = count > 1 ? atoi(arguments[1]) : 5000;
    KELD_SetLogLevel(0);
    Workbench& bench = *mervane_workbench();
    bench.openSession(bench.openStore(":memory:"), {});
    printf("milliseconds with the log off; the exponent is that of the number step's growth\n");
    printf(
        "children  mode  output       read   number    write     pack    total  exponent       "
        "bytes\n");
    std::array<double, 4> before{};
    int smaller = 0;
    for (const int children : {10, 100, 1000, 5000}) {
        if (children > largest)
            break;
        const tag_t top = makeStructure(bench, children);
        for (const bool sort : {false, true}) {
            for (const bool pipe : {false, true}) {
                Run best = measure(bench, top, sort, pipe);
                for (int again = 0; again < (children < 1000 ? 4 : 0); ++again) {
                    const Run run = measure(bench, top, sort, pipe);
                    if (run.total() < best.total())
                        best = run;
                }
                double& last = before[static_cast<std::size_t>(2 * sort + pipe)];
                printf("%8d  %-4s  %-6s", children, sort ? "sort" : "keep", pipe ? "pipe" : "null");
                for (const double seconds : best.seconds)
                    printf(" %8.2f", seconds * 1000);
                printf(" %8.2f", best.total() * 1000);
                if (smaller == 0)
                    printf("%10s", "");
                else
                    printf("  %8.2f", std::log(best.seconds[kNumber] / last) /
                                          std::log(static_cast<double>(children) / smaller));
                last = best.seconds[kNumber];
                if (pipe)
                    printf(" %11llu", best.bytes);
                printf("\n");
                fflush(stdout);
            }
        }
        smaller = children;
    }
    return 0;
}
