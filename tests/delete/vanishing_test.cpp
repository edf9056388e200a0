// What happens in the middle of a backup: this host has an export function of its own, which the
// libraries find in place of the workbench's. It looks at the tree, or changes it, after each file.

#include <dlfcn.h>

#include <functional>
#include <set>

#include "platform/mv_fil.h"
#include "tests/delete/backup_world.h"

namespace {

std::function<void(int)> behind_export;  // with the number of the export
int exports = 0;

}  // namespace

extern "C" KELD_EXPORT int FIL_export_file(tag_t file, const char* path) {
    static const auto own =
        reinterpret_cast<int (*)(tag_t, const char*)>(dlsym(RTLD_NEXT, "FIL_export_file"));
    const int status = own(file, path);
    ++exports;
    if (behind_export)
        behind_export(exports);
    return status;
}

namespace delete_test {
namespace {

constexpr int kFileFailure = 710024;

class VanishingDirectories : public BackupWorld {
protected:
    VanishingDirectories() {
        configureBackup();
        exports = 0;
        behind_export = nullptr;
        const tag_t revision = world.item("1").revision;
        first = drawing(revision, "first", "a.txt", "a");
        file(first, "b.txt", "b");
        file(first, "c.txt", "c");
        second = drawing(revision, "second", "d.txt", "d");
    }
    std::string line(const std::string& dataset, const std::string& name) {
        return "<time>,infodba:1/A;" + dataset + " (Text);" + path("1_A/" + dataset + "/" + name) +
               "\n";
    }

    tag_t first = NULLTAG, second = NULLTAG;
};

}  // namespace

TEST_F(VanishingDirectories, TheDatasetsDirectoryVanishesBetweenTwoFiles) {
    behind_export = [&](int number) {
        if (number == 2)
            fs::rename(top / "1_A/first", place / "moved");
    };
    EXPECT_EQ(kFileFailure, service({first, second}));
    EXPECT_EQ(3, exports);
    EXPECT_EQ((Tree{{"1_A", "dir"}}), saved());
    EXPECT_EQ((Tree{{"a.txt", "a"}, {"b.txt", "b"}}), treeOf(place / "moved"));
    EXPECT_EQ(line("first", "a.txt") + line("first", "b.txt"), deleteLog());
    // The list can be tried again.
    behind_export = nullptr;
    EXPECT_EQ(0, service({first, second}));
    EXPECT_EQ("c", saved().at("1_A/first/c.txt"));
}

TEST_F(VanishingDirectories, TheRevisionsDirectoryVanishesBetweenTwoDatasetsAndIsMadeAgain) {
    behind_export = [&](int number) {
        if (number == 3)
            fs::remove_all(top / "1_A");
    };
    EXPECT_EQ(0, service({first, second}));
    EXPECT_EQ((Tree{{"1_A", "dir"}, {"1_A/second", "dir"}, {"1_A/second/d.txt", "d"}}), saved());
    EXPECT_EQ(4, std::ranges::count(deleteLog(), '\n'));
}

TEST_F(VanishingDirectories, TheTopDirectoryVanishesAndTheOpenLogHarmsNothing) {
    behind_export = [&](int number) {
        if (number == 1)
            fs::rename(top, place / "moved");
    };
    EXPECT_EQ(kFileFailure, service({first, second}));
    EXPECT_FALSE(fs::exists(top));
    const Tree moved = treeOf(place / "moved");
    EXPECT_EQ("a", moved.at("1_A/first/a.txt"));
    EXPECT_EQ(1, std::ranges::count(moved.at("delete_infodba.log"), '\n'));
}

TEST_F(VanishingDirectories, ALinkThatTakesTheDirectorysPlaceIsFoundByTheNextDataset) {
    behind_export = [&](int number) {
        if (number == 3) {
            fs::rename(top / "1_A", place / "moved");
            fs::create_directory_symlink(outside, top / "1_A");
        }
    };
    const Tree before = treeOf(outside);
    EXPECT_EQ(1100, service({first, second}));
    EXPECT_EQ(before, treeOf(outside));
}

TEST_F(VanishingDirectories, TheLogReachesItsFileInPiecesThatEndAtALinesEnd) {
    const std::string name(100, 'f');
    for (int i = 0; i < 600; ++i)
        file(second, name + std::to_string(i), "x");
    std::set<std::uintmax_t> sizes;
    int torn = 0;
    behind_export = [&](int number) {
        const std::uintmax_t size = fs::file_size(top / "delete_infodba.log");
        if (sizes.insert(size).second && size > 0)
            torn += readFile(top / "delete_infodba.log").back() != '\n';
        EXPECT_LE(fs::file_size(top / "delete_infodba.log"), 400u * static_cast<unsigned>(number));
    };
    EXPECT_EQ(0, service({second, second, first}));
    EXPECT_EQ(0, torn);
    EXPECT_GT(sizes.size(), 3u);  // it was written more than once
    EXPECT_EQ(2 * 601 + 3, std::ranges::count(deleteLog(), '\n'));
    // Buffers of 64 KiB, not a write for each line.
    EXPECT_LE(sizes.size(), 2 + fs::file_size(top / "delete_infodba.log") / 60000);
}

}  // namespace delete_test
