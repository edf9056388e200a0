// store_sizes [ITEMS...]: what people run, in stores of so many items (10,000, 100,000 and
// 1,000,000): the time and the memory of the program keld, from its start to its end. What works on
// one object takes the same in each store; what works on all of it grows with it, and its memory
// doesn't.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bench/child.h"
#include "tests/support/files.h"

namespace {

namespace fs = std::filesystem;
using bench_child::runProgram;
using bench_child::Spent;

constexpr int kOfAnAssembly = 10;
constexpr int kTimes = 11;

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

using Words = std::vector<std::string>;

struct Line {
    std::string what;
    std::vector<Spent> of_sizes;
};

class Stores {
public:
    explicit Stores(const fs::path& directory) : directory_(directory) {}

    void measure(int items) {
        store_ = (directory_ / ("store" + std::to_string(items))).string();
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
        const std::string exported = (directory_ / "out.json").string();
        const std::string again = store_ + "-again";
        whole("export", {"export", exported});
        runProgram({KELD_PROGRAM, "--store", again, "init"});
        add("load of the export", runProgram({KELD_PROGRAM, "--store", again, "load", exported}));
        whole("check", {"check"});
        whole("backup", {"backup", (directory_ / "copy").string()});
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
    std::string store_;
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
    for (int i = 1; i < argc; ++i)
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
    Stores stores(work);
    for (const int size : sizes)
        stores.measure(size);
    stores.show();
    return 0;
}
