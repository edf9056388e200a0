// complete: the words that may follow on a command line, for shells.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <memory>
#include <set>

#include "platform/mv_rel.h"
#include "tools/keld/host/known.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/topics.h"
#include "tools/keld/lint/config.h"
#include "tools/keld/services.h"

namespace keld {

namespace {

using Words = std::vector<std::string>;

constexpr int kMostObjects = 200;

bool isOneOf(const Words& words, const std::string& word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

// What the words before the typed one mean.
struct TypedPlace {
    const CLI::App* verb = nullptr;
    const CLI::Option* option = nullptr;  // the one whose value is typed; null: none
    Words given;                          // words in the places of names
    Globals globals;                      // those that say where to look
};

void keepGlobal(Globals& globals, const std::string& option, const std::string& value) {
    if (option == "--store")
        globals.store = value;
    else if (option == "--user")
        globals.user = value;
    else if (option == "--group")
        globals.group = value;
    else if (option == "--cfg")
        globals.cfg = value;
}

const CLI::Option* optionOf(const CLI::App& app, const CLI::App& verb, const std::string& name) {
    const CLI::Option* option = verb.get_option_no_throw(name);
    return option ? option : app.get_option_no_throw(name);
}

// Find the place of the typed word. False: a word is neither a verb nor an argument.
bool findPlace(const CLI::App& app, const Words& words, TypedPlace& place) {
    place.verb = &app;
    bool only_names = false;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        place.option = nullptr;
        if (!only_names && word == "--") {
            only_names = true;
            continue;
        }
        if (!only_names && word.starts_with("-") && word.size() > 1) {
            const std::size_t sign = word.find('=');
            const std::string name = word.substr(0, sign);
            const CLI::Option* option = optionOf(app, *place.verb, name);
            if (!option || option->get_items_expected_max() == 0)
                continue;
            if (sign != std::string::npos) {
                keepGlobal(place.globals, name, word.substr(sign + 1));
            } else if (i + 1 < words.size()) {
                keepGlobal(place.globals, name, words[++i]);
            } else {
                place.option = option;
            }
            continue;
        }
        const auto verbs = place.verb->get_subcommands([](const CLI::App*) { return true; });
        const auto verb = std::find_if(verbs.begin(), verbs.end(), [&](const CLI::App* each) {
            return each->get_name() == word;
        });
        if (place.given.empty() && verb != verbs.end())
            place.verb = *verb;
        else if (place.given.empty() && !verbs.empty())
            return false;
        else
            place.given.push_back(word);
    }
    return true;
}

// ---- candidates ----

Words objectsLike(const Context& context, const std::string& start) {
    mervane::Workbench& workbench = context.workbench();
    if (start.find_first_of("*?\"#") != std::string::npos)
        return {};
    Words names;
    const std::size_t slash = start.rfind('/'), colon = start.find(':');
    if (slash != std::string::npos && colon != std::string::npos && colon > slash) {
        const tag_t owner = workbench.resolve(start.substr(0, colon));
        for (const tag_t other : listOf<tag_t>([&](int*count, tag_t**list) {
                 return REL_list_secondary_objects_only(owner, NULLTAG, count, list);
             }))
            if (isOf(context, other, "Dataset"))
                names.push_back(start.substr(0, colon + 1) + workbench.describe(other).name);
        return names;
    }
    for (const auto& found : workbench.find(
             {start + "*", slash == std::string::npos ? "Item" : "ItemRevision", "", kMostObjects}))
        names.push_back(found.typed);
    // If a single name fits, offer its revisions too.
    if (slash == std::string::npos && names.size() == 1)
        for (const auto& found : workbench.find({names.front() + "/*", "ItemRevision", "", 0}))
            names.push_back(found.typed);
    return names;
}

Words statusesOf(const Context& context) {
    std::set<std::string> names;
    if (const auto ini = readIniFile(statusConfigPath()))
        for (const std::string& type : context.workbench().typeNames(""))
            names.merge(targetStatuses(*ini, type));
    for (const auto& found : context.workbench().find({"", "ReleaseStatus", "", kMostObjects}))
        names.insert(found.name);
    return {names.begin(), names.end()};
}

Words serviceNames() {
    Words names;
    for (const Service& service : services())
        names.push_back(service.name);
    return names;
}

Words propertiesOf(const Context& context, const std::string& object) {
    Words names;
    for (const std::string& name : context.workbench().attributeNames(context.object(object)))
        names.push_back(name + "=");
    return names;
}

// Give the values for an option or a place, by its name in the help.
Words valuesFor(const Context& context, const TypedPlace& place, const std::string& name,
                const std::string& start) {
    mervane::Workbench& workbench = context.workbench();
    const std::string verb = place.verb->get_name();
    if (name == "--type" || name == "--class")
        return workbench.typeNames(verb == "dataset" ? "Dataset"
                                   : verb == "form"  ? "Form"
                                   : verb == "item"  ? "Item"
                                                     : "");
    if (isOneOf({"--user", "--of-user", "--owner", "--checked-out-by", "USER"}, name))
        return knownUsers(context);
    if (name == "--status" || name == "STATUS")
        return statusesOf(context);
    if (name == "--relation" || name == "--carry")
        return workbench.relationTypeNames();
    if (name == "PRIVILEGE")
        return workbench.privilegeNames();
    if (name == "WHAT")
        return {"allow", "deny"};
    if (name == "STATE")
        return {"on", "off"};
    if (isOneOf({"OBJECT", "ITEM", "PARENT", "CHILD", "LEFT", "RIGHT", "SOURCE", "DEST", "OBJECTS",
                 "LINE", "DATASET", "--on", "--to", "--of", "--object"},
                name)) {
        Words names = objectsLike(context, start);
        const bool after_object = !place.given.empty() && name == "OBJECT";
        if (after_object && place.verb->get_parent() && verb == "set") {
            const Words more = place.verb->get_parent()->get_name() == "status"
                                   ? statusesOf(context)
                                   : propertiesOf(context, place.given.front());
            names.insert(names.end(), more.begin(), more.end());
        }
        return names;
    }
    return {};
}

// The place of the n-th name; the last place takes all further names.
std::string nameOfPlace(const CLI::App& verb, std::size_t n) {
    std::string name;
    for (const CLI::Option* option : verb.get_options())
        if (option->get_positional()) {
            name = option->get_name(true, false);
            if (n-- == 0 || option->get_items_expected_max() > 1)
                return name;
        }
    return {};
}

Words candidates(const Context& asked, const CLI::App& app, Words words) {
    const std::string start = words.empty() ? "" : words.back();
    if (!words.empty())
        words.pop_back();
    if (!words.empty() && words.front() == "help") {
        words.erase(words.begin());
        if (words.empty()) {
            Words names = topicNames();
            for (const CLI::App* verb : app.get_subcommands([](const CLI::App*) { return true; }))
                if (!verb->get_group().empty())
                    names.push_back(verb->get_name());
            return names;
        }
    }
    TypedPlace place;
    place.globals = asked.globals();
    if (!findPlace(app, words, place))
        return {};
    Words found;
    if (!place.option && start.starts_with("-")) {
        for (const CLI::App* each : {place.verb, &app})
            for (const CLI::Option* option : each->get_options())
                for (const std::string& name : option->get_lnames())
                    found.push_back("--" + name);
        return found;
    }
    const auto verbs = place.verb->get_subcommands([](const CLI::App*) { return true; });
    if (!place.option && !verbs.empty() && place.given.empty()) {
        for (const CLI::App* verb : verbs)
            if (!verb->get_group().empty())
                found.push_back(verb->get_name());
        if (place.verb == &app)
            found.emplace_back("help");
        return found;
    }
    const std::string name = place.option ? place.option->get_name(false, false)
                                          : nameOfPlace(*place.verb, place.given.size());
    if (name == "--log-level")
        return {"0", "1", "2", "3", "4"};
    if (name == "SERVICE" || name == "--service")
        return serviceNames();
    if (name.empty())
        return {};
    Context context(place.globals);
    context.open();
    return valuesFor(context, place, name, start);
}

// A shell waits for the answer, so a failure gives no words and no text.
int complete(Context& context, const CLI::App& app, const Words& words) {
    const std::string start = words.empty() ? "" : words.back();
    Words found;
    try {
        found = candidates(context, app, words);
    } catch (const std::exception&) {
        // There is no store, or a name is unknown.
    }
    std::set<std::string> told;
    for (const std::string& word : found)
        if (word.starts_with(start) && word.find_first_of(" \"\n") == std::string::npos &&
            told.insert(word).second)
            context.print(word + "\n");
    context.document["words"] = told;
    return kExitDone;
}

}  // namespace

void addCompleteVerb(Verbs& verbs) {
    auto words = std::make_shared<Words>();
    const CLI::App& app = verbs.app;
    CLI::App* verb =
        verbs.add(&verbs.app, "complete", "What a shell may offer for the last word",
                  "  keld complete -- status set 0001\n",
                  [words, &app](Context& context) { return complete(context, app, *words); });
    verb->add_option("WORDS", *words, "the words after keld; the last one is being typed");
    verb->group("");  // hidden in the help: only shells call it
}

}  // namespace keld
