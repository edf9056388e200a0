#pragma once

// A bill of materials as rows: what they say, what is wrong with them, and what there is to make.

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/types.h"
#include "tools/keld/host/csv_columns.h"

namespace keld {

// The headings that a file may have.
std::span<const CsvField> bomFields();

// A line that the store has already.
struct StoredLine {
    tag_t occurrence = NULLTAG, revision = NULLTAG;
    std::string number, quantity;
};

// Questions to the store about the objects that the rows name.
class BomStore {
public:
    virtual ~BomStore() = default;
    virtual tag_t item(const std::string& id) = 0;  // NULLTAG: there is none
    struct Revision {
        tag_t tag = NULLTAG;
        std::string id;
    };
    virtual Revision latest(tag_t item) = 0;
    virtual tag_t revision(tag_t item, const std::string& id) = 0;
    virtual std::vector<StoredLine> lines(tag_t revision) = 0;
    // NULLTAG: the revision is gone.
    virtual tag_t itemOf(tag_t revision) = 0;
    // The revisions that use this one directly.
    virtual std::vector<tag_t> parents(tag_t revision) = 0;
    virtual std::string title(tag_t revision) = 0;
    virtual std::vector<std::string> itemTypes() = 0;
};

struct BomItem {
    std::string id, name, type;  // name and type: of an item that is to be made
    tag_t tag = NULLTAG;         // NULLTAG: it is to be made
    std::size_t line = 0;        // of the first row that names it
    std::size_t name_line = 0, type_line = 0;
    std::string last_revision;  // the last one that a row names
    bool begun = false;         // its first revision is in the plan
};

// A revision that rows name.
struct BomPart {
    std::size_t item = 0;
    std::string revision;
    tag_t tag = NULLTAG;  // NULLTAG: it is to be made
    std::size_t line = 0;
    bool first = false;  // the first revision of a new item, which is made with the item
};

struct BomLine {
    std::size_t parent = 0, child = 0;  // indexes into the parts
    std::string number, quantity;
    std::size_t line = 0;
    tag_t occurrence = NULLTAG;  // NULLTAG: it is to be made
    std::string old_quantity;    // of a line that the store has
    bool any_revision = false;   // the row names no revision

    bool changes() const {
        return occurrence == NULLTAG || (!quantity.empty() && quantity != old_quantity);
    }
};

// What is to be made or changed: items, further revisions, and lines. The lines of one parent are
// together, and parents come before what they use.
struct BomPlan {
    std::vector<BomItem> items;
    std::vector<BomPart> parts;
    std::vector<BomLine> lines;
    std::size_t rows = 0;

    std::string title(const BomPart& part) const;
    std::size_t newItems() const;
    std::size_t newRevisions() const;  // without those that are made with new items
    std::size_t newLines() const;
    std::size_t changedLines() const;
};

// Read the rows; everything that is wrong with them becomes a problem.
BomPlan readBom(std::istream& in, char separator, bool ignore_columns, BomStore& store,
                CsvProblems& problems);

}  // namespace keld
