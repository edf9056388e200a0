// Stores that may only be read.

#include <set>

#include "tests/keld/program.h"

using namespace keld_test;
using testing::HasSubstr;
using testing::Not;

class ReadOnly : public ProgramWithStore {
protected:
    void SetUp() override {
        ProgramWithStore::SetUp();
        becomeUnprivileged();
        protect(true);
    }
    void TearDown() override { protect(false); }

    // The harness writes what keld says into the directory, so the store has one of its own.
    void protect(bool on) {
        if (on) {
            fs::create_directory(path("kept"));
            for (const char* name : {"keld.db", "keld.db.volume"})
                fs::rename(path(name), path("kept") / name);
            environment()["MERVANE_STORE"] = (path("kept") / "keld.db").string();
        }
        for (const auto& entry : fs::recursive_directory_iterator(path("kept")))
            fs::permissions(entry, fs::perms(entry.is_directory() ? 0555 : 0444));
        fs::permissions(path("kept"), fs::perms(on ? 0555 : 0755));
        if (!on)
            for (const auto& entry : fs::recursive_directory_iterator(path("kept")))
                fs::permissions(entry, fs::perms(0755));
    }
    std::set<std::string> kept() const {
        std::set<std::string> names;
        for (const auto& entry : fs::recursive_directory_iterator(path("kept")))
            names.insert(entry.path().string());
        return names;
    }
};

TEST_F(ReadOnly, AStoreThatMayOnlyBeReadIsShown) {
    const auto before = kept();
    EXPECT_EQ(done({"show", "000100", "--json"}).json()["name"], "Pump");
    EXPECT_THAT(done({"tree", "000100"}).out, HasSubstr("000102/A"));
    EXPECT_THAT(done({"find", "0001*"}).out, HasSubstr("000101"));
    EXPECT_EQ(done({"cat", "000100/A:drawing"}).out, "sheet 1\n");
    EXPECT_THAT(done({"check"}).out, HasSubstr("sound"));
    EXPECT_THAT(done({"export"}).out, HasSubstr("\"Pump\""));
    EXPECT_EQ(kept(), before);
}

TEST_F(ReadOnly, AChangeSaysThatThereIsNoPermission) {
    for (const std::vector<std::string>& verb : std::vector<std::vector<std::string>>{
             {"checkout", "000100/A"},
             {"prefs", "set", "A", "b"},
             {"users", "add", "x", "--in-group", "shop", "--new-group"}}) {
        const Result result = keld(verb);
        EXPECT_EQ(result.exit_code, 1);
        EXPECT_THAT(result.err,
                    HasSubstr("no permission to write " + (path("kept") / "keld.db").string()))
            << testing::PrintToString(verb);
        EXPECT_THAT(result.err, Not(HasSubstr("PRAGMA")));
    }
}

TEST_F(ReadOnly, ARehearsalEitherRunsOrSaysWhyItCannot) {
    const Result result = keld({"status", "set", "000102/A", "Frozen", "--dry-run"});
    EXPECT_TRUE(result.exit_code == 0 || result.err.find("permission") != std::string::npos ||
                result.err.find("Permission") != std::string::npos)
        << result.out << result.err;
}

TEST_F(ReadOnly, AStoreThatMayNotEvenBeReadSaysSo) {
    fs::permissions(path("kept") / "keld.db", fs::perms(0000));
    const Result result = keld({"show", "000100"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("ermission"));
    EXPECT_THAT(result.err, Not(HasSubstr("unable to open")));
}
