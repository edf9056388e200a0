#pragma once

// The product structure of a STEP file, without a session: what the file has, in its order.

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace mervane {

struct StepStructure {
    struct Product {
        std::uint64_t instance = 0, line = 0;
        std::string id, name, description;
    };
    struct Formation {  // a version of a product
        std::uint64_t instance = 0, line = 0;
        std::string id, description;
        std::size_t product = 0;  // index in products
    };
    struct Definition {
        std::uint64_t instance = 0, line = 0;
        std::size_t formation = 0;
    };
    struct Usage {
        std::uint64_t instance = 0, line = 0;
        std::string id, name;
        std::size_t parent = 0, child = 0;  // indices in definitions
    };

    std::vector<Product> products;
    std::vector<Formation> formations;
    std::vector<Definition> definitions;
    std::vector<Usage> usages;
    std::uint64_t instances = 0;  // of all entities in the file
    std::uint64_t bytes = 0;
};

// Reads a whole file; memory grows with its products and usages only. A copy of every byte goes to
// `copy` unless it is null. Throws Failure kBadImport with the line and what was expected: for a
// text that is no STEP file, broken syntax, references that lead nowhere or to the wrong kind of
// entity, a structure that contains itself, and a file without a product.
StepStructure readStep(std::istream& in, const std::string& source_name, std::ostream* copy);

}  // namespace mervane
