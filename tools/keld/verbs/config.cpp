// config keys: everything that keld_statusmanager.ini can say; the group of its verbs.

#include <CLI/CLI.hpp>
#include <memory>

#include "tools/keld/host/nearest.h"
#include "tools/keld/lint/keys.h"
#include "tools/keld/verbs/config_runs.h"

namespace keld {

namespace {

const char* sectionWord(SectionKind kind) {
    switch (kind) {
        case SectionKind::Global:
            return "GLOBAL";
        case SectionKind::Select:
            return "SelectWSO";
        case SectionKind::Process:
            return "object";
        default:
            return "form";
    }
}

std::string shownDefault(const ConfigKey& key) {
    return key.default_value[0] == '\0' ? "empty" : key.default_value;
}

Json keyJson(const ConfigKey& key) {
    return {{"section", sectionWord(key.section)},
            {"key", key.name},
            {"value", plain(key.value)},
            {"default", key.default_value},
            {"limit", limitOf(key)},
            {"most_bytes", key.most},
            {"counts_for_lines", key.section == SectionKind::Process ? Json(key.line) : Json()},
            {"on_empty",
             key.section == SectionKind::Form ? Json(key.name + std::string(kOnEmpty)) : Json()},
            {"meaning", plain(key.meaning)}};
}

int showKeys(Context& context, const std::string& wanted) {
    Json sections = Json::array(), keys = Json::array(), walks = Json::array();
    Table section_table({"SECTION", "HOLDS"});
    Table key_table({"KEY", "IN", "VALUE", "DEFAULT", "LIMIT", "MEANING"});
    Table walk_table({"WALK LIST ENTRY", "GOES"});
    std::vector<std::string> names;
    for (const ConfigKey& key : configKeys()) {
        names.emplace_back(key.name);
        const bool is = equalNoCase(key.name, wanted) ||
                        (key.section == SectionKind::Form &&
                         equalNoCase(key.name + std::string(kOnEmpty), wanted));
        if (!wanted.empty() && !is)
            continue;
        keys.push_back(keyJson(key));
        key_table.add({key.name, sectionWord(key.section), plain(key.value), shownDefault(key),
                       limitOf(key), plain(key.meaning)});
    }
    for (const WalkKind& kind : walkKinds()) {
        names.emplace_back(kind.name);
        if (!wanted.empty() && wanted != kind.name)
            continue;
        walks.push_back({{"entry", kind.entry}, {"meaning", plain(kind.meaning)}});
        walk_table.add({kind.entry, plain(kind.meaning)});
    }
    if (keys.empty() && walks.empty())
        throw CommandError("nothing reads the key '" + shortened(wanted) + "'.",
                           nearest(wanted, names));
    for (const SectionForm& form : sectionForms()) {
        sections.push_back({{"section", form.name}, {"holds", plain(form.meaning)}});
        section_table.add({form.name, plain(form.meaning)});
    }
    std::string text;
    if (wanted.empty()) {
        context.document["sections"] = sections;
        text += section_table.text() + "\n";
    }
    context.document["keys"] = keys;
    context.document["walk_entries"] = walks;
    if (!key_table.empty())
        text += key_table.text();
    if (wanted.empty())
        text +=
            "Each key of a form also exists with OnEmpty after it: then only fields that are "
            "empty get the value.\n\n";
    if (!walk_table.empty())
        text += walk_table.text();
    context.print(text);
    return kExitDone;
}

}  // namespace

void addConfigVerbs(Verbs& verbs) {
    CLI::App* group = verbs.addGroup("config", "Explain, draw, compare and test the configuration",
                                     "  keld config explain Frozen\n"
                                     "  keld config graph\n"
                                     "  keld config coverage Frozen --all\n"
                                     "  keld config test cases\n",
                                     nullptr);
    auto wanted = std::make_shared<std::string>();
    verbs
        .add(group, "keys", "Show each section and key that keld_statusmanager.ini can have",
             "  keld config keys\n"
             "  keld config keys PrevReleaseStatus\n"
             "  keld config keys --json\n",
             [wanted](Context& context) { return showKeys(context, *wanted); })
        ->add_option("KEY", *wanted, "this key or walk list entry only");
    addConfigExplainVerb(verbs, group);
    addConfigGraphVerb(verbs, group);
    addConfigCoverageVerb(verbs, group);
    addConfigDiffVerb(verbs, group);
    addConfigTestVerb(verbs, group);
}

}  // namespace keld
