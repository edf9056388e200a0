#include "workbench/import/nearest_name.h"

#include <algorithm>

namespace mervane {
namespace {

// The comparison costs the product of both lengths, and the name is whatever the file has.
constexpr std::size_t kLongestCompared = 256;

std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row[b.size()];
}

}  // namespace

NearestName::NearestName(std::string_view name)
    : name_(name),
      // A candidate that differs in more than about half of the letters is no help.
      least_(name.size() / 2 + 2) {
}

void NearestName::offer(std::string_view candidate) {
    if (name_.size() > kLongestCompared)
        return;
    // Each letter that one of them is longer is a difference.
    const std::size_t longer = std::max(name_.size(), candidate.size());
    if (longer - std::min(name_.size(), candidate.size()) > least_)
        return;
    const std::size_t d = distance(name_, candidate);
    if (d < least_) {
        least_ = d;
        first_ = lowest_ = candidate;
    } else if (d == least_ && !lowest_.empty() && candidate < lowest_) {
        lowest_ = candidate;
    }
}

std::string nearestName(std::string_view name, const std::vector<std::string>& candidates) {
    NearestName nearest(name);
    for (const std::string& candidate : candidates)
        nearest.offer(candidate);
    return nearest.firstOffered();
}

std::string nearestHint(std::string_view name, const std::vector<std::string>& candidates) {
    return nearestHint(nearestName(name, candidates));
}

std::string nearestHint(const std::string& nearest) {
    return nearest.empty() ? "" : " (nearest: \"" + nearest + "\")";
}

}  // namespace mervane
