#include <gmock/gmock.h>

#include <regex>

#include "platform/keld_se.h"
#include "tests/support/log_fixture.h"

class Version : public LogFixture {};

TEST_F(Version, PrintsItsTwelveLinesOnce) {
    testing::internal::CaptureStdout();
    KELD_Version();
    KELD_Version();
    const auto printed = splitLines(testing::internal::GetCapturedStdout());
    ASSERT_EQ(printed.size(), 12U);
    EXPECT_TRUE(std::regex_match(
        printed.at(0), std::regex(R"(KELD Server Exits                  \(V10\.1\.1\.0\)  )"
                                  R"([A-Z][a-z]{2} [ 0-9]\d \d{4} \d\d:\d\d:\d\d)")))
        << printed.at(0);
    const std::vector<std::string> rest(printed.begin() + 1, printed.end());
    EXPECT_THAT(rest, testing::ElementsAre("   KELD_SrvCallCRIFromPortal       (V10.1.1.0)",
                                           "   KELD_SrvCallCRJFromPortal       (V10.1.1.0)",
                                           "   KELD_CopyAttr                   (V10.1.1.0)",
                                           "   KELD_DeleteDeluxe               (V10.1.1.0)",
                                           "   KELD_PSE_PackAndResequenceBom   (V10.1.1.0)",
                                           "   KELD_SrvCallGetEnv              (V10.1.1.0)",
                                           "   KELD_SrvCall                    (V10.1.1.0)",
                                           "   KELD_BatchReName                (V10.1.1.0)",
                                           "   KELD_ReNameItem                 (V10.1.1.0)",
                                           "   KELD_ReNameItemExtended         (V10.1.1.0)", ""));
    EXPECT_EQ(lines().size(), 12U);
}
