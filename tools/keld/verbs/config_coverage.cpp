// config coverage: which parts of the file rehearsals over real objects used.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <memory>

#include "tools/keld/host/progress.h"
#include "tools/keld/host/system.h"
#include "tools/keld/lint/keys.h"
#include "tools/keld/verbs/config_runs.h"

namespace keld {

namespace {

struct WantedCoverage {
    std::vector<std::string> statuses;
    ChosenObjects objects;
    std::string ini;
    bool annotated = false;
};

struct Uses {
    std::size_t read = 0, decided = 0, refused = 0;
    void add(Did did) {
        ++read;
        decided += did == Did::Decided ? 1 : 0;
        refused += did == Did::Refused ? 1 : 0;
    }
};

// Counts uses by section, key and entry; names are in lower case.
class Coverage {
public:
    explicit Coverage(const IniFile& ini) : ini_(ini) {}

    void add(const Decision& each) {
        if (each.key.empty())
            return;
        keys_[{asciiLower(each.section), asciiLower(each.key), each.number}].add(each.did);
    }
    void addVisit(const Visit& visit, bool changed, bool refused) {
        sections_[asciiLower(visit.section)].add(refused   ? Did::Refused
                                                 : changed ? Did::Decided
                                                           : Did::Read);
    }

    Uses of(const std::string& section, const std::string& key, int number) const {
        const auto found = keys_.find({asciiLower(section), asciiLower(key), number});
        return found == keys_.end() ? Uses{} : found->second;
    }
    // A section without visits, such as a form section, is used as often as its most used key.
    Uses of(const std::string& section) const {
        const std::string name = asciiLower(section);
        if (const auto found = sections_.find(name); found != sections_.end())
            return found->second;
        Uses uses;
        for (auto at = keys_.lower_bound({name, "", -1});
             at != keys_.end() && std::get<0>(at->first) == name; ++at)
            if (std::get<2>(at->first) < 0) {
                uses.read = std::max(uses.read, at->second.read);
                uses.decided = std::max(uses.decided, at->second.decided);
                uses.refused = std::max(uses.refused, at->second.refused);
            }
        return uses;
    }
    // Give the entries of a list; empty for other values and for a single entry.
    std::vector<std::string> entriesOf(const IniEntry& entry) const {
        const ConfigKey* key = findKey(SectionKind::Process, entry.key);
        if (!key)
            key = findKey(SectionKind::Form, entry.key);
        if (!key || key->form == ValueForm::Text || key->form == ValueForm::Integer)
            return {};
        std::vector<std::string> entries = key->form == ValueForm::Statuses
                                               ? statusWords(entry.value)
                                               : splitList(entry.value, ';');
        return entries.size() > 1 ? entries : std::vector<std::string>();
    }

    struct Row {
        const IniSection* section;
        const IniEntry* entry;  // null: the section as a whole
        int number;             // -1: the key as a whole
        std::string text;
        Uses uses;
    };
    std::vector<Row> rows() const {
        std::vector<Row> rows;
        for (const IniSection& section : ini_.sections) {
            rows.push_back({&section, nullptr, -1, "[" + section.name + "]", of(section.name)});
            for (const IniEntry& entry : section.entries) {
                const bool counts = ini_.find(section.name, entry.key) == &entry;
                rows.push_back({&section, &entry, -1, entry.key,
                                counts ? of(section.name, entry.key, -1) : Uses{}});
                const std::vector<std::string> entries = entriesOf(entry);
                for (std::size_t i = 0; i < entries.size(); ++i) {
                    const int number = static_cast<int>(i);
                    rows.push_back({&section, &entry, number, entries[i],
                                    counts ? of(section.name, entry.key, number) : Uses{}});
                }
            }
        }
        return rows;
    }

private:
    const IniFile& ini_;
    std::map<std::tuple<std::string, std::string, int>, Uses> keys_;
    std::map<std::string, Uses> sections_;
};

std::string tableOf(const std::vector<Coverage::Row>& rows) {
    Table table({"LINE", "WHAT", "READ", "DECIDED", "REFUSED", ""});
    for (const Coverage::Row& row : rows)
        table.add({std::to_string(row.entry ? row.entry->line : row.section->line),
                   (row.entry ? row.number < 0 ? "  " : "    " : "") + row.text,
                   std::to_string(row.uses.read), std::to_string(row.uses.decided),
                   std::to_string(row.uses.refused), row.uses.read == 0 ? "never reached" : ""});
    return table.text();
}

// Give the file with the counts at the beginning of each line.
std::string annotatedCopy(const std::string& path, const std::vector<Coverage::Row>& rows) {
    std::map<int, std::vector<const Coverage::Row*>> at;
    for (const Coverage::Row& row : rows)
        at[row.entry ? row.entry->line : row.section->line].push_back(&row);
    const auto lead = [](const Uses* uses) {
        char text[64];
        if (!uses)
            std::snprintf(text, sizeof text, "%8s %8s %8s |", "", "", "");
        else if (uses->read == 0)
            std::snprintf(text, sizeof text, "%8s %8s %8s |", "#####", "", "");
        else
            std::snprintf(text, sizeof text, "%8zu %8zu %8zu |", uses->read, uses->decided,
                          uses->refused);
        return std::string(text);
    };
    std::string all = "    READ  DECIDED  REFUSED |\n";
    std::ifstream in(pathOf(path), std::ios::binary);
    int number = 0;
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        const auto here = at.find(++number);
        all += lead(here == at.end() ? nullptr : &here->second.front()->uses) +
               (line.empty() ? "" : " ") + line + "\n";
        if (here != at.end())
            for (const Coverage::Row* row : here->second)
                if (row->number >= 0)
                    all += lead(&row->uses) + " ;   " + row->text + "\n";
    }
    return all;
}

Json coverageJson(const std::vector<Coverage::Row>& rows) {
    Json all = Json::array();
    for (const Coverage::Row& row : rows)
        all.push_back({{"line", row.entry ? row.entry->line : row.section->line},
                       {"section", row.section->name},
                       {"key", row.entry ? Json(row.entry->key) : Json()},
                       {"entry", row.number < 0 ? Json() : Json(row.text)},
                       {"read", row.uses.read},
                       {"decided", row.uses.decided},
                       {"refused", row.uses.refused}});
    return all;
}

int cover(Context& context, const WantedCoverage& wanted) {
    context.open();
    const ConfigFile file = needIni(wanted.ini);
    const std::vector<ConfigRun> runs = configRuns(file.ini, wanted.statuses);
    const std::vector<tag_t> objects = chosenObjects(context, wanted.objects, runs);
    Rehearsals rehearsals(context, file);
    Coverage coverage(file.ini);
    std::size_t made = 0, passed = 0;
    {
        Progress progress("rehearsing", "run");
        for (const tag_t object : objects)
            for (const ConfigRun& run : runs) {
                if (!rehearsals.fits(run, object))
                    continue;
                const Rehearsed done = rehearsals.rehearse(run, object, true);
                ++made;
                passed += done.passed() ? 1 : 0;
                progress.count();
                const StatusDecisions decisions(file.ini, done.run.seen, done.status);
                const auto add = [&](const Decision& each) { coverage.add(each); };
                decisions.ofStart(run.type, add);
                const auto& visits = done.run.seen.list.visits;
                for (std::size_t i = 0; i < visits.size(); ++i) {
                    decisions.ofVisit(i, add);
                    coverage.addVisit(visits[i], visits[i].came == Came::Changed,
                                      !done.passed() && i == done.run.seen.stopped);
                }
            }
    }
    const std::vector<Coverage::Row> rows = coverage.rows();
    std::size_t never = 0;
    for (const Coverage::Row& row : rows)
        never += row.uses.read == 0 ? 1 : 0;
    context.document = {{"file", file.path},      {"objects", objects.size()},
                        {"runs", made},           {"passed", passed},
                        {"never_reached", never}, {"rows", coverageJson(rows)}};
    context.print(wanted.annotated ? annotatedCopy(file.path, rows) : tableOf(rows));
    context.print("\n" + counted(made, "run") + " on " + counted(objects.size(), "object") + ", " +
                  std::to_string(passed) + " passed, " + std::to_string(made - passed) +
                  " refused; of " + std::to_string(rows.size()) + " sections, keys and entries " +
                  std::to_string(never) + " were never reached\n");
    return kExitDone;
}

}  // namespace

void addConfigCoverageVerb(Verbs& verbs, CLI::App* group) {
    auto wanted = std::make_shared<WantedCoverage>();
    CLI::App* verb =
        verbs.add(group, "coverage", "Rehearse over objects, and count what of the file was used",
                  "  keld config coverage Frozen Released --all\n"
                  "  keld config coverage --of 000123/A 000124/B --annotated\n",
                  [wanted](Context& context) { return cover(context, *wanted); });
    verb->add_option("STATUS", wanted->statuses, "target statuses; all of the file if none");
    addObjectOptions(verb, wanted->objects);
    verb->add_flag("--annotated", wanted->annotated,
                   "show the file with the counts in front of its lines");
    verb->add_option("--ini", wanted->ini, "of this file in place of the configured one");
}

}  // namespace keld
