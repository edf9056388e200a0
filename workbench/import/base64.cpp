#include "workbench/import/base64.h"

#include <cstdint>

namespace mervane {
namespace {

constexpr std::string_view kDigits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

std::string toBase64(std::string_view bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::size_t count = bytes.size() - i < 3 ? bytes.size() - i : 3;
        std::uint32_t bits = 0;
        for (std::size_t j = 0; j < 3; ++j)
            bits = bits << 8 | (j < count ? static_cast<unsigned char>(bytes[i + j]) : 0u);
        for (std::size_t j = 0; j < 4; ++j)
            text += j <= count ? kDigits[bits >> (18 - 6 * j) & 63] : '=';
    }
    return text;
}

std::optional<std::string> fromBase64(std::string_view text) {
    if (text.size() % 4 != 0)
        return std::nullopt;
    std::string bytes;
    bytes.reserve(text.size() / 4 * 3);
    for (std::size_t i = 0; i < text.size(); i += 4) {
        std::uint32_t bits = 0;
        std::size_t digits = 0;
        for (std::size_t j = 0; j < 4; ++j) {
            const std::size_t value = kDigits.find(text[i + j]);
            const bool padding = text[i + j] == '=' && i + 4 == text.size() && j >= 2;
            // A digit must not come after padding.
            if (value == std::string_view::npos ? !padding : digits < j)
                return std::nullopt;
            if (!padding)
                ++digits;
            bits = bits << 6 | (padding ? 0u : static_cast<std::uint32_t>(value));
        }
        // Bits that no byte takes must be zero, so that bytes have one form only.
        const std::uint32_t unused = digits == 2 ? 0xFFFFu : digits == 3 ? 0xFFu : 0u;
        if (bits & unused)
            return std::nullopt;
        for (std::size_t j = 0; j + 1 < digits; ++j)
            bytes += static_cast<char>(bits >> (16 - 8 * j) & 0xFF);
    }
    return bytes;
}

}  // namespace mervane
