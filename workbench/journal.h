#pragma once

// The journal: calls of the platform's interface with their arguments as values, in the order in
// which they ended.

#include <cstddef>
#include <cstdio>
#include <string>
#include <variant>
#include <vector>

#include "platform/types.h"
#include "workbench/values.h"

namespace mervane {

// A pointer that the caller gave as null.
struct NullArgument {
    bool operator==(const NullArgument&) const = default;
};
// A place for a result. What the call leaves there isn't kept.
struct OutArgument {
    bool operator==(const OutArgument&) const = default;
};
// Lists are those that a caller passes after their length.
using JournalArgument = std::variant<NullArgument, OutArgument, tag_t, int, bool, std::string, Date,
                                     std::vector<tag_t>, std::vector<int>>;

struct JournalEntry {
    std::string operation;  // "OBJ_refresh"
    std::vector<JournalArgument> arguments;
    int status = 0;

    // An argument, from 0, if it is there and of this kind; else null.
    template <typename T>
    const T* argument(std::size_t n) const {
        return n < arguments.size() ? std::get_if<T>(&arguments[n]) : nullptr;
    }
    // What the call is about: the first argument, or the first of a list after its count.
    tag_t object() const {
        if (const tag_t* tag = argument<tag_t>(0))
            return *tag;
        const auto* list = argument<std::vector<tag_t>>(1);
        return list && !list->empty() ? list->front() : NULLTAG;
    }
};

// "#12", "3", "true", "\"text\"", "2001-02-03 04:05:06", "null"; "out" for a place, and for a list,
// whose length is the argument before it.
inline std::string asText(const JournalArgument& argument) {
    struct Writer {
        std::string operator()(NullArgument) const { return "null"; }
        std::string operator()(OutArgument) const { return "out"; }
        std::string operator()(tag_t tag) const { return "#" + std::to_string(tag); }
        std::string operator()(int number) const { return std::to_string(number); }
        std::string operator()(bool yes) const { return yes ? "true" : "false"; }
        std::string operator()(const std::string& text) const { return "\"" + text + "\""; }
        std::string operator()(const Date& date) const {
            char text[80];
            std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", date.date.year,
                          date.date.month + 1, date.date.day, date.date.hour, date.date.minute,
                          date.date.second);
            return text;
        }
        std::string operator()(const std::vector<tag_t>&) const { return "out"; }
        std::string operator()(const std::vector<int>&) const { return "out"; }
    };
    return std::visit(Writer{}, argument);
}

// "#12, true"
inline std::string argumentsText(const JournalEntry& entry) {
    std::string all;
    for (const JournalArgument& argument : entry.arguments)
        all += (all.empty() ? "" : ", ") + asText(argument);
    return all;
}

// "OBJ_refresh(#12, true) = 0": a line of the journal's file.
inline std::string asText(const JournalEntry& entry) {
    return entry.operation + "(" + argumentsText(entry) + ") = " + std::to_string(entry.status);
}

}  // namespace mervane
