#include "workbench/store/near.h"

#include <string_view>
#include <utility>

namespace mervane {

std::vector<std::string> oneLetterAway(const std::string& text) {
    constexpr std::string_view kLetters =
        "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ-_./ ";
    std::vector<std::string> all;
    for (std::size_t i = 0; i <= text.size(); ++i) {
        for (const char letter : kLetters) {
            all.push_back(std::string(text).insert(i, 1, letter));
            if (i < text.size() && letter != text[i])
                (all.emplace_back(text))[i] = letter;
        }
        if (i < text.size())
            all.push_back(std::string(text).erase(i, 1));
        if (i + 1 < text.size()) {
            std::string swapped = text;
            std::swap(swapped[i], swapped[i + 1]);
            all.push_back(std::move(swapped));
        }
    }
    return all;
}

}  // namespace mervane
