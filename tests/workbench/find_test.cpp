#include <algorithm>

#include "platform/mv_rls.h"
#include "tests/workbench/support.h"

using namespace mervane;
using namespace mervane::test;

class Find : public OnBothStores {
protected:
    void SetUp() override {
        OnBothStores::SetUp();
        one_ = bench().createItem("000123", "Bracket", "", "A", &revision_);
        two_ = bench().createItem("000124", "Bolt [M4]", "", "A", nullptr);
    }
    std::vector<tag_t> find(const std::string& text, const std::string& type = "Item",
                            const std::string& owner = "", int limit = 0) {
        std::vector<tag_t> tags;
        for (const Found& each : bench().find({text, type, owner, limit}))
            tags.push_back(each.tag);
        return tags;
    }
    using Tags = std::vector<tag_t>;
    tag_t one_ = NULLTAG, two_ = NULLTAG, revision_ = NULLTAG;
};
ON_BOTH_STORES(Find);

TEST_P(Find, ByIdOrNameWithWildcards) {
    EXPECT_EQ(find("000123"), Tags{one_});
    EXPECT_EQ(find("Bracket"), Tags{one_});
    EXPECT_EQ(find("00012*"), (Tags{one_, two_}));
    EXPECT_EQ(find("*24"), Tags{two_});
    EXPECT_EQ(find("00012?"), (Tags{one_, two_}));
    EXPECT_EQ(find("B*t"), Tags{one_});
    EXPECT_EQ(find("b*"), Tags{}) << "compared with case";
    EXPECT_EQ(find("*[M4]"), Tags{two_}) << "brackets are no wildcards";
    EXPECT_EQ(find("*[M4"), Tags{});
    EXPECT_EQ(find(""), (Tags{one_, two_}));
    EXPECT_EQ(find("%"), Tags{});
    EXPECT_EQ(find("'; DROP TABLE object; --"), Tags{});
}

TEST_P(Find, ByTypeOwnerAndLimit) {
    EXPECT_EQ(find("000123/A", "ItemRevision"), Tags{revision_});
    EXPECT_EQ(find("000*/A", "ItemRevision").size(), 2u);
    EXPECT_EQ(find("*", "Item", "infodba").size(), 2u);
    bench().createUser("miller", "", "dba");
    EXPECT_EQ(find("*", "Item", "miller"), Tags{});
    EXPECT_EQ(find("*", "Item", "", 1), Tags{one_});
    EXPECT_EQ(statusOf([&] { find("*", "Itme"); }), kUnknownType);
    EXPECT_EQ(statusOf([&] { find("*", "Item", "nobody"); }), kUnknownObject);
}

TEST_P(Find, ManyOfSeveralTypesComeByTag) {
    Tags items{one_, two_};
    for (int i = 0; i < 700; ++i)
        items.push_back(bench().createItem("M" + std::to_string(i), "", "", "A", nullptr));
    EXPECT_EQ(find("*"), items);
    const Tags all = find("*", "WorkspaceObject");
    EXPECT_GE(all.size(), 2 * items.size()) << "items, their revisions and forms";
    EXPECT_TRUE(std::is_sorted(all.begin(), all.end()));
    EXPECT_EQ(std::adjacent_find(all.begin(), all.end()), all.end());
    EXPECT_EQ(find("*", "WorkspaceObject", "", 600), Tags(all.begin(), all.begin() + 600));
}

TEST_P(Find, WhereRevisionsAreWantedTheIdOfTheirItemFindsThem) {
    const tag_t second = bench().createRevision(one_, "B");
    EXPECT_EQ(find("000123", "ItemRevision"), (Tags{revision_, second}));
    EXPECT_EQ(find("00012*", "ItemRevision").size(), 3u);
    EXPECT_EQ(find("000125", "ItemRevision"), Tags{});
}

TEST_P(Find, AFoundObjectTellsWhatPeopleTypeForIt) {
    const tag_t dataset = bench().createDataset("Text", "drawing");
    bench().relate(revision_, dataset, "VANE_specification");
    EXPECT_EQ(bench().describe(revision_).id, "000123/A");
    EXPECT_EQ(bench().describe(dataset).id, "000123/A:drawing");
    EXPECT_EQ(bench().resolve("000123/A:drawing"), dataset);
    EXPECT_EQ(bench().resolve("#" + std::to_string(dataset)), dataset);
    const tag_t folder = bench().createFolder("f");
    EXPECT_EQ(bench().resolve(bench().describe(folder).id), folder);
}

TEST_P(Find, NamesOfNothingAreRefused) {
    for (const char* name : {"", "000125", "000123/B", "000123/A:drawing", "#0", "#", "#999999",
                             "#4294967295", "#99999999999", "#12x", "/", ":", "000123/", "/A"})
        EXPECT_EQ(statusOf([&] { bench().resolve(name); }), kUnknownObject) << name;
}

TEST_P(Find, IdsMayHoldSlashesAndColons) {
    tag_t revision = NULLTAG;
    const tag_t item = bench().createItem("A/1:x", "", "", "B/2", &revision);
    EXPECT_EQ(bench().resolve("A/1:x"), item);
    EXPECT_EQ(bench().resolve("A/1:x/B/2"), revision);
}

TEST_P(Find, AnOlderDatasetVersionIsNotListed) {
    bench().createDataset("Text", "notes");
    const tag_t dataset = find("notes", "Dataset").at(0);
    const tag_t newer = bench().createDatasetVersion(dataset);
    EXPECT_EQ(find("notes", "Dataset"), Tags{newer});
}

TEST_P(Find, ByStatusAndCheckOut) {
    tag_t status = NULLTAG;
    ASSERT_EQ(RLS_create_release_status("Frozen", &status), 0);
    ASSERT_EQ(OBJ_save(status), 0);
    bench().set(two_, "release_status_list", {Reference{status}});
    FindQuery query{"*", "Item", "", 0};
    const auto tags = [&] {
        std::vector<tag_t> found;
        for (const Found& each : bench().find(query))
            found.push_back(each.tag);
        return found;
    };
    query.status = "Frozen";
    EXPECT_EQ(tags(), Tags{two_});
    query.status = kNoStatus;
    EXPECT_EQ(tags(), Tags{one_});
    query.checked_out = true;
    EXPECT_EQ(tags(), Tags{});
    bench().checkOut(one_, "");
    EXPECT_EQ(tags(), Tags{one_});
    bench().createUser("miller", "", "dba");
    query.checked_out_by = "miller";
    EXPECT_EQ(tags(), Tags{});
    query.checked_out_by = "infodba";
    EXPECT_EQ(tags(), Tags{one_});
    query.checked_out_by = "nobody";
    EXPECT_EQ(statusOf([&] { bench().find(query); }), kUnknownObject);
}
