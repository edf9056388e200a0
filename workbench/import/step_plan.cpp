#include "workbench/import/step_plan.h"

#include <unordered_map>
#include <unordered_set>

#include "workbench/utf8.h"

namespace mervane {
namespace {

// Hands out names that differ from one another.
class UniqueNames {
public:
    UniqueNames(std::size_t limit, std::function<bool(const std::string&)> taken)
        : limit_(limit), taken_(std::move(taken)) {}

    // The wanted name, cut to the limit, with a suffix if it is taken.
    std::string next(const std::string& wanted) {
        std::string base = cutUtf8(wanted, limit_);
        if (free(base))
            return base;
        // Numbers go on from the last one, so that many equal names cost no search.
        for (int& number = numbers_.try_emplace(base, 1).first->second;;) {
            const std::string suffix = "-" + std::to_string(++number);
            // The suffix has to fit into the limit as well.
            std::string name = cutUtf8(base, limit_ - suffix.size()) + suffix;
            if (free(name))
                return name;
        }
    }

private:
    bool free(const std::string& name) {
        return !used_.contains(name) && !taken_(name) && used_.insert(name).second;
    }

    std::size_t limit_;
    std::function<bool(const std::string&)> taken_;
    std::unordered_set<std::string> used_;
    std::unordered_map<std::string, int> numbers_;
};

class Planner {
public:
    Planner(StepStructure structure, const StepLimits& limits,
            const std::function<bool(const std::string&)>& id_is_taken)
        : structure_(std::move(structure)), limits_(limits), ids_(limits.item_id, id_is_taken) {}

    StepPlan plan() {
        for (auto& product : structure_.products)
            addItem(product);
        addRevisions();
        addOccurrences();
        return std::move(plan_);
    }

private:
    void addItem(StepStructure::Product& product) {
        StepPlan::Item item;
        const std::string* wanted = &product.id;
        const std::string unnamed = "unnamed";
        if (wanted->empty()) {
            wanted = product.name.empty() ? &unnamed : &product.name;
            ++plan_.unnamed;
        }
        item.id = ids_.next(*wanted);
        if (wanted->size() > limits_.item_id)
            ++plan_.cut_ids;
        // An id that was only cut isn't renamed.
        if (item.id != cutUtf8(*wanted, limits_.item_id))
            ++plan_.renamed_ids;
        item.name = cutUtf8(product.name.empty() ? *wanted : product.name, limits_.name);
        item.description = cutUtf8(product.description, limits_.description);
        // `wanted` may point to this id, so it moves last.
        item.source_id = std::move(product.id);
        plan_.items.push_back(std::move(item));
    }

    void addRevisions() {
        std::unordered_map<std::size_t, UniqueNames> names;  // of one item, by its index
        const auto never = [](const std::string&) { return false; };
        for (auto& formation : structure_.formations) {
            auto& revision_ids =
                names.try_emplace(formation.product, limits_.revision_id, never).first->second;
            plan_.revisions.push_back({formation.product,
                                       revision_ids.next(formation.id.empty() ? "A" : formation.id),
                                       cutUtf8(formation.description, limits_.description)});
        }
        // These come after all formations, whose indices are those of their revisions.
        for (std::size_t item = 0; item < plan_.items.size(); ++item)
            if (!names.contains(item))
                plan_.revisions.push_back({item, "A", {}});
    }

    void addOccurrences() {
        std::vector<bool> used(plan_.revisions.size());
        for (const auto& usage : structure_.usages) {
            // A formation and its revision have the same index.
            const std::size_t parent = structure_.definitions[usage.parent].formation;
            const std::size_t child = structure_.definitions[usage.child].formation;
            plan_.occurrences.push_back({parent, child});
            used[child] = true;
        }
        for (std::size_t i = 0; i < used.size(); ++i)
            if (!used[i])
                plan_.tops.push_back(i);
    }

    StepStructure structure_;
    StepLimits limits_;
    UniqueNames ids_;
    StepPlan plan_;
};

}  // namespace

StepPlan planStep(StepStructure structure, const StepLimits& limits,
                  const std::function<bool(const std::string&)>& id_is_taken) {
    return Planner(std::move(structure), limits, id_is_taken).plan();
}

}  // namespace mervane
