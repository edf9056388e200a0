#pragma once

// A list of renames as rows, old and new id: what is wrong with them, and an order in which each
// new id is free when it is given.

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
    // The item of a name. With `explain` false nobody reads why there is none.
    virtual Found find(const std::string& name, bool explain) = 0;
    virtual tag_t holder(const std::string& id) = 0;  // of an item id; NULLTAG: it is free
};

// Everything that is wrong becomes a problem: two rows for one item or one id, ids that are taken,
// renames that lead in a circle.
std::vector<Rename> readRenames(std::istream& in, char separator, bool ignore_columns,
                                RenameStore& store, CsvProblems& problems);

}  // namespace keld
