#pragma once

// What the tests over the platform of lines share.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "libkeld_flow/keld_par/keld_acbomlineobject.h"
#include "libkeld_flow/keld_par/keld_acpreference.h"
#include "tests/bom/line_platform.h"
#include "tests/support/world.h"

namespace bom {

// A log line without the place in the sources that it ends with.
inline std::string withoutPlace(const std::string& line) {
    static const std::regex place(R"( +\S+:\d+$)");
    return std::regex_replace(line, place, "");
}

inline std::vector<std::string> messages(world::World& world, std::string_view levels = "EW") {
    std::vector<std::string> found;
    for (const std::string& line : world.lines(levels))
        found.push_back(withoutPlace(line));
    return found;
}

inline const std::string kNotesNotSet = "Pref:PackAndResequenceBOM.NoteTypesToCompare not set";

// The log has its finest level, and values that the process keeps are reset.
class BomLines : public testing::Test {
protected:
    BomLines() {
        line_platform::reset();
        ACBOMLineObject::m_iNoteTypeNamesToCompareCount = 0;
        ACBOMLineObject::m_ppcNoteTypeNamesToCompare = nullptr;
        ACPreference::m_bInitialized = false;
    }

    // An object of a single line; what making it wrote and called is forgotten.
    std::unique_ptr<ACBOMLineObject> object(const line_platform::Line& line) {
        p.give({line});
        auto made = std::make_unique<ACBOMLineObject>(line_platform::Platform::child(0));
        p.calls.clear();
        world.clearLog();
        return made;
    }

    world::World world;
    line_platform::Platform& p = line_platform::platform();
};

}  // namespace bom
