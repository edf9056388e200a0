// The table of labels: every label is found with its number, and no other one.

#include "workbench/import/labels.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <random>

using mervane::Labels;
using mervane::TextTable;

namespace {

template <typename Table>
std::vector<std::string> texts(Table& table) {
    std::vector<std::string> all;
    table.forEach([&](std::string_view text, std::uint32_t&) { all.emplace_back(text); });
    return all;
}

}  // namespace

TEST(Labels, OfAnExportAndOthersAreFoundAlike) {
    Labels labels;
    EXPECT_FALSE(labels.find("o1").has_value());
    for (const char* label : {"o1", "o2", "o3", "x", "o5", "o4", "", "o", "o0", "o01", "o-1", "O1",
                              "o99999999999999999999999999"})
        EXPECT_TRUE(labels.add(label, static_cast<std::uint32_t>(std::string(label).size())))
            << label;
    for (const char* label : {"o1", "o3", "x", "o5", "o4", "", "o", "o0", "o01"}) {
        EXPECT_EQ(labels.find(label), std::string(label).size()) << label;
        EXPECT_FALSE(labels.add(label, 0)) << label;
    }
    for (const char* label : {"o6", "o7", "o001", "o1 ", " o1", "o1x", "o+1", "p1"})
        EXPECT_FALSE(labels.find(label).has_value()) << label;
    EXPECT_EQ(texts(labels),
              (std::vector<std::string>{"o1", "o2", "o3", "x", "o5", "o4", "", "o", "o0", "o01",
                                        "o-1", "O1", "o99999999999999999999999999"}));
}

TEST(Labels, KeepTheNumberThatTheyWereGivenLast) {
    Labels labels;
    for (const char* label : {"o1", "o2", "a", "b"})
        labels.add(label, 7);
    std::uint32_t next = 10;
    labels.forEach([&](std::string_view, std::uint32_t& value) {
        EXPECT_EQ(value, 7u);
        value = next++;
    });
    EXPECT_EQ(labels.find("o2"), 11u);
    EXPECT_EQ(labels.find("b"), 13u);
}

TEST(TextTables, HaveWhatAMapHas) {
    TextTable table;
    std::map<std::string, std::uint32_t> map;
    std::vector<std::string> order;
    std::mt19937 random(1);
    for (int i = 0; i < 60000; ++i) {
        std::string text = std::to_string(random() % 40000);
        // Some are longer than a length of one byte holds, a few longer than a block.
        if (random() % 64 == 0)
            text.append(random() % 300, 'x');
        if (i % 20000 == 9)
            text.append(300000, 'y');
        const auto value = static_cast<std::uint32_t>(random());
        const bool fresh = map.try_emplace(text, value).second;
        ASSERT_EQ(table.add(text, value), fresh) << text;
        if (fresh)
            order.push_back(text);
    }
    EXPECT_EQ(table.size(), map.size());
    for (const auto& [text, value] : map) {
        const char* const entry = table.find(text);
        ASSERT_NE(entry, nullptr) << text;
        ASSERT_EQ(TextTable::valueOf(entry), value) << text;
    }
    EXPECT_EQ(table.find("40001"), nullptr);
    EXPECT_EQ(texts(table), order);
}
