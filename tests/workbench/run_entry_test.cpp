// The form in which a change is kept.

#include <gtest/gtest.h>

#include <limits>

#include "workbench/model/status.h"
#include "workbench/store/run_entry.h"
#include "workbench/workbench.h"

using namespace mervane;

namespace {

StoredEntry sample() {
    StoredEntry entry;
    entry.type = 0xA1234567u;
    entry.version = 77;
    entry.text = std::string("a\0b\xff", 4);
    Date date;
    date.date = {2001, 1, 3, 4, 5, 6};
    Values many{std::string("text"),
                std::int64_t{-1},
                std::numeric_limits<std::int64_t>::max(),
                std::numeric_limits<std::int64_t>::min(),
                0.1,
                true,
                date,
                Reference{4711}};
    entry.values.push_back({0x91234567u, {}, many});
    entry.values.push_back({NULLTAG, {std::string(300, 'x')}, {}});
    return entry;
}

}  // namespace

TEST(RunEntry, ComesBackAsItWas) {
    const StoredEntry before = sample();
    StoredEntry after;
    decode(encoded(before), after);
    EXPECT_EQ(after.type, before.type);
    EXPECT_EQ(after.version, before.version);
    EXPECT_EQ(after.text, before.text);
    ASSERT_EQ(after.values.size(), 2u);
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(after.values[i].attribute, before.values[i].attribute);
        EXPECT_TRUE(after.values[i].before == before.values[i].before);
        EXPECT_TRUE(after.values[i].after == before.values[i].after);
    }
}

TEST(RunEntry, ThatIsCutAnywhereIsRefused) {
    const std::string whole = encoded(sample());
    for (std::size_t size = 0; size < whole.size(); ++size) {
        StoredEntry entry;
        EXPECT_THROW(decode(std::string_view(whole).substr(0, size), entry), Failure) << size;
    }
    StoredEntry entry;
    EXPECT_THROW(decode(whole + "x", entry), Failure);
}

TEST(RunEntry, WithAnyOneByteChangedNeverReadsBeyondItsEnd) {
    const std::string whole = encoded(sample());
    for (std::size_t at = 0; at < whole.size(); ++at)
        for (const char byte : {'\0', '\x01', '\x7f', '\x80', '\xff'}) {
            std::string changed = whole;
            changed[at] = byte;
            StoredEntry entry;
            try {
                decode(changed, entry);
            } catch (const Failure& failure) {
                EXPECT_EQ(failure.status(), kStoreFailure);
            }
        }
}
