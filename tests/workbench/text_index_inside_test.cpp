// A program whose database has no FTS5, and what the index of texts relies on.

#include <sqlite3.h>

#include "tests/workbench/store_inside.h"
#include "tests/workbench/support.h"
#include "workbench/model/searched.h"
#include "workbench/session/session.h"

using namespace mervane;
using namespace mervane::test;

class TextIndexInside : public OnBothStores {
protected:
    // From here on the database of this session is one without.
    static void withoutFts5() {
        sqlite3_drop_modules(
            mervane::StoreInside::connection(mervane::currentSession().store()).raw(), nullptr);
    }
    static std::size_t found(const std::string& text) {
        return bench().find({text, "Folder", "", 0}).size();
    }
};
ON_BOTH_STORES(TextIndexInside);

TEST_P(TextIndexInside, CanNotBeMadeWithoutFts5WhichIsTold) {
    withoutFts5();
    std::string text;
    EXPECT_EQ(statusOf([] { bench().setTextIndex(true); }, &text), kStoreFailure);
    EXPECT_NE(text.find("FTS5"), std::string::npos) << text;
    EXPECT_FALSE(bench().textIndex());
}

TEST_P(TextIndexInside, OfAnotherProgramIsKeptWithoutFts5) {
    bench().setTextIndex(true);
    bench().createFolder("Bracket");
    withoutFts5();
    bench().asOne([] {
        for (int i = 0; i < 1100; ++i)
            bench().createFolder("part" + std::to_string(i));
    });
    EXPECT_EQ(found("*rack*"), 1u);
    EXPECT_EQ(found("*part1099*"), 1u);
    EXPECT_EQ(bench().textIndex().value().waiting, 1101) << "for a program that can take them up";
    EXPECT_EQ(statusOf([] { bench().setTextIndex(false); }), kStoreFailure);
    EXPECT_EQ(errorsIn(bench().check(store_, false)).size(), 0u);
}

TEST_P(TextIndexInside, HasSingleTextsThatAllStoresHave) {
    const Model& model = mervane::currentSession().model();
    for (const SearchedText& each : kSearchedTexts) {
        const Class* cls = model.findClass(each.cls);
        ASSERT_TRUE(cls) << each.cls;
        const Attribute* attribute = model.findAttribute(*cls, each.attribute);
        ASSERT_TRUE(attribute) << each.attribute;
        EXPECT_EQ(attribute->kind, Kind::String) << each.attribute;
        EXPECT_FALSE(attribute->array) << each.attribute;
    }
    EXPECT_LE(std::size(kSearchedTexts), 64u) << "as a row of the index has room for";
}
