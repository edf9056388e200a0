// Files of a hundred thousand rows: the time of keld from its start to its end, and its memory.

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "bench/child.h"
#include "tests/support/files.h"

namespace {

namespace fs = std::filesystem;
using bench_child::runProgram;
using bench_child::Spent;

constexpr int kRows = 100'000, kRenames = 10'000, kChildren = 10;

std::string id(const char* prefix, int number) {
    char text[24];
    snprintf(text, sizeof text, "%s%07d", prefix, number);
    return text;
}

void write(const fs::path& path, const char* headings, int rows,
           const std::function<std::string(int)>& row) {
    std::ofstream out(path, std::ios::binary);
    out << headings << '\n';
    for (int i = 0; i < rows; ++i)
        out << row(i) << '\n';
}

void writeFiles(const fs::path& directory) {
    write(directory / "bom.csv", "parent,item,number,quantity,name", kRows, [](int i) {
        const std::string name = ",Part " + std::to_string(i);
        if (i == 0)
            return ',' + id("P", i) + ",," + name;
        const int place = (i - 1) % kChildren * 10 + 10;
        return id("P", (i - 1) / kChildren) + ',' + id("P", i) + ',' + std::to_string(place) + ',' +
               std::to_string(i % 7 + 1) + name;
    });
    write(directory / "values.csv", "object,object_name,object_desc", kRows,
          [](int i) { return id("P", i) + ",\"Part, " + std::to_string(i) + "\",from the list"; });
    write(directory / "ids.csv", "old,new", kRenames,
          [](int i) { return id("P", i) + ',' + id("Q", i); });
}

}  // namespace

int main() {
    const keld_test::Directory directory;
    setenv("KELD_LOG_FILE", (directory / "keld.log").c_str(), 1);
    const std::string store = (directory / "plant.db").string();
    const auto file = [&](const char* name) { return (directory / name).string(); };
    writeFiles(directory);
    (void)runProgram({KELD_PROGRAM, "init", "--store", store});
    printf("%-36s %8s %8s %10s\n", "", "rows", "s", "MB");
    const auto measure = [&](const char* what, int rows, std::vector<std::string> command) {
        command.insert(command.begin(), {KELD_PROGRAM, "--store", store});
        const Spent spent = runProgram(command);
        printf("%-36s %8d %8.1f %10.0f\n", what, rows, spent.seconds,
               static_cast<double>(spent.kilobytes) / 1024);
    };
    measure("bom import, all of it new", kRows, {"bom", "import", file("bom.csv")});
    measure("the same again, nothing new", kRows, {"bom", "import", file("bom.csv")});
    measure("set --from, two values a row", kRows, {"set", "--from", file("values.csv")});
    measure("the same again, nothing new", kRows, {"set", "--from", file("values.csv")});
    measure("rename --from", kRenames, {"rename", "--from", file("ids.csv")});
    return 0;
}
