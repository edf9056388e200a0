#include "workbench/store/runs.h"

#include <cstdlib>

#include "workbench/model/status.h"
#include "workbench/workbench.h"

namespace mervane {

std::string packedTexts(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts)
        all += std::to_string(text.size()) + " " + text + "\n";
    return all;
}

std::vector<std::string> unpackedTexts(std::string_view all) {
    std::vector<std::string> texts;
    while (!all.empty()) {
        std::size_t size = 0, at = 0;
        // A damaged length must not grow beyond what a number holds.
        for (; at < all.size() && all[at] >= '0' && all[at] <= '9' && size < all.size(); ++at)
            size = size * 10 + static_cast<std::size_t>(all[at] - '0');
        if (at == 0 || at + 1 + size >= all.size())
            throw Failure(kStoreFailure, "the head of a run's record is damaged");
        texts.emplace_back(all.substr(at + 1, size));
        all.remove_prefix(at + 1 + size + 1);
    }
    return texts;
}

std::string packedCounts(const std::map<std::string, std::int64_t>& counts) {
    std::vector<std::string> texts;
    for (const auto& [name, count] : counts) {
        texts.push_back(name);
        texts.push_back(std::to_string(count));
    }
    return packedTexts(texts);
}

std::map<std::string, std::int64_t> unpackedCounts(std::string_view all) {
    const std::vector<std::string> texts = unpackedTexts(all);
    std::map<std::string, std::int64_t> counts;
    for (std::size_t i = 0; i + 1 < texts.size(); i += 2)
        counts[texts[i]] = std::strtoll(texts[i + 1].c_str(), nullptr, 10);
    return counts;
}

}  // namespace mervane
