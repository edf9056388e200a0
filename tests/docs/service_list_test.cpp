// The description of the services against each place that tells of them too. The controls change a
// copy of the description; each place has to notice it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "tests/docs/service_differences.h"
#include "tests/support/places.h"
#include "tools/keld/services.h"

namespace {

using keld::Argues;
using keld::Holds;
using keld::Service;
using keld::Slot;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> differences(const std::vector<Service>& services) {
    return docs::serviceDifferences(services, KELD_SOURCE_DIR);
}

// The differences of a description in which one service is another.
template <typename Change>
std::vector<std::string> differencesWith(const std::string& name, const Change& change) {
    std::vector<Service> changed = keld::services();
    const auto found = std::find_if(changed.begin(), changed.end(),
                                    [&](const Service& service) { return service.name == name; });
    if (found == changed.end())
        return {"there is no service " + name};
    change(*found);
    return differences(changed);
}

}  // namespace

TEST(ServiceList, EachPlaceTellsWhatIsDescribed) {
    ASSERT_FALSE(keld::services().empty());
    EXPECT_THAT(differences(keld::services()), IsEmpty());
}

TEST(ServiceListControl, EachPlaceMissesAServiceThatIsDescribedAlone) {
    std::vector<Service> more = keld::services();
    more.push_back(
        {"KELD_More", "KELD_More", {}, Slot::Int, Holds::Returned, false, keld::Effects::None});
    EXPECT_THAT(differences(more),
                ElementsAre("src/platform/keld_se.h: KELD_More isn't there",
                            "cmake/exports/keld_se.txt: KELD_More isn't there",
                            "docs/services.md: KELD_More isn't there",
                            "tests/fuzz/CMakeLists.txt: KELD_More isn't there",
                            "tests/faults/*_sweep_test.cpp: KELD_More isn't there",
                            "tests/memory/entry_memory_test.cpp: KELD_More isn't there"));
}

TEST(ServiceListControl, AServiceThatIsNotDescribedIsNamed) {
    std::vector<Service> less = keld::services();
    std::erase_if(less, [](const Service& service) { return service.name == "KELD_CopyAttr"; });
    const std::string what = ": KELD_CopyAttr isn't described in tools/keld/services.cpp";
    EXPECT_THAT(
        differences(less),
        ElementsAre("src/platform/keld_se.h" + what, "docs/services.md" + what,
                    "tests/fuzz/CMakeLists.txt" + what, "tests/faults/*_sweep_test.cpp" + what));
}

TEST(ServiceListControl, AnotherOrderOfTheArgumentsIsNamed) {
    const std::string what =
        ": KELD_CopyAttr has the arguments source object, list of destination objects; "
        "described are list of destination objects, source object";
    EXPECT_THAT(differencesWith("KELD_CopyAttr",
                                [](Service& service) {
                                    std::swap(service.arguments.front(), service.arguments.back());
                                }),
                ElementsAre("src/platform/keld_se.h" + what, "docs/services.md" + what));
}

TEST(ServiceListControl, AnotherKindOfAnArgumentIsNamed) {
    const std::string list =
        ": KELD_CopyAttr list of destination objects is told as a list; described is tag";
    EXPECT_THAT(
        differencesWith("KELD_CopyAttr",
                        [](Service& service) { service.arguments.back().as = Argues::Object; }),
        ElementsAre("src/platform/keld_se.h" + list, "docs/services.md" + list));
    const std::string object =
        ": KELD_CopyAttr source object isn't told as a list; described is tags";
    EXPECT_THAT(
        differencesWith("KELD_CopyAttr",
                        [](Service& service) { service.arguments.front().as = Argues::Objects; }),
        ElementsAre("src/platform/keld_se.h" + object, "docs/services.md" + object));
    const std::string text = ": KELD_ReNameItem new item id is told as string; described is int";
    EXPECT_THAT(
        differencesWith("KELD_ReNameItem",
                        [](Service& service) { service.arguments.front().as = Argues::Number; }),
        ElementsAre("src/platform/keld_se.h" + text, "docs/services.md" + text));
    const std::string number = ": KELD_SrvCall level is told as int; described is string";
    EXPECT_THAT(differencesWith("KELD_SrvCall",
                                [](Service& service) { service.arguments[1].as = Argues::Text; }),
                ElementsAre("src/platform/keld_se.h" + number, "docs/services.md" + number));
}

TEST(ServiceListControl, AnotherSlotIsNamed) {
    EXPECT_THAT(
        differencesWith("KELD_SrvCall", [](Service& service) { service.slot = Slot::Tag; }),
        ElementsAre(
            "src/platform/keld_se.h: KELD_SrvCall has a place for char*; described is tag_t",
            "docs/services.md: KELD_SrvCall gives a text in one of the two alone",
            "docs/services.md: KELD_SrvCall gives an object in one of the two alone"));
}

TEST(ServiceListControl, AnotherResultIsNamed) {
    EXPECT_THAT(
        differencesWith("KELD_CopyAttr", [](Service& service) { service.holds = Holds::Zero; }),
        ElementsAre(
            "docs/services.md: KELD_CopyAttr has the result 0 in one of the two alone",
            "docs/services.md: KELD_CopyAttr has the returned status as its result in one of "
            "the two alone"));
    const std::string what = ": KELD_CopyAttr returns 0 always in one of the two alone";
    EXPECT_THAT(
        differencesWith("KELD_CopyAttr", [](Service& service) { service.always_zero = true; }),
        ElementsAre("src/platform/keld_se.h" + what, "docs/services.md" + what));
}

TEST(ServiceListControl, ADirectoryWithoutTheProjectIsRefused) {
    EXPECT_THROW(docs::serviceDifferences(keld::services(), KELD_SOURCE_DIR "/docs"),
                 std::runtime_error);
}
