#pragma once

// The platform's handed-out memory and statuses in forms that are easy to use here.

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/mv_heap.h"
#include "platform/types.h"
#include "tools/keld/host/context.h"

namespace keld {

// A failed platform call, as a message with the status's text.
void require(const Context& context, int status, const char* operation);

// Run a call that hands out a text; empty if it fails or gives null.
template <typename Call>
std::string textOf(Call&& call) {
    char* text = nullptr;
    const int status = call(&text);
    std::string result = status == 0 && text ? text : "";
    HEAP_free(text);
    return result;
}

// Run a call that hands out a list; empty if it fails.
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

// Names of the release statuses of an object, oldest first; those that are gone are left out.
std::vector<std::string> statusNames(const Context& context, tag_t object);
std::string latestStatus(const Context& context, tag_t object);  // "" if there is none

// How an object is called: its label, the same as people type it, with its name if it has no id of
// its own, and its type; kGoneType if it isn't there.
inline constexpr char kGoneType[] = "(gone)";
struct ObjectName {
    std::string label, typed, type;
};
ObjectName nameOf(const Context& context, tag_t object);

bool checkedOut(tag_t object);

std::string joined(const std::vector<std::string>& texts, const std::string& separator);

}  // namespace keld
