// The registry of item ids: a store's own, or a file that several stores share.

#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/mv_reg.h"
#include "tests/modules/interface.h"
#include "tests/support/files.h"

namespace mervane::test {

namespace fs = std::filesystem;

class SharedRegistry : public InterfaceTest {
protected:
    SharedRegistry() {
        path = (directory / "ids.db").string();
        wb.createRegistry(path);
        other = keld_test::openFreshStore();
        other_session = wb.openSession(other, {});
        wb.selectSession(session);
    }
    ~SharedRegistry() override {
        wb.closeStore(other);
        std::error_code ignored;
        fs::remove_all(directory, ignored);
    }
    int asked(const char* id, int expected = 0) {
        int answer = -1;
        EXPECT_EQ(REG_is_item_id_registered(id, &answer, 0), expected) << lastError();
        return answer;
    }
    template <typename Body>
    int statusOf(Body&& body) {
        try {
            body();
            return 0;
        } catch (const Failure& failure) {
            return failure.status();
        }
    }

    keld_test::Directory directory;
    std::string path;
    Workbench::StoreId other;
    Workbench::SessionId other_session;
};

TEST_F(SharedRegistry, AnIdThatOneStoreRegistersIsKnownInTheOther) {
    wb.useRegistry(path);
    wb.selectSession(other_session);
    wb.useRegistry(path);
    EXPECT_EQ(REG_register_item_id("000123", 7), 0);
    wb.selectSession(session);
    EXPECT_EQ(asked("000123"), 1);
    EXPECT_EQ(REG_register_item_id("000123", 0), kDuplicateId);
    EXPECT_EQ(REG_unregister_item_id("000123", 0), 0);
    wb.selectSession(other_session);
    EXPECT_EQ(asked("000123"), 0);
}

TEST_F(SharedRegistry, AStoreHasItsOwnUntilItTakesAnother) {
    EXPECT_EQ(wb.registryPath(), "");
    EXPECT_EQ(REG_register_item_id("mine", 0), 0);
    wb.selectSession(other_session);
    EXPECT_EQ(asked("mine"), 0);
}

TEST_F(SharedRegistry, TheStoresOwnIdsGoAlongAndLeaveNothingBehind) {
    EXPECT_EQ(REG_register_item_id("1", 0), 0);
    EXPECT_EQ(REG_register_item_id("2", 0), 0);
    wb.useRegistry(path);
    EXPECT_EQ(wb.registryPath(), path);
    EXPECT_THAT(wb.registeredIds(), ElementsAre("1", "2"));
    wb.useRegistry("");
    EXPECT_EQ(wb.registryPath(), "");
    EXPECT_THAT(wb.registeredIds(), IsEmpty());
}

TEST_F(SharedRegistry, SwitchedOffItIsOutOfReachForEveryStoreThatUsesIt) {
    wb.useRegistry(path);
    wb.selectSession(other_session);
    wb.useRegistry(path);
    wb.setRegistryReachable(false);
    wb.selectSession(session);
    EXPECT_FALSE(wb.registryReachable());
    EXPECT_EQ(asked("1", kRegistryDown), -1);
    EXPECT_THAT(lastError(), HasSubstr("switched off"));
    EXPECT_EQ(REG_register_item_id("1", 0), kRegistryDown);
    EXPECT_EQ(REG_unregister_item_id("1", 0), kRegistryDown);
    wb.setRegistryReachable(true);
    EXPECT_EQ(asked("1"), 0);
}

TEST_F(SharedRegistry, AStoresOwnCanBeSwitchedOffToo) {
    wb.setRegistryReachable(false);
    EXPECT_EQ(asked("1", kRegistryDown), -1);
    wb.selectSession(other_session);
    EXPECT_EQ(asked("1"), 0);
}

TEST_F(SharedRegistry, AFileThatIsGoneIsOutOfReach) {
    wb.useRegistry(path);
    wb.closeSession(wb.openSession(store, {}));
    wb.selectSession(session);
    fs::remove(path);
    EXPECT_EQ(asked("1", kRegistryDown), -1);
    EXPECT_FALSE(wb.registryReachable());
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(SharedRegistry, NeitherAStoreNorATextIsTakenForARegistry) {
    const std::string plant = (directory / "plant.db").string();
    wb.createStore(plant);
    std::ofstream(directory / "text") << "a text";
    for (const char* wrong : {"plant.db", "text", "nothing"})
        EXPECT_EQ(statusOf([&] { wb.useRegistry((directory / wrong).string()); }), kRegistryDown)
            << wrong;
    EXPECT_EQ(wb.registryPath(), "");
    EXPECT_EQ(statusOf([&] { wb.createRegistry(plant); }), kStoreFailure);
}

TEST_F(SharedRegistry, OneThatIsSwitchedOffTakesNoIds) {
    wb.selectSession(other_session);
    wb.useRegistry(path);
    wb.setRegistryReachable(false);
    wb.selectSession(session);
    EXPECT_EQ(REG_register_item_id("1", 0), 0);
    EXPECT_EQ(statusOf([&] { wb.useRegistry(path); }), kRegistryDown);
    EXPECT_EQ(asked("1"), 1);
}

TEST_F(SharedRegistry, ItsIdsAreNotExportedWithAStore) {
    EXPECT_EQ(REG_register_item_id("own-id", 0), 0);
    std::ostringstream own, shared;
    wb.exportWorld(own);
    EXPECT_THAT(own.str(), HasSubstr("own-id"));
    wb.useRegistry(path);
    wb.exportWorld(shared);
    EXPECT_THAT(shared.str(), testing::Not(HasSubstr("own-id")));
}

TEST_F(SharedRegistry, ImportedIdsAreRegisteredThere) {
    wb.useRegistry(path);
    std::istringstream world(R"({"world": 1, "registered_ids": ["000123"]})");
    wb.importWorld(world, "test");
    EXPECT_EQ(asked("000123"), 1);
    wb.setRegistryReachable(false);
    std::istringstream again(R"({"world": 1, "registered_ids": ["000124"]})");
    const ImportReport report = wb.importWorld(again, "test");
    ASSERT_EQ(report.notes.size(), 1u);
    EXPECT_THAT(report.notes.front(), HasSubstr("not registered"));
}

}  // namespace mervane::test
