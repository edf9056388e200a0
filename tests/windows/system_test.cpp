// The operating system's seam as it is on Windows.

#include <gmock/gmock.h>
#include <windows.h>
// after windows.h
#include <direct.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "os/keld_os.h"

namespace fs = std::filesystem;
using keld_os::PathKind;

namespace {

// UTF-8 of "Prüfung", "Größe" and a Greek letter, whatever this file is compiled as.
const std::string kUmlautDirectory = "Pr\xC3\xBC\x66ung";
const std::string kUmlautFile = "Gr\xC3\xB6\xC3\x9F\x65 \xCE\xA9.txt";
constexpr std::int64_t kTicksPerSecond = 10'000'000;

class WindowsSystem : public testing::Test {
protected:
    WindowsSystem() {
        char name[] = "keld_XXXXXX";
        directory_ = keld_os::TempDirectory() + "\\" + (mktemp(name) ? name : "keld_test");
        std::error_code ignored;
        fs::remove_all(directory_, ignored);
        fs::create_directory(directory_);
    }
    ~WindowsSystem() override {
        std::error_code ignored;
        fs::remove_all(directory_, ignored);
    }
    std::string path(const std::string& name) const { return directory_ + "\\" + name; }
    static std::string bytesOf(const std::string& path) {
        std::string content;
        keld_os::FileState state;
        EXPECT_TRUE(keld_os::ReadFile(path.c_str(), &content, &state)) << path;
        return content;
    }
    static void put(const std::string& path, const char* mode, const char* text) {
        FILE* file = keld_os::OpenFile(path.c_str(), mode);
        ASSERT_NE(file, nullptr) << path;
        std::fputs(text, file);
        std::fclose(file);
    }

    std::string directory_;
};

}  // namespace

TEST_F(WindowsSystem, SeparatesPathsByABackslash) {
    EXPECT_TRUE(keld_os::bWindows);
    EXPECT_STREQ(keld_os::szPathSeparator, "\\");
    EXPECT_NE(keld_os::MakeDirectory(path("a\\b").c_str(), false), 0);
    EXPECT_EQ(keld_os::MakeDirectory(path("a\\b\\c").c_str(), true), 0);
    EXPECT_EQ(keld_os::KindOf(path("a\\b\\c").c_str()), PathKind::Directory);
    EXPECT_NE(keld_os::MakeDirectory(path("a\\b\\c").c_str(), true), 0);
    put(path("a\\b\\c\\file.txt"), "w", "x");
    EXPECT_EQ(keld_os::KindOf(path("a\\b\\c\\file.txt").c_str()), PathKind::File);
    EXPECT_EQ(keld_os::KindOf(path("a/b/c/file.txt").c_str()), PathKind::File);
    EXPECT_EQ(keld_os::KindOf(path("a\\none").c_str()), PathKind::None);
}

TEST_F(WindowsSystem, WritesCarriageReturnsInTextModeOnly) {
    put(path("text"), "w", "one\ntwo\n");
    put(path("text"), "a", "three\n");
    EXPECT_EQ(bytesOf(path("text")), "one\r\ntwo\r\nthree\r\n");
    put(path("bytes"), "wb", "one\ntwo\n");
    EXPECT_EQ(bytesOf(path("bytes")), "one\ntwo\n");
    FILE* file = keld_os::OpenFile(path("text").c_str(), "r");
    ASSERT_NE(file, nullptr);
    char line[20] = "";
    EXPECT_STREQ(std::fgets(line, sizeof line, file), "one\n");
    std::fclose(file);
}

TEST_F(WindowsSystem, TakesNamesWithUmlautsAsUtf8) {
    ASSERT_EQ(keld_os::MakeDirectory(path(kUmlautDirectory).c_str(), false), 0);
    const std::string file = path(kUmlautDirectory + "\\" + kUmlautFile);
    put(file, "w", "x");
    // The name that other programs see.
    const std::wstring wide =
        fs::path(directory_).wstring() + L"\\Pr\u00FCfung\\Gr\u00F6\u00DFe \u03A9.txt";
    EXPECT_NE(GetFileAttributesW(wide.c_str()), INVALID_FILE_ATTRIBUTES);
    keld_os::FileState state;
    EXPECT_TRUE(keld_os::GetFileState(file.c_str(), &state));
    EXPECT_EQ(state.m_llSize, 1);
    const std::string renamed = path(kUmlautDirectory + "\\\xC3\x84.txt");
    EXPECT_EQ(keld_os::RenameFile(file.c_str(), renamed.c_str()), 0);
    EXPECT_EQ(bytesOf(renamed), "x");
    EXPECT_EQ(keld_os::GrantEverybody(renamed.c_str()), 0);
    EXPECT_EQ(keld_os::RemoveFile(renamed.c_str()), 0);
    EXPECT_EQ(keld_os::KindOf(renamed.c_str()), PathKind::None);
    EXPECT_TRUE(RemoveDirectoryW((fs::path(directory_).wstring() + L"\\Pr\u00FCfung").c_str()));
}

TEST_F(WindowsSystem, OpensNothingByATextThatIsNoUtf8) {
    const std::string broken = path("a\xFF.txt");
    EXPECT_EQ(keld_os::OpenFile(broken.c_str(), "w"), nullptr);
    EXPECT_NE(keld_os::MakeDirectory(broken.c_str(), false), 0);
    EXPECT_NE(keld_os::RemoveFile(broken.c_str()), 0);
    EXPECT_EQ(keld_os::KindOf(broken.c_str()), PathKind::None);
    EXPECT_EQ(keld_os::RunCommand("echo \xFF"), -1);
    EXPECT_TRUE(fs::is_empty(directory_));
}

TEST_F(WindowsSystem, OpensNoDeviceAndNoDirectory) {
    for (const char* mode : {"r", "w", "a", "r+"}) {
        EXPECT_EQ(keld_os::OpenFile("NUL", mode), nullptr) << mode;
        EXPECT_EQ(keld_os::OpenFile(directory_.c_str(), mode), nullptr) << mode;
    }
    EXPECT_NE(keld_os::RemoveFile(directory_.c_str()), 0);
}

TEST_F(WindowsSystem, KeepsBothPiecesThatTwoAppend) {
    keld_os::AppendFile one;
    keld_os::AppendFile other;
    ASSERT_TRUE(one.Open(path("log").c_str()));
    ASSERT_TRUE(other.Open(path("log").c_str()));
    EXPECT_EQ(3U, one.Write("1\r\n", 3));
    EXPECT_EQ(3U, other.Write("2\r\n", 3));
    EXPECT_EQ(3U, one.Write("3\r\n", 3));
    EXPECT_TRUE(one.Lock());
    EXPECT_FALSE(other.Lock());
    // The lock is beyond the content, so that can be read and written all the same.
    EXPECT_EQ(3U, other.Write("4\r\n", 3));
    EXPECT_EQ(bytesOf(path("log")), "1\r\n2\r\n3\r\n4\r\n");
    EXPECT_EQ(keld_os::RenameFile(path("log").c_str(), path("log.1").c_str()), 0);
    one.Close();
    other.Close();
    EXPECT_EQ(bytesOf(path("log.1")).size(), 12U);
}

TEST_F(WindowsSystem, ReadsTheWallClockInHundredNanoseconds) {
    FILETIME before;
    FILETIME after;
    GetSystemTimeAsFileTime(&before);
    const std::int64_t now = keld_os::WallClock();
    GetSystemTimeAsFileTime(&after);
    const auto ticks = [](const FILETIME& time) {
        return (static_cast<std::int64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
    };
    EXPECT_LE(ticks(before), now);
    EXPECT_LE(now, ticks(after));
    const std::int64_t coarse = keld_os::CoarseWallClock();
    EXPECT_LE(coarse, keld_os::WallClock());
}

TEST_F(WindowsSystem, TellsLocalTimeAsTheSystemDoes) {
    SYSTEMTIME local;
    std::int64_t now = 0;
    do {
        GetLocalTime(&local);
        now = keld_os::WallClock();
        SYSTEMTIME again;
        GetLocalTime(&again);
        if (again.wSecond == local.wSecond)
            break;
    } while (true);
    std::tm time{};
    ASSERT_TRUE(keld_os::LocalTime(now, &time));
    EXPECT_EQ(time.tm_year + 1900, local.wYear);
    EXPECT_EQ(time.tm_mon + 1, local.wMonth);
    EXPECT_EQ(time.tm_mday, local.wDay);
    EXPECT_EQ(time.tm_hour, local.wHour);
    EXPECT_EQ(time.tm_min, local.wMinute);
    EXPECT_EQ(time.tm_sec, local.wSecond);
    // Before 1970 the C library has no local time.
    std::tm kept{};
    kept.tm_year = 77;
    EXPECT_FALSE(keld_os::LocalTime(
        11644473600LL * kTicksPerSecond - 400LL * 86400 * kTicksPerSecond, &kept));
    EXPECT_EQ(kept.tm_year, 77);
}

TEST_F(WindowsSystem, SeesTheEnvironmentInUtf8) {
    ASSERT_TRUE(SetEnvironmentVariableW(L"KELD_TEST_UMLAUT", L"Gr\u00F6\u00DFe"));
    std::string value = "kept";
    EXPECT_TRUE(keld_os::GetEnv("KELD_TEST_UMLAUT", &value));
    EXPECT_EQ(value, "Gr\xC3\xB6\xC3\x9F\x65");
    const std::wstring long_value(3000, L'x');
    ASSERT_TRUE(SetEnvironmentVariableW(L"KELD_TEST_LONG", long_value.c_str()));
    EXPECT_TRUE(keld_os::GetEnv("KELD_TEST_LONG", &value));
    EXPECT_EQ(value, std::string(3000, 'x'));
    EXPECT_FALSE(keld_os::GetEnv("KELD_TEST_NOTHING", &value));
    EXPECT_FALSE(keld_os::TempDirectory().empty());
    EXPECT_NE(keld_os::TempDirectory().back(), '\\');
}

// ---- the command processor ----

TEST_F(WindowsSystem, MakesGrantsAndDeletesThroughTheCommandProcessor) {
    EXPECT_EQ(keld_os::RunCommand(("mkdir " + path("made\\below")).c_str()), 0);
    EXPECT_EQ(keld_os::KindOf(path("made\\below").c_str()), PathKind::Directory);
    EXPECT_NE(keld_os::RunCommand(("mkdir " + path("made\\below") + " 2>NUL").c_str()), 0);
    EXPECT_EQ(keld_os::RunCommand(("cacls " + path("made") + " /T /E /G Everyone:F >NUL").c_str()),
              0);
    put(path("made\\file"), "w", "x");
    EXPECT_EQ(keld_os::RunCommand(("del " + path("made\\file")).c_str()), 0);
    EXPECT_EQ(keld_os::KindOf(path("made\\file").c_str()), PathKind::None);
}

TEST_F(WindowsSystem, RunsABatchProgramWithItsArguments) {
    put(path("job.bat"), "w", "@echo off\necho %1+%2>%3\nexit /b 7\n");
    const std::string command =
        "\"" + path("job.bat") + "\" one \"two words\" \"" + path("out.txt") + "\"";
    EXPECT_EQ(keld_os::RunCommand(command.c_str()), 7);
    EXPECT_EQ(bytesOf(path("out.txt")), "one+\"two words\"\r\n");
}

TEST_F(WindowsSystem, PassesUmlautsToTheCommandProcessor) {
    EXPECT_EQ(keld_os::RunCommand(("mkdir " + path(kUmlautDirectory)).c_str()), 0);
    EXPECT_EQ(keld_os::KindOf(path(kUmlautDirectory).c_str()), PathKind::Directory);
}

TEST_F(WindowsSystem, GivesTheCommandsExitCode) {
    EXPECT_EQ(keld_os::RunCommand("exit 0"), 0);
    EXPECT_EQ(keld_os::RunCommand("exit 3"), 3);
    EXPECT_NE(keld_os::RunCommand("no_such_program 2>NUL"), 0);
    EXPECT_EQ(keld_os::RunCommand(nullptr), -1);
}

TEST_F(WindowsSystem, GivesCommandsNothingToRead) {
    put(path("ask.bat"), "w", "@echo off\nset answer=none\nset /p answer=\nexit /b 5\n");
    EXPECT_EQ(keld_os::RunCommand(("\"" + path("ask.bat") + "\"").c_str()), 5);
}

TEST_F(WindowsSystem, FindsFunctionsByNameInTheLoadedModules) {
    EXPECT_EQ(keld_os::FindFunction("GetCurrentProcessId"),
              reinterpret_cast<void*>(
                  GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "GetCurrentProcessId")));
    EXPECT_EQ(keld_os::FindFunction("KELD_no_such_function"), nullptr);
    EXPECT_EQ(keld_os::FindFunction(nullptr), nullptr);
    EXPECT_EQ(keld_os::ProcessId(), GetCurrentProcessId());
}
