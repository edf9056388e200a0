// bom add, bom remove, bom set: the lines of a structure, one by one.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <optional>

#include "platform/mv_art.h"
#include "platform/mv_obj.h"
#include "tools/keld/host/bom_lines.h"
#include "tools/keld/host/deeds.h"
#include "tools/keld/host/known.h"
#include "tools/keld/host/nearest.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/verbs/bom_edit.h"

namespace keld {

tag_t guardOfLines(tag_t revision) {
    const auto views = listOf<tag_t>([&](int* count, tag_t** list) {
        return ART_rev_list_bom_view_revs(revision, count, list);
    });
    return views.empty() ? revision : views.front();
}

namespace {

struct WantedLine {
    std::string parent, child;
    std::vector<std::string> lines, notes;
    std::optional<std::string> quantity, number;
    bool all = false;
    RunWish run;
};

struct LineNote {
    std::string name, text;
};

std::vector<LineNote> lineNotes(const Context& context, const std::vector<std::string>& words) {
    std::vector<std::string> known;
    for (const auto& type : context.workbench().find({"", "NoteType", "", 0}))
        known.push_back(type.name);
    std::vector<LineNote> notes;
    for (const std::string& word : words) {
        const std::size_t sign = word.find('=');
        if (sign == std::string::npos || sign == 0)
            throw CommandError("'" + shortened(word) + "' is no NAME=TEXT", {}, kExitUsage);
        const std::string name = word.substr(0, sign);
        if (std::find(known.begin(), known.end(), name) == known.end())
            throw CommandError(
                "there is no note '" + name + "'" +
                    (known.empty() ? "" : " (known are " + joined(known, ", ") + ")"),
                nearest(name, known));
        notes.push_back({name, word.substr(sign + 1)});
    }
    return notes;
}

std::string lineTitle(const Context& context, tag_t line) {
    const std::string number = display(line, "bl_sequence_no");
    return context.title(lineTag(line, "bl_revision")) +
           (number.empty() ? "" : " (number " + number + ")");
}

// Find the child lines of the top line by name: /10 by number, else by item or revision.
std::vector<tag_t> linesNamed(const Context& context, tag_t top, const std::string& name,
                              bool all) {
    const std::vector<tag_t> children = childLines(top);
    std::vector<tag_t> found;
    const std::string parent = context.title(lineTag(top, "bl_revision"));
    if (name.starts_with("/")) {
        std::vector<std::string> numbers;
        for (const tag_t child : children) {
            numbers.push_back("/" + display(child, "bl_sequence_no"));
            if (numbers.back() == name)
                found.push_back(child);
        }
        if (found.empty())
            throw CommandError("no line of " + parent + " has the number '" + name.substr(1) + "'",
                               nearest(name, numbers));
    } else {
        const tag_t object = context.object(name);
        for (const tag_t child : children)
            if (lineTag(child, "bl_revision") == object || lineTag(child, "bl_item") == object)
                found.push_back(child);
        if (found.empty())
            throw CommandError("no line of " + parent + " shows " + context.title(object));
    }
    if (found.size() > 1 && !all) {
        std::vector<std::string> titles;
        for (const tag_t line : found)
            titles.push_back(lineTitle(context, line));
        throw CommandError(counted(found.size(), "line") + " of " + parent + " are meant by '" +
                           name + "': " + joined(titles, ", ") +
                           "; name one by its number like /10, or take --all");
    }
    return found;
}

void setOnLine(const Context& context, tag_t line, const char* attribute, const std::string& text,
               tag_t about) {
    need(context, OBJ_set_value_string(line, attribute, text.c_str()), "OBJ_set_value_string",
         about);
}

// Change lines in a window of their own, and save it.
template <typename Change>
void changeLines(const Context& context, tag_t revision, Change&& change) {
    const tag_t top = context.workbench().openBomWindow(revision);
    try {
        change(top);
        context.workbench().saveBomWindow(top);
    } catch (...) {
        context.workbench().closeBomWindow(top);
        throw;
    }
    context.workbench().closeBomWindow(top);
}

// Give the next free number, in steps of ten.
std::string nextNumber(const Context& context, tag_t revision) {
    constexpr long kStep = 10, kLargest = 100000000;
    long highest = 0;
    const tag_t top = context.workbench().openBomWindow(revision);
    for (const tag_t child : childLines(top)) {
        const std::string number = display(child, "bl_sequence_no");
        const long value = std::strtol(number.c_str(), nullptr, 10);
        if (value > highest && value < kLargest)
            highest = value;
    }
    context.workbench().closeBomWindow(top);
    return std::to_string((highest / kStep + 1) * kStep);
}

int addLine(Context& context, const WantedLine& wanted) {
    context.open();
    const tag_t parent = revisionNamed(context, wanted.parent);
    const tag_t child = revisionNamed(context, wanted.child);
    const std::vector<LineNote> notes = lineNotes(context, wanted.notes);
    const std::string quantity = wanted.quantity.value_or("1");
    return carryOut(
        context, wanted.run, "bom add",
        context.title(parent) + " " + context.title(child) + " quantity " + quantity, parent,
        [&](Deed& done) {
            const tag_t guard = guardOfLines(parent);
            need(context, OBJ_refresh(guard, true), "OBJ_refresh", guard);
            const std::string number = wanted.number ? *wanted.number : nextNumber(context, parent);
            const tag_t occurrence =
                context.workbench().addOccurrence(parent, child, quantity, number);
            need(context, OBJ_unlock(guard), "OBJ_unlock", guard);
            if (!notes.empty())
                changeLines(context, parent, [&](tag_t top) {
                    for (const tag_t line : childLines(top))
                        if (lineTag(line, "bl_occurrence") == occurrence)
                            for (const LineNote& note : notes)
                                setOnLine(context, line, note.name.c_str(), note.text, parent);
                });
            done.told = "added " + context.title(child) + " to " + context.title(parent) +
                        (number.empty() ? "" : " as number " + number) +
                        (quantity.empty() ? "" : ", quantity " + quantity);
            done.facts = {{"parent", context.label(parent)},
                          {"child", context.label(child)},
                          {"number", number},
                          {"quantity", quantity},
                          {"occurrence", occurrence}};
        });
}

std::vector<tag_t> occurrencesNamed(const Context& context, tag_t parent,
                                    const std::vector<std::string>& names, bool all,
                                    std::vector<std::string>& titles) {
    std::vector<tag_t> occurrences;
    const tag_t top = context.workbench().openBomWindow(parent);
    try {
        for (const std::string& name : names)
            for (const tag_t line : linesNamed(context, top, name, all)) {
                const tag_t occurrence = lineTag(line, "bl_occurrence");
                if (std::find(occurrences.begin(), occurrences.end(), occurrence) !=
                    occurrences.end())
                    continue;
                occurrences.push_back(occurrence);
                titles.push_back(lineTitle(context, line));
            }
    } catch (...) {
        context.workbench().closeBomWindow(top);
        throw;
    }
    context.workbench().closeBomWindow(top);
    return occurrences;
}

int removeLines(Context& context, const WantedLine& wanted) {
    context.open();
    const tag_t parent = revisionNamed(context, wanted.parent);
    std::vector<std::string> titles;
    const auto occurrences = occurrencesNamed(context, parent, wanted.lines, wanted.all, titles);
    return carryOut(
        context, wanted.run, "bom remove", context.title(parent) + " " + joined(wanted.lines, " "),
        parent, [&](Deed& done) {
            const tag_t guard = guardOfLines(parent);
            need(context, OBJ_refresh(guard, true), "OBJ_refresh", guard);
            for (const tag_t occurrence : occurrences)
                need(context, OBJ_delete(occurrence), "OBJ_delete", guard);
            need(context, OBJ_unlock(guard), "OBJ_unlock", guard);
            done.told = "removed " + joined(titles, ", ") + " from " + context.title(parent);
            done.facts = {{"parent", context.label(parent)}, {"removed", occurrences.size()}};
        });
}

int setLines(Context& context, const WantedLine& wanted) {
    if (!wanted.quantity && !wanted.number && wanted.notes.empty())
        throw CommandError("nothing is to be set; expected --quantity, --number or --note", {},
                           kExitUsage);
    context.open();
    const tag_t parent = revisionNamed(context, wanted.parent);
    const std::vector<LineNote> notes = lineNotes(context, wanted.notes);
    std::vector<std::string> titles;
    const auto occurrences = occurrencesNamed(context, parent, wanted.lines, wanted.all, titles);
    return carryOut(
        context, wanted.run, "bom set", context.title(parent) + " " + joined(wanted.lines, " "),
        parent, [&](Deed& done) {
            changeLines(context, parent, [&](tag_t top) {
                for (const tag_t line : childLines(top)) {
                    if (std::find(occurrences.begin(), occurrences.end(),
                                  lineTag(line, "bl_occurrence")) == occurrences.end())
                        continue;
                    if (wanted.quantity)
                        setOnLine(context, line, "bl_quantity", *wanted.quantity, parent);
                    if (wanted.number)
                        setOnLine(context, line, "bl_sequence_no", *wanted.number, parent);
                    for (const LineNote& note : notes)
                        setOnLine(context, line, note.name.c_str(), note.text, parent);
                }
            });
            done.told = "set " + joined(titles, ", ") + " of " + context.title(parent);
            done.facts = {{"parent", context.label(parent)}, {"set", occurrences.size()}};
        });
}

void addLineOptions(CLI::App* verb, WantedLine& wanted, const char* quantity, const char* number) {
    verb->add_option("--quantity", wanted.quantity, quantity);
    verb->add_option("--number", wanted.number, number);
    verb->add_option("--note", wanted.notes, "NAME=TEXT: a note of the line")
        ->expected(1)
        ->take_all();
}

}  // namespace

void addBomEditVerbs(Verbs& verbs, CLI::App* group) {
    auto added = std::make_shared<WantedLine>();
    CLI::App* verb = verbs.add(group, "add", "Add a line to a structure",
                               "  keld bom add 000123/A 000456 --quantity 4\n"
                               "  keld bom add 000123 000456/B --number 35 --note position=left\n",
                               [added](Context& context) { return addLine(context, *added); });
    verb->add_option("PARENT", added->parent, "revision, or an item for its latest")->required();
    verb->add_option("CHILD", added->child, "what the line shows, likewise")->required();
    addLineOptions(verb, *added, "a decimal number; 1 if not given",
                   "number of the line; the next in steps of ten if not given");
    addDeedOptions(verb, added->run);

    auto removed = std::make_shared<WantedLine>();
    verb = verbs.add(group, "remove", "Remove lines from a structure",
                     "  keld bom remove 000123/A 000456\n"
                     "  keld bom remove 000123/A /30 /40      # by number\n",
                     [removed](Context& context) { return removeLines(context, *removed); });
    verb->add_option("PARENT", removed->parent, "revision, or an item for its latest")->required();
    verb->add_option("LINE", removed->lines, "/30 by number, else the item or revision")
        ->required();
    verb->add_flag("--all", removed->all, "all lines that a name means, not only one");
    addDeedOptions(verb, removed->run);

    auto changed = std::make_shared<WantedLine>();
    verb = verbs.add(group, "set", "Set quantity, number and notes of lines",
                     "  keld bom set 000123/A 000456 --quantity 6\n"
                     "  keld bom set 000123/A /30 /40 --note position=left\n",
                     [changed](Context& context) { return setLines(context, *changed); });
    verb->add_option("PARENT", changed->parent, "revision, or an item for its latest")->required();
    verb->add_option("LINE", changed->lines, "/30 by number, else the item or revision")
        ->required();
    addLineOptions(verb, *changed, "a decimal number; empty takes it away", "number of the line");
    verb->add_flag("--all", changed->all, "all lines that a name means, not only one");
    addDeedOptions(verb, changed->run);
}

}  // namespace keld
