#include "workbench/import/step_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "tests/import/step_text.h"
#include "tests/support/places.h"
#include "tests/support/step_generator.h"
#include "workbench/import/step_plan.h"

using namespace keld_test;
using mervane::StepStructure;

namespace {

struct RealFile {
    const char* name;
    std::size_t products, usages;
};

std::string realPath(const std::string& name) {
    return std::string(KELD_SOURCE_DIR) + "/../shared/data/step/" + name;
}

}  // namespace

TEST(StepReader, AProductHasItsIdItsNameAndItsVersion) {
    const StepStructure s = readStepText(stepFile(stepProduct(1, "P-1", "Plate", "C")));
    ASSERT_EQ(s.products.size(), 1u);
    EXPECT_EQ(s.products[0].id, "P-1");
    EXPECT_EQ(s.products[0].name, "Plate");
    ASSERT_EQ(s.formations.size(), 1u);
    EXPECT_EQ(s.formations[0].id, "C");
    EXPECT_EQ(s.formations[0].product, 0u);
    ASSERT_EQ(s.definitions.size(), 1u);
    EXPECT_TRUE(s.usages.empty());
}

TEST(StepReader, ReferencesMayPointForward) {
    const StepStructure s = readStepText(
        stepFile(stepUsage(9, 20, 10) + stepProduct(10, "child") + stepProduct(20, "parent")));
    ASSERT_EQ(s.usages.size(), 1u);
    EXPECT_EQ(s.usages[0].parent, 1u);
    EXPECT_EQ(s.usages[0].child, 0u);
    EXPECT_EQ(s.usages[0].line, 4u);
}

TEST(StepReader, AnInstanceOfSeveralTypesTakesItsValuesFromTheTypeThatHasThem) {
    const StepStructure s = readStepText(
        stepFile(stepProduct(1, "a") + stepProduct(11, "b") +
                 "#30=(ASSEMBLY_COMPONENT_USAGE($) NEXT_ASSEMBLY_USAGE_OCCURRENCE() "
                 "PRODUCT_DEFINITION_RELATIONSHIP('n','','',#3,#13) PRODUCT_DEFINITION_USAGE());\n"
                 "#40=(PRODUCT_DEFINITION_FORMATION('2','',#1) "
                 "PRODUCT_DEFINITION_FORMATION_WITH_SPECIFIED_SOURCE(.MADE.));\n"));
    ASSERT_EQ(s.usages.size(), 1u);
    EXPECT_EQ(s.usages[0].id, "n");
    EXPECT_EQ(s.usages[0].parent, 0u);
    EXPECT_EQ(s.usages[0].child, 1u);
    ASSERT_EQ(s.formations.size(), 3u);
    EXPECT_EQ(s.formations[2].id, "2");
}

TEST(StepReader, SubtypesThatAddParametersAreReadLikeTheirBase) {
    const StepStructure s = readStepText(
        stepFile("#1=PRODUCT('a','a',$,(#5));\n"
                 "#2=PRODUCT_DEFINITION_FORMATION_WITH_SPECIFIED_SOURCE('v','',#1,.MADE.);\n"
                 "#3=PRODUCT_DEFINITION_WITH_ASSOCIATED_DOCUMENTS('','',#2,#4,(#5));\n"));
    EXPECT_EQ(s.formations.at(0).id, "v");
    EXPECT_EQ(s.definitions.size(), 1u);
}

TEST(StepReader, CommentsLayoutAndSeveralDataSectionsDoNotMatter) {
    const StepStructure s = readStepText(
        "\xEF\xBB\xBFISO-10303-21 /* ; */ "
        ";\r\nHEADER;FILE_NAME('a',$,(''),(''),'','','');ENDSEC;\r\n"
        "DATA('one',('S'));\r\n#1\r\n=\r\nPRODUCT /* #9=PRODUCT('x') */ "
        "(\r\n'a;''b'\r\n,'','',());\r\n"
        "ENDSEC;DATA;#2=PRODUCT('c','','',());ENDSEC;END-ISO-10303-21;");
    ASSERT_EQ(s.products.size(), 2u);
    EXPECT_EQ(s.products[0].id, "a;'b");
    EXPECT_EQ(s.products[0].line, 4u);
    EXPECT_EQ(s.products[1].id, "c");
}

TEST(StepReader, EveryFormOfValueIsTakenInWhatIsSkipped) {
    const StepStructure s = readStepText(
        stepFile("#1=ANY($,*,#2,-1,+2.5,1.E-3,0.E+000,.T.,.U_1.,\"1AF\",'x',(),(1,(2,3)),"
                 "LENGTH_MEASURE(2.),@7);\n#3=!OWN_TYPE();\n#4=(A()B(1));\n" +
                 stepProduct(5, "a")));
    EXPECT_EQ(s.products.size(), 1u);
    EXPECT_EQ(s.instances, 6u);
}

TEST(StepReader, SectionsOfLaterEditionsAreSkipped) {
    const StepStructure s = readStepText(
        "ISO-10303-21;HEADER;ENDSEC;ANCHOR;<a>=#1;ENDSEC;REFERENCE;#9=<b.stp#x>;ENDSEC;DATA;" +
        stepProduct(1, "a") + "ENDSEC;END-ISO-10303-21;SIGNATURE MIIB+/=ENDSEC;");
    EXPECT_EQ(s.products.size(), 1u);
}

TEST(StepReader, ACopyOfTheWholeFileIsWritten) {
    const std::string text = stepFile(stepProduct(1, "a")) + "\n\n/* end */\n";
    std::istringstream in(text);
    std::ostringstream copy;
    mervane::readStep(in, "x", &copy);
    EXPECT_EQ(copy.str(), text);
}

TEST(StepReader, AGeneratedFileHasTheProductsAndUsagesThatWereWritten) {
    for (std::uint32_t seed = 1; seed <= 3; ++seed) {
        std::ostringstream out;
        const StepCounts counts =
            writeStep(out, {.parts = 25, .children = 3, .uses = 2, .bytes = 300'000, .seed = seed});
        const StepStructure s = readStepText(out.str());
        EXPECT_EQ(s.products.size(), static_cast<std::size_t>(counts.products));
        EXPECT_EQ(s.usages.size(), static_cast<std::size_t>(counts.usages));
        EXPECT_EQ(s.bytes, counts.bytes);
    }
}

class RealStepFile : public testing::TestWithParam<RealFile> {};

TEST_P(RealStepFile, HasTheProductsAndUsagesThatWereCountedInIt) {
    std::ifstream in(realPath(GetParam().name), std::ios::binary);
    if (!in)
        GTEST_SKIP() << "the real product structures are not beside the project";
    const StepStructure s = mervane::readStep(in, GetParam().name, nullptr);
    EXPECT_EQ(s.products.size(), GetParam().products);
    EXPECT_EQ(s.definitions.size(), GetParam().products);
    EXPECT_EQ(s.usages.size(), GetParam().usages);
    const auto plan = mervane::planStep(s, {}, [](const std::string&) { return false; });
    EXPECT_EQ(plan.tops.size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(All, RealStepFile,
                         testing::Values(RealFile{"as1-oc-214.stp", 9, 13},
                                         RealFile{"t-embed-full-shell.stp", 13, 12},
                                         RealFile{"pushdevice-assembly.step", 68, 67},
                                         RealFile{"stamp-c6lora-smd.step", 313, 548}),
                         [](const auto& file) {
                             return "Number" + std::to_string(file.index + 1);
                         });
