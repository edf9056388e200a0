#include <gtest/gtest.h>

#include <random>

#include "workbench/session/bom_window.h"

namespace mervane {
namespace {

TEST(Quantities, DigitsWithAtMostOnePointAreDecimal) {
    for (const char* right : {"0", "12", "1.5", ".5", "5.", "000", "99999999999999999999999"})
        EXPECT_TRUE(isDecimal(right)) << right;
    for (const char* wrong : {"", ".", "..", "1.2.3", "-1", "+1", " 1", "1 ", "1e3", "1,5", "x"})
        EXPECT_FALSE(isDecimal(wrong)) << wrong;
}

TEST(Quantities, SumsAreExactAndWrittenWithoutNeedlessZeros) {
    EXPECT_EQ("0.3", addDecimals("0.1", "0.2"));
    EXPECT_EQ("1", addDecimals("0.5", "0.5"));
    EXPECT_EQ("0", addDecimals("0", "0.00"));
    EXPECT_EQ("100", addDecimals("99", "1"));
    EXPECT_EQ("10.05", addDecimals("9.95", ".10"));
    EXPECT_EQ("7", addDecimals("003", "4."));
    EXPECT_EQ("100000000000000000000000000000", addDecimals("99999999999999999999999999999", "1"));
}

TEST(Quantities, SumsAreThoseOfWholeNumbers) {
    std::mt19937 random(20250711);
    for (int i = 0; i < 20000; ++i) {
        const unsigned a = random() % 1000000, b = random() % 1000000;
        const auto text = [](unsigned thousandths) {
            std::string rest = std::to_string(thousandths % 1000);
            return std::to_string(thousandths / 1000) + "." + std::string(3 - rest.size(), '0') +
                   rest;
        };
        std::string expected = text(a + b);
        expected.erase(expected.find_last_not_of('0') + 1);
        if (expected.back() == '.')
            expected.pop_back();
        ASSERT_EQ(expected, addDecimals(text(a), text(b))) << text(a) << " + " << text(b);
    }
}

}  // namespace
}  // namespace mervane
