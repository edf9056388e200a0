#include <gtest/gtest.h>

#include <chrono>

#include "basetool/keld_ini.h"
#include "platform/keld_basetool.h"
#include "tests/support/files.h"
#include "tests/support/fixed_os.h"
#include "tests/support/log_fixture.h"

namespace fs = std::filesystem;

// A file is parsed once for as long as it stays the same, and a change is seen by the next read.
class IniCache : public LogFixture {
protected:
    std::string read() const {
        char out[1025] = "";
        KELD_GetProfileString("A", "x", out, "default", path_.string().c_str());
        return out;
    }
    // Set the reader's clock to far later than the time of the file.
    static void settle() {
        const auto now = std::chrono::system_clock::now().time_since_epoch();
        fixed_os::setClock(std::chrono::duration_cast<std::chrono::milliseconds>(now).count() +
                           60000);
    }

    const fs::path path_ = directory_ / "test.ini";
};

TEST_F(IniCache, KeepsAParsedFile) {
    keld_test::writeFile(path_, "[A]\nx=1\n");
    settle();
    const CKELD_IniContent* first = KELD_ReadIniFile(path_.string().c_str());
    const std::string* value = KELD_FindValue(first->Section("A"), "x");
    EXPECT_EQ(KELD_ReadIniFile(path_.string().c_str()), first);
    EXPECT_EQ(KELD_FindValue(first->Section("A"), "x"), value);
}

TEST_F(IniCache, SeesAnotherSize) {
    keld_test::writeFile(path_, "[A]\nx=1\n");
    settle();
    EXPECT_EQ(read(), "1");
    keld_test::writeFile(path_, "[A]\nx=22\n");
    EXPECT_EQ(read(), "22");
}

TEST_F(IniCache, SeesAnotherModificationTimeToTheNanosecond) {
    keld_test::writeFile(path_, "[A]\nx=1\n");
    const auto time = fs::last_write_time(path_);
    settle();
    EXPECT_EQ(read(), "1");
    keld_test::writeFile(path_, "[A]\nx=2\n");
    fs::last_write_time(path_, time + std::chrono::nanoseconds(1));
    EXPECT_EQ(read(), "2");
}

TEST_F(IniCache, SeesAnotherFileOfTheSameSizeAndTime) {
    keld_test::writeFile(path_, "[A]\nx=1\n");
    const auto time = fs::last_write_time(path_);
    settle();
    EXPECT_EQ(read(), "1");
    keld_test::writeFile(directory_ / "new.ini", "[A]\nx=2\n");
    fs::last_write_time(directory_ / "new.ini", time);
    fs::rename(directory_ / "new.ini", path_);
    EXPECT_EQ(read(), "2");
}

TEST_F(IniCache, SeesTwoWritesWithinOneStepOfTheFilesTime) {
    keld_test::writeFile(path_, "[A]\nx=1\n");
    const auto time = fs::last_write_time(path_);
    const auto unix_ns = std::chrono::file_clock::to_sys(time).time_since_epoch();
    fixed_os::setClock(std::chrono::duration_cast<std::chrono::milliseconds>(unix_ns).count() + 20);
    EXPECT_EQ(read(), "1");
    keld_test::writeFile(path_, "[A]\nx=2\n");
    fs::last_write_time(path_, time);
    EXPECT_EQ(read(), "2");
}

TEST_F(IniCache, SeesAFileComeAndGo) {
    EXPECT_EQ(read(), "default");
    keld_test::writeFile(path_, "[A]\nx=1\n");
    settle();
    EXPECT_EQ(read(), "1");
    fs::remove(path_);
    EXPECT_EQ(read(), "default");
    keld_test::writeFile(path_, "[A]\nx=2\n");
    EXPECT_EQ(read(), "2");
}

TEST_F(IniCache, KeepsSeveralFilesApart) {
    keld_test::writeFile(path_, "[A]\nx=1\n");
    const std::string other = (directory_ / "other.ini").string();
    keld_test::writeFile(other, "[A]\nx=2\n");
    settle();
    char out[1025] = "";
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(read(), "1");
        KELD_GetProfileString("A", "x", out, "", other.c_str());
        EXPECT_STREQ(out, "2");
    }
}
