// Stored files that aren't what was stored: whoever reads one is told.

#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <sstream>

#include "tests/workbench/support.h"

using namespace mervane;
using namespace mervane::test;

namespace {

struct DamageKind {
    const char* name;
    std::function<void(const std::string&)> damage;  // of the file at the path
    const char* told;
};

void replaceBy(const std::string& path, const std::function<int(const char*)>& make) {
    std::filesystem::remove(path);
    ASSERT_EQ(make(path.c_str()), 0);
}

const DamageKind kKinds[] = {
    {"Missing", [](const auto& path) { std::filesystem::remove(path); }, "is missing"},
    {"Changed", [](const auto& path) { std::ofstream(path) << "Contents"; }, "other contents"},
    {"Shorter", [](const auto& path) { std::ofstream(path) << "con"; }, "3 bytes"},
    {"Longer", [](const auto& path) { std::ofstream(path) << "contents!"; }, "9 bytes"},
    {"LinkToTheSameContents",
     [](const auto& path) {
         std::filesystem::rename(path, path + "-elsewhere");
         replaceBy(path,
                   [&](const char* at) { return ::symlink((path + "-elsewhere").c_str(), at); });
     },
     "no regular file"},
    {"LinkToADevice",
     [](const auto& path) {
         replaceBy(path, [](const char* at) { return ::symlink("/dev/zero", at); });
     },
     "no regular file"},
    {"Pipe",
     [](const auto& path) { replaceBy(path, [](const char* at) { return ::mkfifo(at, 0600); }); },
     "no regular file"},
    {"Directory",
     [](const auto& path) { replaceBy(path, [](const char* at) { return ::mkdir(at, 0700); }); },
     "no regular file"},
};

}  // namespace

class Damaged : public ::testing::Test {
protected:
    void SetUp() override {
        path_ = directory_.at("plant");
        bench().createStore(path_);
        store_ = bench().openStore(path_);
        bench().openSession(store_, {});
        std::ofstream(directory_.at("a.txt")) << "contents";
        const tag_t dataset = bench().createDataset("Text", "notes");
        sound_ = bench().addFile(dataset, "Text", directory_.at("a.txt"), "sound.txt");
        for (const DamageKind& kind : kKinds) {
            const tag_t file = bench().addFile(dataset, "Text", directory_.at("a.txt"), kind.name);
            kind.damage(path_ + ".volume/" + std::to_string(file));
            damaged_.push_back(file);
        }
    }
    void TearDown() override {
        ERR_clear_errors();
        bench().closeStore(store_);
    }
    // The text names the file of this kind and what is wrong with it.
    void tells(const std::string& text, std::size_t kind) {
        EXPECT_NE(text.find("#" + std::to_string(damaged_[kind]) + " "), std::string::npos) << text;
        for (const char* part : {kKinds[kind].name, kKinds[kind].told})
            EXPECT_NE(text.find(part), std::string::npos) << text;
    }
    void tellAll(const std::vector<CheckFinding>& findings) {
        const auto errors = errorsIn(findings);
        ASSERT_EQ(errors.size(), damaged_.size());
        for (std::size_t i = 0; i < errors.size(); ++i)
            tells(errors[i], i);
    }
    Directory directory_;
    std::string path_;
    Workbench::StoreId store_ = 0;
    std::vector<tag_t> damaged_;
    tag_t sound_ = NULLTAG;
};

TEST_F(Damaged, FilesAreNotExported) {
    for (std::size_t i = 0; i < damaged_.size(); ++i) {
        EXPECT_EQ(FIL_export_file(damaged_[i], directory_.at("out").c_str()), kFileFailure);
        EXPECT_FALSE(std::filesystem::exists(directory_.at("out"))) << kKinds[i].name;
        tells(bench().errorStack().back().text, i);
    }
    EXPECT_EQ(FIL_export_file(sound_, directory_.at("out").c_str()), 0);
}

TEST_F(Damaged, FilesAreToldByACopyThatHasTheRest) {
    tellAll(bench().backup(store_, directory_.at("copy")));
    const auto copy = bench().openStore(directory_.at("copy"));
    const auto left = errorsIn(bench().check(copy, false));
    EXPECT_EQ(left.size(), damaged_.size());
    for (const std::string& text : left)
        EXPECT_NE(text.find("is missing"), std::string::npos) << text;
    bench().openSession(copy, {});
    EXPECT_EQ(FIL_export_file(sound_, directory_.at("out").c_str()), 0);
    bench().closeStore(copy);
}

TEST_F(Damaged, FilesAreToldByAnExportThatHasTheRest) {
    std::ostringstream out;
    tellAll(bench().exportWorld(out));
    EXPECT_NE(out.str().find("\"contents\""), std::string::npos);
}

TEST_F(Damaged, FilesAreToldByTheCheck) {
    tellAll(bench().check(store_, false));
}
