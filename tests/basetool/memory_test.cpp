// The log when no memory can be had: a line is there whole or not at all, and the next one is
// there.

#include <gmock/gmock.h>

#include <cstdarg>
#include <cstdio>

#include "platform/keld_basetool.h"
#include "tests/support/log_fixture.h"

// How many more reallocations succeed; negative: all.
static int granted = -1;
static bool conversions_fail = false;

// The linker replaces the C library's functions by these.
extern "C" void* __real_realloc(void* block, std::size_t size);
extern "C" void* __wrap_realloc(void* block, std::size_t size) {
    if (granted == 0)
        return nullptr;
    if (granted > 0)
        --granted;
    return __real_realloc(block, size);
}
extern "C" int __wrap_snprintf(char* out, std::size_t size, const char* format, ...) {
    if (conversions_fail)
        return -1;
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(out, size, format, arguments);
    va_end(arguments);
    return length;
}

using testing::ElementsAre;

namespace {

class LogMemory : public LogFixture {
protected:
    template <typename Action>
    static void withoutMemory(Action action) {
        granted = 0;
        action();
        granted = -1;
    }
    // Log texts of each length around the reserved size, each without more memory. `rest` follows
    // the text in the line.
    template <typename... Arguments>
    void expectWholeOrNone(const std::string& format, const std::string& rest,
                           Arguments... arguments) {
        KELD_ERROR("before");
        int whole = 0;
        int dropped = 0;
        for (std::size_t length = 61000; length < 66100; length += length < 65950 ? 50 : 1) {
            std::filesystem::resize_file(log_path_, 0);
            const std::string text(length, 'x');
            withoutMemory([&] { KELD_ERROR(format.c_str(), text.c_str(), arguments...); });
            KELD_ERROR("after");
            if (written().size() < 100) {
                ++dropped;
                ASSERT_THAT(texts(), ElementsAre("E after")) << length;
            } else {
                ++whole;
                const std::string expected = "E " + text + rest;
                ASSERT_THAT(written().substr(24, expected.size()), testing::StrEq(expected));
                ASSERT_EQ("E after", texts().back());
            }
        }
        EXPECT_GT(whole, 0);
        EXPECT_GT(dropped, 0);
    }
};

}  // namespace

TEST_F(LogMemory, AFirstLineWithoutRoomIsDropped) {
    withoutMemory([] { KELD_ERROR("lost"); });
    KELD_ERROR("kept");
    EXPECT_THAT(texts(), ElementsAre("E kept"));
}

TEST_F(LogMemory, WhatWaitsInFrontOfADroppedLineIsKept) {
    KELD_TRACE("->service");
    KELD_IncTraceSpaces();
    const std::string text(200000, 'x');
    withoutMemory([&] { KELD_TRACE("%s", text.c_str()); });
    KELD_TRACE("step");
    KELD_DecTraceSpaces();
    KELD_TRACE("<-service");
    EXPECT_THAT(texts(), ElementsAre("T ->service", "T   step", "T <-service"));
}

TEST_F(LogMemory, ADeepLineThatLeavesNoRoomForItsStampIsDropped) {
    KELD_ERROR("before");
    for (int i = 0; i < 40000; ++i)
        KELD_IncTraceSpaces();
    withoutMemory([] { KELD_ERROR("lost"); });
    for (int i = 0; i < 40000; ++i)
        KELD_DecTraceSpaces();
    KELD_ERROR("after");
    EXPECT_THAT(texts(), ElementsAre("E before", "E after"));
}

TEST_F(LogMemory, ATextIsThereWholeOrNotAtAll) {
    expectWholeOrNone("%s", "\n");
}
TEST_F(LogMemory, SoIsATextAfterIt) {
    expectWholeOrNone("%s and more", " and more\n");
}
TEST_F(LogMemory, SoIsANumberAfterIt) {
    expectWholeOrNone("%s%d", "1234567\n", 1234567);
}
TEST_F(LogMemory, SoIsAConvertedNumberAfterIt) {
    expectWholeOrNone("%s%08.2f", "00003.50\n", 3.5);
}
TEST_F(LogMemory, SoAreFillingBlanksInFrontOfAText) {
    expectWholeOrNone("%s%4000s", std::string(3999, ' ') + "a\n", "a");
}
TEST_F(LogMemory, SoAreFillingBlanksAfterAText) {
    expectWholeOrNone("%s%-4000s", "a" + std::string(3999, ' ') + "\n", "a");
}
TEST_F(LogMemory, SoIsAPercentSignAfterIt) {
    expectWholeOrNone("%s%%", "%\n");
}
TEST_F(LogMemory, SoIsAnUnknownConversionAfterIt) {
    expectWholeOrNone("%s%y", "%y\n");
}
TEST_F(LogMemory, SoIsALineThatContinuesIt) {
    expectWholeOrNone("%s\nnext", "\n" + std::string(26, ' ') + "next\n");
}

TEST_F(LogMemory, ALongTextThatIsNotFormattedIsDroppedWhole) {
    KELD_ERROR("before");
    const std::string text(200000, 'x');
    withoutMemory([&] {
        KELD_PRINTLOG(text.c_str());
        KELD_PRINTLOG((text + "\n").c_str());
    });
    KELD_ERROR("after");
    EXPECT_THAT(texts(), ElementsAre("E before", "E after"));
}

TEST_F(LogMemory, ATextWithoutRoomForTheEndOfItsLineIsDroppedWhole) {
    KELD_ERROR("before");
    bool dropped = false;
    for (std::size_t length = 66000; length < 66200; ++length) {
        std::filesystem::resize_file(log_path_, 0);
        withoutMemory([&] { KELD_PRINTLOG(std::string(length, 'x').c_str()); });
        ASSERT_THAT(written().size(), testing::AnyOf(0U, length + 1));
        dropped |= written().empty();
    }
    EXPECT_TRUE(dropped);
}

TEST_F(LogMemory, TheVersionIsNotPrintedInPart) {
    testing::internal::CaptureStdout();
    withoutMemory([] { KELD_PRINT_VERINFO("version %d\n", 1); });
    granted = 1;
    KELD_PRINT_VERINFO("%s", std::string(5000, 'x').c_str());
    granted = -1;
    KELD_PRINT_VERINFO("version %d\n", 2);
    EXPECT_EQ("version 2\n", testing::internal::GetCapturedStdout());
}

TEST_F(LogMemory, AConversionThatTheCLibraryRefusesIsLeftOut) {
    KELD_ERROR("the stamp of this second is made");
    conversions_fail = true;
    KELD_ERROR("a%fb%d", 1.5, 7);
    conversions_fail = false;
    EXPECT_EQ("E ab7", texts().back());
}
