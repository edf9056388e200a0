#pragma once

// Small STEP files for tests, line by line.

#include <sstream>
#include <string>

#include "workbench/import/step_reader.h"

namespace keld_test {

// The data section begins on line 4 of the file.
inline std::string stepFile(const std::string& data) {
    return "ISO-10303-21;\nHEADER;ENDSEC;\nDATA;\n" + data + "ENDSEC;\nEND-ISO-10303-21;\n";
}

// A product #n with its formation #(n+1) and definition #(n+2), on one line.
inline std::string stepProduct(int n, const std::string& id, const std::string& name = "name",
                               const std::string& version = "") {
    const auto ref = [](int i) { return "#" + std::to_string(i); };
    return ref(n) + "=PRODUCT('" + id + "','" + name + "','',());" + ref(n + 1) +
           "=PRODUCT_DEFINITION_FORMATION('" + version + "',''," + ref(n) + ");" + ref(n + 2) +
           "=PRODUCT_DEFINITION('design',''," + ref(n + 1) + ",$);\n";
}

// A usage between the products #parent and #child, on one line.
inline std::string stepUsage(int n, int parent, int child) {
    return "#" + std::to_string(n) + "=NEXT_ASSEMBLY_USAGE_OCCURRENCE('u','','',#" +
           std::to_string(parent + 2) + ",#" + std::to_string(child + 2) + ",$);\n";
}

inline mervane::StepStructure readStepText(const std::string& text) {
    std::istringstream in(text);
    return mervane::readStep(in, "test.stp", nullptr);
}

}  // namespace keld_test
