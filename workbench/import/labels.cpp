#include "workbench/import/labels.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <functional>

#include "workbench/model/status.h"
#include "workbench/workbench.h"

namespace mervane {
namespace {

constexpr std::size_t kHead = sizeof(std::uint32_t);
constexpr std::size_t kFewestSlots = 16;

// Lengths of seven bits a byte, the lowest first, whose high bit says that more follow.
std::size_t lengthOfLength(std::size_t length) {
    std::size_t bytes = 1;
    for (; length >= 0x80; length >>= 7)
        ++bytes;
    return bytes;
}

}  // namespace

// ---- texts ----

std::uint32_t TextTable::valueOf(const char* entry) {
    std::uint32_t value = 0;
    std::memcpy(&value, entry, kHead);
    return value;
}

void TextTable::setValue(char* entry, std::uint32_t value) {
    std::memcpy(entry, &value, kHead);
}

std::string_view TextTable::textOf(const char* entry) {
    const char* at = entry + kHead;
    std::size_t length = 0;
    for (int shift = 0;; shift += 7) {
        const auto byte = static_cast<unsigned char>(*at++);
        length |= std::size_t{byte & 0x7Fu} << shift;
        if (byte < 0x80)
            return {at, length};
    }
}

const char* TextTable::entryOf(std::uint32_t slot) const {
    return blocks_[(slot - 1) / kBlock].bytes.get() + (slot - 1) % kBlock;
}

std::size_t TextTable::slotOf(std::string_view text) const {
    // The hash's high bits choose the slot, so that the number of slots may be any.
    std::uint64_t hash = std::hash<std::string_view>()(text);
    hash = (hash * 0x9E3779B97F4A7C15u) >> 32;
    std::size_t at = static_cast<std::size_t>((hash * slots_.size()) >> 32);
    while (slots_[at] != 0 && textOf(entryOf(slots_[at])) != text)
        at = at + 1 == slots_.size() ? 0 : at + 1;
    return at;
}

const char* TextTable::find(std::string_view text) const {
    if (count_ == 0)
        return nullptr;
    const std::uint32_t slot = slots_[slotOf(text)];
    return slot == 0 ? nullptr : entryOf(slot);
}

// Make half as many slots more, not twice as many: with millions of texts the table is large.
void TextTable::grow() {
    const std::size_t size = std::max(kFewestSlots, slots_.size() + slots_.size() / 2);
    const std::vector<std::uint32_t> before =
        std::exchange(slots_, std::vector<std::uint32_t>(size));
    for (const std::uint32_t slot : before)
        if (slot != 0)
            slots_[slotOf(textOf(entryOf(slot)))] = slot;
}

bool TextTable::add(std::string_view text, std::uint32_t value) {
    // Four of five slots are taken at most.
    if ((count_ + 1) * 5 > slots_.size() * 4)
        grow();
    const std::size_t slot = slotOf(text);
    if (slots_[slot] != 0)
        return false;
    const std::size_t size = kHead + lengthOfLength(text.size()) + text.size();
    if (blocks_.empty() || blocks_.back().used + size > kBlock) {
        if ((blocks_.size() + 1) * kBlock > UINT32_MAX)
            throw Failure(kNoMemory, "the labels of the document are more than 4 GiB");
        blocks_.push_back({std::make_unique_for_overwrite<char[]>(std::max(kBlock, size)), 0});
    }
    Block& block = blocks_.back();
    char* at = block.bytes.get() + block.used;
    setValue(at, value);
    at += kHead;
    std::size_t length = text.size();
    for (; length >= 0x80; length >>= 7)
        *at++ = static_cast<char>(length | 0x80);
    *at++ = static_cast<char>(length);
    std::copy(text.begin(), text.end(), at);
    slots_[slot] = static_cast<std::uint32_t>((blocks_.size() - 1) * kBlock + block.used + 1);
    block.used += size;
    ++count_;
    return true;
}

// ---- labels ----

bool Labels::add(std::string_view label, std::uint32_t value) {
    if (others_.size() == 0 && label == counted(counted_.size())) {
        counted_.push_back(value);
        return true;
    }
    return !find(label) && others_.add(label, value);
}

std::optional<std::uint32_t> Labels::find(std::string_view label) const {
    if (!counted_.empty() && label.size() > 1 && label[0] == 'o' && label[1] != '0') {
        std::size_t number = 0;
        const auto [end, failure] =
            std::from_chars(label.data() + 1, label.data() + label.size(), number);
        if (failure == std::errc() && end == label.data() + label.size() &&
            number <= counted_.size())
            return counted_[number - 1];
    }
    const char* const entry = others_.find(label);
    return entry ? std::optional(TextTable::valueOf(entry)) : std::nullopt;
}

}  // namespace mervane
