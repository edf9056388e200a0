#pragma once

// A list of renames as rows, old and new id: what is wrong with them, and an order in which each
// new id is free when its turn comes.

#include <istream>
#include <span>
#include <string>
#include <vector>

#include "platform/types.h"
#include "tools/keld/host/csv_columns.h"

namespace keld {

std::span<const CsvField> renameFields();

struct Rename {
    std::size_t line = 0;
    tag_t item = NULLTAG;
    std::string from, to;
};

class RenameStore {
public:
    virtual ~RenameStore() = default;
    struct Found {
        tag_t item = NULLTAG;  // NULLTAG: it can't be renamed
        std::string id, why;
    };
    // Find the item of a name. `explain` false: `why` isn't needed and may stay empty.
    virtual Found find(const std::string& name, bool explain) = 0;
    virtual tag_t holder(const std::string& id) = 0;  // who has the id; NULLTAG: it is free
};

// Read the renames. Problems are: two rows for one item or one id, ids that are taken, renames that
// lead in a circle.
std::vector<Rename> readRenames(std::istream& in, char separator, bool ignore_columns,
                                RenameStore& store, CsvProblems& problems);

}  // namespace keld
