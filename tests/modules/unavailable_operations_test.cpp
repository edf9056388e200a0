#include <fstream>
#include <set>

#include "tests/modules/world.h"
#include "tests/support/places.h"

namespace mervane::test {

// The list items of docs/unavailable-operations.md that begin with a name in back quotes.
static std::set<std::string> documented() {
    std::ifstream in(KELD_SOURCE_DIR "/docs/unavailable-operations.md");
    EXPECT_TRUE(in.good());
    std::set<std::string> names;
    for (std::string line; std::getline(in, line);)
        if (line.starts_with("- `"))
            names.insert(line.substr(3, line.find('`', 3) - 3));
    return names;
}

class UnavailableOperations : public World {};

TEST_F(UnavailableOperations, AreTheOnesInTheDocumentation) {
    const auto list = wb.unavailableOperations();
    EXPECT_EQ(std::set<std::string>(list.begin(), list.end()), documented());
}

}  // namespace mervane::test
