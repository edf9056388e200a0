// A go-ahead when memory runs out at a single place: this host brings the platform's allocation of
// its own, which the libraries find in place of the workbench's.

#include <dlfcn.h>

#include "tests/delete/backup_world.h"

static int refused_allocation = 0;  // counted down, at 1 the block is refused
static int allocations = 0;

extern "C" KELD_EXPORT void* HEAP_alloc(std::size_t size) {
    static const auto own =
        reinterpret_cast<void* (*)(std::size_t)>(dlsym(RTLD_NEXT, "HEAP_alloc"));
    ++allocations;
    if (refused_allocation > 0 && --refused_allocation == 0)
        return nullptr;
    return own(size);
}

namespace delete_test {
namespace {

class DeleteMemory : public BackupWorld {
protected:
    DeleteMemory() {
        configureBackup();
        revision = world.item("1").revision;
        first = drawing(revision, "first", "a.txt", "a");
        second = drawing(revision, "second", "b.txt", "b");
        EXPECT_EQ(0, service({}));  // the preferences are kept from here on
    }
    tag_t revision = NULLTAG, first = NULLTAG, second = NULLTAG;
};

}  // namespace

TEST_F(DeleteMemory, ADatasetThatCannotBeNotedForTheBackupIsNotGivenFree) {
    allocations = 0;
    std::size_t before = world.blocks();
    ASSERT_EQ(0, service({first, second}));
    const int needed = allocations;
    const std::size_t kept_by_each = world.blocks() - before;
    ASSERT_GE(needed, 2);
    int refused = 0;
    for (int n = 1; n <= needed; ++n) {
        fs::remove_all(top / "1_A");
        before = world.blocks();
        refused_allocation = n;
        const int status = service({first, second});
        refused_allocation = 0;
        const Tree tree = saved();
        const bool whole = tree.contains("1_A/first/a.txt") && tree.contains("1_A/second/b.txt");
        EXPECT_EQ(status == 0, whole) << n;
        EXPECT_TRUE(status != 2002 || tree.empty()) << n;
        refused += status != 0;
        EXPECT_EQ(before + kept_by_each, world.blocks()) << n;
    }
    // The two lists themselves at least.
    EXPECT_GE(refused, 2);
    EXPECT_EQ(0, service({first, second}));
}

}  // namespace delete_test
