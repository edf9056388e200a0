#pragma once

// Wrappers around the platform's calls: they free its memory and turn failures into exceptions or
// empty results.

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/mv_heap.h"
#include "platform/types.h"
#include "tools/keld/host/context.h"

namespace keld {

// A failed platform call as a message, with the text of its status.
void require(const Context& context, int status, const char* operation);

// Run a call that gives a text to free; empty if it fails or gives null.
template <typename Call>
std::string textOf(Call&& call) {
    char* text = nullptr;
    const int status = call(&text);
    std::string result = status == 0 && text ? text : "";
    HEAP_free(text);
    return result;
}

// Run a call that gives a list to free; empty if it fails.
template <typename Element, typename Call>
std::vector<Element> listOf(Call&& call) {
    int count = 0;
    Element* elements = nullptr;
    const int status = call(&count, &elements);
    std::vector<Element> result;
    if (status == 0 && elements)
        result.assign(elements, elements + count);
    HEAP_free(elements);
    return result;
}

// A property's display text, empty if the object has no such property.
std::string display(tag_t object, const std::string& property);

// Names of the release statuses of an object, oldest first; deleted ones are left out.
std::vector<std::string> statusNames(const Context& context, tag_t object);
std::string latestStatus(const Context& context, tag_t object);  // "" if there is none

// What people call an object: its label, as stored and as people type it, with its name if it has
// no id, and its type. The type is kGoneType if the object doesn't exist.
inline constexpr char kGoneType[] = "(gone)";
struct ObjectName {
    std::string label, typed, type;
};
ObjectName nameOf(const Context& context, tag_t object);

bool checkedOut(tag_t object);

std::string joined(const std::vector<std::string>& texts, const std::string& separator);

}  // namespace keld
