// A platform without the functions that this project adds: the library loads over it and does
// without them. This program is the platform.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/api.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_heap.h"
#include "platform/mv_obj.h"

static std::string type_name;
static int status_of_platform = 0;
static int blocks = 0;

extern "C" {

KELD_EXPORT void* HEAP_alloc(size_t size) {
    ++blocks;
    return std::malloc(size);
}

KELD_EXPORT void HEAP_free(void* pointer) {
    if (pointer != nullptr)
        --blocks;
    std::free(pointer);
}

KELD_EXPORT int OBJ_ask_value_string(tag_t object, const char* property, char** value) {
    EXPECT_EQ(7u, object);
    EXPECT_STREQ("object_name", property);
    if (status_of_platform != 0)
        return status_of_platform;
    *value = static_cast<char*>(HEAP_alloc(type_name.size() + 1));
    std::strcpy(*value, type_name.c_str());
    return 0;
}

}  // extern "C"

TEST(BarePlatform, NoItemIsFound) {
    tag_t item = 99;
    EXPECT_EQ(0, KELD_ART_find_item("000100", &item));
    EXPECT_EQ(NULLTAG, item);
}

TEST(BarePlatform, TheNameOfATypeIsThatOfItsObject) {
    char name[129] = "";
    for (const std::size_t length : {0, 1, 128}) {
        type_name.assign(length, 'x');
        EXPECT_EQ(0, KELD_MVTYPE_ask_name(7, name));
        EXPECT_EQ(type_name, name);
    }
    type_name.assign(127, 'x');
    type_name += "\xC3\xA4z";
    EXPECT_EQ(0, KELD_MVTYPE_ask_name(7, name));
    EXPECT_EQ(std::string(127, 'x'), name);  // cut on a whole character
    EXPECT_EQ(0, blocks);
}

TEST(BarePlatform, AFailureIsReturned) {
    status_of_platform = 4711;
    char name[129] = "before";
    EXPECT_EQ(4711, KELD_MVTYPE_ask_name(7, name));
    EXPECT_STREQ("before", name);
    status_of_platform = 0;
}
