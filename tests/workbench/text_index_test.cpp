// Searches within ids and names find the same with and without an index of texts.

#include <algorithm>
#include <random>
#include <sstream>

#include "tests/workbench/run_support.h"

using namespace mervane;
using namespace mervane::test;

namespace {

using Texts = std::vector<std::string>;

// Letters of one byte and of several, a quote, a blank, and bytes that are no characters.
const Texts kLetters = {"a", "a", "a",  "a", "a",    "b",    "b",    "b",    "b",
                        "b", "ü", "ü",  "ü", "ü",    "漢",   "漢",   "漢",   "ж",
                        "𝄞", "A", "\"", " ", "\xC3", "\xC3", "\xA9", "\x80", "\x01"};
const Texts kRareLetters = {"\xFF", "\xED\xA0", "\xF0", "\xC1\x81", "\xEF\xBF\xBF", "\xE6"};
const std::string kNul(1, '\0');

std::string randomText(std::mt19937& random, std::size_t longest, bool nul) {
    std::string text;
    for (std::size_t length = random() % (longest + 1); length > 0; --length) {
        const Texts& letters = random() % 25 == 0 ? kRareLetters : kLetters;
        text += nul && random() % 60 == 0 ? kNul : letters[random() % letters.size()];
    }
    return text;
}

// Parts of texts between wildcards, mostly from the beginning of a character on; some letters.
std::string randomPattern(std::mt19937& random, const Texts& texts) {
    std::string pattern = random() % 4 == 0 ? randomText(random, 2, false) : "";
    for (int runs = 1 + static_cast<int>(random() % 2); runs > 0; --runs) {
        pattern += random() % 8 == 0 ? "?" : "*";
        std::string part = texts[random() % texts.size()];
        part = random() % 4 == 0 || part.empty()
                   ? randomText(random, 5, false)
                   : part.substr(random() % part.size(), 4 + random() % 10);
        if (random() % 8 != 0)
            while (!part.empty() && (static_cast<unsigned char>(part.front()) & 0xC0) == 0x80)
                part.erase(0, 1);
        pattern += part;
    }
    return pattern + (random() % 4 == 0 ? "" : random() % 8 == 0 ? "?" : "*");
}

}  // namespace

class TextIndex : public OnBothStores {
protected:
    static std::vector<tag_t> find(const std::string& text, const std::string& type = "Folder") {
        std::vector<tag_t> tags;
        for (const Found& each : bench().find({text, type, "", 0}))
            tags.push_back(each.tag);
        return tags;
    }
    static std::int64_t waiting() { return bench().textIndex().value().waiting; }
    void isSound() { EXPECT_EQ(errorsIn(bench().check(store_, false)), Texts{}); }
    // More folders than the index takes in one go.
    static void makeMany(const std::string& name) {
        for (int i = 0; i < 1100; ++i)
            bench().createFolder(name + std::to_string(i));
    }
};
ON_BOTH_STORES(TextIndex);

TEST_P(TextIndex, IsNotThereUntilAnAdministratorMakesIt) {
    EXPECT_FALSE(bench().textIndex());
    bench().createFolder("Bracket");
    bench().createGroup("design", "");
    bench().createUser("miller", "", "design");
    anotherSession("miller");
    EXPECT_EQ(statusOf([] { bench().setTextIndex(true); }), kNotAllowed);
    EXPECT_FALSE(bench().textIndex());
    use(first_);
    bench().setTextIndex(true);
    const auto made = bench().textIndex();
    ASSERT_TRUE(made);
    EXPECT_GT(made->texts, 2);
    EXPECT_GT(made->bytes, 0);
    EXPECT_EQ(made->waiting, 0);
    bench().setTextIndex(true);
    EXPECT_EQ(bench().textIndex()->texts, made->texts) << "made anew";
    isSound();
    anotherSession("miller");
    EXPECT_EQ(statusOf([] { bench().setTextIndex(false); }), kNotAllowed);
    use(first_);
    bench().setTextIndex(false);
    EXPECT_FALSE(bench().textIndex());
    bench().setTextIndex(false);
    EXPECT_EQ(find("*rack*").size(), 1u);
    isSound();
}

TEST_P(TextIndex, FindsTheSameOfRandomTextsAsASearchWithoutIt) {
    std::mt19937 random(20261122);
    bench().setTextIndex(true);
    Texts texts;
    std::vector<tag_t> folders;
    bench().asOne([&] {
        for (int i = 0; i < 1500; ++i) {
            texts.push_back(randomText(random, 12, true));
            folders.push_back(bench().createFolder("f"));
            bench().set(folders.back(), "object_name", {texts.back()});
        }
    });
    EXPECT_EQ(waiting(), 0) << "taken up with the transaction";
    for (std::size_t i = 0; i < 200; ++i) {
        texts[i] = randomText(random, 12, true);
        bench().set(folders[i], "object_name", {texts[i]});
    }
    EXPECT_GT(waiting(), 150);
    isSound();
    std::vector<std::pair<std::string, std::vector<tag_t>>> found;
    std::size_t hits = 0;
    for (int i = 0; i < 1000; ++i) {
        const std::string pattern = randomPattern(random, texts);
        found.emplace_back(pattern, find(pattern));
        hits += found.back().second.size();
    }
    bench().setTextIndex(false);
    for (const auto& [pattern, with_index] : found)
        ASSERT_EQ(find(pattern), with_index) << testing::PrintToString(pattern);
    EXPECT_GT(hits, 1000u);
}

TEST_P(TextIndex, FindsWhatChangesAndForgetsWhatGoes) {
    bench().setTextIndex(true);
    const tag_t one = bench().createFolder("Bracket"), two = bench().createFolder("bracket");
    EXPECT_EQ(find("*rack*"), (std::vector<tag_t>{one, two}));
    EXPECT_EQ(find("*Brack*"), std::vector<tag_t>{one}) << "compared with case";
    bench().asOne([] { makeMany("part"); });
    EXPECT_EQ(waiting(), 0);
    const auto found = [](const char* old, const char* fresh) {
        return std::pair(find(old), find(fresh));
    };
    using Both = std::pair<std::vector<tag_t>, std::vector<tag_t>>;
    begin(RunWay::Whole);
    bench().set(one, "object_name", {std::string("Flange")});
    EXPECT_EQ(found("*Brack*", "*Flan*"), (Both{{}, {one}})) << "not stored yet";
    const std::int64_t run = end().head.number;
    EXPECT_EQ(found("*Brack*", "*Flan*"), (Both{{}, {one}}));
    EXPECT_TRUE(bench().undoRun(run, "").done);
    EXPECT_EQ(found("*Brack*", "*Flan*"), (Both{{one}, {}}));
    ASSERT_EQ(OBJ_lock(one), 0);
    ASSERT_EQ(OBJ_delete(one), 0);
    EXPECT_EQ(found("*Brack*", "*rack*"), (Both{{}, {two}}));
    isSound();
}

TEST_P(TextIndex, IsAsItWasAfterARunThatGoesBack) {
    bench().setTextIndex(true);
    bench().asOne([] { makeMany("part"); });
    const std::int64_t texts = bench().textIndex()->texts;
    begin(RunWay::Rehearsal);
    makeMany("gone");
    EXPECT_EQ(find("*gone1099*").size(), 1u);
    end(false);
    begin(RunWay::Whole);
    makeMany("gone");
    end(false);
    EXPECT_EQ(find("*gone1099*").size(), 0u);
    EXPECT_EQ(find("*part1099*").size(), 1u);
    EXPECT_EQ(bench().textIndex()->texts, texts);
    EXPECT_EQ(waiting(), 0);
    isSound();
}

TEST_P(TextIndex, GrowsWithAnImport) {
    bench().setTextIndex(true);
    std::string items;
    for (int i = 0; i < 400; ++i)
        items += (i ? "," : "") + std::string(R"({"id": "I-)") + std::to_string(i) +
                 R"(", "name": "Welle )" + std::to_string(i) + R"(", "revisions": [{"id": "A"}]})";
    std::istringstream world(R"({"world": 1, "items": [)" + items + "]}");
    bench().importWorld(world, "w.json");
    EXPECT_EQ(waiting(), 0);
    EXPECT_EQ(find("*elle 399*", "Item").size(), 1u);
    EXPECT_EQ(find("*I-39?", "Item").size(), 10u);
    EXPECT_EQ(find("*I-399*", "ItemRevision").size(), 1u);
    EXPECT_EQ(find("*I-399/A", "ItemRevision").size(), 1u);
    isSound();
}

TEST_P(TextIndex, IsPassedByWhereManyTextsHaveThePattern) {
    bench().asOne([] {
        for (int i = 0; i < 4200; ++i)
            bench().createFolder("part" + std::to_string(i));
    });
    bench().setTextIndex(true);
    EXPECT_EQ(find("*part*").size(), 4200u);
    EXPECT_EQ(find("pa*rt42*").size(), 11u);
    EXPECT_EQ(find("*part41??").size(), 100u);
    EXPECT_EQ(find("p*art4199").size(), 1u);
}
