#pragma once

// The known name that a mistyped one is most like.

#include <string>
#include <string_view>
#include <vector>

namespace mervane {

// Takes candidates one after the other, so that nobody has to list them.
class NearestName {
public:
    explicit NearestName(std::string_view name);
    void offer(std::string_view candidate);
    // The candidate that differs least, of several the one offered first, or the first in the order
    // of bytes; empty if none is alike.
    const std::string& firstOffered() const { return first_; }
    const std::string& lowest() const { return lowest_; }

private:
    std::string_view name_;
    std::size_t least_;
    std::string first_, lowest_;
};

// The candidate that differs least; empty if none is alike.
std::string nearestName(std::string_view name, const std::vector<std::string>& candidates);
// " (nearest: NAME)", or nothing.
std::string nearestHint(std::string_view name, const std::vector<std::string>& candidates);
std::string nearestHint(const std::string& nearest);

}  // namespace mervane
