#pragma once

// What the interface functions share: checks of lists, and results that are handed out together or
// not at all.

#include <string>
#include <vector>

#include "workbench/session/heap.h"
#include "workbench/session/interface.h"
#include "workbench/session/lines.h"

namespace mervane {

// A block that is given back unless it has been handed out.
template <typename T>
class Block {
public:
    explicit Block(T* block) : block_(block) {}
    ~Block() { heap::release(block_); }
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;
    T* get() const { return block_; }
    T* give() {
        T* block = block_;
        block_ = nullptr;
        return block;
    }

private:
    T* block_;
};

// An array of one value each; null for none.
template <typename T>
T* filled(std::size_t count, const T& value) {
    if (count == 0)
        return nullptr;
    T* block = static_cast<T*>(allocate(count * sizeof(T)));
    for (std::size_t i = 0; i < count; ++i)
        block[i] = value;
    return block;
}

template <typename T>
T* copyList(const std::vector<T>& list) {
    T* block = filled(list.size(), T{});
    for (std::size_t i = 0; i < list.size(); ++i)
        block[i] = list[i];
    return block;
}

inline void giveTags(const std::vector<tag_t>& tags, int* count, tag_t** list) {
    *list = copyTags(tags);
    *count = static_cast<int>(tags.size());
}

inline void giveTexts(const std::vector<std::string>& texts, int* count, char*** list) {
    *list = texts.empty() ? nullptr : copyTexts(texts);
    *count = static_cast<int>(texts.size());
}

// A list that the caller gives: a negative count is a Failure kBadIndex, and only an empty one may
// be null.
inline void needList(int count, const void* list, const char* name) {
    if (count < 0)
        throw Failure(kBadIndex, std::string("the list ") + name + " has a negative count");
    if (count > 0)
        need(list, name);
}

inline std::string tagText(tag_t tag) {
    return "#" + std::to_string(tag);
}

constexpr std::size_t kNameSize = 129, kDescriptionSize = 241, kShortNameSize = 33;

}  // namespace mervane
