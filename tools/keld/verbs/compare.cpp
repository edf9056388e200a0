// compare: two revisions, their properties and their structures.

#include <CLI/CLI.hpp>
#include <map>
#include <memory>

#include "platform/keld_qsktool.h"
#include "tools/keld/host/bom_lines.h"
#include "tools/keld/host/known.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/service.h"

namespace keld {

namespace {

struct WantedCompare {
    std::string left, right;
    bool all = false;
};

// A property with its values on both sides.
struct ComparedValue {
    std::string name, left, right;
};

// Attributes that differ between any two objects, so a comparison leaves them out.
bool isOwn(const std::string& attribute) {
    static const char* const kOwn[] = {"creation_date", "last_mod_date",      "last_mod_user",
                                       "date_released", "process_stage_list", "order_no"};
    for (const char* own : kOwn)
        if (attribute == own)
            return true;
    return false;
}

std::vector<ComparedValue> comparedValues(const Context& context, tag_t left, tag_t right,
                                          const std::string& lead) {
    std::vector<std::string> names = context.workbench().attributeNames(left);
    for (const std::string& name : context.workbench().attributeNames(right))
        if (std::find(names.begin(), names.end(), name) == names.end())
            names.push_back(name);
    std::vector<ComparedValue> values;
    for (const std::string& name : names)
        if (!isOwn(name))
            values.push_back({lead + name, display(left, name), display(right, name)});
    return values;
}

tag_t masterFormOf(tag_t revision) {
    tag_t form = NULLTAG;
    (void)KELD_GetMasterForm(revision, &form);
    return form;
}

// A line with the values that are compared, and its notes.
struct ComparedLine {
    std::string item, revision, name, number, quantity;
    std::map<std::string, std::string> notes;
};

std::vector<ComparedLine> linesBelow(const Context& context, tag_t revision,
                                     const std::vector<std::string>& notes) {
    CallWindows windows(context);
    std::vector<ComparedLine> lines;
    for (const tag_t line : childLines(windows.topLine(context.title(revision)))) {
        ComparedLine compared;
        compared.item = context.title(lineTag(line, "bl_item"));
        compared.revision = context.title(lineTag(line, "bl_revision"));
        compared.name = display(line, "object_name");
        compared.number = display(line, "bl_sequence_no");
        compared.quantity = display(line, "bl_quantity");
        for (const std::string& note : notes)
            if (const std::string text = display(line, note); !text.empty())
                compared.notes[note] = text;
        lines.push_back(std::move(compared));
    }
    return lines;
}

struct LineDifference {
    std::string change;  // "only left", "only right", "changed", "same"
    const ComparedLine* left = nullptr;
    const ComparedLine* right = nullptr;
    std::vector<std::string> what;
};

bool sameLine(const ComparedLine& a, const ComparedLine& b) {
    return a.revision == b.revision && a.number == b.number && a.quantity == b.quantity &&
           a.notes == b.notes;
}

std::vector<std::string> differencesOf(const ComparedLine& a, const ComparedLine& b) {
    std::vector<std::string> what;
    const auto tell = [&](const std::string& name, const std::string& was, const std::string& is) {
        if (was != is)
            what.push_back(name + " " + (was.empty() ? "-" : was) + " -> " +
                           (is.empty() ? "-" : is));
    };
    tell("number", a.number, b.number);
    tell("revision", a.revision, b.revision);
    tell("quantity", a.quantity, b.quantity);
    std::map<std::string, std::string> notes = a.notes;
    notes.insert(b.notes.begin(), b.notes.end());
    for (const auto& [name, text] : notes) {
        const auto was = a.notes.find(name), is = b.notes.find(name);
        tell(name, was == a.notes.end() ? "" : was->second, is == b.notes.end() ? "" : is->second);
    }
    return what;
}

// Pair the lines of each item: first equal ones, then those with one number, then the rest in
// order.
std::vector<LineDifference> compareLines(const std::vector<ComparedLine>& left,
                                         const std::vector<ComparedLine>& right) {
    std::vector<const ComparedLine*> partner(left.size(), nullptr);
    std::vector<bool> taken(right.size(), false);
    std::multimap<std::string, std::size_t> places;
    for (std::size_t i = 0; i < right.size(); ++i)
        places.emplace(right[i].item, i);
    for (const int round : {0, 1, 2})
        for (std::size_t i = 0; i < left.size(); ++i) {
            if (partner[i])
                continue;
            const auto [first, last] = places.equal_range(left[i].item);
            for (auto at = first; at != last; ++at) {
                const std::size_t j = at->second;
                if (taken[j] || (round == 0 && !sameLine(left[i], right[j])) ||
                    (round == 1 && left[i].number != right[j].number))
                    continue;
                partner[i] = &right[j];
                taken[j] = true;
                break;
            }
        }
    std::vector<LineDifference> differences;
    for (std::size_t i = 0; i < left.size(); ++i) {
        if (!partner[i]) {
            differences.push_back({"only left", &left[i], nullptr, {}});
            continue;
        }
        const auto what = differencesOf(left[i], *partner[i]);
        differences.push_back({what.empty() ? "same" : "changed", &left[i], partner[i], what});
    }
    for (std::size_t j = 0; j < right.size(); ++j)
        if (!taken[j])
            differences.push_back({"only right", nullptr, &right[j], {}});
    return differences;
}

Json lineAsJson(const ComparedLine* line) {
    if (!line)
        return {};
    return {{"object", line->revision},
            {"number", line->number},
            {"quantity", line->quantity},
            {"notes", line->notes}};
}

int compare(Context& context, const WantedCompare& wanted) {
    context.open();
    const tag_t left = revisionNamed(context, wanted.left);
    const tag_t right = revisionNamed(context, wanted.right);
    const std::string left_title = context.title(left), right_title = context.title(right);

    std::vector<ComparedValue> values = comparedValues(context, left, right, "");
    const tag_t left_form = masterFormOf(left), right_form = masterFormOf(right);
    if (left_form != NULLTAG && right_form != NULLTAG)
        for (ComparedValue& value : comparedValues(context, left_form, right_form, "form."))
            if (value.name != "form.object_name")
                values.push_back(std::move(value));
    Json properties = Json::array();
    Table property_table({"PROPERTY", left_title, right_title});
    std::size_t count = 0;
    for (const ComparedValue& value : values) {
        const bool same = value.left == value.right;
        count += same ? 0 : 1;
        if (same && !wanted.all)
            continue;
        properties.push_back({{"property", value.name},
                              {"left", value.left},
                              {"right", value.right},
                              {"same", same}});
        property_table.add({value.name, value.left, value.right});
    }

    std::vector<std::string> notes;
    for (const auto& note : context.workbench().find({"", "NoteType", "", 0}))
        notes.push_back(note.name);
    const auto left_lines = linesBelow(context, left, notes),
               right_lines = linesBelow(context, right, notes);
    Json lines = Json::array();
    Table line_table({"LINE", "OBJECT", "NAME", "WHAT"});
    for (const LineDifference& each : compareLines(left_lines, right_lines)) {
        const bool same = each.change == "same";
        count += same ? 0 : 1;
        if (same && !wanted.all)
            continue;
        const ComparedLine& line = each.right ? *each.right : *each.left;
        const std::string what =
            each.change == "only left"
                ? "only in " + left_title +
                      (line.quantity.empty() ? "" : ", quantity " + line.quantity)
            : each.change == "only right"
                ? "only in " + right_title +
                      (line.quantity.empty() ? "" : ", quantity " + line.quantity)
            : same ? "same"
                   : joined(each.what, ", ");
        lines.push_back({{"change", each.change},
                         {"left", lineAsJson(each.left)},
                         {"right", lineAsJson(each.right)},
                         {"what", each.what}});
        line_table.add({line.number, line.revision, line.name, what});
    }
    context.document = {{"left", context.label(left)},
                        {"right", context.label(right)},
                        {"differences", count},
                        {"properties", properties},
                        {"lines", lines}};
    std::string text = property_table.empty() ? "" : property_table.text();
    if (!line_table.empty())
        text += (text.empty() ? "" : "\n") + line_table.text();
    if (count == 0)
        text += left_title + " and " + right_title + " don't differ\n";
    context.print(text);
    return kExitDone;
}

}  // namespace

void addCompareVerb(Verbs& verbs) {
    auto wanted = std::make_shared<WantedCompare>();
    CLI::App* verb =
        verbs.add(&verbs.app, "compare", "Compare two revisions: properties and structure",
                  "  keld compare 000123/A 000123/B\n"
                  "  keld compare 000123/A 000123/B --all --json\n"
                  "Compared are the properties of the revisions and of their master forms "
                  "(form.NAME), and\n"
                  "their lines of the first level.\n",
                  [wanted](Context& context) { return compare(context, *wanted); });
    verb->add_option("LEFT", wanted->left, "revision, or an item for its latest")->required();
    verb->add_option("RIGHT", wanted->right, "the other one")->required();
    verb->add_flag("--all", wanted->all, "show what is equal too");
}

}  // namespace keld
