// The import of world documents into a store that has something of its own. What was accepted can
// be exported, and the export makes the same store again.

#include "tests/fuzz/import.h"

static fuzz::Imports& imports() {
    static fuzz::Imports made([](const fuzz::MemoryStore& store) {
        tag_t revision = NULLTAG;
        store->createItem("000100", "taken", "", "A", &revision);
        store->setPreference("kept", {"one", "two"});
        store->createFolder("a folder");
    });
    return made;
}

int LLVMFuzzerInitialize(int*, char***) {
    setenv("KELD_LOG_FILE", "/dev/null", 1);
    imports();
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    imports().run(
        {reinterpret_cast<const char*>(data), size},
        [&](const fuzz::MemoryStore& store, std::istream& in) { store->importWorld(in, "w.json"); },
        [&](const fuzz::MemoryStore& store) {
            const std::string first = store.exported();
            const fuzz::MemoryStore other;
            std::istringstream in(first);
            other->importWorld(in, "export");
            fuzz::require(other.exported() == first, "the export makes the same store");
        });
    return 0;
}
