// What reaches a terminal: texts from outside never as control characters, tables never too wide.

#include <sstream>

#include "tests/keld/program.h"

using namespace keld_test;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr char kHostile[] = "\x1b[31mred\x07\xc2\x9b\xe2\x80\xae";
constexpr char kShown[] = "\\x1b[31mred\\x07\\u009b\\u202e";

bool holdsControls(const std::string& text) {
    for (const char c : text)
        if (c != '\n' && (static_cast<unsigned char>(c) < 0x20 || c == 0x7f))
            return true;
    return text.find("\xc2\x9b") != std::string::npos ||
           text.find("\xe2\x80\xae") != std::string::npos;
}

}  // namespace

class Terminal : public Program {
protected:
    void SetUp() override {
        done({"init"});
        const nlohmann::json dataset = {{"type", "Text"}, {"name", kHostile}};
        const nlohmann::json line = {{"item", "100"}, {"quantity", "1"}, {"number", kHostile}};
        const nlohmann::json world = {
            {"world", 1},
            {"items",
             {{{"id", "100"}, {"name", kHostile}, {"revisions", {{{"id", "A"}}}}},
              {{"id", "200"},
               {"name", "top"},
               {"revisions", {{{"id", "A"}, {"bom", {line}}, {"datasets", {dataset}}}}}}}}};
        writeFile(path("hostile.json"), world.dump());
        done({"load", "hostile.json"});
    }
};

TEST_F(Terminal, ControlCharactersOfNamesAreShownAsEscapesByEveryVerbThatShowsThem) {
    for (const std::vector<std::string>& verb :
         std::vector<std::vector<std::string>>{{"show", "100"},
                                               {"show", "200/A"},
                                               {"tree", "200"},
                                               {"tree", "200", "--relations"},
                                               {"bom", "show", "200"},
                                               {"find", "*"},
                                               {"find", "*", "--type", "Dataset"}}) {
        const Result result = done(verb);
        EXPECT_FALSE(holdsControls(result.out)) << testing::PrintToString(verb) << result.out;
        EXPECT_THAT(result.out, HasSubstr(kShown)) << testing::PrintToString(verb);
    }
}

TEST_F(Terminal, ControlCharactersOfPreferencesRegistryAndLogAreShownAsEscapes) {
    done({"prefs", "set", "A", kHostile});
    done({"registry", "add", kHostile});
    done({"call", "KELD_SrvCall", "i:0", "i:0", std::string("s:") + kHostile});
    for (const std::vector<std::string>& verb : std::vector<std::vector<std::string>>{
             {"prefs"}, {"prefs", "get", "A"}, {"registry"}, {"log", "tail"}}) {
        const Result result = done(verb);
        EXPECT_FALSE(holdsControls(result.out)) << testing::PrintToString(verb) << result.out;
        EXPECT_THAT(result.out, HasSubstr(kShown)) << testing::PrintToString(verb);
    }
}

TEST_F(Terminal, ControlCharactersInErrorsAreShownAsEscapes) {
    const Result object = keld({"show", kHostile});
    EXPECT_FALSE(holdsControls(object.err)) << object.err;
    EXPECT_THAT(object.err, HasSubstr(kShown));
    const Result verb = keld({std::string("sh") + kHostile});
    EXPECT_EQ(verb.exit_code, 2);
    EXPECT_FALSE(holdsControls(verb.err)) << verb.err;
    const Result store = keld({"find", "*", "--store", kHostile});
    EXPECT_FALSE(holdsControls(store.err)) << store.err;
}

TEST_F(Terminal, ALineBreakInANameMakesNoLine) {
    done({"prefs", "set", "A", "one\nB  forged"});
    EXPECT_THAT(done({"prefs"}).out, HasSubstr("one\\nB  forged"));
    EXPECT_THAT(done({"prefs", "get", "A"}).out, HasSubstr("one\\nB  forged\n"));
    const Result result = keld({"show", "one\nkeld: forged"});
    EXPECT_THAT(result.err, HasSubstr("one\\nkeld: forged"));
}

TEST_F(Terminal, JsonHoldsTheBytesAndNothingThatATerminalActsOn) {
    const Result result = done({"show", "100", "--json"});
    EXPECT_EQ(result.json()["name"], kHostile);
    EXPECT_EQ(result.json()["properties"]["object_name"], kHostile);
    EXPECT_FALSE(holdsControls(result.out)) << result.out;
}

TEST_F(Terminal, BytesThatAreNoUtf8AreReplacedInJsonAndEscapedInTexts) {
    done({"prefs", "set", "A",
          "a\xff"
          "b"});
    EXPECT_EQ(done({"prefs", "get", "A"}).out, "a\\xffb\n");
    EXPECT_EQ(done({"prefs", "get", "A", "--json"}).json()["values"][0],
              "a\xef\xbf\xbd"
              "b");
}

TEST_F(Terminal, TheContentOfAFileIsGivenAsItIsToWhatIsNoTerminal) {
    const nlohmann::json file = {{"reference", "Text"}, {"name", "a.txt"}, {"text", kHostile}};
    const nlohmann::json dataset = {{"type", "Text"}, {"name", "raw"}, {"files", {file}}};
    const nlohmann::json world = {{"world", 1},
                                  {"items",
                                   {{{"id", "300"},
                                     {"name", "n"},
                                     {"revisions", {{{"id", "A"}, {"datasets", {dataset}}}}}}}}};
    writeFile(path("file.json"), world.dump());
    done({"load", "file.json"});
    EXPECT_EQ(done({"cat", "300/A:raw"}).out, kHostile);
}

TEST_F(Terminal, TablesAreCutToTheColumnsThatThereAre) {
    done({"prefs", "set", "NAME", std::string(200, 'x')});
    environment()["COLUMNS"] = "60";
    for (const char* verb : {"prefs", "users"}) {
        std::istringstream lines(done({verb}).out);
        for (std::string line; std::getline(lines, line);)
            EXPECT_LE(line.size(), 62u) << line;  // the ellipsis is three bytes
    }
    EXPECT_THAT(done({"prefs"}).out, HasSubstr("xxx\u2026\n"));
    EXPECT_THAT(done({"prefs", "--wide"}).out, HasSubstr(std::string(200, 'x')));
    environment().erase("COLUMNS");
    EXPECT_THAT(done({"prefs"}).out, HasSubstr(std::string(200, 'x')));
}
