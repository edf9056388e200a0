// This program brings a function of the platform itself, and the library calls that one.

#include <gtest/gtest.h>

#include "platform/api.h"
#include "platform/keld_qsktool.h"
#include "tests/support/world.h"

// A platform that has no relation type for master forms.
extern "C" KELD_EXPORT int REL_find_relation_type(const char*, tag_t* type) {
    *type = NULLTAG;
    return 0;
}

TEST(WithoutMasterFormRelations, NoOtherFormIsTakenForAMasterForm) {
    world::World world;
    const tag_t folder = world.bench.createFolder("f");
    world.bench.relate(folder, world.bench.createForm("Item Master", "other"), "VANE_reference");
    tag_t form = 99;
    EXPECT_EQ(0, KELD_GetMasterForm(folder, &form));
    EXPECT_EQ(NULLTAG, form);
}
