#include <gtest/gtest.h>

#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string>

#include "basetool/keld_text.h"

static std::string format(const char* text, ...) {
    CKELD_TextBuffer buffer;
    va_list arguments;
    va_start(arguments, text);
    EXPECT_TRUE(KELD_AppendFormat(&buffer, text, arguments));
    va_end(arguments);
    std::string result(buffer.Size() > 0 ? buffer.Data() : "", buffer.Size());
    buffer.Free();
    return result;
}

// Ours and the C library's result of the same format.
template <typename... Arguments>
static void expectAsInC(const char* text, Arguments... arguments) {
    char expected[2000];
    std::snprintf(expected, sizeof(expected), text, arguments...);
    EXPECT_EQ(format(text, arguments...), expected) << text;
}

TEST(Format, OfNumbersIsThatOfTheCLibrary) {
    for (const int number : {0, 1, -1, 42, -99999, INT_MAX, INT_MIN})
        for (const char* text : {"%d", "<%d>", "%5d", "%-12d|", "%05d", "%+d", "% d", "%.3d",
                                 "%8.3d", "%i", "%x", "%#X", "%o", "%u", "%hd", "%hhd", "%*d"})
            if (std::string(text) == "%*d")
                expectAsInC(text, 9, number);
            else
                expectAsInC(text, number);
    expectAsInC("%-*d|%.*d", 7, 3, 5, 2);
    expectAsInC("%*d|", -7, 3);
    expectAsInC("%.*d|%.*f", -1, 3, -2, 2.5);
    expectAsInC("%ld %lu %lld %llu", LONG_MIN, ULONG_MAX, LLONG_MIN, ULLONG_MAX);
    expectAsInC("%zu %jd %td", static_cast<std::size_t>(7), static_cast<std::intmax_t>(-8),
                static_cast<std::ptrdiff_t>(9));
    for (const double number : {0.0, -1.5, 1e300, 0.1})
        for (const char* text : {"%f", "%.2f", "%g", "%12.4e|", "%a", "%G", "%+F"})
            expectAsInC(text, number);
    expectAsInC("%.3Lf", 2.5L);
    expectAsInC("%p", reinterpret_cast<void*>(0x1234));
}

TEST(Format, OfTextsIsThatOfTheCLibrary) {
    for (const char* text : {"%s", "<%10s>", "<%-10s>", "<%.2s>", "<%-6.2s>", "<%.0s>", "<%.s>"})
        for (const char* value : {"", "a", "hello", "a very long text"})
            expectAsInC(text, value);
    expectAsInC("%c%c|%3c|", 'a', 'b', 'c');
    expectAsInC("100%% %s%%", "x");
    expectAsInC("%s %d %s:%d\n", "name", 7, "file.cpp", 12);
    expectAsInC("");
}

TEST(Format, ShowsANullTextAsSuch) {
    const char* none = nullptr;
    EXPECT_EQ(format("--%s--", none), "--(null)--");
    EXPECT_EQ(format("<%8s>", none), "<  (null)>");
    EXPECT_EQ(format("<%.3s>", none), "<(nu>");
    EXPECT_EQ(format(nullptr), "");
}

TEST(Format, ReadsATextNoFurtherThanItsPrecision) {
    const char open_ended[] = {'a', 'b', 'c'};
    EXPECT_EQ(format("%.3s", open_ended), "abc");
}

TEST(Format, WritesNothingThroughACountConversion) {
    int count = 77;
    EXPECT_EQ(format("a%nb%d", &count, 5), "ab5");
    EXPECT_EQ(count, 77);
}

TEST(Format, StaysAsItIsFromAnUnknownConversionOn) {
    EXPECT_EQ(format("%d %y %s", 1, "x"), "1 %y %s");
    EXPECT_EQ(format("%d %ls", 1, L"x"), "1 %ls");
    EXPECT_EQ(format("%d %lc", 1, 'x'), "1 %lc");
    EXPECT_EQ(format("%d %lhd %s", 1, 2, "x"), "1 %lhd %s");
    EXPECT_EQ(format("%d %Lx", 1, 2), "1 %Lx");
    EXPECT_EQ(format("%lf %zf", 0.5, 0.5), "0.500000 %zf");
    EXPECT_EQ(format("%lp", nullptr), "%lp");
    EXPECT_EQ(format("%d %", 1), "1 %");
    EXPECT_EQ(format("%-5.3"), "%-5.3");
}

TEST(Format, BoundsWidthsThatNobodyMeans) {
    EXPECT_EQ(format("%----------------5d|%++++++++++++++++d", 7, 7), "7    |+7");
    EXPECT_EQ(format("%99999999999d", 1).size(), 4096U);
    EXPECT_EQ(format("%*d", INT_MIN, 1).size(), 4096U);
    EXPECT_EQ(format("%.*d", INT_MAX, 1).size(), 4096U);
    EXPECT_EQ(format("%999999s", "x").size(), 4096U);
}

TEST(Format, HasNoLimitOfLength) {
    const std::string text(200000, 'y');
    EXPECT_EQ(format("<%s%s>", text.c_str(), text.c_str()), "<" + text + text + ">");
    EXPECT_EQ(format("%.300f", 1e300).size(), 301U + 301U);
}
