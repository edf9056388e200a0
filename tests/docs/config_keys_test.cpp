// The pages on keld_statusmanager.ini have each section form, key and walk list entry as the table
// in the code has it, and the table has the keys that the library reads.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <set>

#include "tests/support/files.h"
#include "tests/support/places.h"
#include "tools/keld/lint/keys.h"

namespace {

using keld::ConfigKey;
using testing::HasSubstr;

std::string textOf(const std::string& path) {
    return keld_test::readText(std::string(KELD_SOURCE_DIR) + "/" + path);
}

const std::string& page() {
    static const std::string text = textOf("docs/status-manager-ini.md");
    return text;
}

std::string row(const ConfigKey& key) {
    const std::string value = key.default_value[0] == '\0' ? "empty" : key.default_value;
    const std::string limit = keld::limitOf(key);
    return "\n| `" + std::string(key.name) + "` | " + key.value + " | " + value + " |" +
           (limit.empty() ? "" : " " + limit) + " | " + key.meaning + " |\n";
}

// The keys that the sources have after these calls.
std::set<std::string> readKeys(const std::string& source, const std::string& pattern) {
    std::set<std::string> keys;
    const std::string text = textOf(source);
    const std::regex call(pattern);
    for (std::sregex_iterator at(text.begin(), text.end(), call), end; at != end; ++at)
        keys.insert((*at)[1].str());
    return keys;
}

}  // namespace

TEST(ConfigKeys, EachHasItsRowOnThePage) {
    for (const ConfigKey& key : keld::configKeys())
        EXPECT_THAT(page(), HasSubstr(row(key))) << key.name;
}

TEST(ConfigKeys, EachSectionFormHasItsRowOnThePage) {
    for (const keld::SectionForm& form : keld::sectionForms())
        EXPECT_THAT(page(),
                    HasSubstr("\n| `" + std::string(form.name) + "` | " + form.meaning + " |\n"))
            << form.name;
}

TEST(ConfigKeys, EachEntryOfAWalkListHasItsRowOnThePage) {
    for (const keld::WalkKind& kind : keld::walkKinds())
        EXPECT_THAT(page(),
                    HasSubstr("\n| `" + std::string(kind.entry) + "` | " + kind.meaning + " |\n"))
            << kind.name;
}

TEST(ConfigKeys, ThePageHasNoRowOfAKeyThatTheTableHasNot) {
    const std::regex five(R"(\n\| `([^`]+)` \|[^|\n]*\|[^|\n]*\|[^|\n]*\|[^|\n]*\|(?=\n))");
    std::set<std::string> rows, keys;
    const std::string& text = page();
    for (std::sregex_iterator at(text.begin(), text.end(), five), end; at != end; ++at)
        rows.insert((*at)[1].str());
    for (const ConfigKey& key : keld::configKeys())
        keys.insert(key.name);
    EXPECT_EQ(rows, keys);
}

TEST(ConfigKeys, TheManualNamesEachOfThem) {
    const std::string manual = textOf("docs/man/keld_statusmanager.ini.5");
    for (const ConfigKey& key : keld::configKeys())
        if (key.section != keld::SectionKind::Select) {
            EXPECT_THAT(manual, HasSubstr(key.name));
        }
    for (const keld::WalkKind& kind : keld::walkKinds())
        EXPECT_THAT(manual, HasSubstr(kind.name));
}

TEST(ConfigKeys, TheTableHasTheKeysThatTheLibraryReads) {
    std::set<std::string> process, form;
    for (const ConfigKey& key : keld::configKeys()) {
        if (key.section == keld::SectionKind::Process)
            process.insert(key.name);
        if (key.section == keld::SectionKind::Form)
            form.insert(key.name);
    }
    std::set<std::string> read{"ChangeForward", "ChangeBack", "ChangeNoRek"};
    for (const char* source : {"src/status/keld_statuswalk.cpp", "src/status/keld_statuschecks.cpp",
                               "src/status/keld_statusactions.cpp"})
        for (const std::string& key : readKeys(
                 source, R"re((?:KELD_ReadConfigText|ReadConfigInt)\(\s*section,\s*"(\w+)")re"))
            read.insert(key);
    EXPECT_EQ(process, read);
    EXPECT_EQ(form, readKeys("src/status/keld_statusactions.cpp", R"re(\{"(\w+)", +"\w+"\})re"));
}

TEST(ConfigKeys, AreFoundWhateverTheCaseAndWithOnEmpty) {
    EXPECT_STREQ(keld::findKey(keld::SectionKind::Process, "purge")->name, "Purge");
    EXPECT_STREQ(keld::findKey(keld::SectionKind::Form, "setdefaultONEMPTY")->name, "SetDefault");
    EXPECT_EQ(keld::findKey(keld::SectionKind::Process, "PurgeOnEmpty"), nullptr);
    EXPECT_EQ(keld::findKey(keld::SectionKind::Form, "OnEmpty"), nullptr);
    EXPECT_EQ(keld::plain("`none` takes **all**"), "none takes all");
}
