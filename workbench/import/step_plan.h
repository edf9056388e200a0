#pragma once

// What an import of a product structure will make: items, revisions and occurrences with the ids
// that they get in the store.

#include <functional>
#include <string>
#include <vector>

#include "workbench/import/step_reader.h"

namespace mervane {

struct StepLimits {  // in bytes
    std::size_t item_id = 128, revision_id = 128, name = 128, description = 240;
};

struct StepPlan {
    struct Item {
        std::string id;
        std::string source_id;  // as the file has it
        std::string name, description;
    };
    struct Revision {
        std::size_t item = 0;
        std::string id, description;
    };
    struct Occurrence {
        std::size_t parent = 0, child = 0;  // indices in revisions
    };
    std::vector<Item> items;
    std::vector<Revision> revisions;  // those of an item in the order of the file
    std::vector<Occurrence> occurrences;
    std::vector<std::size_t> tops;  // revisions that nothing in the file uses
    int renamed_ids = 0;            // ids that were taken and got a suffix
    int cut_ids = 0;                // ids that were too long
    int unnamed = 0;                // products without an id
};

// A product is an item, a formation a revision of it; a product without a formation gets the
// revision "A", as does a formation without an id. An item id that is taken, in the store or by an
// earlier product of the file, gets a suffix: "-2", "-3". A product without an id takes its name,
// or "unnamed".
StepPlan planStep(StepStructure structure, const StepLimits& limits,
                  const std::function<bool(const std::string&)>& id_is_taken);

}  // namespace mervane
