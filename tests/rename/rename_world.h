#pragma once

// What the tests of the rename share: a world with settings, a way to run the services, and the
// traced calls of a run.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "platform/keld_basetool.h"
#include "platform/keld_se.h"
#include "platform/mv_heap.h"
#include "platform/mv_rel.h"
#include "tests/support/places.h"
#include "tests/support/world.h"
#include "workbench/model/status.h"

namespace world {

using Lines = std::vector<std::string>;

class RenameTest : public testing::Test {
protected:
    World world;
};

struct Outcome {
    int status = 99;
    int slot = 99;
    bool operator==(const Outcome&) const = default;
};
inline void PrintTo(const Outcome& outcome, std::ostream* out) {
    *out << "status " << outcome.status << ", slot " << outcome.slot;
}
inline Outcome both(int status) {
    return {status, status};
}

// Settings of the section KELD_ItemRename, in force until the next call. They are in the base
// settings, which a profile made from the preference would hide.
inline void settings(World& world, const Lines& lines) {
    std::string text = "[KELD_ItemRename]\n";
    for (const std::string& line : lines)
        text += line + "\n";
    world.configure("keld_base.ini", text);
}

inline Outcome rename(World& world, tag_t item, const std::string& id, const std::string& name = "",
                      const std::string& description = "") {
    world.bench.sendArguments({id, name, description, item});
    Outcome outcome;
    outcome.status = KELD_ReNameItem(&outcome.slot);
    return outcome;
}

inline Outcome renameExtended(World& world, tag_t item, tag_t revision, const std::string& id,
                              const std::string& revision_id, int action,
                              const std::string& name = "", const std::string& description = "") {
    world.bench.sendArguments({id, revision_id, name, description, item, revision, action});
    Outcome outcome;
    outcome.status = KELD_ReNameItemExtended(&outcome.slot);
    return outcome;
}

// The expressions of the traced calls, in order, those of one depth only if it isn't negative.
inline Lines traced(World& world, int depth = -1) {
    Lines found;
    for (const LogLine& line : world.log())
        if (line.text.starts_with(" ->") && (depth < 0 || line.depth == depth))
            found.push_back(line.text.substr(3, line.text.rfind(' ') - 3));
    return found;
}

// Trace lines that begin with the text.
inline Lines tracesWith(World& world, const std::string& begin) {
    Lines found = world.lines("TD");
    std::erase_if(found, [&](const std::string& line) { return !line.starts_with(begin); });
    return found;
}

// Error lines of the library's own, without those of traced calls that failed.
inline Lines errors(World& world) {
    Lines found = world.lines("E");
    std::erase_if(found, [](const std::string& line) {
        return line.starts_with("##") || line.starts_with("--") || line.starts_with("  ");
    });
    return found;
}

// The error stack as "severity:status".
inline Lines stack(World& world) {
    Lines found;
    for (const mervane::StackEntry& entry : world.bench.errorStack())
        found.push_back(std::to_string(entry.severity) + ":" + std::to_string(entry.status));
    return found;
}

// The calls of an action whose names begin with one of the words.
inline Lines only(const Lines& calls, const std::vector<std::string_view>& words) {
    Lines found;
    for (const std::string& call : calls)
        if (std::any_of(words.begin(), words.end(),
                        [&](std::string_view word) { return call.starts_with(word); }))
            found.push_back(call);
    return found;
}

// Nobody may write the object, or objects with a latest status.
inline void writeProtect(World& world, tag_t object) {
    world.bench.addRight({"all", "", "object", std::to_string(object), "WRITE", false});
}
inline void writeProtectStatus(World& world, const std::string& status) {
    world.bench.addRight({"all", "", "status", status, "WRITE", false});
}

// Give an object a stored name, which it has in the journal too.
inline tag_t called(World& world, tag_t object, const std::string& name) {
    world.put(object, "object_name", name);
    world.name(object, name);
    return object;
}

// A small file on disk.
inline std::string someFile() {
    return KELD_SOURCE_DIR "/.clang-format";
}

// The relation's entry as the walk gets it.
inline rel_entry_s entryOf(tag_t primary, tag_t secondary) {
    int count = 0;
    rel_entry_s* entries = nullptr;
    rel_entry_s found{};
    EXPECT_EQ(0, REL_list_secondary_objects(primary, NULLTAG, &count, &entries));
    for (int i = 0; i < count; ++i)
        if (entries[i].secondary == secondary)
            found = entries[i];
    HEAP_free(entries);
    EXPECT_EQ(secondary, found.secondary);
    return found;
}

}  // namespace world
