#include "workbench/import/json_document.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "workbench/import/base64.h"
#include "workbench/import/json_writer.h"
#include "workbench/model/status.h"
#include "workbench/utf8.h"
#include "workbench/workbench.h"

using mervane::Failure;
using mervane::JsonDocument;
using mervane::JsonNode;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

template <typename Body>
std::string refusalOf(const std::string& text, Body&& body) {
    std::istringstream in(text);
    try {
        const JsonDocument document(in, "w.json");
        body(document);
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.status(), mervane::kBadImport);
        return failure.what();
    }
    return "not refused";
}

std::string refusal(const std::string& text) {
    return refusalOf(text, [](const JsonDocument&) {});
}

// Of a value that a document has as "v".
template <typename Body>
std::string refusal(const std::string& value, Body&& body) {
    return refusalOf("{\"v\": " + value + "}",
                     [&](const JsonDocument& document) { body(document.at("v")->root()); });
}

}  // namespace

TEST(JsonDocuments, ASyntaxErrorNamesLineAndColumn) {
    EXPECT_THAT(refusal("{\n  \"a\": 1,\n  b\n}"), StartsWith("w.json:3:3: "));
    EXPECT_THAT(refusal(""), StartsWith("w.json:1:1: "));
    EXPECT_THAT(refusal("{\"a\": 1"), StartsWith("w.json:1:8: "));
    EXPECT_THAT(refusal("[1] x"), StartsWith("w.json:1:5: "));
    EXPECT_THAT(refusal("[01]"), StartsWith("w.json:1:3: "));
    EXPECT_THAT(refusal("[\"\xFF\"]"), StartsWith("w.json:1:3: "));
    EXPECT_THAT(refusal(std::string("[\0]", 3)), StartsWith("w.json:1:2: "));
    EXPECT_THAT(refusal("[1e999]"), HasSubstr("w.json"));
}

TEST(JsonDocuments, AKeyThatOccursTwiceIsRefusedWithItsPath) {
    EXPECT_EQ(refusal("{\"a\": [1, {\"b\": {}, \"c\": 2, \"b\": 3}]}"),
              "w.json: $.a[1].b: expected each key once, found it twice");
    EXPECT_EQ(refusal("{\"a\": {\"x\": 1}, \"b\": {\"x\": 1}}"), "not refused");
}

TEST(JsonDocuments, DeepNestingIsRefused) {
    EXPECT_EQ(refusal(std::string(64, '[') + std::string(64, ']')), "not refused");
    EXPECT_THAT(refusal(std::string(65, '[') + std::string(65, ']')),
                HasSubstr("expected at most 64 values in one another"));
    EXPECT_THAT(refusal(std::string(1'000'000, '[')), HasSubstr("expected at most 64 values"));
}

TEST(JsonDocuments, BlanksWithoutAnEndAreRefused) {
    EXPECT_THAT(refusal(std::string(17u << 20, ' ')), HasSubstr("found only white space"));
}

TEST(JsonDocuments, AnUnknownKeyIsRefusedWithTheNearestKnownOne) {
    const auto allow = [](const auto& value) { value.allow({"revision", "quantity", "notes"}); };
    EXPECT_EQ(refusal("{\"quantitiy\": 1}", allow),
              "w.json: $.v: unknown key \"quantitiy\" (nearest: \"quantity\")");
    EXPECT_EQ(refusal("{\"zzzzzzzzz\": 1}", allow), "w.json: $.v: unknown key \"zzzzzzzzz\"");
    EXPECT_EQ(refusal("{\"y\": 1, \"x\": 1}", allow), "w.json: $.v: unknown key \"x\"");
    EXPECT_EQ(refusal("[]", allow), "w.json: $.v: expected an object, found an array");
    EXPECT_EQ(refusal("{\"notes\": 1}", allow), "not refused");
    EXPECT_EQ(refusalOf("{\"quantitiy\": 1}", allow),
              "w.json: $: unknown key \"quantitiy\" (nearest: \"quantity\")");
    EXPECT_EQ(refusalOf("[1, [2]]", allow), "w.json: $: expected an object, found an array");
    EXPECT_EQ(refusalOf("\"x\"", allow), "w.json: $: expected an object, found a string");
    EXPECT_EQ(refusalOf("{\"notes\": [1]}", allow), "not refused");
}

TEST(JsonDocuments, AValueOfAnotherKindIsRefusedWithItsPath) {
    const std::string text = "{\"a\": [\"x\", 1, 1.5, true, null, {}, [[], {\"\": -1}]]}";
    const auto at = [&](std::size_t index, auto read) {
        return refusal(text, [&](const JsonNode& value) { read(value.at("a").elements()[index]); });
    };
    EXPECT_EQ(at(0, [](const JsonNode& n) { n.integer(); }),
              "w.json: $.v.a[0]: expected an integer, found a string");
    EXPECT_EQ(at(1, [](const JsonNode& n) { n.text(); }),
              "w.json: $.v.a[1]: expected a string, found an integer");
    EXPECT_EQ(at(2, [](const JsonNode& n) { n.integer(); }),
              "w.json: $.v.a[2]: expected an integer, found a number with a fraction");
    EXPECT_EQ(at(3, [](const JsonNode& n) { n.number(); }),
              "w.json: $.v.a[3]: expected a number, found true or false");
    EXPECT_EQ(at(4, [](const JsonNode& n) { n.logical(); }),
              "w.json: $.v.a[4]: expected true or false, found null");
    EXPECT_EQ(at(5, [](const JsonNode& n) { n.elements(); }),
              "w.json: $.v.a[5]: expected an array, found an object");
    EXPECT_EQ(at(5, [](const JsonNode& n) { n.at("b"); }),
              "w.json: $.v.a[5]: expected the key \"b\", found none");
    EXPECT_EQ(at(6, [](const JsonNode& n) { n.elements()[1].at("").text(); }),
              "w.json: $.v.a[6][1].: expected a string, found an integer");
}

TEST(JsonDocuments, NumbersBeyond64BitsAndTextsWithNulAreRefused) {
    EXPECT_THAT(refusal("{\"a\": 9223372036854775808}",
                        [](const JsonNode& value) { value.at("a").integer(); }),
                HasSubstr("$.v.a: expected an integer of 64 bits"));
    EXPECT_THAT(
        refusal("{\"a\": \"a\\u0000b\"}", [](const JsonNode& value) { value.at("a").text(); }),
        HasSubstr("$.v.a: expected a string without the character NUL"));
}

TEST(JsonDocuments, EveryKindOfValueComesBack) {
    std::istringstream in(
        "{\"v\": {\"min\": -9223372036854775808, \"max\": 9223372036854775807, \"zero\": -0, "
        "\"real\": -1.5e-3, \"large\": 18446744073709551615, \"yes\": true, \"no\": false, "
        "\"text\": \"\\u00e4\\n\", \"none\": null, \"long\": \"" +
        std::string(1000, 'x') + "\"}}");
    const JsonDocument document(in, "w.json");
    const auto tree = document.at("v");
    const JsonNode value = tree->root();
    EXPECT_EQ(value.at("min").integer(), INT64_MIN);
    EXPECT_EQ(value.at("max").integer(), INT64_MAX);
    EXPECT_EQ(value.at("zero").integer(), 0);
    EXPECT_EQ(value.at("min").number(), -9223372036854775808.0);
    EXPECT_EQ(value.at("real").number(), -1.5e-3);
    EXPECT_EQ(value.at("large").number(), 18446744073709551615.0);
    EXPECT_TRUE(value.at("yes").logical());
    EXPECT_FALSE(value.at("no").logical());
    EXPECT_EQ(value.at("text").text(), "\xC3\xA4\n");
    EXPECT_TRUE(value.at("none").isNull());
    EXPECT_EQ(value.at("long").text(), std::string(1000, 'x'));
    EXPECT_FALSE(value.find("other").has_value());
    EXPECT_EQ(document.find("other"), nullptr);
}

TEST(JsonDocuments, MembersComeInTheOrderOfTheirNamesWhateverTheirNumber) {
    for (const int count : {0, 1, 2, 15, 16, 17, 18, 300}) {
        std::string text = "{\"v\": {", twice;
        std::vector<std::string> names;
        for (int i = count; i > 0; --i) {
            names.push_back("k" + std::to_string(i * 7919 % 1000));
            text += "\"" + names.back() + "\": {\"b\": [" + std::to_string(i) + "], \"a\": 1}, ";
        }
        std::sort(names.begin(), names.end());
        std::istringstream in(text + "\"z\": 0}}");
        const JsonDocument document(in, "w.json");
        const auto tree = document.at("v");
        const auto members = tree->root().members();
        ASSERT_EQ(members.size(), names.size() + 1);
        for (std::size_t i = 0; i < names.size(); ++i) {
            EXPECT_EQ(members[i].first, names[i]);
            const auto b = members[i].second.at("b").elements();
            ASSERT_EQ(b.size(), 1u);
            EXPECT_EQ(b[0].integer() * 7919 % 1000, std::stoi(names[i].substr(1)));
            EXPECT_EQ(b[0].path(), "$.v." + names[i] + ".b[0]");
        }
        if (count > 0) {
            EXPECT_EQ(refusal(text + "\"k919\": 0}}"),
                      "w.json: $.v.k919: expected each key once, found it twice")
                << count;
        }
    }
}

TEST(JsonDocuments, AListIsReadElementByElementAndAnyOfThemAgain) {
    std::istringstream in(
        "{\"b\": [], \"a\": [1, \"two\", [3, 4], {\"x\": {\"y\": 5}}, []], \"c\": {\"d\": 6}}");
    const JsonDocument document(in, "w.json");
    const mervane::JsonList list = document.list("a");
    ASSERT_EQ(list.size(), 5u);
    std::vector<mervane::JsonPlace> places;
    std::vector<std::string> paths;
    for (const JsonNode& node : list) {
        places.push_back(node.tree().place());
        paths.push_back(node.path());
    }
    EXPECT_EQ(paths, (std::vector<std::string>{"$.a[0]", "$.a[1]", "$.a[2]", "$.a[3]", "$.a[4]"}));
    const auto last = list.again(places[3]), first = list.again(places[0]);
    EXPECT_EQ(first->root().integer(), 1);
    EXPECT_EQ(last->root().at("x").at("y").integer(), 5);
    EXPECT_EQ(last->root().at("x").at("y").path(), "$.a[3].x.y");
    EXPECT_TRUE(document.list("b").empty());
    EXPECT_TRUE(document.list("none").empty());
    EXPECT_EQ(document.at("c")->root().at("d").integer(), 6);
    EXPECT_EQ(refusalOf("{\"a\": {}}", [](const JsonDocument& d) { d.list("a"); }),
              "w.json: $.a: expected an array, found an object");
}

TEST(JsonDocuments, LongDocumentsAreReadAsShortOnesAre) {
    // Elements of all lengths about that of a block, so that they begin and end anywhere in one.
    constexpr int kCount = 400;
    std::string text = "{\"a\": [\n";
    const auto length = [](int i) { return static_cast<std::size_t>(i * 331 + i % 7); };
    for (int i = 0; i < kCount; ++i)
        text += (i ? ",\n" : "") +
                ("\"" + std::string(length(i), static_cast<char>('a' + i % 26))) + "\"";
    std::istringstream in(text + "\n]}");
    const JsonDocument document(in, "w.json");
    int i = 0;
    for (const JsonNode& node : document.list("a")) {
        ASSERT_TRUE(node.text() == std::string(length(i), static_cast<char>('a' + i % 26))) << i;
        ++i;
    }
    EXPECT_EQ(i, kCount);
    EXPECT_THAT(refusal(text + "\n}"), StartsWith("w.json:402:1: "));
    EXPECT_THAT(refusal(text + " x"), StartsWith("w.json:401:" + std::to_string(length(399) + 4)));
    EXPECT_THAT(refusal(text), StartsWith("w.json:401:" + std::to_string(length(399) + 3)));
}

TEST(NearestNames, TheLeastDifferentOneIsFoundAndNoneIfNoneIsAlike) {
    EXPECT_EQ(mervane::nearestName("obect_name", {"object_desc", "object_name"}), "object_name");
    EXPECT_EQ(mervane::nearestName("xyz", {"object_desc", "object_name"}), "");
}

TEST(JsonWriting, MembersHaveLinesOfTheirOwnAndInlineArraysStayOnOne) {
    std::ostringstream out;
    mervane::JsonWriter json(out);
    json.beginObject();
    json.key("a");
    json.beginArray();
    json.beginObject();
    json.key("b\"");
    json.text("x\n\x01");
    json.endObject();
    json.endArray();
    json.key("c");
    json.beginArray(true);
    json.integer(-1);
    json.number(1.0);
    json.number(0.1);
    json.logical(true);
    json.null();
    json.endArray();
    json.key("d");
    json.beginArray();
    json.endArray();
    json.endObject();
    json.finish();
    EXPECT_EQ(out.str(),
              "{\n  \"a\": [\n    {\n      \"b\\\"\": \"x\\n\\u0001\"\n    }\n  ],\n"
              "  \"c\": [-1, 1.0, 0.1, true, null],\n  \"d\": []\n}\n");
}

TEST(Base64, EveryLengthAndByteComesBack) {
    std::string bytes;
    for (int i = 0; i < 300; ++i) {
        const auto back = mervane::fromBase64(mervane::toBase64(bytes));
        ASSERT_TRUE(back.has_value()) << i;
        EXPECT_EQ(*back, bytes);
        bytes += static_cast<char>(i * 7);
    }
    EXPECT_EQ(mervane::toBase64("Ma"), "TWE=");
}

TEST(Base64, WhatIsNotCanonicalIsRefused) {
    for (const char* bad : {"A", "AA", "AAA", "AA=A", "A===", "====", "TWF=", "TW==TWFu", "TWF\n",
                            "TW F", "TWFu=", "_-AA", "TX=="})
        EXPECT_FALSE(mervane::fromBase64(bad).has_value()) << bad;
    EXPECT_TRUE(mervane::fromBase64("").has_value());
}

TEST(Utf8, OnlyWellFormedTextIsTaken) {
    for (const char* good : {"", "a", "\xC3\xA4", "\xED\x9F\xBF", "\xEF\xBF\xBF",
                             "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"})
        EXPECT_TRUE(mervane::isUtf8(good)) << good;
    for (const char* bad : {"\x80", "\xC3", "\xC0\x80", "\xC1\xBF", "\xE0\x80\x80", "\xED\xA0\x80",
                            "\xF0\x80\x80\x80", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF",
                            "\xE2\x82", "a\xE2\x28\xA1"})
        EXPECT_FALSE(mervane::isUtf8(bad)) << bad;
}

TEST(Utf8, ACutLeavesNoPartOfACharacterAtTheEnd) {
    const std::string text = "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x94\xA7z";  // 1, 2, 3, 4 and 1 bytes
    const std::size_t kept[] = {0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10, 11, 11};
    for (std::size_t limit = 0; limit < std::size(kept); ++limit)
        EXPECT_EQ(mervane::cutUtf8(text, limit), text.substr(0, kept[limit])) << limit;
    EXPECT_EQ(mervane::cutUtf8("", 0), "");
    EXPECT_EQ(mervane::cutUtf8("\x80\x80\x80", 2), "") << "bytes that begin no character";
}
