#include "tools/keld/host/plan_compare.h"

#include <algorithm>
#include <map>

#include "tools/keld/host/plan_file.h"
#include "tools/keld/host/plan_moment.h"

namespace keld {

namespace {

using mervane::RunChange;
using mervane::RunEntry;
using mervane::Value;
using mervane::Values;

// Every save sets these, so they differ when the user or the second does.
bool isOfEverySave(const std::string& attribute) {
    return attribute == "last_mod_date" || attribute == "last_mod_user";
}

bool isOfObject(RunChange change) {
    return change == RunChange::ObjectMade || change == RunChange::ObjectChanged ||
           change == RunChange::ObjectDeleted;
}

// The sum of all entries of a run for one object.
struct NetChange {
    tag_t tag = NULLTAG;
    std::string type;
    bool was = false, is = false;
    std::map<std::string, std::pair<Values, Values>> values;  // before, after

    const char* word() const { return !was ? "made" : is ? "changed" : "deleted"; }
};

// Identifies an object by its tag, or, if the run made it, by its number among the new objects: a
// later run gives them other tags.
struct ObjectKey {
    bool made = false;
    tag_t number = NULLTAG;
    auto operator<=>(const ObjectKey&) const = default;
};

class NetChanges {
public:
    explicit NetChanges(const PlanSide& side) {
        for (const RunEntry& entry : side.entries) {
            if (entry.change == RunChange::ObjectMade)
                made_.try_emplace(entry.object, static_cast<tag_t>(made_.size()));
            if (isOfObject(entry.change))
                add(entry);
            else
                others_.push_back(&entry);
        }
        std::erase_if(all_, [](const auto& each) {
            const NetChange& net = each.second;
            return (!net.was && !net.is) || (net.was && net.is && net.values.empty());
        });
    }
    ObjectKey key(tag_t tag) const {
        const auto found = made_.find(tag);
        return found == made_.end() ? ObjectKey{false, tag} : ObjectKey{true, found->second};
    }
    const std::map<ObjectKey, NetChange>& all() const { return all_; }
    const std::vector<const RunEntry*>& others() const { return others_; }

private:
    std::map<tag_t, tag_t> made_;
    std::map<ObjectKey, NetChange> all_;
    std::vector<const RunEntry*> others_;

    void add(const RunEntry& entry) {
        const auto [at, fresh] = all_.try_emplace(key(entry.object));
        NetChange& net = at->second;
        if (fresh) {
            net.tag = entry.object;
            net.was = entry.change != RunChange::ObjectMade;
        }
        net.type = entry.type;
        net.is = entry.change != RunChange::ObjectDeleted;
        for (const mervane::RunValue& value : entry.values) {
            if (isOfEverySave(value.attribute))
                continue;
            const auto [known, first] = net.values.try_emplace(value.attribute);
            if (first)
                known->second.first = value.before;
            known->second.second = value.after;
        }
    }
};

class Comparison {
public:
    Comparison(const Context& context, const PlanSide& planned, const PlanSide& now)
        : context_(context),
          planned_(planned),
          now_(now),
          plan_(planned),
          found_(now),
          plan_digits_(planned.runner),
          found_digits_(now.runner) {}

    std::vector<std::string> run() {
        compareOutcomes();
        for (const auto& [key, net] : plan_.all()) {
            const auto at = found_.all().find(key);
            if (at == found_.all().end())
                differ(net, std::string("isn't ") + net.word() + " now");
            else
                compareObject(net, at->second);
        }
        for (const auto& [key, net] : found_.all())
            if (!plan_.all().contains(key))
                differ(net, std::string("is ") + net.word() + ", which the plan doesn't have");
        compareOthers();
        return std::move(differences_);
    }

private:
    const Context& context_;
    const PlanSide &planned_, &now_;
    NetChanges plan_, found_;
    RunDigits plan_digits_, found_digits_;
    std::vector<std::string> differences_;

    void differ(const NetChange& net, const std::string& what) {
        differences_.push_back(context_.title(net.tag) + " (" + net.type + ") " + what);
    }

    // Some configurations write the name of the user or the group into values.
    bool sameText(const std::string& planned, const std::string& found) const {
        const PlanRunner &then = planned_.runner, &now = now_.runner;
        return planned == found || (planned == then.user_name && found == now.user_name) ||
               (planned == then.group && found == now.group) ||
               alikeTexts(planned, plan_digits_, found, found_digits_);
    }
    bool sameTag(tag_t planned, tag_t found) const {
        const PlanRunner &then = planned_.runner, &now = now_.runner;
        return plan_.key(planned) == found_.key(found) ||
               (planned == then.user_tag && found == now.user_tag) ||
               (planned == then.group_tag && found == now.group_tag);
    }
    bool same(const Value& planned, const Value& found) const {
        if (planned.index() != found.index())
            return false;
        if (const auto* text = std::get_if<std::string>(&planned))
            return sameText(*text, std::get<std::string>(found));
        if (const auto* reference = std::get_if<mervane::Reference>(&planned))
            return sameTag(reference->tag, std::get<mervane::Reference>(found).tag);
        if (const auto* date = std::get_if<mervane::Date>(&planned))
            return planned == found || (plan_digits_.holds(*date) &&
                                        found_digits_.holds(std::get<mervane::Date>(found)));
        return planned == found;
    }
    bool same(const Values& planned, const Values& found) const {
        return std::equal(planned.begin(), planned.end(), found.begin(), found.end(),
                          [this](const Value& a, const Value& b) { return same(a, b); });
    }

    void compareOutcomes() {
        const mervane::RunOutcome &then = planned_.outcome, &now = now_.outcome;
        const auto tell = [&](const char* what, const std::string& plan, const std::string& found) {
            differences_.push_back(std::string(what) + " is " + found + ", in the plan " + plan);
        };
        if (then.result != now.result)
            tell("the result", resultWord(then.result),
                 now.result == mervane::RunResult::Refused ? "refused" : resultWord(now.result));
        if (then.status != now.status)
            tell("the status", std::to_string(then.status), std::to_string(now.status));
        const auto tag = [](const std::string& slot) {
            return static_cast<tag_t>(std::strtoul(slot.c_str() + 1, nullptr, 10));
        };
        const bool tags = then.slot.starts_with("#") && now.slot.starts_with("#");
        if (tags ? !sameTag(tag(then.slot), tag(now.slot)) : !sameText(then.slot, now.slot))
            tell("the result slot", then.slot, now.slot);
        if (!std::equal(
                then.stack.begin(), then.stack.end(), now.stack.begin(), now.stack.end(),
                [this](const auto& a, const auto& b) { return numberOf(a) == numberOf(b); }))
            tell("the number of errors or one of them", std::to_string(then.stack.size()),
                 std::to_string(now.stack.size()));
    }
    // Only the number is compared: the text after it may name tags of new objects.
    static std::string numberOf(const std::string& error) {
        return error.substr(0, error.find(':'));
    }

    void compareObject(const NetChange& planned, const NetChange& found) {
        if (planned.type != found.type || planned.was != found.was || planned.is != found.is)
            return differ(found, std::string("is ") + found.word() + ", in the plan " +
                                     planned.word() + " as " + planned.type);
        std::map<std::string, int> attributes;
        for (const NetChange* net : {&planned, &found})
            for (const auto& value : net->values)
                attributes[value.first];
        for (const auto& each : attributes) {
            const std::string& name = each.first;
            const auto then = planned.values.find(name), now = found.values.find(name);
            // A side that has no value for the attribute left it as it was.
            const auto& plan =
                then != planned.values.end()
                    ? then->second
                    : std::pair<Values, Values>(now->second.first, now->second.first);
            const auto& is = now != found.values.end()
                                 ? now->second
                                 : std::pair<Values, Values>(plan.first, plan.first);
            if (!same(plan.first, is.first) || !same(plan.second, is.second))
                differ(found, name + ": from " + shownValues(is.first) + " to " +
                                  shownValues(is.second) + ", in the plan from " +
                                  shownValues(plan.first) + " to " + shownValues(plan.second));
        }
    }
    static std::string shownValues(const Values& values) {
        const Json all = asJson(values);
        return all.empty() ? "nothing" : (all.size() == 1 ? all[0] : all).dump(-1, ' ', true);
    }

    void compareOthers() {
        const auto &plan = plan_.others(), &found = found_.others();
        for (std::size_t i = 0; i < std::max(plan.size(), found.size()); ++i) {
            const RunEntry* then = i < plan.size() ? plan[i] : nullptr;
            const RunEntry* now = i < found.size() ? found[i] : nullptr;
            const auto word = [&](const RunEntry* entry) {
                return entry ? std::string(changeName(entry->change)) +
                                   (entry->text.empty() ? "" : " " + entry->text)
                             : std::string("nothing");
            };
            if (!then || !now || !sameEntry(*then, *now))
                differences_.push_back(word(now) + ", in the plan " + word(then));
        }
    }
    bool sameEntry(const RunEntry& planned, const RunEntry& found) const {
        if (planned.change != found.change || planned.type != found.type ||
            !sameTag(planned.object, found.object) || !sameText(planned.text, found.text) ||
            planned.values.size() != found.values.size())
            return false;
        for (std::size_t i = 0; i < planned.values.size(); ++i) {
            const auto &then = planned.values[i], &now = found.values[i];
            if (then.attribute != now.attribute || !same(then.before, now.before) ||
                !same(then.after, now.after))
                return false;
        }
        return true;
    }
};

}  // namespace

std::vector<std::string> differencesBetween(const Context& context, const PlanSide& planned,
                                            const PlanSide& now) {
    return Comparison(context, planned, now).run();
}

}  // namespace keld
