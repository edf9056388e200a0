#include "tests/bom/reference_model.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <map>
#include <optional>
#include <set>

namespace bom_model {

namespace {

using Place = std::size_t;
using Places = std::set<Place>;

// The sum, wrapped to 32 bits.
int sum(int a, int b) {
    return static_cast<int>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

// The leading integer: its digits without leading zeros, and its sign.
struct Leading {
    bool negative = false;
    std::string digits;
};
Leading leadingInteger(const std::string& text) {
    Leading found;
    const auto begin = std::min(text.find_first_not_of(' '), text.size());
    std::string rest = text.substr(begin);
    if (rest.starts_with('-') || rest.starts_with('+')) {
        found.negative = rest.front() == '-';
        rest.erase(0, 1);
    }
    rest.resize(std::min(rest.find_first_not_of("0123456789"), rest.size()));
    rest.erase(0, std::min(rest.find_first_not_of('0'), rest.size()));
    found.digits = rest;
    return found;
}

// The lines, with the places of each component and of each number in force.
class Ledger {
public:
    explicit Ledger(const std::vector<Component>& lines) : lines_(lines) {
        outcome_.assigned.resize(lines.size());
        for (Place at = 0; at < lines.size(); ++at) {
            outcome_.order.push_back(at);
            now_.push_back(lines[at].number);
            of_component_[lines[at].key].insert(at);
            of_number_[now_[at]].insert(at);
        }
        last_ = lines.empty() ? 0 : valueOf(lines.back().number);
    }

    Outcome run(int increment) {
        increment_ = increment;
        for (Place a = 0; a < lines_.size(); ++a) {
            if (!isNumber(now_[a]))
                continue;
            Place done = a;
            while (const auto next = nextAffected(a, done)) {
                done = *next;
                if (sameComponent(a, done))
                    take(done, now_[a]);
                else
                    moveAway(a, done);
            }
            dump();
        }
        for (auto& [key, places] : of_component_)
            for (const Place at : places)
                if (!isNumber(now_[at]))
                    without_.insert(at);
        for (const Place at : Places(without_))
            if (!isNumber(now_[at]))
                giveNumber(at);
        return std::move(outcome_);
    }

private:
    bool sameComponent(Place a, Place b) const { return lines_[a].key == lines_[b].key; }

    void take(Place at, const std::string& number) {
        of_number_[now_[at]].erase(at);
        of_number_[number].insert(at);
        now_[at] = number;
        outcome_.assigned[at] = number;
    }

    std::string fresh() {
        last_ = sum(last_, increment_);
        return std::to_string(last_);
    }

    // The present places of a line's component after that line.
    std::vector<Place> laterOfComponent(Place at) {
        const Places& all = of_component_[lines_[at].key];
        return {all.upper_bound(at), all.end()};
    }

    // The next line after `done` that can't stay as it is beside line a: one of its component with
    // another number, or another component on its number.
    std::optional<Place> nextAffected(Place a, Place done) {
        std::optional<Place> next;
        const Places& component = of_component_[lines_[a].key];
        for (auto at = component.upper_bound(done); at != component.end(); ++at)
            if (now_[*at] != now_[a]) {
                next = *at;
                break;
            }
        const Places& number = of_number_[now_[a]];
        for (auto at = number.upper_bound(done); at != number.end() && (!next || *at < *next); ++at)
            if (!sameComponent(a, *at))
                next = *at;
        return next;
    }

    // Line b is of another component than a and has its number.
    void moveAway(Place a, Place b) {
        const auto later = laterOfComponent(b);
        const auto offer = std::find_if(later.begin(), later.end(), [&](Place c) {
            return isNumber(now_[c]) && now_[c] != now_[b] &&
                   lines_[c].number != lines_[a].number && now_[c] != now_[a];
        });
        if (offer != later.end())
            return take(b, now_[*offer]);
        const std::string number = fresh();
        take(b, number);
        for (const Place each : later)
            if (now_[each] != number)
                take(each, number);
    }

    void giveNumber(Place at) {
        const auto later = laterOfComponent(at);
        const auto offer = std::find_if(later.begin(), later.end(),
                                        [&](Place each) { return isNumber(now_[each]); });
        take(at, offer != later.end() ? now_[*offer] : fresh());
        for (const Place each : later)
            if (!isNumber(now_[each]))
                take(each, now_[at]);
    }

    void dump() {
        for (Place at = 0; at < lines_.size(); ++at) {
            char index[16];
            std::snprintf(index, sizeof index, "%02d", static_cast<int>(at));
            outcome_.dump += std::string(index) + " " + lines_[at].key + " " + lines_[at].number +
                             "-" + now_[at] + "-" + outcome_.assigned[at] + "\n";
        }
    }

    const std::vector<Component>& lines_;
    std::vector<std::string> now_;
    std::map<std::string, Places> of_component_, of_number_;
    Places without_;
    int last_ = 0, increment_ = 0;
    Outcome outcome_;
};

}  // namespace

bool isNumber(const std::string& text) {
    return !leadingInteger(text).digits.empty();
}

int valueOf(const std::string& text) {
    const Leading found = leadingInteger(text);
    const std::string signed_text = (found.negative ? "-" : "") + found.digits;
    int value = 0;
    const auto read =
        std::from_chars(signed_text.data(), signed_text.data() + signed_text.size(), value);
    if (read.ec == std::errc::result_out_of_range)
        return found.negative ? std::numeric_limits<int>::min() : std::numeric_limits<int>::max();
    return value;
}

Outcome keep(const std::vector<Component>& lines, int increment) {
    return Ledger(lines).run(increment);
}

Outcome sortAndNumber(const std::vector<Component>& lines, int first, int increment) {
    // The map has the components in the order of their bytes.
    std::map<std::string, std::vector<Place>> components;
    for (Place at = 0; at < lines.size(); ++at)
        components[lines[at].key].push_back(at);
    Outcome outcome;
    outcome.assigned.resize(lines.size());
    int number = first;
    for (const auto& [key, places] : components) {
        for (const Place at : places) {
            outcome.order.push_back(at);
            outcome.assigned[at] = std::to_string(number);
        }
        number = sum(number, increment);
    }
    return outcome;
}

}  // namespace bom_model
