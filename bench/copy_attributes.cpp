// What the attribute copy costs: many destinations with many properties each, an item with many
// revisions with attachments, and the one place that grows with the square, the search for a name
// in one long list of named references.

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "platform/keld_se.h"
#include "tests/support/files.h"
#include "workbench/workbench.h"

namespace {

using namespace mervane;
namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int kProperties = 20;
constexpr int kAttachments = 10;
constexpr char kRelation[] = "Rel";

std::string propertyName(int i) {
    return "p" + std::to_string(i);
}

void check(bool right, const char* what) {
    if (right)
        return;
    fprintf(stderr, "%s\n", what);
    exit(1);
}

// A store of its own with the types of the benchmark.
class World {
public:
    explicit World(const std::string& path) : bench(*mervane_workbench()) {
        if (path != ":memory:")
            bench.createStore(path);
        store_ = bench.openStore(path);
        bench.openSession(store_, {});
        std::vector<AttributeSpec> properties;
        for (int i = 0; i < kProperties; ++i)
            properties.push_back({propertyName(i), Kind::String, false, 40});
        bench.defineType("Sheet", "Form", properties);
        bench.defineRelationType(kRelation);
        bench.defineDatasetType("Box", "BoxTool", {"BOX"}, {"Sheets"});
        std::vector<std::string> lines;
        for (int i = 0; i < kProperties; ++i)
            lines.push_back("Sheet;" + propertyName(i));
        bench.setPreference("KELD_CopyAttributes_Form", lines);
        bench.setPreference(
            "KELD_CopyAttributes_Relation",
            {"Item;revision_list;ItemRevision", std::string("ItemRevision;") + kRelation + ";Sheet",
             "Box;Sheets;Sheet"});
    }
    ~World() { bench.closeStore(store_); }
    World(const World&) = delete;

    tag_t sheet(const std::string& name, const std::string& value) {
        const tag_t made = bench.createForm("Sheet", name);
        if (!value.empty())
            for (int i = 0; i < kProperties; ++i)
                bench.set(made, propertyName(i), {value});
        return made;
    }
    // The value that the last property of a copied sheet must have.
    void expect(tag_t copied, const std::string& value) {
        check(bench.get(copied, propertyName(kProperties - 1)) == Values{value},
              "the value isn't there");
    }

    Workbench& bench;
    tag_t source = NULLTAG;
    std::vector<tag_t> destinations;
    std::vector<tag_t> sheets;  // everything that values are copied to

private:
    Workbench::StoreId store_ = 0;
};

void makeDestinations(World& world, int count) {
    world.source = world.sheet("source", "value");
    for (int i = 0; i < count; ++i)
        world.destinations.push_back(world.sheet("destination", ""));
    world.sheets = world.destinations;
}

void makeRevisions(World& world, int count) {
    const auto item = [&](const char* id, const std::string& value) {
        tag_t revision = NULLTAG;
        const tag_t made = world.bench.createItem(id, id, "Item", "0", &revision);
        for (int i = 0; i < count; ++i) {
            if (i > 0)
                revision = world.bench.createRevision(made, std::to_string(i));
            for (int k = 0; k < kAttachments; ++k) {
                const tag_t sheet = world.sheet("sheet", value);
                world.bench.relate(revision, sheet, kRelation);
                if (value.empty())
                    world.sheets.push_back(sheet);
            }
        }
        return made;
    };
    world.source = item("source", "value");
    world.destinations = {item("destination", "")};
}

// The two sides have the names in opposite orders, so half of the other list is searched.
void makeNamedReferences(World& world, int count) {
    const auto box = [&](const char* name, const std::string& value, bool backwards) {
        const tag_t made = world.bench.createDataset("Box", name);
        for (int i = 0; i < count; ++i) {
            const int number = backwards ? count - 1 - i : i;
            const tag_t sheet = world.sheet("sheet" + std::to_string(number), value);
            world.bench.addNamedReference(made, "Sheets", sheet);
            if (value.empty())
                world.sheets.push_back(sheet);
        }
        return made;
    };
    world.source = box("source", "value", false);
    world.destinations = {box("destination", "", true)};
}

void copy(World& world) {
    world.bench.sendArguments({world.source, world.destinations});
    int slot = 1;
    check(KELD_CopyAttr(&slot) == 0 && slot == 0, "the copy failed");
}

struct Figures {
    std::size_t objects = 0, calls = 0, statements = 0;
    double off = 1e9, trace = 1e9, durable = 1e9;  // milliseconds
};

using Make = void (*)(World&, int);

double measure(Make make, int count, int level, const std::string& path, Figures& figures) {
    World world(path);
    make(world, count);
    figures.objects = world.sheets.size();
    KELD_SetLogLevel(level);
    const auto statements = world.bench.statementsRun();
    const auto start = Clock::now();
    copy(world);
    const std::chrono::duration<double, std::milli> time = Clock::now() - start;
    figures.statements = world.bench.statementsRun() - statements;
    KELD_SetLogLevel(0);
    world.expect(world.sheets.front(), "value");
    world.expect(world.sheets.back(), "value");
    return time.count();
}

Figures figuresOf(Make make, int count, int rounds, const fs::path& directory) {
    Figures figures;
    {
        World world(":memory:");
        make(world, count);
        world.bench.startJournal();
        copy(world);
        figures.calls = world.bench.stopJournal().size();
    }
    for (int round = 0; round < rounds; ++round) {
        figures.off = std::min(figures.off, measure(make, count, 0, ":memory:", figures));
        figures.trace = std::min(figures.trace, measure(make, count, 3, ":memory:", figures));
        fs::resize_file(KELD_GetLogFilePath(), 0);
    }
    figures.durable =
        measure(make, count, 0, (directory / ("store" + std::to_string(count))).string(), figures);
    fs::remove_all(directory);
    fs::create_directory(directory);
    return figures;
}

}  // namespace

// Arguments: --json; --short for a quick run with small numbers.
int main(int argc, char** argv) {
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    bool json = false, brief = false;
    for (int i = 1; i < argc; ++i) {
        json |= std::string(argv[i]) == "--json";
        brief |= std::string(argv[i]) == "--short";
    }
    const keld_test::Directory top;
    const fs::path stores = top / "stores";
    fs::create_directory(stores);
    setenv("KELD_LOG_FILE", (top / "keld.log").c_str(), 1);
    check(KELD_GetLogFilePath() != nullptr, "the log can't be opened");
    KELD_SetLogLevel(0);

    {
        // The preferences are read once per process.
        World world(":memory:");
        copy(world);
    }
    const struct {
        const char* name;
        Make make;
        std::vector<int> counts;
    } cases[] = {
        {"destinations, 20 properties each", makeDestinations, {250, 500, 1000}},
        {"revisions, 10 attachments each", makeRevisions, {50, 100, 200}},
        {"named references in one list", makeNamedReferences, {100, 200, 400}},
    };
    if (json)
        printf("[");
    bool first = true;
    for (const auto& each : cases) {
        if (!json)
            printf("%s\n%8s %8s %8s %10s | %9s %9s %9s | %9s %9s\n", each.name, "count", "objects",
                   "calls", "statements", "off", "trace", "durable", "off/obj", "calls/obj");
        for (const int full : each.counts) {
            const int count = brief ? full / 10 : full;
            const Figures f = figuresOf(each.make, count, brief ? 1 : 3, stores);
            const auto objects = static_cast<double>(f.objects);
            if (json)
                printf(
                    "%s{\"case\":\"%s\",\"count\":%d,\"objects\":%zu,\"calls\":%zu,"
                    "\"statements\":%zu,\"off_ms\":%.2f,\"trace_ms\":%.2f,\"durable_ms\":%.2f}",
                    first ? "" : ",", each.name, count, f.objects, f.calls, f.statements, f.off,
                    f.trace, f.durable);
            else
                printf("%8d %8zu %8zu %10zu | %9.2f %9.2f %9.2f | %9.2f %9.1f\n", count, f.objects,
                       f.calls, f.statements, f.off, f.trace, f.durable, 1000 * f.off / objects,
                       static_cast<double>(f.calls) / objects);
            first = false;
        }
    }
    printf(json ? "]\n"
                : "Milliseconds for the whole copy; off/obj: microseconds per object written. The "
                  "last two columns stay\nthe same where the copy grows with its objects.\n");
    return 0;
}
