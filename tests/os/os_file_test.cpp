#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <thread>

#if defined(__linux__)
#include <fcntl.h>
#include <sys/mman.h>
#endif

#include "os/keld_os.h"
#include "tests/support/files.h"

namespace fs = std::filesystem;
using keld_os::PathKind;
using keld_test::readFile;
using keld_test::writeFile;

class OsFile : public testing::Test {
protected:
    std::string path(const std::string& name) const { return (directory_ / name).string(); }
    // True if the file could be opened; the text is written into it.
    static bool put(const std::string& path, const char* mode, const char* text,
                    bool follow = true) {
        FILE* file = keld_os::OpenFile(path.c_str(), mode, follow);
        if (file == nullptr)
            return false;
        std::fputs(text, file);
        return std::fclose(file) == 0;
    }

    keld_test::Directory directory_;
};

TEST_F(OsFile, OpenedForWritingIsMadeOrEmptied) {
    EXPECT_TRUE(put(path("a"), "w", "long text"));
    EXPECT_TRUE(put(path("a"), "w", "short"));
    EXPECT_EQ(readFile(path("a")), "short");
}

TEST_F(OsFile, OpenedForAppendingKeepsItsContent) {
    EXPECT_TRUE(put(path("a"), "a", "1"));
    EXPECT_TRUE(put(path("a"), "a", "2"));
    EXPECT_EQ(readFile(path("a")), "12");
}

TEST_F(OsFile, OpenedForReadingMustExist) {
    EXPECT_FALSE(put(path("a"), "r", ""));
    writeFile(path("a"), "x");
    EXPECT_TRUE(put(path("a"), "r", ""));
    EXPECT_EQ(readFile(path("a")), "x");
}

TEST_F(OsFile, ThatIsNoRegularFileCantBeOpened) {
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    for (const char* mode : {"r", "w", "a", "r+", "w+", "a+"}) {
        EXPECT_FALSE(put(directory_.string(), mode, "x")) << mode;
        EXPECT_FALSE(put(path("pipe"), mode, "x")) << mode;
        EXPECT_FALSE(put("/dev/null", mode, "x")) << mode;
    }
}

TEST_F(OsFile, AtTheEndOfALinkIsOpenedOnlyWhenLinksAreFollowed) {
    writeFile(path("file"), "x");
    fs::create_symlink(path("file"), path("link"));
    for (const char* mode : {"r", "w", "a"}) {
        EXPECT_FALSE(put(path("link"), mode, "y", false)) << mode;
        EXPECT_EQ(readFile(path("file")), "x");
    }
    EXPECT_TRUE(put(path("link"), "a", "y"));
    EXPECT_EQ(readFile(path("file")), "xy");
    EXPECT_TRUE(put(path("file"), "a", "z", false));
}

TEST_F(OsFile, OfNoNameOrModeCantBeOpened) {
    EXPECT_EQ(keld_os::OpenFile(nullptr, "r"), nullptr);
    EXPECT_EQ(keld_os::OpenFile("", "w"), nullptr);
    EXPECT_EQ(keld_os::OpenFile(path("a").c_str(), nullptr), nullptr);
    EXPECT_EQ(keld_os::OpenFile(path("a").c_str(), "x"), nullptr);
    EXPECT_EQ(keld_os::OpenFile(path(std::string(5000, 'n')).c_str(), "w"), nullptr);
}

TEST_F(OsFile, KindsAreToldApartWithoutFollowingLinks) {
    writeFile(path("file"), "x");
    fs::create_symlink(path("file"), path("link"));
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(keld_os::KindOf(path("file").c_str()), PathKind::File);
    EXPECT_EQ(keld_os::KindOf(directory_.string().c_str()), PathKind::Directory);
    EXPECT_EQ(keld_os::KindOf(path("link").c_str()), PathKind::Other);
    EXPECT_EQ(keld_os::KindOf(path("pipe").c_str()), PathKind::Other);
    EXPECT_EQ(keld_os::KindOf(path("none").c_str()), PathKind::None);
    EXPECT_EQ(keld_os::KindOf(nullptr), PathKind::None);
}

TEST_F(OsFile, DirectoriesAreMadeWithOrWithoutParents) {
    EXPECT_NE(keld_os::MakeDirectory(path("a/b").c_str(), false), 0);
    EXPECT_EQ(keld_os::MakeDirectory(path("a/b/c").c_str(), true), 0);
    EXPECT_EQ(keld_os::MakeDirectory(path("a/d/").c_str(), true), 0);
    EXPECT_TRUE(fs::is_directory(path("a/b/c")));
    EXPECT_TRUE(fs::is_directory(path("a/d")));
    EXPECT_EQ(keld_os::MakeDirectory(path("a/b/c").c_str(), true), EEXIST);
    EXPECT_EQ(keld_os::MakeDirectory(path("a").c_str(), false), EEXIST);
    writeFile(path("file"), "x");
    EXPECT_NE(keld_os::MakeDirectory(path("file/b").c_str(), true), 0);
    EXPECT_NE(keld_os::MakeDirectory(nullptr, true), 0);
    EXPECT_NE(keld_os::MakeDirectory("", true), 0);
}

TEST_F(OsFile, EverybodyIsGrantedFullAccess) {
    writeFile(path("file"), "x");
    fs::create_directory(path("dir"));
    chmod(path("file").c_str(), 0600);
    chmod(path("dir").c_str(), 0700);
    EXPECT_EQ(keld_os::GrantEverybody(path("file").c_str()), 0);
    EXPECT_EQ(keld_os::GrantEverybody(path("dir").c_str()), 0);
    EXPECT_EQ(static_cast<unsigned>(fs::status(path("file")).permissions()), 0666U);
    EXPECT_EQ(static_cast<unsigned>(fs::status(path("dir")).permissions()), 0777U);
    EXPECT_NE(keld_os::GrantEverybody(path("none").c_str()), 0);
    EXPECT_NE(keld_os::GrantEverybody(nullptr), 0);
}

TEST_F(OsFile, FilesAreRemovedAndDirectoriesAreNot) {
    writeFile(path("file"), "x");
    fs::create_directory(path("dir"));
    EXPECT_EQ(keld_os::RemoveFile(path("file").c_str()), 0);
    EXPECT_FALSE(fs::exists(path("file")));
    EXPECT_NE(keld_os::RemoveFile(path("dir").c_str()), 0);
    EXPECT_NE(keld_os::RemoveFile(path("file").c_str()), 0);
    EXPECT_NE(keld_os::RemoveFile(nullptr), 0);
}

TEST_F(OsFile, RenamingReplaces) {
    writeFile(path("a"), "new");
    writeFile(path("b"), "old");
    EXPECT_EQ(keld_os::RenameFile(path("a").c_str(), path("b").c_str()), 0);
    EXPECT_EQ(readFile(path("b")), "new");
    EXPECT_NE(keld_os::RenameFile(path("a").c_str(), path("b").c_str()), 0);
    EXPECT_NE(keld_os::RenameFile(nullptr, path("b").c_str()), 0);
    EXPECT_NE(keld_os::RenameFile(path("b").c_str(), nullptr), 0);
}

TEST_F(OsFile, IsReadWholeWithItsState) {
    std::string long_text(100000, 'x');
    long_text[500] = '\0';
    writeFile(path("file"), long_text);
    std::string text;
    keld_os::FileState state;
    keld_os::FileState again;
    ASSERT_TRUE(keld_os::ReadFile(path("file").c_str(), &text, &state));
    EXPECT_EQ(text, long_text);
    EXPECT_EQ(state.m_llSize, 100000);
    ASSERT_TRUE(keld_os::GetFileState(path("file").c_str(), &again));
    EXPECT_TRUE(state == again);
}

TEST_F(OsFile, IsClosedAfterItIsRead) {
    writeFile(path("file"), "x");
    std::string text;
    keld_os::FileState state;
    const int before = ::dup(0);
    ::close(before);
    ASSERT_TRUE(keld_os::ReadFile(path("file").c_str(), &text, &state));
    const int after = ::dup(0);  // the lowest free number
    ::close(after);
    EXPECT_EQ(before, after);
}

TEST_F(OsFile, ThatCantBeReadLeavesTheResultAlone) {
    std::string text = "kept";
    keld_os::FileState state;
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    EXPECT_FALSE(keld_os::ReadFile(path("none").c_str(), &text, &state));
    EXPECT_FALSE(keld_os::ReadFile(directory_.string().c_str(), &text, &state));
    EXPECT_FALSE(keld_os::ReadFile(path("pipe").c_str(), &text, &state));
    EXPECT_FALSE(keld_os::ReadFile(nullptr, &text, &state));
    EXPECT_FALSE(keld_os::GetFileState(path("none").c_str(), &state));
    EXPECT_FALSE(keld_os::GetFileState(directory_.string().c_str(), &state));
    EXPECT_FALSE(keld_os::GetFileState(nullptr, &state));
    EXPECT_EQ(text, "kept");
    EXPECT_EQ(state.m_llSize, -1);
}

TEST_F(OsFile, OfAnotherSizeTimeDeviceOrNumberIsAnotherState) {
    const keld_os::FileState state{1, 2, 3, 4};
    EXPECT_TRUE(state == (keld_os::FileState{1, 2, 3, 4}));
    EXPECT_FALSE(state == (keld_os::FileState{9, 2, 3, 4}));
    EXPECT_FALSE(state == (keld_os::FileState{1, 9, 3, 4}));
    EXPECT_FALSE(state == (keld_os::FileState{1, 2, 9, 4}));
    EXPECT_FALSE(state == (keld_os::FileState{1, 2, 3, 9}));
}

TEST_F(OsFile, AppendedToByTwoKeepsBothPieces) {
    keld_os::AppendFile one;
    keld_os::AppendFile other;
    EXPECT_FALSE(one.IsOpen());
    ASSERT_TRUE(one.Open(path("log").c_str()));
    ASSERT_TRUE(other.Open(path("log").c_str()));
    EXPECT_EQ(one.Write("1", 1), 1U);
    EXPECT_EQ(other.Write("22", 2), 2U);
    EXPECT_EQ(one.Write("3", 1), 1U);
    EXPECT_EQ(readFile(path("log")), "1223");
    keld_os::FileState state;
    EXPECT_TRUE(one.GetState(&state));
    EXPECT_EQ(state.m_llSize, 4);
    one.Close();
    other.Close();
    EXPECT_FALSE(one.IsOpen());
}

TEST_F(OsFile, AppendedToMustBeAFileThatCanBeWritten) {
    keld_os::AppendFile file;
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    EXPECT_FALSE(file.Open(nullptr));
    EXPECT_FALSE(file.Open(directory_.string().c_str()));
    EXPECT_FALSE(file.Open(path("none/x").c_str()));
    EXPECT_FALSE(file.Open(path("pipe").c_str()));
    EXPECT_FALSE(file.IsOpen());
}

TEST_F(OsFile, AppendedToThatIsClosedTakesNothing) {
    keld_os::AppendFile file;
    keld_os::FileState state;
    EXPECT_FALSE(file.GetState(&state));
    EXPECT_EQ(state.m_llSize, -1);
    EXPECT_EQ(file.Write("x", 1), 0U);
    EXPECT_EQ(file.Write("", 0), 0U);
    file.Close();
}

TEST_F(OsFile, ThatCantBeHeldHoldsNobodyUp) {
    keld_os::AppendFile file;
    EXPECT_TRUE(file.Lock()) << "no file is open that another one could hold";
    file.Close();
}

TEST_F(OsFile, NamedFromTheRootOnIsThereWhateverTheCurrentDirectoryIs) {
    const fs::path before = fs::current_path();
    EXPECT_EQ(keld_os::AbsolutePath("/a/../b"), "/a/../b");
    EXPECT_EQ(keld_os::AbsolutePath(""), "");
    // Directories with short and long names, and the root.
    std::string deep = fs::canonical(directory_.path()).string();
    for (const std::string& name :
         {std::string("d"), std::string(200, 'e'), std::string(200, 'f')}) {
        deep += "/" + name;
        fs::create_directory(deep);
        fs::current_path(deep);
        EXPECT_EQ(keld_os::AbsolutePath("x.log"), deep + "/x.log");
        EXPECT_EQ(keld_os::AbsolutePath("./x.log"), deep + "/./x.log");
    }
    fs::remove(deep);
    EXPECT_EQ(keld_os::AbsolutePath("x.log"), "x.log") << "the directory is gone";
    fs::current_path("/");
    EXPECT_EQ(keld_os::AbsolutePath("x.log"), "/x.log");
    fs::current_path(before);
}

#if defined(__linux__)
TEST_F(OsFile, ThatCantBeEmptiedIsNotOpenedForWriting) {
    const int sealed = memfd_create("sealed", MFD_ALLOW_SEALING);
    ASSERT_EQ(::write(sealed, "kept", 4), 4);
    ASSERT_EQ(fcntl(sealed, F_ADD_SEALS, F_SEAL_SHRINK), 0);
    const std::string sealed_path = "/proc/self/fd/" + std::to_string(sealed);
    EXPECT_FALSE(put(sealed_path, "w", "new"));
    EXPECT_FALSE(put(sealed_path, "w+", "new"));
    EXPECT_EQ(readFile(sealed_path), "kept");
    EXPECT_TRUE(put(sealed_path, "a", " and more"));
    EXPECT_EQ(readFile(sealed_path), "kept and more");
    close(sealed);
}

// Nobody can change the rights of the system's own files.
TEST_F(OsFile, WhoseRightsCantBeChangedIsAFailure) {
    EXPECT_EQ(keld_os::KindOf("/proc/self/mem"), PathKind::File);
    EXPECT_NE(keld_os::GrantEverybody("/proc/self/mem"), 0);
}

// /proc/self/mem is a regular file whose first page can't be read.
TEST_F(OsFile, WhoseReadingFailsLeavesTheResultAlone) {
    std::string text = "kept";
    keld_os::FileState state;
    ASSERT_EQ(keld_os::KindOf("/proc/self/mem"), PathKind::File);
    EXPECT_FALSE(keld_os::ReadFile("/proc/self/mem", &text, &state));
    EXPECT_EQ(text, "kept");
    EXPECT_EQ(state.m_llSize, -1);
}

// A log that goes to a pipe whose reader is slow, in a host that handles signals meanwhile.
TEST_F(OsFile, AppendedToGoesOnAfterASignal) {
    static std::atomic<int> signals{0};
    struct sigaction action {};
    action.sa_handler = [](int) { ++signals; };
    ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    const int reader = open(path("pipe").c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_NE(reader, -1);
    keld_os::AppendFile file;
    ASSERT_TRUE(file.Open(path("pipe").c_str()));
    std::string filling(static_cast<std::size_t>(fcntl(reader, F_GETPIPE_SZ)), 'f');
    ASSERT_EQ(file.Write(filling.data(), filling.size()), filling.size());

    std::atomic<bool> done{false};
    std::thread writer([&] {
        EXPECT_EQ(file.Write("behind", 6), 6U);
        done = true;
    });
    // The writer waits for room; each signal ends the system's call.
    while (signals < 3) {
        pthread_kill(writer.native_handle(), SIGUSR1);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_FALSE(done);
    std::string got;
    while (got.size() < filling.size() + 6) {
        char piece[4096];
        const ssize_t size = read(reader, piece, sizeof(piece));
        if (size > 0)
            got.append(piece, static_cast<std::size_t>(size));
        else
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    writer.join();
    EXPECT_EQ(got, filling + "behind");
    file.Close();
    close(reader);
}
#endif
