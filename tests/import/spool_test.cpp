// What was put away comes back, from memory and from a file.

#include "workbench/import/spool.h"

#include <gtest/gtest.h>

#include "workbench/model/status.h"
#include "workbench/workbench.h"

using mervane::Spool;
using mervane::SpoolReader;

namespace {

std::string part(std::size_t number) {
    return std::string(number % 5000, static_cast<char>('a' + number % 26));
}

}  // namespace

TEST(Spools, PartsOfFewAndOfManyBytesComeBack) {
    for (const std::size_t count : {0, 3, 300, 3000}) {
        SCOPED_TRACE(count);
        Spool spool;
        std::vector<std::uint64_t> begins;
        for (std::size_t i = 0; i < count; ++i) {
            begins.push_back(spool.size());
            spool.append(part(i));
        }
        spool.finish();
        SpoolReader reader(spool, 0);
        std::string bytes;
        for (std::size_t i = 0; i < count; ++i) {
            ASSERT_EQ(reader.position(), begins[i]);
            reader.read(part(i).size(), bytes);
            ASSERT_TRUE(bytes == part(i)) << i;
        }
        // Two readers don't disturb each other.
        for (std::size_t i = count; i-- > 0;) {
            SpoolReader other(spool, begins[i]);
            other.read(part(i).size(), bytes);
            ASSERT_TRUE(bytes == part(i)) << i;
        }
        EXPECT_THROW(reader.read(1, bytes), mervane::Failure);
    }
}

TEST(Spools, OneLargePartComesBack) {
    Spool spool;
    const std::string large(3u << 20, 'l');
    spool.append("before");
    spool.append(large);
    spool.append("after");
    spool.finish();
    SpoolReader reader(spool, 6);
    std::string bytes;
    reader.read(large.size(), bytes);
    EXPECT_TRUE(bytes == large);
    reader.read(5, bytes);
    EXPECT_EQ(bytes, "after");
}
