// The bytes in which the store keeps the values of an object.

#include "workbench/store/object_data.h"

#include <gmock/gmock.h>

#include <limits>
#include <random>

using namespace mervane;
using testing::ElementsAre;

namespace {

constexpr tag_t kFirst = 0x90000001U;

std::string dataOf(std::vector<std::pair<tag_t, Values>> all) {
    std::vector<AttributeValues> values;
    for (const auto& [attribute, its] : all)
        values.push_back({attribute, &its});
    return objectData(values);
}

std::vector<std::pair<tag_t, Values>> read(const std::string& data) {
    std::vector<std::pair<tag_t, Values>> all;
    ObjectReader in(7, data);
    while (in.next()) {
        const Kind kind = in.kind();
        all.emplace_back(in.attribute(), in.values());
        for (const Value& value : all.back().second)
            EXPECT_EQ(kindOf(value), kind);
    }
    return all;
}

std::string hex(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) {
        char two[3];
        std::snprintf(two, sizeof two, "%02x", static_cast<unsigned char>(byte));
        text += two;
    }
    return text;
}

const std::vector<std::pair<tag_t, Values>>& some() {
    static const std::vector<std::pair<tag_t, Values>> kAll = {
        {kFirst, {std::string("text")}},
        {kFirst + 1, {std::string(), std::string("\0\xff", 2), std::string(300, 'x')}},
        {kFirst + 2, {std::int64_t{-1}}},
        {kFirst + 3,
         {std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()}},
        {kFirst + 4, {-0.0}},
        {kFirst + 5, {true, false, true}},
        {kFirst + 6, {Date{{2026, 10, 23, 3, 59, 1}}}},
        {kFirst + 7, {Reference{2147483647}, Reference{NULLTAG}, Reference{1}}},
        {kFirst + 8, {Reference{17}}}};
    return kAll;
}

}  // namespace

TEST(ObjectData, HasTheValuesInTheOrderOfTheirAttributes) {
    auto turned = some();
    std::reverse(turned.begin(), turned.end());
    EXPECT_EQ(read(dataOf(turned)), some());
    EXPECT_EQ(dataOf(turned), dataOf(some())) << "equal values are equal bytes";
    EXPECT_EQ(dataOf({}), "");
    EXPECT_EQ(dataOf({{kFirst, {}}}), "") << "null takes no room";
}

TEST(ObjectData, IsTheSameOnEveryMachine) {
    EXPECT_EQ(hex(dataOf({{0x80000001U, {std::string("A")}}})),
              "81808080080001"
              "41");
    EXPECT_EQ(hex(dataOf({{5, {Reference{300}, Reference{1}}}})),
              "050d02"
              "ac0201");
    EXPECT_EQ(hex(dataOf({{5, {1.0}}})),
              "0502"
              "000000000000f03f");
    EXPECT_EQ(hex(dataOf({{5, {Date{{2026, 10, 23, 3, 59, 1}}}}})),
              "0504"
              "d41f0a17033b01");
    EXPECT_EQ(hex(dataOf({{5, {std::int64_t{-2}}}})), "050103");
}

TEST(ObjectData, OfAChangeKeepsTheRestAndTellsWhatWasBefore) {
    const std::string data = dataOf(some());
    const Values longer(5, Value{std::string("new")}), none, added{std::int64_t{1}};
    std::vector<AttributeValues> changed{
        {kFirst + 9, &added}, {kFirst + 1, &longer}, {kFirst + 8, &none}, {3, &added}};
    std::vector<Values> before;
    const std::string after = changedData(7, data, changed, before);
    auto expected = some();
    expected[1].second = longer;
    expected.pop_back();
    expected.insert(expected.begin(), {3, added});
    expected.emplace_back(kFirst + 9, added);
    EXPECT_EQ(read(after), expected);
    EXPECT_THAT(before, ElementsAre(Values{}, some()[1].second, some()[8].second, Values{}))
        << "in the order of the attributes";
    EXPECT_EQ(changed[0].attribute, 3u);
}

TEST(ObjectData, GivesTheFirstValueOfOneAttribute) {
    const std::string data = dataOf(some());
    EXPECT_EQ(firstText(7, data, kFirst), "text");
    EXPECT_EQ(firstText(7, data, kFirst + 1), "");
    EXPECT_EQ(firstText(7, data, kFirst + 2), std::nullopt) << "of another kind";
    EXPECT_EQ(firstText(7, data, 1), std::nullopt);
    EXPECT_EQ(firstReference(7, data, kFirst + 7), 2147483647u);
    EXPECT_EQ(firstReference(7, data, kFirst), std::nullopt);
    EXPECT_EQ(firstReference(7, data, kFirst + 20), std::nullopt);
}

TEST(ObjectData, ThatIsCutOrChangedIsReadOrRefusedAndNothingBeyondItIsRead) {
    const std::string data = dataOf(some());
    const auto readAll = [](std::string_view bytes) {
        // At its own place, so that a byte too far is seen by the sanitizer.
        const std::vector<char> exact(bytes.begin(), bytes.end());
        ObjectReader in(7, {exact.data(), exact.size()});
        try {
            while (in.next())
                (void)in.values();
            return true;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.status(), kStoreFailure);
            EXPECT_STREQ(failure.what(), "the object #7 is damaged");
            return false;
        }
    };
    std::size_t refused = 0;
    for (std::size_t length = 0; length < data.size(); ++length)
        refused += !readAll(std::string_view(data).substr(0, length));
    EXPECT_EQ(refused, data.size() - some().size()) << "a whole number of attributes is an object";
    std::mt19937 random(1);
    for (int time = 0; time < 20000; ++time) {
        std::string changed = data;
        for (unsigned i = random() % 4 + 1; i > 0; --i)
            changed[random() % changed.size()] = static_cast<char>(random());
        (void)readAll(changed);
    }
}
