// What an import costs: time and peak memory of a process of its own, for STEP files that grow by
// geometry, STEP files that grow by products, and world documents.

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench/child.h"
#include "tests/support/files.h"
#include "tests/support/step_generator.h"
#include "workbench/workbench.h"

namespace {

namespace fs = std::filesystem;

void importFile(const std::string& file, const std::string& store) {
    mervane::Workbench* workbench = mervane_workbench();
    workbench->createStore(store);
    workbench->openSession(workbench->openStore(store), {});
    std::ifstream in(file, std::ios::binary);
    workbench->importStep(in, file);
}

void measure(const fs::path& directory, const keld_test::StepShape& shape) {
    const std::string file = (directory / "file.stp").string();
    const std::string store = (directory / "store").string();
    std::ofstream out(file, std::ios::binary);
    const keld_test::StepCounts counts = keld_test::writeStep(out, shape);
    out.close();
    const bench_child::Spent spent = bench_child::inChild([&] { importFile(file, store); });
    const double megabytes = static_cast<double>(counts.bytes) / (1 << 20);
    printf("%8.1f MB %8d products %8d usages %8.2f s %8.1f MB/s %8.0f products/s %8.1f MB peak\n",
           megabytes, counts.products, counts.usages, spent.seconds, megabytes / spent.seconds,
           counts.products / spent.seconds, static_cast<double>(spent.kilobytes) / 1024);
    fflush(stdout);
    for (const auto& entry : fs::directory_iterator(directory))
        fs::remove_all(entry.path());
}

// Each item gives six objects: itself, a revision, their forms and the relations to these.
void measureDocument(const fs::path& directory, int items) {
    const std::string file = (directory / "file.json").string();
    const std::string store = (directory / "store").string();
    {
        std::ofstream out(file);
        out << R"({"world": 1, "items": [)";
        for (int i = 1; i <= items; ++i)
            out << (i > 1 ? "," : "") << "{\"id\": \"" << i << "\", \"name\": \"Part " << i
                << R"(", "revisions": [{"id": "A"}]})";
        out << "]}";
    }
    const bench_child::Spent spent = bench_child::inChild([&] {
        mervane::Workbench* workbench = mervane_workbench();
        workbench->createStore(store);
        workbench->openSession(workbench->openStore(store), {});
        std::ifstream in(file, std::ios::binary);
        if (workbench->importWorld(in, file).objects != 6 * items)
            _exit(1);
    });
    printf("%8d items %9d objects %8.2f s %8.0f objects/s %8.1f MB peak\n", items, 6 * items,
           spent.seconds, 6 * items / spent.seconds, static_cast<double>(spent.kilobytes) / 1024);
    for (const auto& entry : fs::directory_iterator(directory))
        fs::remove_all(entry.path());
}

}  // namespace

int main() {
    const keld_test::Directory made;
    const std::string directory = made.string();
    puts("files that grow by geometry");
    for (const std::size_t megabytes : {1, 10, 100})
        measure(directory, {.parts = 1000, .bytes = megabytes << 20});
    puts("files that grow by products");
    for (const int parts : {1000, 4000, 16000})
        measure(directory, {.parts = parts});
    puts("world documents");
    for (const int items : {1000, 4000, 16000, 64000})
        measureDocument(directory, items);
    return 0;
}
