#include <chrono>
#include <fstream>
#include <iostream>
#include <random>
#include <thread>

#include "tests/workbench/child.h"
#include "tests/workbench/support.h"

using namespace mervane;
using namespace mervane::test;

// Processes are killed at random moments during a stream of saves. KELD_SEED replays a run,
// KELD_ROUNDS makes it longer.
class Kill : public ::testing::Test {
protected:
    void SetUp() override {
        path_ = keld_test::storeIn(directory_.string(), "plant");
        bench().createStore(path_);
        const char* seed = std::getenv("KELD_SEED");
        seed_ = seed ? static_cast<unsigned>(std::atoi(seed)) : std::random_device{}();
        std::cout << "KELD_SEED=" << seed_ << std::endl;
        random_.seed(seed_);
        if (const char* rounds = std::getenv("KELD_ROUNDS"))
            rounds_ = std::atoi(rounds);
    }
    // Run the writer until a random moment; what it said it had done.
    std::vector<std::string> runAndKill(const std::vector<std::string>& arguments) {
        Child child(arguments);
        std::vector<std::string> said{child.line()};
        EXPECT_NE(said.front(), "");
        std::this_thread::sleep_for(std::chrono::microseconds(random_() % 40000));
        child.kill();
        for (const std::string& line : child.remainingLines())
            said.push_back(line);
        return said;
    }
    void open() {
        store_ = bench().openStore(path_);
        bench().openSession(store_, {});
    }
    void close() { bench().closeStore(store_); }
    void expectSound() {
        for (const std::string& text : errorsIn(bench().check(store_, false)))
            ADD_FAILURE() << text;
    }

    Directory directory_;
    std::string path_;
    Workbench::StoreId store_ = 0;
    unsigned seed_ = 0;
    std::mt19937 random_;
    int rounds_ = 12;
};

TEST_F(Kill, EveryCompletedSaveIsThereAndNothingOfAnUncompletedOne) {
    open();
    const tag_t a = bench().createItem("a", "0", "", "A", nullptr),
                b = bench().createItem("b", "0", "", "A", nullptr);
    close();
    for (int round = 0; round < rounds_; ++round) {
        const auto said = runAndKill({"pairs", path_, std::to_string(a), std::to_string(b)});
        open();
        expectSound();
        const int value = std::stoi(stored(a, "object_name"));
        EXPECT_EQ(stored(b, "object_name"), std::to_string(value)) << "both or none";
        const int told = std::stoi(said.back());
        EXPECT_TRUE(value == told || value == told + 1)
            << "stored " << value << ", told " << told << ", round " << round;
        EXPECT_EQ(OBJ_lock(a), 0) << "the dead process's lock is reclaimed";
        close();
    }
}

TEST_F(Kill, ANewItemIsThereWithAllItsPartsOrNotAtAll) {
    for (int round = 0; round < rounds_; ++round) {
        const std::string name = "r" + std::to_string(round);
        const auto said = runAndKill({"items", path_, name});
        open();
        expectSound();
        const auto items = bench().find({name + "-*", "Item", "", 0});
        EXPECT_GE(items.size(), said.size());
        EXPECT_LE(items.size(), said.size() + 1);
        for (const std::string& id : said)
            EXPECT_NE(bench().resolve(id + "/A"), NULLTAG);
        for (const Found& item : items) {
            EXPECT_EQ(bench().get(item.tag, "revision_list").size(), 1u) << item.id;
            EXPECT_EQ(bench().find({item.id, "Item Master", "", 0}).size(), 1u) << item.id;
            EXPECT_EQ(bench().find({item.id + "/A", "ItemRevision Master", "", 0}).size(), 1u);
        }
        close();
    }
}

TEST_F(Kill, AtMostFilesThatNoObjectOwnsAreLeftAndTheRepairRemovesThem) {
    std::ofstream(directory_.at("a.txt")) << std::string(20000, 'a');
    for (int round = 0; round < rounds_; ++round) {
        runAndKill({"files", path_, directory_.at("a.txt")});
        open();
        expectSound();
        bench().check(store_, true);
        EXPECT_TRUE(bench().check(store_, false).empty()) << "after the repair";
        close();
    }
}
