#include <gtest/gtest.h>

#include <cstring>

#include "platform/keld_basetool.h"

TEST(Assignment, OfAParameterLineCopiesTextAndSeparator) {
    CKELD_ParamLine target("x", ';');
    const CKELD_ParamLine source("a=b", '=');
    EXPECT_EQ(&(target = source), &target);
    EXPECT_EQ(std::memcmp(&target, &source, sizeof(source)), 0);
    char out[1025] = "";
    EXPECT_EQ(target.GetParamString(1, out), 1);
    EXPECT_STREQ(out, "b");
}

TEST(Assignment, OfADateCopiesAllItsBytes) {
    CKELD_Datum source;
    source.m_dsDate.year = 2013;
    source.m_dsDate.month = 10;
    source.m_dsDate.day = 14;
    CKELD_Datum target;
    EXPECT_EQ(&(target = source), &target);
    EXPECT_EQ(std::memcmp(&target, &source, sizeof(source)), 0);
}

TEST(Assignment, OfATextClassGivesTheTarget) {
    CKELD_String source;
    CKELD_String target;
    EXPECT_EQ(&(target = source), &target);
}

TEST(Assignment, ToItselfChangesNothing) {
    CKELD_ParamLine line("a;b", ';');
    CKELD_ParamLine& same = line;
    line = same;
    char out[1025] = "";
    EXPECT_EQ(line.GetParamString(1, out), 1);
    EXPECT_STREQ(out, "b");
}
