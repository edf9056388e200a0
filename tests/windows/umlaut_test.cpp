// Umlauts in every path that comes from outside: log, configuration, store, temporary directory.
// Each case in a process of its own: the library keeps the paths of log and configuration.

#include <gmock/gmock.h>

#include "platform/keld_basetool.h"
#include "platform/keld_se.h"
#include "platform/mv_fil.h"
#include "tests/support/files.h"
#include "tests/windows/place.h"
#include "workbench/workbench.h"

using keld_test::readFile;
using testing::HasSubstr;
using testing::IsEmpty;
using windows_test::textOf;

namespace {

namespace fs = windows_test::fs;

class Umlauts : public testing::Test {
protected:
    Umlauts() {
        fs::create_directory(directory_);
        windows_test::setVariable(L"KELD_LOG_FILE",
                                  directory_ / windows_test::pathOf("l\xC3\xB6g.log"));
        windows_test::setVariable(L"KELD_CFG_PATH", directory_);
    }
    ~Umlauts() override {
        std::error_code ignored;
        fs::remove_all(directory_, ignored);
    }
    std::string log() {
        KELD_GetLogFilePath();
        return readFile(directory_ / windows_test::pathOf("l\xC3\xB6g.log"));
    }

    mervane::Workbench& bench_ = *mervane_workbench();
    // Not inside another test's directory: the log here stays open to the end, and the C++ library
    // never finishes removing a directory with such a file two levels down.
    const fs::path directory_ =
        fs::temp_directory_path() /
        windows_test::pathOf(windows_test::kUmlauts + std::to_string(GetTickCount64()) + "_" +
                             std::to_string(GetCurrentProcessId()));
};

}  // namespace

TEST_F(Umlauts, AreInTheLogsPathAndInItsLines) {
    bench_.openSession(bench_.openStore(":memory:"), {});
    bench_.sendArguments({1, 0, std::string()});
    char* path = nullptr;
    EXPECT_EQ(0, KELD_SrvCall(&path));
    EXPECT_EQ(textOf(directory_) + "\\l\xC3\xB6g.log", path);
    bench_.sendArguments({0, 0, std::string("Gr\xC3\xB6\xC3\x9F\x65\n")});
    EXPECT_EQ(0, KELD_SrvCall(&path));
    EXPECT_THAT(log(), HasSubstr("Gr\xC3\xB6\xC3\x9F\x65"));
}

TEST_F(Umlauts, AreInTheConfigurationsPathAndItsFileHasCarriageReturns) {
    keld_test::writeFile(directory_ / "keld_statusmanager.ini",
                         "\xEF\xBB\xBF[SelectWSO]\r\nItemRevision=1\r\n\r\n"
                         "[Gepr\xC3\xBC\x66t_ItemRevision]\r\n; done\r\n"
                         "SetReleaseState=Gepr\xC3\xBC\x66t\r\n");
    bench_.openSession(bench_.openStore(":memory:"), {});
    tag_t revision = NULLTAG;
    bench_.createItem("000100", "Pump", "", "A", &revision);
    EXPECT_EQ(0, KELD_StatusManager_ManageStatus(revision, "ItemRevision", "Gepr\xC3\xBC\x66t"))
        << log();
    const mervane::Values statuses = bench_.get(revision, "release_status_list");
    ASSERT_EQ(1u, statuses.size());
    const mervane::Values name = bench_.get(std::get<mervane::Reference>(statuses[0]).tag, "name");
    EXPECT_EQ("Gepr\xC3\xBC\x66t", std::get<std::string>(name.at(0)));
}

TEST_F(Umlauts, AreInTheStoresPathAndInItsFiles) {
    const fs::path store = directory_ / windows_test::pathOf("S\xC3\xA4mmlung.mervane");
    const fs::path source = directory_ / windows_test::pathOf("B\xC3\xBCgel.prt");
    keld_test::writeFile(source, "line\nline\r\n\x1A");
    bench_.createStore(textOf(store));
    auto opened = bench_.openStore(textOf(store));
    bench_.openSession(opened, {});
    tag_t revision = NULLTAG;
    bench_.createItem("000100", "B\xC3\xBCgel", "", "A", &revision);
    const tag_t dataset = bench_.createDataset("Text", "B\xC3\xBCgel");
    const tag_t file = bench_.addFile(dataset, "Text", textOf(source), "B\xC3\xBCgel.prt");
    bench_.relate(revision, dataset, "VANE_specification");
    bench_.closeStore(opened);
    EXPECT_TRUE(fs::exists(store));

    opened = bench_.openStore(textOf(store));
    bench_.openSession(opened, {});
    EXPECT_EQ(revision, bench_.resolve("000100/A"));
    EXPECT_THAT(bench_.check(opened, false), IsEmpty());
    const fs::path out = directory_ / windows_test::pathOf("\xC3\x84.prt");
    EXPECT_EQ(0, FIL_export_file(file, textOf(out).c_str()));
    EXPECT_EQ("line\nline\r\n\x1A", readFile(out));
    const fs::path copy = directory_ / windows_test::pathOf("Sicherung f\xC3\xBCr.mervane");
    bench_.backup(opened, textOf(copy));
    EXPECT_TRUE(fs::exists(copy));
    bench_.closeStore(opened);
}

TEST_F(Umlauts, AreInTheTemporaryDirectoryOfALogWithoutANameOfItsOwn) {
    // No file of its own: the temporary directory has the umlauts.
    windows_test::setVariable(L"KELD_LOG_FILE", "");
    windows_test::setVariable(L"MV_TMP_DIR", directory_);
    EXPECT_EQ(textOf(directory_) + "\\keld_" + std::to_string(GetCurrentProcessId()) + ".log",
              KELD_GetLogFilePath());
}
