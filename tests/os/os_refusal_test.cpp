// What the seam makes of calls that the system refuses or ends early.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "os/keld_os.h"

namespace fs = std::filesystem;

static bool streams_refused = false;
static int interruptions = 0;

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

namespace {

class OsRefusal : public testing::Test {
protected:
    OsRefusal() {
        std::string name = (fs::temp_directory_path() / "keld_test_XXXXXX").string();
        directory_ = mkdtemp(name.data());
        std::ofstream(path()) << "content";
    }
    ~OsRefusal() override { fs::remove_all(directory_); }
    std::string path() const { return (directory_ / "file").string(); }
    static std::ptrdiff_t openFiles() {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    }

    fs::path directory_;
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

TEST_F(OsRefusal, ReadingGoesOnBehindASignal) {
    std::string text;
    keld_os::FileState state;
    interruptions = 3;
    ASSERT_TRUE(keld_os::ReadFile(path().c_str(), &text, &state));
    EXPECT_EQ(text, "content");
    EXPECT_EQ(interruptions, 0);
}
