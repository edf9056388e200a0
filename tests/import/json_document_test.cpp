#include "workbench/import/json_document.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
std::string refusal(const std::string& text, Body&& body) {
    std::istringstream in(text);
    try {
        const JsonDocument document(in, "w.json");
        body(document.root());
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.status(), mervane::kBadImport);
        return failure.what();
    }
    return "not refused";
}

std::string refusal(const std::string& text) {
    return refusal(text, [](const JsonNode&) {});
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
    const auto allow = [](const JsonNode& root) { root.allow({"revision", "quantity", "notes"}); };
    EXPECT_EQ(refusal("{\"quantitiy\": 1}", allow),
              "w.json: $: unknown key \"quantitiy\" (nearest: \"quantity\")");
    EXPECT_EQ(refusal("{\"zzzzzzzzz\": 1}", allow), "w.json: $: unknown key \"zzzzzzzzz\"");
    EXPECT_EQ(refusal("[]", allow), "w.json: $: expected an object, found an array");
    EXPECT_EQ(refusal("{\"notes\": 1}", allow), "not refused");
}

TEST(JsonDocuments, AValueOfAnotherKindIsRefusedWithItsPath) {
    const std::string text = "{\"a\": [\"x\", 1, 1.5, true, null, {}]}";
    const auto at = [&](std::size_t index, auto read) {
        return refusal(text, [&](const JsonNode& root) { read(root.at("a").elements()[index]); });
    };
    EXPECT_EQ(at(0, [](const JsonNode& n) { n.integer(); }),
              "w.json: $.a[0]: expected an integer, found a string");
    EXPECT_EQ(at(1, [](const JsonNode& n) { n.text(); }),
              "w.json: $.a[1]: expected a string, found an integer");
    EXPECT_EQ(at(2, [](const JsonNode& n) { n.integer(); }),
              "w.json: $.a[2]: expected an integer, found a number with a fraction");
    EXPECT_EQ(at(3, [](const JsonNode& n) { n.number(); }),
              "w.json: $.a[3]: expected a number, found true or false");
    EXPECT_EQ(at(4, [](const JsonNode& n) { n.logical(); }),
              "w.json: $.a[4]: expected true or false, found null");
    EXPECT_EQ(at(5, [](const JsonNode& n) { n.elements(); }),
              "w.json: $.a[5]: expected an array, found an object");
    EXPECT_EQ(at(5, [](const JsonNode& n) { n.at("b"); }),
              "w.json: $.a[5]: expected the key \"b\", found none");
}

TEST(JsonDocuments, NumbersBeyond64BitsAndTextsWithNulAreRefused) {
    EXPECT_THAT(refusal("[9223372036854775808]",
                        [](const JsonNode& root) { root.elements()[0].integer(); }),
                HasSubstr("$[0]: expected an integer of 64 bits"));
    EXPECT_THAT(refusal("[\"a\\u0000b\"]", [](const JsonNode& root) { root.elements()[0].text(); }),
                HasSubstr("$[0]: expected a string without the character NUL"));
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
