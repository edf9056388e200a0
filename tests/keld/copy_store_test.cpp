#include <gmock/gmock.h>

#include "tests/keld/program.h"

using namespace keld_test;
using testing::HasSubstr;
using testing::Not;

namespace {

class CopyStore : public Program {
protected:
    void SetUp() override {
        done({"init"});
        done({"load", KELD_SOURCE_DIR "/samples/gearbox.json"});
        // Its file stays in the volume, for an undo.
        done({"delete", "000110/A:000110-A", "--cut"});
    }
    std::string store() {
        return onServer() ? environment()["MERVANE_STORE"] : path("keld.db").string();
    }
    std::string in(const std::string& store, std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"--store", store});
        return done(arguments).out;
    }
    std::string exportOf(const std::string& store) {
        const std::string file = path("export.json").string();
        in(store, {"export", file, "--force"});
        return readFile(file);
    }
    // What two stores have alike.
    std::string allOf(const std::string& store) {
        return exportOf(store) + in(store, {"runs"}) + in(store, {"runs", "show", "1"}) +
               in(store, {"runs", "show", "2"});
    }
};

}  // namespace

TEST_F(CopyStore, ACopyHasEverythingAndIsSound) {
    const std::string file = path("copy.db").string(),
                      back = onServer() ? freshServerStore() : path("back.db").string();
    EXPECT_THAT(done({"copy-store", store(), file}).out, HasSubstr("copied the store to"));
    done({"copy-store", file, back});
    for (const std::string& copy : {file, back}) {
        EXPECT_EQ(allOf(copy), allOf(store()));
        EXPECT_THAT(in(copy, {"check"}), HasSubstr("sound"));
    }
}

TEST_F(CopyStore, ARunIsTakenBackInTheCopyAndNewTagsAreFree) {
    const std::string from = store(), to = path("copy.db").string();
    done({"copy-store", from, to});
    in(to, {"runs", "undo", "2"});
    EXPECT_THAT(in(to, {"new", "item", "77"}), HasSubstr("made 77"));
    EXPECT_THAT(in(to, {"check"}), HasSubstr("sound"));
    EXPECT_THAT(exportOf(from), Not(HasSubstr("\"77\"")));
}

TEST_F(CopyStore, WhatIsThereIsLeftAlone) {
    const std::string from = store(), to = path("copy.db").string();
    writeFile(to, "mine");
    const Result refused = keld({"copy-store", from, to});
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_THAT(refused.err, HasSubstr("There is something at"));
    EXPECT_EQ(readFile(to), "mine");
}

TEST_F(CopyStore, AStoreThatIsntThereIsNamed) {
    const Result refused = keld({"copy-store", path("none.db").string(), path("b.db").string()});
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_THAT(refused.err, HasSubstr("none.db"));
    EXPECT_FALSE(std::filesystem::exists(path("b.db")));
}
