#pragma once

// Values of attributes, as a host gives and gets them.

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "platform/types.h"

namespace mervane {

// One value of an attribute. An attribute without a value has an empty list of values.
struct Reference {
    tag_t tag = NULLTAG;
    bool operator==(const Reference&) const = default;
};
struct Date {
    date_s date{};
    bool operator==(const Date& o) const {
        return date.year == o.date.year && date.month == o.date.month && date.day == o.date.day &&
               date.hour == o.date.hour && date.minute == o.date.minute &&
               date.second == o.date.second;
    }
};
using Value = std::variant<std::string, std::int64_t, double, bool, Date, Reference>;
using Values = std::vector<Value>;

enum class Kind { String, Int, Double, Logical, Date, Reference };
static_assert(std::variant_size_v<Value> == static_cast<int>(Kind::Reference) + 1,
              "a value's alternatives are in the order of the kinds");
inline Kind kindOf(const Value& value) {
    return static_cast<Kind>(value.index());
}

}  // namespace mervane
