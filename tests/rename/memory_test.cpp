// A rename when memory runs out at a single place: this program brings the platform's allocation of
// its own, and the library calls that one.

#include <dlfcn.h>

#include "tests/rename/rename_world.h"

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

namespace {

class RenameMemory : public world::RenameTest {};

}  // namespace

TEST_F(RenameMemory, ARevisionThatCannotBeNotedIsAFailureAndNoRename) {
    int refused = 0;
    for (int n = 0;; ++n) {
        const std::string id = "ABC" + std::to_string(n);
        const world::ItemTags made = world.item(id);
        allocations = 0;
        refused_allocation = n;
        // The revision alone, with a new id of its own.
        const world::Outcome outcome =
            world::renameExtended(world, made.item, made.revision, id, "B", 5);
        refused_allocation = 0;
        if (n == 0) {
            ASSERT_EQ(world::both(0), outcome);
        } else if (outcome.status == 2002) {
            ++refused;
            EXPECT_EQ("A", world.storedText(made.revision, "item_revision_id"));
        } else {
            EXPECT_EQ(world::both(0), outcome) << n;
        }
        EXPECT_EQ(outcome.status == 0 ? "B" : "A",
                  world.storedText(made.revision, "item_revision_id"))
            << n;
        if (n > 0 && allocations < n)
            break;
    }
    EXPECT_GT(refused, 0);
}
