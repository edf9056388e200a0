// The import of STEP files into a store that knows some of their ids.

#include "tests/fuzz/import.h"

static fuzz::Imports& imports() {
    static fuzz::Imports made([](const fuzz::MemoryStore& store) {
        store->createItem("000100", "taken", "", "A", nullptr);
    });
    return made;
}

int LLVMFuzzerInitialize(int*, char***) {
    setenv("KELD_LOG_FILE", "/dev/null", 1);
    imports();
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    mervane::ImportReport report;
    imports().run(
        {reinterpret_cast<const char*>(data), size},
        [&](const fuzz::MemoryStore& store, std::istream& in) {
            report = store->importStep(in, "f.stp");
        },
        [&](const fuzz::MemoryStore& store) {
            fuzz::require(report.items >= 1 && report.revisions >= 1, "there is an item");
            fuzz::require(
                static_cast<int>(store->find({"", "Item", "", 0}).size()) == report.items + 1,
                "as many items as reported");
        });
    return 0;
}
