#pragma once

// A small structure in a BOM window, and the service that packs and resequences it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/keld_se.h"
#include "tests/support/files.h"
#include "tests/support/world.h"

namespace bom {

struct ServiceRun {
    int status = 0;
    tag_t dataset = 77;  // value of the slot before the call
};

class Structure {
public:
    Structure();
    Structure(const Structure&) = delete;
    Structure& operator=(const Structure&) = delete;

    world::World world;

    // The first revision of an item of this id, made if there is none; "4711/B" is a further one.
    tag_t part(const std::string& name);
    // A use of a part; the occurrence.
    tag_t use(const std::string& parent, const std::string& child, const std::string& number,
              const std::string& quantity = "");
    void note(tag_t occurrence, const std::string& type, const std::string& text);
    // The top line of a new window.
    tag_t open(const std::string& top);
    // The view revision below a part.
    tag_t view(const std::string& name) { return world.bench.bomViewRevision(part(name)); }
    void denyWrite(tag_t view);

    std::vector<tag_t> children(tag_t line);
    tag_t child(tag_t line, std::size_t index) { return children(line).at(index); }
    std::string text(tag_t line, const char* property);
    // The children in the window as "id[number]", followed by " xN" where there is a quantity.
    std::vector<std::string> shown(tag_t line);
    void unpackAll(tag_t line);

    // The service as a client calls it.
    ServiceRun run(tag_t top, const std::vector<tag_t>& lines, int level = 0, int sort = 0);

    std::string protocolPath() const;
    std::string protocol() const;
    // What the dataset holds, read back from the store.
    std::vector<std::string> contents(tag_t dataset);

    const keld_test::Directory directory;

    static inline const std::string kHeader = "\t\tComponent\t\tSeqNo. alt\tSeqNo. neu\tStatus\n";
    static constexpr const char* kDataset = "PSE_RPBOM_infodba";
};

class BomService : public testing::Test, public Structure {};

// The log lines of these levels, without places in the sources and without the note on missing note
// types.
std::vector<std::string> remarks(world::World& world, std::string_view levels = "EW");

}  // namespace bom
