#include "workbench/store/index_sums.h"

#include <set>

#include "workbench/store/object_data.h"

namespace mervane {

namespace {

// An array may have a value twice.
void addValues(tag_t tag, ObjectReader& in, IndexSums& sums,
               std::string (*key)(std::string_view text)) {
    const tag_t attribute = in.attribute();
    if (in.kind() == Kind::String) {
        std::set<std::string_view> each;
        while (in.left() > 0) {
            if (const std::string_view text = in.text(); each.insert(text).second) {
                if (key)
                    sums.texts.add(attribute, tag, 0, key(text));
                else
                    sums.texts.add(attribute, tag, 0, text);
            }
        }
    } else if (in.kind() == Kind::Reference) {
        std::set<tag_t> each;
        while (in.left() > 0)
            if (const tag_t target = in.reference();
                target != NULLTAG && each.insert(target).second)
                sums.references.add(target, attribute, tag);
    }
}

}  // namespace

void addObject(tag_t tag, std::string_view data, const Model& model, IndexSums& sums,
               std::vector<CheckFinding>& findings, std::string (*key)(std::string_view text)) {
    try {
        ObjectReader in(tag, data);
        while (in.next()) {
            const Attribute* attribute = model.attributeOf(in.attribute());
            if (attribute && attribute->kind != in.kind())
                findings.push_back({true, "#" + std::to_string(tag) +
                                              " has values of another kind in " + attribute->name});
            addValues(tag, in, sums, key);
        }
    } catch (const Failure& damage) {
        findings.push_back({true, damage.what()});
    }
}

}  // namespace mervane
