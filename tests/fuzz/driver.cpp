// Runs a target over its corpus and over inputs made from it:
//     fuzz_<target> [--inputs N] [--seed S] [--most BYTES]
// Where KELD_SWEEP_SHARE is PART/OF, it runs a fourth of the inputs with the seed PART, so that
// four shares together run them all; without it the seed is 1.
//     fuzz_<target> FILE...          the files as they are
// An input that fails is written to fuzz_<target>-failed.bin in the current directory.

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>

#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/mutator.h"
#include "tests/support/files.h"
#include "tests/support/share.h"

#ifdef __SANITIZE_ADDRESS__
constexpr bool sanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif
#else
constexpr bool sanitized = false;
#endif

extern "C" {
__attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);
// Every report ends in SIGABRT, where the input is kept.
__attribute__((used, visibility("default"))) const char* __asan_default_options() {
    return "abort_on_error=1:detect_stack_use_after_return=1";
}
__attribute__((used, visibility("default"))) const char* __ubsan_default_options() {
    return "abort_on_error=1:print_stacktrace=1";
}
}

namespace {

const char* const target = fuzz_target;
const std::string failed_name = std::string("fuzz_") + target + "-failed.bin";
const char* const failed_path = failed_name.c_str();
constexpr unsigned longest_seconds = 60;

struct Options {
    std::size_t inputs = 10000;
    std::uint64_t seed = 1;
    std::size_t most = 100000;
    std::vector<std::string> files;
};

// What is running, for the handlers.
const std::uint8_t* volatile running_data = nullptr;
volatile std::size_t running_size = 0;
volatile std::size_t running_number = 0;
volatile std::size_t number_at_tick = 0;
std::uint64_t running_seed = 0;

void writeAll(int file, const void* data, std::size_t size) {
    const char* bytes = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t written = write(file, bytes, size);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return;
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
}

// Formally, snprintf isn't allowed in a handler; but this process ends anyway.
void keepInput(const char* why) {
    const int file = open(failed_path, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (file >= 0) {
        writeAll(file, running_data, running_size);
        close(file);
    }
    char line[512];
    const int length = std::snprintf(
        line, sizeof line, "%s: input %zu of seed %llu fails (%s), %zu bytes kept in %s\n", target,
        running_number, static_cast<unsigned long long>(running_seed), why, running_size,
        file >= 0 ? failed_path : "no file");
    writeAll(STDERR_FILENO, line, static_cast<std::size_t>(length));
}

void onSignal(int number) {
    keepInput(number == SIGABRT ? "abort" : "signal");
    _exit(1);
}

void onTick(int) {
    if (running_number == number_at_tick && running_data != nullptr) {
        keepInput("it takes too long");
        _exit(1);
    }
    number_at_tick = running_number;
    alarm(longest_seconds);
}

void handleSignals() {
    static char stack[64 * 1024];
    stack_t other = {};
    other.ss_sp = stack;
    other.ss_size = sizeof stack;
    // The sanitizer has a stack and handlers of its own and ends in SIGABRT.
    if (!sanitized)
        sigaltstack(&other, nullptr);
    struct sigaction action = {};
    action.sa_flags = SA_ONSTACK;
    action.sa_handler = onSignal;
    sigaction(SIGABRT, &action, nullptr);
    if (!sanitized)
        for (const int number : {SIGSEGV, SIGBUS, SIGFPE, SIGILL})
            sigaction(number, &action, nullptr);
    action.sa_flags = SA_ONSTACK | SA_RESTART;
    action.sa_handler = onTick;
    sigaction(SIGALRM, &action, nullptr);
    alarm(longest_seconds);
}

void run(const std::string& input) {
    const std::unique_ptr<std::uint8_t[]> exact(new std::uint8_t[input.size()]);
    std::copy(input.begin(), input.end(), exact.get());
    running_size = input.size();
    running_data = exact.get();
    running_number = running_number + 1;
    LLVMFuzzerTestOneInput(exact.get(), input.size());
    running_data = nullptr;
}

std::string read(const std::filesystem::path& path) {
    if (!std::ifstream(path, std::ios::binary)) {
        std::fprintf(stderr, "%s: %s can't be read\n", target, path.c_str());
        std::exit(2);
    }
    return keld_test::readFile(path);
}

// In the order of their names, so that the same seed means the same inputs everywhere.
std::vector<std::string> readCorpus(const std::filesystem::path& directory) {
    std::vector<std::filesystem::path> paths;
    if (std::filesystem::is_directory(directory))
        for (const auto& entry : std::filesystem::directory_iterator(directory))
            paths.push_back(entry.path());
    std::sort(paths.begin(), paths.end());
    std::vector<std::string> corpus;
    for (const auto& path : paths)
        corpus.push_back(read(path));
    return corpus;
}

// libFuzzer's form: a word in quotes on each line, with \\, \" and \xNN.
std::vector<std::string> readWords(const std::filesystem::path& path) {
    std::vector<std::string> words;
    if (!std::filesystem::exists(path))
        return words;
    std::istringstream lines(read(path));
    for (std::string line; std::getline(lines, line);) {
        const std::size_t first = line.find('"');
        const std::size_t last = line.rfind('"');
        if (line.starts_with('#') || first == last)
            continue;
        std::string word;
        for (std::size_t i = first + 1; i < last; ++i) {
            if (line[i] == '\\' && line[i + 1] == 'x') {
                word += static_cast<char>(std::stoi(line.substr(i + 2, 2), nullptr, 16));
                i += 3;
            } else {
                i += line[i] == '\\' ? 1 : 0;
                word += line[i];
            }
        }
        words.push_back(word);
    }
    return words;
}

[[noreturn]] void explain() {
    std::fprintf(stderr, "usage: fuzz_%s [--inputs N] [--seed S] [--most BYTES] [FILE...]\n",
                 target);
    std::exit(2);
}

Options readOptions(int argc, char** argv) {
    Options options;
    std::optional<std::uint64_t> seed;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (!argument.starts_with("--")) {
            options.files.emplace_back(argument);
            continue;
        }
        char* end = nullptr;
        const unsigned long long value = i + 1 < argc ? std::strtoull(argv[i + 1], &end, 10) : 0;
        if (end == nullptr || end == argv[i + 1] || *end != '\0')
            explain();
        if (argument == "--inputs")
            options.inputs = value;
        else if (argument == "--seed")
            seed = value;
        else if (argument == "--most")
            options.most = value;
        else
            explain();
        ++i;
    }
    const keld_test::Share share = keld_test::readShare(std::getenv("KELD_SWEEP_SHARE"));
    if (seed) {
        options.seed = *seed;
    } else if (share.of > 1) {
        options.inputs /= 4;
        options.seed = static_cast<std::uint64_t>(share.part);
    }
    return options;
}

}  // namespace

int main(int argc, char** argv) {
    const Options options = readOptions(argc, argv);
    if (LLVMFuzzerInitialize != nullptr)
        LLVMFuzzerInitialize(&argc, &argv);
    running_seed = options.seed;
    handleSignals();
    if (!options.files.empty()) {
        for (const std::string& path : options.files)
            run(read(path));
        std::printf("%s: %zu files\n", target, options.files.size());
        return 0;
    }
    const std::filesystem::path folder = KELD_SOURCE_DIR "/tests/fuzz";
    const std::vector<std::string> corpus = readCorpus(folder / "corpus" / fuzz_corpus);
    fuzz::Mutator mutator(options.seed, options.most, corpus,
                          readWords(folder / "words" / (std::string(target) + ".dict")));
    std::size_t done = 0;
    for (; done < corpus.size() && done < options.inputs; ++done)
        run(corpus[done]);
    for (; done < options.inputs; ++done)
        run(mutator.next());
    std::printf("%s: %zu inputs, seed %llu\n", target, done,
                static_cast<unsigned long long>(options.seed));
    return 0;
}
