#include <fstream>

#include "tests/workbench/child.h"
#include "tests/workbench/support.h"

using namespace mervane;
using namespace mervane::test;

class Backup : public ::testing::Test {
protected:
    void SetUp() override {
        path_ = directory_.at("plant");
        bench().createStore(path_);
        store_ = bench().openStore(path_);
        bench().openSession(store_, {});
    }
    void TearDown() override {
        while (!copies_.empty()) {
            bench().closeStore(copies_.back());
            copies_.pop_back();
        }
        bench().closeStore(store_);
    }
    // Open the copy with a session on it and see that it is sound.
    void openCopy(const std::string& path) {
        copies_.push_back(bench().openStore(path));
        bench().openSession(copies_.back(), {});
        for (const std::string& text : errorsIn(bench().check(copies_.back(), false)))
            ADD_FAILURE() << text;
    }
    Directory directory_;
    std::string path_;
    Workbench::StoreId store_ = 0;
    std::vector<Workbench::StoreId> copies_;
};

TEST_F(Backup, TheCopyHasObjectsDefinitionsAndFiles) {
    bench().defineType("Extra", "Form", {{"colour", Kind::String, false, 20}});
    const tag_t form = bench().createForm("Extra", "f");
    bench().set(form, "colour", {std::string("red")});
    std::ofstream(directory_.at("a.txt")) << "contents";
    const tag_t dataset = bench().createDataset("Text", "notes");
    const tag_t file = bench().addFile(dataset, "Text", directory_.at("a.txt"), "a.txt");
    bench().backup(store_, directory_.at("copy"));
    bench().createItem("later", "", "", "A", nullptr);
    openCopy(directory_.at("copy"));
    EXPECT_EQ(stored(form, "colour"), "red");
    EXPECT_TRUE(bench().find({"later", "", "", 0}).empty());
    ASSERT_EQ(FIL_export_file(file, directory_.at("out.txt").c_str()), 0);
    std::string text;
    std::ifstream(directory_.at("out.txt")) >> text;
    EXPECT_EQ(text, "contents");
}

TEST_F(Backup, AnExistingPathIsRefusedAndNothingIsLeft) {
    std::ofstream(directory_.at("copy")) << "mine";
    std::filesystem::create_directory(directory_.at("second.volume"));
    EXPECT_EQ(statusOf([&] { bench().backup(store_, directory_.at("copy")); }), kStoreFailure);
    EXPECT_EQ(statusOf([&] { bench().backup(store_, directory_.at("second")); }), kStoreFailure);
    EXPECT_EQ(std::filesystem::file_size(directory_.at("copy")), 4u);
    EXPECT_NE(statusOf([&] { bench().backup(store_, directory_.at("nowhere/copy")); }), 0);
    for (const auto& entry : std::filesystem::directory_iterator(directory_.path())) {
        const std::string name = entry.path().filename().string();
        EXPECT_EQ(name.find(".new-"), std::string::npos) << name;
        EXPECT_NE(name, "copy.volume");
        EXPECT_NE(name, "second");
    }
}

TEST_F(Backup, CopiesMadeWhileAnotherProcessSavesAreConsistent) {
    const tag_t a = bench().createItem("a", "0", "", "A", nullptr),
                b = bench().createItem("b", "0", "", "A", nullptr);
    Child child({"pairs", path_, std::to_string(a), std::to_string(b)});
    std::string before = child.line();
    for (int i = 0; i < 4; ++i) {
        const std::string copy = directory_.at("copy" + std::to_string(i));
        bench().backup(store_, copy);
        before = child.line();
        openCopy(copy);
        EXPECT_EQ(stored(a, "object_name"), stored(b, "object_name"));
        EXPECT_NE(stored(a, "object_name"), "0");
    }
    EXPECT_NE(before, "") << "the writer was at work all the time";
}

TEST_F(Backup, FilesThatAreDeletedMeanwhileAreInTheCopyThatKnowsThem) {
    std::ofstream(directory_.at("a.txt")) << std::string(20000, 'a');
    Child child({"files", path_, directory_.at("a.txt")});
    for (int i = 0; i < 6; ++i)
        ASSERT_NE(child.line(), "");
    for (int i = 0; i < 4; ++i) {
        const std::string copy = directory_.at("copy" + std::to_string(i));
        bench().backup(store_, copy);
        openCopy(copy);
    }
    ASSERT_NE(child.line(), "");
}
