#pragma once

// A world with an active id registry, and an item ABC whose id is to change.

#include <string>
#include <vector>

#include "platform/mv_reg.h"
#include "rename/keld_rn.h"
#include "tests/rename/rename_world.h"

namespace world {

class RegistryTest : public RenameTest {
protected:
    RegistryTest() {
        item = world.item("ABC").item;
        site = world.bench.create("Site");
        world.put(site, "site_name", "HQ");
        world.bench.set(site, "site_id", {std::int64_t{7}});
        world.name(item, "item");
        world.name(site, "site");
        world.bench.setPreference("ART_id_registry", {"true"});
        world.bench.setPreference("ART_id_registry_site", {"HQ"});
        others = world.otherUser("tom");
        world.clearLog();
    }
    // While it lives, the privilege to publish is given or not.
    class Publish {
    public:
        Publish(World& world, bool allowed)
            : world_(world), right_{"all", "", "all", "", "PUBLISH", allowed} {
            world_.bench.addRight(right_);
        }
        ~Publish() { world_.bench.removeRight(right_); }
        Publish(const Publish&) = delete;

    private:
        World& world_;
        mervane::Right right_;
    };

    void registered(const std::string& id) { ASSERT_EQ(0, REG_register_item_id(id.c_str(), 7)); }
    void setRegistered(const std::string& id, bool wanted) {
        if (isRegistered(id) == wanted)
            return;
        if (wanted)
            EXPECT_EQ(0, REG_register_item_id(id.c_str(), 7));
        else
            EXPECT_EQ(0, REG_unregister_item_id(id.c_str(), 7));
    }
    bool isRegistered(const std::string& id) {
        int answer = -1;
        EXPECT_EQ(0, REG_is_item_id_registered(id.c_str(), &answer, 7));
        return answer == 1;
    }
    void setMode(const std::string& mode) { settings(world, {"ChangeRegisteredItemId=" + mode}); }
    int check(const char* new_id) {
        std::vector<char> id(129, '\0');
        const int status = CKELD_ReName::CheckItemIdRegistry(item, new_id, id.data(),
                                                             &old_registered, &found_mode);
        old_id = id.data();
        return status;
    }
    static constexpr int kDown = 100309, kFails = 4711;

    tag_t item = NULLTAG, site = NULLTAG;
    mervane::Workbench::SessionId others = 0;
    std::string old_id;
    logical old_registered = false;
    int found_mode = -1;
};

}  // namespace world
