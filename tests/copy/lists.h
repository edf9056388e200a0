#pragma once

// Lists of the attribute copy, made from lines as the preferences have them.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "copy/keld_cpattr.h"
#include "platform/mv_heap.h"
#include "tests/support/world.h"

namespace world {

struct Lists {
    Lists() = default;
    Lists(const std::vector<std::string>& attribute_lines,
          const std::vector<std::string>& relation_lines) {
        for (const std::string& line : attribute_lines)
            EXPECT_EQ(0, AddAttribute(&objects, line.c_str())) << line;
        for (const std::string& line : relation_lines)
            EXPECT_EQ(0, AddRelation(&relations, line.c_str())) << line;
    }
    Lists(const Lists&) = delete;
    Lists& operator=(const Lists&) = delete;
    ~Lists() {
        for (int i = 0; i < objects.count; ++i) {
            HEAP_free(objects.object_attributes[i].object_type);
            HEAP_free(objects.object_attributes[i].attribute_name);
        }
        HEAP_free(objects.object_attributes);
        for (int i = 0; i < relations.count; ++i) {
            HEAP_free(relations.relation_combination[i].primary);
            HEAP_free(relations.relation_combination[i].secondary);
            HEAP_free(relations.relation_combination[i].relation_type);
        }
        HEAP_free(relations.relation_combination);
    }

    // "Sheet;s" or "Sheet;s;null"; "Item;revision_list;ItemRevision", followed by "=tag" if the
    // entry has a relation type.
    std::vector<std::string> attributeEntries() const {
        std::vector<std::string> found;
        for (int i = 0; i < objects.count; ++i) {
            const object_attributes_s& entry = objects.object_attributes[i];
            found.push_back(std::string(entry.object_type) + ";" + entry.attribute_name +
                            (entry.copy_empty ? ";null" : ""));
        }
        return found;
    }
    std::vector<std::string> relationEntries() const {
        std::vector<std::string> found;
        for (int i = 0; i < relations.count; ++i) {
            const relation_combination_s& entry = relations.relation_combination[i];
            found.push_back(std::string(entry.primary) + ";" + entry.relation_type + ";" +
                            entry.secondary + (entry.relation_type_tag != NULLTAG ? "=tag" : ""));
        }
        return found;
    }

    copyList objects{};
    relList relations{};
};

// A form type with an attribute of every kind.
inline void defineSheet(World& world) {
    using mervane::Kind;
    world.bench.defineType("Sheet", "Form",
                           {{"s", Kind::String, false, 20},
                            {"s2", Kind::String, false, 20},
                            {"i", Kind::Int, false, 0},
                            {"d", Kind::Double, false, 0},
                            {"l", Kind::Logical, false, 0},
                            {"t", Kind::Date, false, 0},
                            {"r", Kind::Reference, false, 0},
                            {"ss", Kind::String, true, 20},
                            {"ii", Kind::Int, true, 0},
                            {"rr", Kind::Reference, true, 0}});
}

// The errors on the stack, each as "number: text".
inline std::vector<std::string> stack(World& world) {
    std::vector<std::string> found;
    for (const mervane::StackEntry& entry : world.bench.errorStack())
        found.push_back(std::to_string(entry.status) + ": " + entry.text);
    return found;
}

inline std::vector<int> stackNumbers(World& world) {
    std::vector<int> found;
    for (const mervane::StackEntry& entry : world.bench.errorStack())
        found.push_back(entry.status);
    return found;
}

}  // namespace world
