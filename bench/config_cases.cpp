// The sample's cases, so often that they are 200: the time of `keld config test` from its start to
// its end.

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/child.h"
#include "tests/support/files.h"

namespace {

namespace fs = std::filesystem;
using bench_child::runProgram;
using bench_child::Spent;

constexpr int kCases = 200;
constexpr int kTimes = 5;

// As in samples/: what the cases name lies in the directory above theirs.
void writeCases(const fs::path& directory) {
    const fs::path samples = KELD_SAMPLES;
    for (const char* file : {"gearbox.json", "keld_statusmanager.ini"})
        fs::copy_file(samples / file, directory / file);
    std::vector<fs::path> cases;
    for (const auto& entry : fs::directory_iterator(samples / "cases"))
        if (entry.path().extension() == ".case")
            cases.push_back(entry.path());
    std::sort(cases.begin(), cases.end());
    fs::create_directory(directory / "cases");
    for (std::size_t i = 0; i < kCases; ++i)
        fs::copy_file(cases.at(i % cases.size()),
                      directory / "cases" / (std::to_string(i) + ".case"));
}

}  // namespace

int main() {
    const keld_test::Directory directory;
    setenv("KELD_LOG_FILE", (directory / "keld.log").c_str(), 1);
    writeCases(directory);
    std::vector<double> seconds;
    for (int i = 0; i < kTimes; ++i)
        seconds.push_back(
            runProgram({KELD_PROGRAM, "config", "test", (directory / "cases").string()}).seconds);
    std::sort(seconds.begin(), seconds.end());
    printf("%d cases: median of %d runs %.2f s, %.1f ms each\n", kCases, kTimes,
           seconds[kTimes / 2], seconds[kTimes / 2] * 1e3 / kCases);
    return 0;
}
