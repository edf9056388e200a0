#pragma once

// Values of properties as rows: the first column names the object, each other one a property.

#include <istream>
#include <string>
#include <vector>

#include "platform/types.h"
#include "tools/keld/host/csv_reader.h"

namespace keld {

struct ValueRow {
    std::size_t line = 0;
    tag_t object = NULLTAG;
    struct Value {
        std::size_t column = 0;  // from 1
        std::string text;
    };
    std::vector<Value> values;  // of the cells that aren't empty
};

struct ValueTable {
    std::vector<std::string> properties;  // of the columns; the first is empty
    std::vector<ValueRow> rows;
};

class ValueStore {
public:
    virtual ~ValueStore() = default;
    struct Found {
        tag_t object = NULLTAG;
        std::string why;  // why there is none
    };
    // `explain` false: `why` isn't needed and may stay empty.
    virtual Found find(const std::string& name, bool explain) = 0;
    // Why the property can't be set on any object; empty: it can on some.
    virtual std::string whyNotProperty(const std::string& property) = 0;
    // Why the object can't have the value; empty: it can.
    virtual std::string whyNotValue(tag_t object, const std::string& property,
                                    const std::string& text) = 0;
};

// Read the rows; everything that is wrong becomes a problem.
ValueTable readValues(std::istream& in, char separator, ValueStore& store, CsvProblems& problems);

}  // namespace keld
