// An import's memory doesn't grow with its document: the program's own operator new, which the
// libraries find, too, counts the most that is allocated at a time.

#include <gtest/gtest.h>
#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <new>

#include "tests/import/world_support.h"

namespace {

std::atomic<std::size_t> allocated{0}, most_allocated{0};

}  // namespace

void* operator new(std::size_t size) {
    void* const block = std::malloc(size != 0 ? size : 1);
    if (!block)
        throw std::bad_alloc();
    const std::size_t now = allocated += ::malloc_usable_size(block);
    if (now > most_allocated)
        most_allocated = now;
    return block;
}

void operator delete(void* block) noexcept {
    allocated -= ::malloc_usable_size(block);
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
    operator delete(block);
}

using namespace keld_test;

namespace {

// How much more is allocated during the body than before it.
template <typename Body>
std::size_t mostIn(Body&& body) {
    const std::size_t before = allocated;
    most_allocated = before;
    body();
    return most_allocated - before;
}

// So many parts from the number on.
std::string items(int first, int count) {
    std::string text = "{\"world\": 1, \"items\": [";
    for (int i = first; i < first + count; ++i) {
        const std::string id = std::to_string(i);
        text += (i > first ? ",\n" : "\n") + std::string("{\"id\": \"p") + id +
                "\", \"description\": \"" + std::string(200, 'd') +
                "\", \"revisions\": [{\"id\": \"A\", \"name\": \"" + std::string(100, 'n') +
                "\"}]}";
    }
    return text + "]}";
}

std::size_t mostInImport(const OpenStore& store, const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return mostIn([&] { store->importWorld(in, "w.json"); });
}

}  // namespace

TEST(ImportMemory, OfMoreItemsIsNoMore) {
    const Directory directory;
    const std::string path = (directory / "w.json").string();
    const OpenStore store;
    // The first one fills the session's cache.
    writeFile(path, items(0, 4000));
    mostInImport(store, path);
    writeFile(path, items(4000, 4000));
    const std::size_t few = mostInImport(store, path);
    writeFile(path, items(8000, 12000));
    const std::size_t many = mostInImport(store, path);
    // Of 3 MB of text more, which take four times as much as a tree.
    EXPECT_LT(many, few + (1u << 20)) << few;
}

TEST(ImportMemory, OfMoreObjectsOfAnExportIsNoMoreThanTheirTagsNeed) {
    const Directory directory;
    const std::string path = (directory / "w.json").string();
    const auto exported = [&](int count) {
        const OpenStore source;
        source.import(items(0, count));
        writeFile(path, source.exported());
        const OpenStore store;
        return mostInImport(store, path);
    };
    exported(100);
    const std::size_t few = exported(300), many = exported(3000);
    // Of 16,200 objects more, with 9 MB of text.
    EXPECT_LT(many, few + (1u << 20)) << few;
}

// The control: a document whose one list has one large element is in memory with all of it.
TEST(ImportMemory, OfALargeElementIsSeen) {
    const Directory directory;
    const std::string path = (directory / "w.json").string();
    writeFile(path, R"({"world": 1, "folders": [{"name": "f", "description": ")" +
                        std::string(4u << 20, 'd') + "\"}]}");
    const OpenStore store;
    std::ifstream in(path, std::ios::binary);
    EXPECT_GT(mostIn([&] { EXPECT_NE(failureOf([&] { store->importWorld(in, "w.json"); }), ""); }),
              std::size_t{4u << 20});
}
