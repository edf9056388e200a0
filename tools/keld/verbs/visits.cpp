#include "tools/keld/verbs/visits.h"

#include <algorithm>

#include "tools/keld/lint/ini.h"

namespace keld {

namespace {

using mervane::JournalEntry;

// Each visit asks for the object's latest status, and it alone asks for the attribute and then at
// once for the length of the list.
std::vector<tag_t> objectsAsked(const std::vector<JournalEntry>& journal) {
    std::vector<tag_t> tags;
    for (std::size_t i = 0; i + 1 < journal.size(); ++i)
        if (journal[i].operation == "DBO_attr_id_of_attr" &&
            journal[i + 1].operation == "DBO_length_of_attr")
            tags.push_back(journal[i + 1].object());
    return tags;
}

// BOM lines have no status; a line is known by the first question about its children or revision.
std::vector<tag_t> linesAsked(const std::vector<JournalEntry>& journal) {
    std::vector<tag_t> tags;
    for (const JournalEntry& entry : journal) {
        if (entry.operation != "LINE_ask_child_lines" &&
            entry.operation != "LINE_ask_attribute_tag")
            continue;
        const tag_t tag = entry.object();
        if (std::find(tags.begin(), tags.end(), tag) == tags.end())
            tags.push_back(tag);
    }
    return tags;
}

bool isLine(const Visit& visit) {
    return asciiLower(visit.section).ends_with("_bomline");
}

bool between(const std::string& text, const std::string& start, const std::string& end,
             std::string* found) {
    const auto first = text.find(start);
    if (first == std::string::npos)
        return false;
    const auto from = first + start.size();
    const auto last = text.find(end, from);
    if (last == std::string::npos)
        return false;
    *found = text.substr(from, last - from);
    return true;
}

void nameLines(std::vector<Visit>& visits, const std::vector<tag_t>& lines) {
    const auto count = std::count_if(visits.begin(), visits.end(), isLine);
    if (static_cast<std::size_t>(count) != lines.size())
        return;
    std::size_t next = 0;
    for (Visit& visit : visits)
        if (isLine(visit))
            visit.object = lines[next++];
}

}  // namespace

Visits readVisits(const std::vector<LogLine>& log, const std::vector<JournalEntry>& journal) {
    Visits visits;
    std::vector<Visit>* pass = &visits.test;
    for (const LogLine& line : log) {
        Visit visit;
        if (line.text.starts_with("########## Prozess Test"))
            pass = &visits.test;
        else if (line.text.starts_with("########## Prozess Attribute"))
            pass = &visits.attributes;
        else if (line.text.starts_with("########## Prozess Aktions"))
            pass = &visits.actions;
        else if (line.text.starts_with("### Process on:") &&
                 between(line.text, "### Process on:", " LastStat:", &visit.section) &&
                 between(line.text, " LastStat:", " ###", &visit.previous))
            pass->push_back(visit);
        else if (line.text.starts_with("Scip Process on:") && !pass->empty())
            pass->back().skipped = true;
    }

    const std::vector<tag_t> objects = objectsAsked(journal);
    std::size_t asked = 0, known = 0;
    for (auto* each : {&visits.test, &visits.attributes, &visits.actions})
        for (const Visit& visit : *each)
            known += isLine(visit) ? 0 : 1;
    if (known == objects.size())
        for (auto* each : {&visits.test, &visits.attributes, &visits.actions})
            for (Visit& visit : *each)
                if (!isLine(visit))
                    visit.object = objects[asked++];
    const std::vector<tag_t> lines = linesAsked(journal);
    nameLines(visits.test, lines);
    nameLines(visits.attributes, lines);
    return visits;
}

}  // namespace keld
