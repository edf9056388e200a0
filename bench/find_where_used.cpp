// What look-ups cost in a large store: an item by its id, the users of a revision one level up and
// all the way, the datasets of a name, a text within ids and names with and without its index.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "platform/mv_dst.h"
#include "platform/mv_heap.h"
#include "platform/mv_str.h"
#include "platform/mv_supplement.h"
#include "workbench/workbench.h"

namespace {

using namespace mervane;
using Clock = std::chrono::steady_clock;

double milliseconds(Clock::duration time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

// Median and slowest of a number of runs, each with its own argument.
void measure(const char* what, int runs, const std::function<void(int)>& body) {
    std::vector<double> times;
    const auto before = mervane_workbench()->statementsRun();
    for (int i = 0; i < runs; ++i) {
        const auto start = Clock::now();
        body(i);
        times.push_back(milliseconds(Clock::now() - start));
    }
    const auto statements = mervane_workbench()->statementsRun() - before;
    std::sort(times.begin(), times.end());
    printf("%-44s %8.3f ms  slowest %8.3f ms  %6.1f statements\n", what, times[times.size() / 2],
           times.back(), static_cast<double>(statements) / runs);
}

void check(int status) {
    if (status != 0) {
        fprintf(stderr, "status %d\n", status);
        exit(1);
    }
}

std::string idOf(int number) {
    char text[16];
    snprintf(text, sizeof text, "%06d", number);
    return text;
}

void importItems(Workbench& bench, const std::string& prefix) {
    std::string world = "{\"world\": 1, \"items\": [";
    for (int i = 0; i < 10000; ++i)
        world += std::string(i ? "," : "") + "{\"id\": \"" + prefix + idOf(i) +
                 "\", \"name\": \"Part " + std::to_string(i) +
                 "\", \"revisions\": [{\"id\": \"A\"}]}";
    std::istringstream in(world + "]}");
    bench.importWorld(in, "world.json");
}

}  // namespace

int main(int count_of_arguments, char** arguments) {
    const int items = count_of_arguments > 1 ? atoi(arguments[1]) : 100000;
    constexpr int kChildren = 10;
    Workbench& bench = *mervane_workbench();
    const auto store = bench.openStore(":memory:");
    bench.openSession(store, {});

    const auto start = Clock::now();
    std::vector<tag_t> revisions(static_cast<std::size_t>(items));
    for (int i = 0; i < items; ++i)
        bench.createItem(idOf(i), "Part " + std::to_string(i), "", "A",
                         &revisions[static_cast<std::size_t>(i)]);
    // A tree: the children of item n are 10n+1 to 10n+10; so every item but the top has one user.
    int occurrences = 0;
    for (int child = 1; child < items; ++child, ++occurrences)
        bench.addOccurrence(revisions[static_cast<std::size_t>((child - 1) / kChildren)],
                            revisions[static_cast<std::size_t>(child)], "1", "10");
    // And one screw that a thousand assemblies use.
    tag_t screw = NULLTAG;
    bench.createItem("screw", "Screw", "", "A", &screw);
    for (int i = 0; i < 1000 && i * 7 < items; ++i, ++occurrences)
        bench.addOccurrence(revisions[static_cast<std::size_t>(i * 7)], screw, "4", "20");
    for (int i = 0; i < 1000; ++i)
        bench.createDataset("Text", "document " + std::to_string(i));
    printf("%d items, %d occurrences, made in %.1f s\n", items, occurrences,
           milliseconds(Clock::now() - start) / 1000);

    // A session of its own, so that nothing is cached.
    bench.openSession(store, {});
    std::mt19937 random(4711);
    const auto any = [&] { return static_cast<int>(random() % static_cast<unsigned>(items)); };
    measure("item by id", 200, [&](int) {
        tag_t item = NULLTAG;
        check(ART_find_item(idOf(any()).c_str(), &item));
    });
    const auto whereUsed = [&](tag_t revision, int levels) {
        int count = 0;
        int* level = nullptr;
        tag_t* parents = nullptr;
        check(STR_where_used_all(revision, levels, &count, &level, &parents));
        HEAP_free(level);
        HEAP_free(parents);
    };
    measure("where used, one level", 200,
            [&](int) { whereUsed(revisions[static_cast<std::size_t>(any())], 1); });
    measure("where used, all levels", 200,
            [&](int) { whereUsed(revisions[static_cast<std::size_t>(any())], 0); });
    measure("where used, one level, 1000 users, first", 1, [&](int) { whereUsed(screw, 1); });
    measure("where used, one level, 1000 users, again", 20, [&](int) { whereUsed(screw, 1); });
    measure("datasets by name", 200, [&](int i) {
        int count = 0;
        tag_t* list = nullptr;
        check(DST_find_all_datasets(("document " + std::to_string(i)).c_str(), &count, &list));
        HEAP_free(list);
    });
    const auto findWithin = [&](int i) {
        FindQuery query;
        query.text = "*" + idOf(items / 2 + i).substr(2) + "*";
        query.type = "Item";
        bench.find(query);
    };
    measure("find by a text within id or name", 20, findWithin);
    measure("find by a text that all names have", 5, [&](int) {
        FindQuery query;
        query.text = "*art*";
        query.type = "Item";
        query.limit = 1;
        bench.find(query);
    });
    measure("find by pattern of the id", 20, [&](int i) {
        FindQuery query;
        query.text = idOf(i).substr(0, 5) + "*";
        query.type = "Item";
        bench.find(query);
    });
    measure("save of an item", 1000, [&](int i) {
        bench.createItem("s" + idOf(i), "Part " + std::to_string(i), "", "A", nullptr);
    });
    measure("import of 10,000 items", 1, [&](int) { importItems(bench, "i"); });

    const auto index_start = Clock::now();
    bench.setTextIndex(true);
    const double index_seconds = milliseconds(Clock::now() - index_start) / 1000;
    const auto index = bench.textIndex().value();
    printf("index of texts: %lld texts, %.1f MB, made in %.2f s\n",
           static_cast<long long>(index.texts), static_cast<double>(index.bytes) / 1e6,
           index_seconds);
    measure("find by a text within id or name, index", 20, findWithin);
    measure("find by a text that all names have, index", 5, [&](int) {
        FindQuery query;
        query.text = "*art*";
        query.type = "Item";
        query.limit = 1;
        bench.find(query);
    });
    measure("save of an item, index", 1000, [&](int i) {
        bench.createItem("t" + idOf(i), "Part " + std::to_string(i), "", "A", nullptr);
    });
    measure("find by a text, index, texts wait", 20, findWithin);
    measure("import of 10,000 items, index", 1, [&](int) { importItems(bench, "j"); });
    measure("find by a text, index, after the import", 20, findWithin);
    bench.closeStore(store);
    return 0;
}
