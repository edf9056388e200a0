#include "tools/keld/host/nearest.h"

#include <algorithm>
#include <utility>

#include "tools/keld/lint/ini.h"

namespace keld {

std::size_t editDistance(std::string_view a, std::string_view b, std::size_t limit) {
    const std::size_t gap = a.size() > b.size() ? a.size() - b.size() : b.size() - a.size();
    if (gap > limit)
        return limit + 1;
    const std::string x = asciiLower(a), y = asciiLower(b);
    std::vector<std::size_t> before(y.size() + 1), last(y.size() + 1), row(y.size() + 1);
    for (std::size_t j = 0; j <= y.size(); ++j)
        last[j] = j;
    for (std::size_t i = 1; i <= x.size(); ++i) {
        row[0] = i;
        std::size_t smallest = i;
        for (std::size_t j = 1; j <= y.size(); ++j) {
            const std::size_t change = last[j - 1] + (x[i - 1] == y[j - 1] ? 0 : 1);
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, change});
            if (i > 1 && j > 1 && x[i - 1] == y[j - 2] && x[i - 2] == y[j - 1])
                row[j] = std::min(row[j], before[j - 2] + 1);
            smallest = std::min(smallest, row[j]);
        }
        if (smallest > limit)
            return limit + 1;
        std::swap(before, last);
        std::swap(last, row);
    }
    return last[y.size()];
}

std::vector<std::string> nearest(std::string_view name, const std::vector<std::string>& known,
                                 std::size_t count) {
    const std::size_t limit = std::max<std::size_t>(1, name.size() / 3);
    std::vector<std::pair<std::size_t, std::string>> found;
    for (const std::string& candidate : known) {
        const std::size_t distance = editDistance(name, candidate, limit);
        if (distance <= limit)
            found.emplace_back(distance, candidate);
    }
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    std::vector<std::string> names;
    for (const auto& [distance, candidate] : found)
        if (names.size() < count && distance <= found.front().first + 1)
            names.push_back(candidate);
    return names;
}

std::string didYouMean(const std::vector<std::string>& names) {
    if (names.empty())
        return {};
    std::string text = " Did you mean ";
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (i > 0)
            text += i + 1 == names.size() ? " or " : ", ";
        text += names[i];
    }
    return text + "?";
}

}  // namespace keld
