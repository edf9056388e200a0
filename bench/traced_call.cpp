// What a traced call costs: a million calls of a function that returns at once, inside one scope,
// in both forms of the call and at three levels of the log, beside the same lines written with
// another logger. Each figure is the best of several runs, which alternate.

#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "frame/keld_trace.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_err.h"
#include "platform/mv_heap.h"
#include "tests/support/files.h"

// Called after failures only, and nothing fails here.
int ERR_ask_error_text(int, char**) {
    std::abort();
}
void HEAP_free(void*) {
    std::abort();
}
void KELD_ReportLastQskError(int) {
    std::abort();
}

namespace {

constexpr int calls_per_run = 1000000;
constexpr int runs = 5;

[[gnu::noinline]] int returnAtOnce(int value) {
    asm volatile("" ::: "memory");
    return value & 0;
}

int inLineCalls() {
    int iRet = 0;
    KELD_FUNC_ENTER("inLineCalls");
    for (int i = 0; i < calls_per_run; ++i)
        KELD_CALL(iRet, returnAtOnce(i));
    KELD_FUNC_LEAVE("inLineCalls");
    return iRet;
}

int returningCalls() {
    KELD_FUNC_ENTER("returningCalls");
    for (int i = 0; i < calls_per_run; ++i)
        KELD_QSK_CALL(returnAtOnce(i));
    KELD_FUNC_LEAVE("returningCalls");
    return 0;
}

void otherLoggersInLineCalls(spdlog::logger& logger) {
    logger.trace(" ->{} {}:{}", "inLineCalls", "traced_call.cpp", 40);
    for (int i = 0; i < calls_per_run; ++i) {
        logger.trace("   ->{} {}:{}", "returnAtOnce(i)", "traced_call.cpp", 42);
        (void)returnAtOnce(i);
        logger.trace("     File:{} Line:{} Funktion:{}", "traced_call.cpp", 42, "returnAtOnce(i)");
        logger.trace("   <-{} {}:{}", "returnAtOnce(i)", "traced_call.cpp", 42);
    }
    logger.trace(" <-{} {}:{}", "inLineCalls", "traced_call.cpp", 43);
}

void otherLoggersReturningCalls(spdlog::logger& logger) {
    logger.trace(" ->{} {}:{}", "returningCalls", "traced_call.cpp", 48);
    for (int i = 0; i < calls_per_run; ++i) {
        logger.trace("   ->{} {}:{}", "returnAtOnce(...)", "traced_call.cpp", 50);
        (void)returnAtOnce(i);
        logger.trace("   <-{} {}:{}", "returnAtOnce(...)", "traced_call.cpp", 50);
    }
    logger.trace(" <-{} {}:{}", "returningCalls", "traced_call.cpp", 51);
}

template <typename Function>
double nsPerCall(Function function) {
    const auto start = std::chrono::steady_clock::now();
    function();
    const auto end = std::chrono::steady_clock::now();
    return std::chrono::duration<double, std::nano>(end - start).count() / calls_per_run;
}

struct Figures {
    double off = 1e9, warning = 1e9, trace = 1e9, other = 1e9;
};

void keep(double& best, double figure) {
    best = std::min(best, figure);
}

template <typename Ours, typename Others>
Figures measure(Ours ours, Others others, const std::string& path, const std::string& other_path) {
    Figures best;
    for (int run = 0; run < runs; ++run) {
        KELD_SetLogLevel(0);
        keep(best.off, nsPerCall(ours));
        KELD_SetLogLevel(2);
        keep(best.warning, nsPerCall(ours));
        KELD_SetLogLevel(3);
        std::filesystem::resize_file(path, 0);
        keep(best.trace, nsPerCall(ours));
        // The logger is made and closed inside, since both sides must bring every line to the file.
        keep(best.other, nsPerCall([&] {
                 spdlog::logger logger(
                     "", std::make_shared<spdlog::sinks::basic_file_sink_st>(other_path, true));
                 logger.set_pattern("%Y-%m-%d %H:%M:%S.%e %L %v");
                 logger.set_level(spdlog::level::trace);
                 others(logger);
             }));
    }
    return best;
}

// The two files must hold as many bytes, or the comparison means nothing.
void expectSameSize(const std::string& path, const std::string& other_path) {
    const auto size = std::filesystem::file_size(path);
    const auto other_size = std::filesystem::file_size(other_path);
    if (size == other_size)
        return;
    std::fprintf(stderr, "the lines differ: %ju and %ju bytes\n", static_cast<std::uintmax_t>(size),
                 static_cast<std::uintmax_t>(other_size));
    std::exit(1);
}

void print(const char* name, const Figures& f) {
    std::printf(
        "%-12s off %6.1f   warning %6.1f   trace %6.1f   spdlog %6.1f   trace/spdlog %.2f\n", name,
        f.off, f.warning, f.trace, f.other, f.trace / f.other);
}

void printJson(const char* name, const Figures& f, const char* end) {
    std::printf(
        "  \"%s\": {\"off\": %.1f, \"warning\": %.1f, \"trace\": %.1f, \"spdlog\": %.1f, "
        "\"ratio\": %.3f}%s\n",
        name, f.off, f.warning, f.trace, f.other, f.trace / f.other, end);
}

}  // namespace

int main(int argc, char** argv) {
    const bool json = argc > 1 && std::strcmp(argv[1], "--json") == 0;
    const keld_test::Directory directory;
    const std::string path = directory.at("keld.log");
    const std::string other_path = directory.at("other.log");
    setenv("KELD_LOG_FILE", path.c_str(), 1);
    if (KELD_GetLogFilePath() == nullptr)
        return 1;
    const Figures in_line = measure(&inLineCalls, &otherLoggersInLineCalls, path, other_path);
    expectSameSize(path, other_path);
    const Figures returning =
        measure(&returningCalls, &otherLoggersReturningCalls, path, other_path);
    expectSameSize(path, other_path);
    if (json) {
        std::printf("{\n  \"unit\": \"ns per call\", \"calls\": %d,\n", calls_per_run);
        printJson("in_line", in_line, ",");
        printJson("returning", returning, "\n}");
    } else {
        std::printf("ns per traced call, best of %d runs of %d calls\n", runs, calls_per_run);
        print("in-line", in_line);
        print("returning", returning);
    }
    return 0;
}
