// config explain: the meaning of the file as the library reads it, and its decisions for one
// object.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "tools/keld/host/platform_text.h"
#include "tools/keld/lint/keys.h"
#include "tools/keld/verbs/config_runs.h"

namespace keld {

namespace {

struct WantedExplanation {
    std::vector<std::string> words;  // [STATUS] or OBJECT STATUS
    std::string type, ini;
    bool structure = false;
};

// ---- the file ----

// Explain the effect of a value that doesn't explain itself.
std::string effectOf(const Reached& at, const ConfigKey& key, const std::string& value) {
    const std::string name = key.name;
    if (name == "PrevReleaseStatus" && value.empty())
        return "the object must have no status";
    if (name == "PrevReleaseStatus") {
        std::string text;
        for (const std::string& word : statusWords(value))
            text += (text.empty() ? "" : ", ") + (word == "none" ? "no status" : word);
        return "the object must have: " + text;
    }
    if (name == "DoNothingOnReleaseStatus")
        return "an object with one of these is left alone, with all below it";
    if (name == "PrivilegName")
        return "the user needs it on the object";
    if (name == "CheckNeedFields")
        return "these fields of its master form must not be empty";
    if (name == "SetReleaseState")
        return value == "none" ? "all statuses are taken away" : "the status becomes " + value;
    if (name == "Purge")
        return iniInteger(value) == 1 ? "older versions of the dataset are deleted"
                                      : "nothing is purged";
    if (name == "StartJob")
        return "the workflow is started in the action pass" +
               std::string(at.line ? ", for each line" : "");
    if (name == "JobPrefix")
        return "begins the workflow's name";
    if (name == "DeleteDatasets")
        return "related datasets are deleted";
    return "";
}

// Keys of the test pass, which older revisions never come to.
bool isCheck(const std::string& key) {
    return key == "PrevReleaseStatus" || key == "PrivilegName" || key == "CheckNeedFields";
}

struct KeyLine {
    int line = 0;  // 0: the key is missing, so its default is used
    std::string key, value, effect;
};

class Explainer {
public:
    Explainer(const IniFile& ini, const Reachable& reachable) : ini_(ini), reachable_(reachable) {
        for (const WalkStep& step : reachable.steps) {
            into_[step.to].push_back(&step);
            from_[{step.from, step.arrival}].push_back(&step);
        }
    }

    // Give the sections of a run, each once, in the order of its visits.
    std::vector<std::size_t> inOrder(std::size_t start) {
        std::vector<std::size_t> order;
        std::set<std::pair<std::size_t, int>> seen;
        std::set<std::size_t> once;
        std::vector<std::pair<std::size_t, int>> waiting{{start, kBegin}};
        while (!waiting.empty()) {
            const auto at = waiting.back();
            waiting.pop_back();
            if (!seen.insert(at).second)
                continue;
            if (once.insert(at.first).second)
                order.push_back(at.first);
            std::vector<const WalkStep*> steps = from_[at];
            std::stable_sort(steps.begin(), steps.end(), [](const auto* a, const auto* b) {
                return rank(a->direction) < rank(b->direction);
            });
            for (std::size_t i = steps.size(); i-- > 0;)
                waiting.emplace_back(steps[i]->to, steps[i]->direction);
        }
        return order;
    }

    std::vector<KeyLine> keys(std::size_t at) const {
        const Reached& here = reachable_.process[at];
        std::vector<KeyLine> lines;
        std::string off;
        for (const ConfigKey& key : configKeys()) {
            if (key.section != SectionKind::Process || (here.line && !key.line))
                continue;
            const IniEntry* entry = ini_.find(here.section, key.name);
            std::string value = entry ? entry->value : key.default_value;
            int line = entry ? entry->line : 0;
            const std::string name = key.name;
            if (name == "PrivilegName" && !entry) {
                const IniEntry* global = ini_.find("GLOBAL", "PrivilegName");
                value = global ? global->value : "CHANGE";
                line = global ? global->line : 0;
            }
            if (name == "JobPrefix" && valueOf(ini_, here.section, "StartJob").empty() && !entry)
                continue;
            if (!here.prefix.empty() && isCheck(name)) {
                if (entry)
                    lines.push_back(
                        {line, key.name, value, "is never read: older revisions aren't checked"});
                continue;
            }
            const bool tells = entry || name == "PrivilegName" || name == "PrevReleaseStatus" ||
                               name == "JobPrefix";
            if (!tells) {
                off += (off.empty() ? "" : ", ") + name;
                continue;
            }
            if (key.form == ValueForm::Walks)
                addWalk(at, key, *entry, lines);
            else if (key.form == ValueForm::Forms)
                addForms(here, *entry, lines);
            else
                lines.push_back({line, key.name, value, effectOf(here, key, value)});
        }
        if (!off.empty())
            lines.push_back({0, "off", "", off});
        return lines;
    }

    std::string reachedBy(std::size_t at, bool start) const {
        std::string text = start ? "a run starts here" : "";
        std::set<std::string> once;
        if (const auto steps = into_.find(at); steps != into_.end())
            for (const WalkStep* step : steps->second) {
                const std::string way = "by " + step->entry + " of [" +
                                        reachable_.process[step->from].section + "], line " +
                                        std::to_string(step->line);
                if (once.insert(way).second)
                    text += (text.empty() ? "" : "; ") + way;
            }
        return text;
    }

private:
    static int rank(int direction) {
        return direction == kNoRek ? 0 : direction == kForward ? 1 : 2;
    }

    void addWalk(std::size_t at, const ConfigKey& key, const IniEntry& entry,
                 std::vector<KeyLine>& lines) const {
        const std::vector<std::string> steps = splitList(entry.value, ';');
        if (steps.empty())
            lines.push_back({entry.line, key.name, "", "goes nowhere"});
        for (std::size_t i = 0; i < steps.size(); ++i) {
            std::string to;
            std::set<std::string> once;
            for (const WalkStep& step : reachable_.steps)
                if (step.from == at && step.number == i &&
                    equalNoCase(walkKey(step.direction), key.name) &&
                    once.insert(reachable_.process[step.to].section).second)
                    to += (to.empty() ? "to [" : " or [") + reachable_.process[step.to].section +
                          (reachable_.process[step.to].present ? "]" : "], which isn't there");
            lines.push_back({entry.line, key.name, steps[i], to.empty() ? "goes nowhere" : to});
        }
    }

    void addForms(const Reached& here, const IniEntry& entry, std::vector<KeyLine>& lines) const {
        for (const std::string& form : splitList(entry.value, ';')) {
            const IniSection* section = ini_.first(here.section + "_" + form);
            lines.push_back(
                {entry.line, "SetAttributes", form,
                 section ? "is filled as [" + section->name + "] says"
                         : "is left as it is: there is no section " + here.section + "_" + form});
            if (!section)
                continue;
            for (const ConfigKey& key : configKeys())
                if (key.section == SectionKind::Form)
                    for (const std::string& name :
                         {std::string(key.name), key.name + std::string(kOnEmpty)})
                        if (const IniEntry* value = ini_.find(section->name, name))
                            lines.push_back({value->line, "  " + name, value->value,
                                             plain(key.meaning) +
                                                 (isOnEmpty(name) ? ", in empty fields" : "")});
        }
    }

    const IniFile& ini_;
    const Reachable& reachable_;
    std::map<std::size_t, std::vector<const WalkStep*>> into_;
    std::map<std::pair<std::size_t, int>, std::vector<const WalkStep*>> from_;
};

std::string lineText(int line) {
    return line == 0 ? "default" : std::to_string(line);
}

int explainFile(Context& context, const WantedExplanation& wanted) {
    openOrStandard(context);
    const ConfigFile file = needIni(wanted.ini);
    const std::vector<std::string> statuses(wanted.words.begin(), wanted.words.end());
    (void)configRuns(file.ini, statuses);
    const Reachable reachable = followWalks(file.ini, knownNames(context));
    Explainer explainer(file.ini, reachable);

    Json starts = Json::array(), runs = Json::array();
    Table start_table({"LINE", "START TYPE", "VALUE", ""});
    for (const IniEntry* entry : file.ini.entries("SelectWSO")) {
        const bool is = iniInteger(entry->value) == 1;
        starts.push_back(
            {{"type", entry->key}, {"line", entry->line}, {"value", entry->value}, {"starts", is}});
        start_table.add({std::to_string(entry->line), entry->key, entry->value,
                         is ? "a run may start on it" : "no run starts on it"});
    }
    context.print(file.path + "\n\n" + start_table.text());

    bool any = false;
    std::vector<const WalkStart*> chosen;
    for (const WalkStart& start : reachable.starts) {
        const Reached& at = reachable.process[start.at];
        if ((statuses.empty() || at.status == statuses.front()) &&
            (wanted.type.empty() || equalNoCase(start.type, wanted.type)))
            chosen.push_back(&start);
    }
    std::stable_sort(chosen.begin(), chosen.end(), [&](const auto* a, const auto* b) {
        return reachable.process[a->at].status < reachable.process[b->at].status;
    });
    std::map<std::size_t, std::string> told;  // sections, with the title above them
    for (const WalkStart* start : chosen) {
        any = true;
        const std::string title =
            "to " + reachable.process[start->at].status + ", from " + start->type;
        std::string text = "\n" + painted(Colour::Bold, title) + "\n";
        Json sections = Json::array();
        for (const std::size_t at : explainer.inOrder(start->at)) {
            const Reached& here = reachable.process[at];
            const IniSection* section = file.ini.first(here.section);
            const std::string by = explainer.reachedBy(at, at == start->at);
            const std::vector<KeyLine> keys = explainer.keys(at);
            Json key_list = Json::array();
            for (const KeyLine& key : keys)
                key_list.push_back({{"line", key.line == 0 ? Json() : Json(key.line)},
                                    {"key", key.key.substr(key.key.find_first_not_of(' '))},
                                    {"value", key.value},
                                    {"effect", key.effect}});
            sections.push_back({{"section", here.section},
                                {"line", section ? Json(section->line) : Json()},
                                {"reached", by},
                                {"keys", key_list}});
            text += "\n[" + here.section + "]" +
                    (section ? ", line " + std::to_string(section->line) : ", which isn't there") +
                    "\n  " + by + "\n";
            const auto [known, first] = told.try_emplace(at, title);
            if (!first) {
                text += "  as above, " + known->second + "\n";
                continue;
            }
            Table table({"LINE", "KEY", "VALUE", "MEANS"});
            for (const KeyLine& key : keys)
                table.add({lineText(key.line), key.key, key.value, key.effect});
            text += table.text("  ");
        }
        context.print(text);
        runs.push_back({{"status", reachable.process[start->at].status},
                        {"type", start->type},
                        {"sections", sections}});
    }
    if (!any)
        throw CommandError("no run starts on the type '" + wanted.type + "'" +
                           (statuses.empty() ? "" : " to the status " + statuses.front()));
    context.document = {{"file", file.path}, {"start_types", starts}, {"runs", runs}};
    return kExitDone;
}

// ---- one object ----

const char* didWord(Did did) {
    return did == Did::Read ? "read" : did == Did::Decided ? "decided" : "refused";
}

int explainObject(Context& context, const WantedExplanation& wanted) {
    context.open();
    const tag_t object = context.object(wanted.words[0]);
    const std::string& status = wanted.words[1];
    const std::string type = wanted.structure       ? kLineType
                             : !wanted.type.empty() ? wanted.type
                                                    : context.workbench().describe(object).type;
    const ConfigFile file = needIni(wanted.ini);
    const std::string label = context.label(object), title = context.title(object);
    (void)configRuns(file.ini, {status});
    Rehearsals rehearsals(context, file);
    const Rehearsed done = rehearsals.rehearse({status, type}, object, true);
    const StatusDecisions decisions(file.ini, done.run.seen, done.status);
    Json rules = Json::array();
    std::vector<std::pair<std::string, Table>> tables;  // by section
    std::string last_value;
    const auto tell = [&](const char* pass, const Decision& each) {
        rules.push_back({{"pass", *pass == '\0' ? Json() : Json(pass)},
                         {"section", each.section},
                         {"key", each.key.empty() ? Json() : Json(each.key)},
                         {"line", each.line == 0 ? Json() : Json(each.line)},
                         {"entry", each.number < 0 ? Json() : Json(each.number + 1)},
                         {"read", each.value},
                         {"found", each.found},
                         {"decided", each.decided},
                         {"did", didWord(each.did)}});
        // The row of the key already shows the only entry.
        if (each.number >= 0 && (each.decided.empty() || each.value == last_value))
            return;
        last_value = each.value;
        if (tables.empty() || tables.back().first != each.section)
            tables.emplace_back(each.section,
                                Table({"PASS", "LINE", "KEY", "READ", "FOUND", "DECIDED"}));
        tables.back().second.add({pass, each.key.empty() ? "" : lineText(each.line),
                                  each.key.empty()   ? "(check-out)"
                                  : each.number >= 0 ? "  entry " + std::to_string(each.number + 1)
                                                     : each.key,
                                  each.value, each.found, each.decided});
    };
    decisions.ofStart(type, [&](const Decision& each) { tell("", each); });
    const auto& visits = done.run.seen.list.visits;
    std::size_t others = 0;
    for (std::size_t i = 0; i < visits.size(); ++i) {
        const Visit& visit = visits[i];
        const bool own = visit.from == kNoVisit || visit.object == object;
        others += own ? 0 : 1;
        if (own)
            decisions.ofVisit(i, [&](const Decision& each) { tell(visit.pass, each); });
    }
    std::string text;
    for (const auto& [section, table] : tables) {
        const IniSection* there = file.ini.first(section);
        text += "[" + section + "]" +
                (there ? ", line " + std::to_string(there->line) : ", which isn't there") + "\n" +
                table.text("  ") + "\n";
    }
    text += counted(others, "visit") + " of other objects; ";
    text += done.passed() ? "the run passes\n" : "the run is refused: " + done.refused + "\n";
    context.document = {{"object", label},
                        {"type", type},
                        {"status", status},
                        {"file", file.path},
                        {"rules", rules},
                        {"other_visits", others},
                        {"refused", done.passed() ? Json() : Json(done.refused)}};
    context.print(painted(Colour::Bold, title) + " to " + status + ", from " + type + "\n\n" +
                  text);
    return done.passed() ? kExitDone : kExitFailed;
}

int explainConfig(Context& context, const WantedExplanation& wanted) {
    if (wanted.words.size() == 2)
        return explainObject(context, wanted);
    if (wanted.structure)
        throw CommandError("--structure needs an object and a status", {}, kExitUsage);
    return explainFile(context, wanted);
}

}  // namespace

void addConfigExplainVerb(Verbs& verbs, CLI::App* group) {
    auto wanted = std::make_shared<WantedExplanation>();
    CLI::App* verb =
        verbs.add(group, "explain", "Explain the file, or what it decides for an object",
                  "  keld config explain\n"
                  "  keld config explain Frozen --type ItemRevision\n"
                  "  keld config explain 000123/A Frozen\n",
                  [wanted](Context& context) { return explainConfig(context, *wanted); });
    verb->add_option("STATUS", wanted->words,
                     "target status; OBJECT STATUS tells what a run on that object decides")
        ->expected(0, 2);
    CLI::Option* type = verb->add_option("--type", wanted->type, "of runs that start on this type");
    verb->add_flag("--structure", wanted->structure,
                   "of the object: start from the top line of a BOM window, with type BOMLine")
        ->excludes(type);
    verb->add_option("--ini", wanted->ini, "this file in place of the configured one");
}

}  // namespace keld
