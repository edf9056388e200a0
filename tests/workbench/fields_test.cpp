// The values of an object in little room: they must read as if each had its own.

#include "workbench/session/fields.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

#include "workbench/model/model.h"
#include "workbench/store/object_data.h"

namespace mervane {
namespace {

Date dateOf(int day) {
    date_s date{};
    date.year = 2024;
    date.month = 1;
    date.day = static_cast<std::uint8_t>(day);
    date.hour = 23;
    date.minute = 59;
    date.second = 58;
    return {date};
}

Value someValue(Kind kind, std::mt19937& random) {
    const int number = static_cast<int>(random() % 28) + 1;
    switch (kind) {
        case Kind::String:
            return std::string(random() % 40, static_cast<char>('a' + number % 26));
        case Kind::Int:
            return std::int64_t{number} << 40;
        case Kind::Double:
            return number / 3.0;
        case Kind::Logical:
            return number % 2 == 0;
        case Kind::Date:
            return dateOf(number);
        case Kind::Reference:
            break;
    }
    return Reference{static_cast<tag_t>(number)};
}

class FieldsTest : public testing::Test {
protected:
    Model model;
    const Type& type = *model.findType("Dataset");  // has single values and arrays
    Fields fields;

    std::size_t place(const char* name) const { return type.by_name.at(name); }
    // Read it from the bytes that the store keeps.
    void read(std::size_t at, bool array, const Values& values) {
        std::vector<AttributeValues> all{{1, &values}};
        const std::string data = objectData(all);
        ObjectReader in(1, data);
        if (in.next())
            fields.read(at, array, in);
        EXPECT_FALSE(in.next());
    }
};

TEST_F(FieldsTest, EveryKindOfValueIsReadAsItCame) {
    const std::vector<Value> all = {std::string("text\0with a zero", 16),
                                    std::int64_t{-1234567890123},
                                    -0.1,
                                    true,
                                    false,
                                    dateOf(29),
                                    Reference{0xFFFFFFFFu},
                                    std::string(),
                                    std::string(70000, 'x')};
    for (std::size_t i = 0; i < all.size(); ++i)
        read(i, false, {all[i]});
    fields.readAll();
    EXPECT_TRUE(fields.opened().empty());
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_EQ(fields.values(i), Values{all[i]}) << i;
        EXPECT_FALSE(fields.isNull(i));
    }
    EXPECT_EQ(fields.text(0), std::get<std::string>(all[0]));
    EXPECT_EQ(fields.text(8).size(), 70000u);
    EXPECT_EQ(fields.reference(6), 0xFFFFFFFFu);
    EXPECT_TRUE(fields.isNull(all.size()));
    EXPECT_TRUE(fields.values(all.size()).empty());
    EXPECT_EQ(fields.text(all.size()), "");
    EXPECT_EQ(fields.reference(all.size()), NULLTAG);
}

TEST_F(FieldsTest, AnArrayHasItsElementsInTheirOrderAlsoIfItIsOne) {
    const std::size_t list = place("ref_list"), names = place("ref_names");
    read(list, true, {Reference{7}, Reference{5}, Reference{7}});
    read(names, true, {std::string("one")});
    fields.readAll();
    EXPECT_EQ(fields.list(list), (Values{Reference{7}, Reference{5}, Reference{7}}));
    EXPECT_EQ(fields.list(names), Values{std::string("one")});
}

TEST_F(FieldsTest, ASecondValueWhereOneBelongsIsNotLost) {
    const std::size_t name = place("object_name");
    read(name, false, {std::string("one"), std::string("two")});
    EXPECT_EQ(fields.values(name), (Values{std::string("one"), std::string("two")}));
    EXPECT_EQ(fields.text(name), "one");
    fields.settle(type);
    EXPECT_EQ(fields.values(name), (Values{std::string("one"), std::string("two")}));
}

TEST_F(FieldsTest, WhatDiffersFromTheStoreStaysSoWhenTheRestIsStored) {
    const std::size_t name = place("object_name"), text = place("object_desc");
    read(name, false, {std::string("before")});
    Field& aside = fields.open(name);
    aside.stored = std::make_unique<Values>(aside.values);
    aside.values = {std::string("unsaved")};
    Field& saved = fields.open(text);
    saved.values = {std::string("saved")};
    saved.dirty = true;
    EXPECT_TRUE(fields.anyDirty());
    EXPECT_TRUE(fields.settle(type));
    EXPECT_FALSE(fields.anyDirty());
    ASSERT_NE(fields.find(name), nullptr);
    EXPECT_EQ(*fields.find(name)->stored, Values{std::string("before")});
    EXPECT_EQ(fields.text(name), "unsaved");
    EXPECT_EQ(fields.find(text), nullptr);
    EXPECT_EQ(fields.text(text), "saved");
    fields.open(name).dirty = true;
    EXPECT_FALSE(fields.settle(type));
    EXPECT_EQ(fields.find(name), nullptr);
    EXPECT_EQ(fields.text(name), "unsaved");
}

// Against one list of values for each place.
TEST_F(FieldsTest, AnyOrderOfReadingChangingAndStoringReadsAsPlainLists) {
    for (unsigned seed = 1; seed <= 200; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        fields.clear();
        std::map<std::size_t, Values> model_values;
        std::map<std::size_t, bool> dirty;
        const auto compare = [&] {
            for (std::size_t at = 0; at < type.layout.size(); ++at) {
                const Values& known = model_values[at];
                ASSERT_EQ(fields.values(at), known) << at;
                ASSERT_EQ(fields.isNull(at), known.empty());
                ASSERT_EQ(fields.isDirty(at), dirty[at]);
                const Attribute& attribute = *type.layout[at];
                if (attribute.array) {
                    ASSERT_EQ(fields.list(at), known);
                } else if (attribute.kind == Kind::String) {
                    ASSERT_EQ(fields.text(at),
                              known.empty() ? "" : std::get<std::string>(known.front()));
                } else if (attribute.kind == Kind::Reference) {
                    ASSERT_EQ(fields.reference(at),
                              known.empty() ? NULLTAG : std::get<Reference>(known.front()).tag);
                }
            }
        };
        for (std::size_t at = 0; at < type.layout.size(); ++at) {
            const Attribute& attribute = *type.layout[at];
            Values& known = model_values[at];
            for (std::size_t i = random() % (attribute.array ? 4 : 2); i > 0; --i)
                known.push_back(someValue(attribute.kind, random));
            read(at, attribute.array, known);
        }
        fields.readAll();
        compare();
        for (int step = 0; step < 30 && !HasFailure(); ++step) {
            const std::size_t at = random() % type.layout.size();
            const Attribute& attribute = *type.layout[at];
            if (random() % 4 == 0) {
                EXPECT_FALSE(fields.settle(type));
                dirty.clear();
            } else {
                Values values;
                for (std::size_t i = random() % (attribute.array ? 4 : 2); i > 0; --i)
                    values.push_back(someValue(attribute.kind, random));
                Field& field = fields.open(at);
                ASSERT_EQ(field.values, model_values[at]);
                field.values = values;
                field.dirty = true;
                model_values[at] = values;
                dirty[at] = true;
            }
            compare();
        }
        if (HasFailure())
            return;
    }
}

}  // namespace
}  // namespace mervane
