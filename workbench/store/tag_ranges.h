#pragma once

#include <map>

#include "platform/types.h"

namespace mervane {

// Many tags, of which most follow one another, in little memory.
class TagRanges {
public:
    void add(tag_t tag) { add(tag, tag); }
    void add(const TagRanges& others);
    bool contains(tag_t tag) const;

private:
    std::map<tag_t, tag_t> ranges_;  // first and last one of each

    void add(tag_t first, tag_t last);
};

}  // namespace mervane
