// What the seam makes of calls that the system refuses or ends early.

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include "os/keld_os.h"
#include "tests/support/files.h"

namespace fs = std::filesystem;

static bool streams_refused = false;
static int interruptions = 0;
static std::function<bool()> before_opening;  // false: the file can't be opened

// The linker puts these in the places of the C library's own.
extern "C" FILE* __real_fdopen(int file, const char* mode);
extern "C" FILE* __wrap_fdopen(int file, const char* mode) {
    if (streams_refused) {
        errno = ENOMEM;
        return nullptr;
    }
    return __real_fdopen(file, mode);
}
extern "C" ssize_t __real_read(int file, void* out, std::size_t size);
extern "C" ssize_t __wrap_read(int file, void* out, std::size_t size) {
    if (interruptions > 0) {
        --interruptions;
        errno = EINTR;
        return -1;
    }
    return __real_read(file, out, size);
}

extern "C" int __real_open(const char* path, int flags, ...);
extern "C" int __wrap_open(const char* path, int flags, ...) {
    const auto before = before_opening;
    if (before && !before()) {
        errno = EMFILE;
        return -1;
    }
    return __real_open(path, flags, 0666);
}

namespace {

class OsRefusal : public testing::Test {
protected:
    OsRefusal() { keld_test::writeFile(path(), "content"); }
    std::string path() const { return (directory_ / "file").string(); }
    static std::ptrdiff_t openFiles() {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    }

    keld_test::Directory directory_;
};

}  // namespace

TEST_F(OsRefusal, NothingStaysOpenWhenNoStreamCanBeMade) {
    const auto before = openFiles();
    streams_refused = true;
    for (const char* mode : {"r", "a", "r+"})
        EXPECT_EQ(keld_os::OpenFile(path().c_str(), mode), nullptr);
    streams_refused = false;
    EXPECT_EQ(openFiles(), before);
}

TEST_F(OsRefusal, ReadingGoesOnAfterASignal) {
    std::string text;
    keld_os::FileState state;
    interruptions = 3;
    ASSERT_TRUE(keld_os::ReadFile(path().c_str(), &text, &state));
    EXPECT_EQ(text, "content");
    EXPECT_EQ(interruptions, 0);
}

TEST_F(OsRefusal, AWatchedFileThatCantBeOpenedIsLookedAtByItsPath) {
    keld_os::FileState state;
    ASSERT_TRUE(keld_os::GetFileState(path().c_str(), &state));
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    keld_os::WatchedFile file;
    int asked = 0;
    before_opening = [&] { return ++asked == 0; };
    EXPECT_TRUE(file.Is(path().c_str(), state));
    before_opening = nullptr;
    EXPECT_EQ(asked, 1);
    fs::remove(path());
    EXPECT_FALSE(file.Is(path().c_str(), state));
}

TEST_F(OsRefusal, AWatchedFileThatIsReplacedWhileItIsOpenedIsNotHeld) {
    keld_os::FileState state;
    ASSERT_TRUE(keld_os::GetFileState(path().c_str(), &state));
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    keld_os::WatchedFile file;
    const auto open = openFiles();
    before_opening = [&] {
        before_opening = nullptr;
        std::ofstream(path() + ".new") << "another";
        fs::rename(path() + ".new", path());
        return true;
    };
    EXPECT_TRUE(file.Is(path().c_str(), state));
    EXPECT_EQ(openFiles(), open);
    EXPECT_FALSE(file.Is(path().c_str(), state));
}
