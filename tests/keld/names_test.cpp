// Every id can be named: what keld shows can be given back to it.

#include <chrono>
#include <cstdio>

#include "tests/keld/program.h"

using namespace keld_test;
using testing::HasSubstr;

class Names : public Program {
protected:
    void SetUp() override { done({"init"}); }

    // An item with a revision and a dataset that have the same name.
    void make(const std::string& id, const std::string& name = "part") {
        const nlohmann::json revision = {{"id", id.substr(0, 30)},
                                         {"datasets", {{{"type", "Text"}, {"name", id}}}}};
        const nlohmann::json world = {
            {"world", 1}, {"items", {{{"id", id}, {"name", name}, {"revisions", {revision}}}}}};
        writeFile(path("one.json"), world.dump());
        done({"load", "one.json"});
    }
    std::string firstShown(const std::string& type) {
        const std::string out = done({"find", "*", "--type", type}).out;
        const auto start = out.find('\n') + 1;
        return out.substr(start, out.find("  ", start) - start);
    }
};

class EveryId : public Names, public testing::WithParamInterface<std::string> {};

TEST_P(EveryId, IsShownAsItCanBeGivenBack) {
    make(GetParam());
    const std::string item = firstShown("Item");
    EXPECT_EQ(done({"show", item, "--json"}).json()["properties"]["item_id"], GetParam()) << item;
    EXPECT_EQ(item.find('\''), std::string::npos) << item;
    const auto revision = done({"show", firstShown("ItemRevision"), "--json"}).json();
    EXPECT_EQ(revision["type"], "ItemRevision");
    EXPECT_EQ(revision["properties"]["item_revision_id"], GetParam());
    const auto dataset = done({"show", firstShown("Dataset"), "--json"}).json();
    EXPECT_EQ(dataset["type"], "Text");
    EXPECT_EQ(dataset["name"], GetParam());
}

INSTANTIATE_TEST_SUITE_P(Names, EveryId,
                         testing::Values("plain", "a b", "a/b", "a:b", "a,b", "#26", "\"quoted\"",
                                         "it's", "a\nb", "\t", "-dash", "back\\slash", "\\n",
                                         "a/b:c,d \"e\"", "/", "\x1b[2J", "\u00fcml\u00e4ut"));

TEST_F(Names, ANumberAfterASharpIsATagUnlessItIsInQuotes) {
    make("#26");
    EXPECT_EQ(done({"show", "\"#26\"", "--json"}).json()["type"], "Item");
    EXPECT_NE(keld({"show", "#26", "--json"}).json()["object"], "#26");
}

TEST_F(Names, QuotedPartsAreTakenAsTheyAre) {
    make("a/b");
    EXPECT_EQ(done({"show", "\"a/b\"/\"a/b\"", "--json"}).json()["type"], "ItemRevision");
    EXPECT_EQ(done({"show", "\"a/b\"/\"a/b\":\"a/b\"", "--json"}).json()["type"], "Text");
    EXPECT_EQ(done({"show", "a/b", "--json"}).json()["type"], "Item");
    EXPECT_EQ(keld({"show", "\"a\"/b"}).exit_code, 1);
}

TEST_F(Names, ACommaInQuotesDividesNoList) {
    make("a,b");
    make("c");
    const Result result =
        keld({"call", "KELD_DeleteDeluxe", "ts:\"a,b\"/\"a,b\":\"a,b\",c/c:c", "--json"});
    EXPECT_EQ(result.json()["status"], 0) << result.out << result.err;
}

TEST_F(Names, BytesThatAreNoUtf8AreNamedByTheirEscapes) {
    make("old");
    done({"rename", "old", "--to", "\"n\\xff\\n\""});
    EXPECT_EQ(firstShown("Item"), "\"n\\xff\\n\"");
    EXPECT_EQ(done({"show", "\"n\\xff\\n\"", "--json"}).json()["type"], "Item");
    EXPECT_EQ(done({"show", "n\xff\n", "--json"}).json()["type"], "Item");
}

TEST_F(Names, AnIdThatIsTooLongIsRefusedByNameAndLengthBeforeAnythingRuns) {
    make("old");
    const std::string longest(128, 'A');
    const Result result = keld({"rename", "old", "--to", longest + "B"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.err,
              "keld: the new item id '" + longest + "B' has 129 bytes, at most 128 are allowed\n");
    EXPECT_FALSE(fs::exists(path("keld.log")));
    EXPECT_EQ(keld({"registry", "add", longest + "B"}).exit_code, 1);
    EXPECT_EQ(
        keld({"rename", "old", "--to", "new", "--rev", "old", "--to-rev", longest + "B"}).exit_code,
        1);
    done({"rename", "old", "--to", longest});
    EXPECT_EQ(done({"show", longest, "--json"}).json()["object"], longest);
}

TEST_F(Names, AMistypedIdIsAnsweredFromTheIndexHoweverManyThereAre) {
    nlohmann::json items = nlohmann::json::array();
    for (int i = 0; i < 3000; ++i)
        items.push_back({{"id", "P-" + std::to_string(10000 + i)}, {"name", "part"}});
    writeFile(path("many.json"), nlohmann::json{{"world", 1}, {"items", items}}.dump());
    done({"load", "many.json"});
    const auto start = std::chrono::steady_clock::now();
    const Result result = keld({"show", "P-10x42"});
    const std::chrono::duration<double> needed = std::chrono::steady_clock::now() - start;
    EXPECT_THAT(result.err, HasSubstr("Did you mean P-10042"));
    std::printf("a mistyped id among %zu: %.3f s\n", items.size(), needed.count());
    // Looking through all of them would read each.
    environment()["MERVANE_JOURNAL"] = path("calls.txt").string();
    EXPECT_THAT(keld({"show", "P-1042"}).err, HasSubstr("P-10042"));
}
