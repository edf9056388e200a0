// keld: a host process for the services, at the command line.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <set>
#include <string_view>

#include "platform/keld_basetool.h"
#include "tools/keld/host/context.h"
#include "tools/keld/host/csv.h"
#include "tools/keld/host/nearest.h"
#include "tools/keld/host/system.h"
#include "tools/keld/host/topics.h"

namespace keld {

namespace {

void addGlobals(CLI::App& app, Globals& globals) {
    const auto text = [](const std::string& value) {
        return value.empty() ? std::string("the text must not be empty") : std::string();
    };
    app.add_option("--store", globals.store, "the store; else MERVANE_STORE, else ./keld.db")
        ->check(text);
    app.add_option("--user", globals.user, "work as this user; else the store's first")
        ->check(text);
    app.add_option("--group", globals.group, "in this group; else the user's default group")
        ->check(text);
    app.add_option("--cfg", globals.cfg, "configuration directory; else KELD_CFG_PATH, else .")
        ->check(text);
    app.add_option("--log-level", globals.log_level,
                   "0 off, 1 error, 2 warning, 3 trace, 4 debug; else KELD_LOG_LEVEL, else the "
                   "store's level")
        ->check(CLI::Range(0, 4));
    CLI::Option* json =
        app.add_flag("--json", globals.json, "show one JSON document in place of text");
    app.add_flag_callback("--csv", showTablesAsCsv,
                          "show tables as comma-separated values, and no other text")
        ->excludes(json);
    app.add_flag("--wide", globals.wide, "don't cut tables to the width of the terminal");
    app.add_flag("--no-pager", globals.no_pager, "don't show long output through PAGER");
}

// Report the first word in place of a verb that is no verb, with the nearest ones.
void explainUnknownVerb(const CLI::App& app, int argc, char** argv) {
    const CLI::App* at = &app;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word.starts_with("-")) {
            const CLI::Option* option = app.get_option_no_throw(word);
            if (option && option->get_items_expected_max() > 0)
                ++i;
            continue;
        }
        std::vector<std::string> verbs;
        const CLI::App* next = nullptr;
        for (const CLI::App* verb : at->get_subcommands([](const CLI::App*) { return true; })) {
            verbs.push_back(verb->get_name());
            if (verb->get_name() == word)
                next = verb;
        }
        if (verbs.empty())
            return;
        if (!next)
            throw CommandError(
                "there is no verb '" + (at == &app ? "" : at->get_name() + " ") + word + "'",
                nearest(word, verbs), kExitUsage);
        at = next;
    }
}

// Report an option that neither the verb nor the program has.
void explainUnknownOption(const CLI::App& app, const CLI::App& verb, int argc, char** argv) {
    std::vector<std::string> options;
    for (const CLI::App* each : {&app, &verb})
        for (const CLI::Option* option : each->get_options())
            for (const std::string& name : option->get_lnames())
                options.push_back("--" + name);
    for (int i = 1; i < argc; ++i) {
        const std::string word =
            std::string(argv[i]).substr(0, std::string_view(argv[i]).find('='));
        if (word == "--")
            return;
        if (word.starts_with("--") &&
            std::find(options.begin(), options.end(), word) == options.end())
            throw CommandError("there is no option '" + word + "'", nearest(word, options),
                               kExitUsage);
    }
}

const CLI::App& chosenVerb(const CLI::App& app) {
    const CLI::App* verb = &app;
    while (!verb->get_subcommands().empty())
        verb = verb->get_subcommands().front();
    return *verb;
}

void explainUsage(const CLI::App& app, const CLI::ParseError& error, int argc, char** argv) {
    explainUnknownVerb(app, argc, argv);
    explainUnknownOption(app, chosenVerb(app), argc, argv);
    std::string command = "keld";
    for (const CLI::App* at = &app; !at->get_subcommands().empty();) {
        at = at->get_subcommands().front();
        command += " " + at->get_name();
    }
    throw CommandError(std::string(error.what()) + " (see " + command + " --help)", {}, kExitUsage);
}

int fail(const Globals& globals, const std::string& text,
         const std::vector<std::string>& suggestions, int exit_code, int status) {
    tell(text + didYouMean(suggestions));
    if (globals.json) {
        Json error = {{"text", text}, {"exit_code", exit_code}};
        if (status != 0)
            error["status"] = status;
        if (!suggestions.empty())
            error["did_you_mean"] = suggestions;
        writeBytes(dumped({{"error", error}}) + "\n");
    }
    return exit_code;
}

// Show a topic. Failure: CommandError with the nearest verbs and topics.
void showTopic(const std::string& name, const CLI::App& app, bool json) {
    const std::string text = topicText(name);
    if (!text.empty())
        return json ? writeBytes(dumped({{"help", text}}) + "\n") : writeText(text);
    std::vector<std::string> names = topicNames();
    for (const CLI::App* verb : app.get_subcommands([](const CLI::App*) { return true; }))
        names.push_back(verb->get_name());
    throw CommandError("there is no verb and no topic '" + name + "'", nearest(name, names),
                       kExitUsage);
}

// Give the command line with "help VERB" as "VERB --help", and "--version" before a verb as
// "version". Empty: it asked for a topic, which is shown.
std::vector<std::string> understood(std::vector<std::string> words, const CLI::App& app,
                                    bool json) {
    for (std::size_t i = 1; i < words.size(); ++i) {
        if (words[i] == "--version")
            words[i] = "version";
        const CLI::Option* option = app.get_option_no_throw(words[i]);
        if (words[i].starts_with("-")) {
            i += option && option->get_items_expected_max() > 0 ? 1 : 0;
            continue;
        }
        if (words[i] != "help")
            break;
        words.erase(words.begin() + static_cast<std::ptrdiff_t>(i));
        const auto verbs = app.get_subcommands(
            [&](const CLI::App* verb) { return i < words.size() && verb->get_name() == words[i]; });
        if (i < words.size() && verbs.empty() && !words[i].starts_with("-")) {
            showTopic(words[i], app, json);
            return {};
        }
        std::vector<char*> pointers;
        for (std::string& word : words)
            pointers.push_back(word.data());
        explainUnknownVerb(app, static_cast<int>(pointers.size()), pointers.data());
        words.emplace_back("--help");
        break;
    }
    return words;
}

void writeDocument(const Context& context) {
    std::string text = dumped(context.document);
    if (!context.rows)
        return writeBytes(text + "\n");
    text.resize(text.rfind("\n}"));
    writeBytes(text + ",\n  \"" + context.rows->name + "\": [");
    std::string lead = "\n";
    context.rows->each([&](const Json& row) {
        writeBytes(lead + dumped(row));
        lead = ",\n";
    });
    writeBytes("]\n}\n");
}

void setUp(CLI::App& app) {
    // On Windows, too, an argument may begin with a slash: /10/20 names a line.
    app.allow_windows_style_options(false);
    app.require_subcommand(1);
    app.fallthrough();
}

// The verbs that one function adds.
struct VerbGroup {
    void (*add)(Verbs&);
    std::vector<std::string_view> verbs;
};

const VerbGroup kVerbGroups[] = {
    {addStoreVerbs, {"init", "check", "backup", "copy-store"}},
    {addWorldVerbs, {"import", "load", "export"}},
    {addLookVerbs, {"show", "tree", "cat", "find"}},
    {addUsesVerb, {"where-used"}},
    {addHistoryVerb, {"history"}},
    {addCompareVerb, {"compare"}},
    {addNewVerbs, {"new", "revise"}},
    {addEditVerbs, {"set", "attach", "detach", "delete"}},
    {addStatusVerbs, {"status"}},
    {addBomVerbs, {"bom"}},
    {addJobVerbs, {"job"}},
    {addDeleteVerb, {"delete-check"}},
    {addRenameVerb, {"rename"}},
    {addRegistryVerbs, {"registry"}},
    {addCallVerbs, {"call", "env"}},
    {addVersionVerb, {"version"}},
    {addPeopleVerbs, {"prefs", "users", "checkout", "checkin"}},
    {addRightsVerbs, {"rights"}},
    {addCompleteVerb, {}},  // it needs all the others to complete them
    {addIndexVerbs, {"index"}},
    {addLogVerbs, {"log"}},
    {addCopyVerb, {"copy-attr"}},
    {addDoctorVerb, {"doctor"}},
    {addConfigVerbs, {"config"}},
    {addRunsVerbs, {"runs"}},
    {addApplyVerb, {"apply"}},
};

// Give the verb that a command line names; empty if it names none.
std::string verbOf(const std::vector<std::string>& words, const CLI::App& globals) {
    for (std::size_t i = 1; i < words.size(); ++i) {
        if (words[i] == "--version")
            return "version";
        if (!words[i].starts_with("-"))
            return words[i];
        const CLI::Option* option = globals.get_option_no_throw(words[i]);
        i += option && option->get_items_expected_max() > 0 ? 1 : 0;
    }
    return {};
}

// Add only the group of the named verb, since adding all takes longer than most verbs run. Without
// a known verb add all: help and suggestions need them.
void addVerbs(Verbs& verbs, const std::vector<std::string>& words) {
    const std::string verb = verbOf(words, verbs.app);
    for (const VerbGroup& group : kVerbGroups)
        if (std::find(group.verbs.begin(), group.verbs.end(), verb) != group.verbs.end())
            return group.add(verbs);
    for (const VerbGroup& group : kVerbGroups)
        group.add(verbs);
}

// Give the verb with its own arguments, without the options of how it runs: keld apply adds its
// own.
std::vector<std::string> commandOf(const CLI::App& app) {
    static const std::set<std::string> kHow = {"--dry-run",   "--test",  "--plan",
                                               "--as-server", "--whole", "--visits"};
    std::vector<std::string> words, positionals;
    for (const CLI::App* at = &app; !at->get_subcommands().empty();) {
        at = at->get_subcommands().front();
        words.push_back(at->get_name());
    }
    for (const CLI::Option* option : chosenVerb(app).get_options()) {
        const std::vector<std::string>& values = option->results();
        if (option->count() == 0 || kHow.contains(option->get_name()))
            continue;
        if (option->get_positional()) {
            positionals.insert(positionals.end(), values.begin(), values.end());
        } else if (option->get_items_expected_max() == 0) {
            words.push_back(option->get_name());
        } else {
            for (const std::string& value : values) {
                // As a separate word, a value that begins with a dash would be an option; after the
                // sign, an empty value would be none.
                words.push_back(option->get_name() + (value.empty() ? "" : "=" + value));
                if (value.empty())
                    words.emplace_back();
            }
        }
    }
    if (std::any_of(positionals.begin(), positionals.end(),
                    [](const std::string& word) { return word.starts_with("-"); }))
        words.emplace_back("--");
    words.insert(words.end(), positionals.begin(), positionals.end());
    return words;
}

Action plannedAction(const std::vector<std::string>& command) {
    Globals none;
    CLI::App app("", "keld");
    setUp(app);
    addGlobals(app, none);
    Verbs verbs{app, none, nullptr, nullptr};
    std::vector<std::string> words = command;
    words.insert(words.begin(), "keld");
    addVerbs(verbs, words);
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    try {
        app.parse(static_cast<int>(words.size()), argv.data());
    } catch (const CLI::ParseError& error) {
        throw CommandError(std::string("its command can't be understood: ") + error.what());
    }
    // A plan may only run verbs that write plans: nobody has rehearsed any other.
    if (!chosenVerb(app).get_option_no_throw("--plan"))
        throw CommandError("there are no plans of the verb " + command.front());
    return verbs.chosen;
}

std::string joinedTopics() {
    std::string all;
    for (const std::string& name : topicNames())
        all += (all.empty() ? "" : ", ") + name;
    return all;
}

// Whether the output may be longer than the terminal.
bool showsMuch(const std::vector<std::string>& command) {
    static const std::set<std::string> kVerbs = {
        "show",     "tree",     "find",   "where-used",  "history",    "compare",   "runs",
        "prefs",    "users",    "rights", "cat",         "registry",   "bom show",  "runs show",
        "log show", "job show", "doctor", "rights list", "users list", "prefs list"};
    std::string words;
    for (std::size_t i = 0; i < command.size() && i < 2 && !command[i].starts_with("-"); ++i) {
        words += (words.empty() ? "" : " ") + command[i];
        const bool group = words == "runs" || words == "rights" || words == "prefs" ||
                           words == "users" || words == "registry";
        const bool alone = command.size() == i + 1 || command[i + 1].starts_with("-");
        if (kVerbs.contains(words) && (!group || alone))
            return true;
    }
    return false;
}

// Sends the output through a pager as long as this lives.
class Paged {
public:
    Paged(const Globals& globals, const std::vector<std::string>& command) {
        if (globals.json || tablesAreCsv() || globals.no_pager || !outputIsTerminal() ||
            !showsMuch(command))
            return;
        const std::string set = environment("PAGER");
        if (isSet("PAGER") && set.empty())
            return;
        if (!isSet("LESS"))
            setEnvironment("LESS", "FRX");
        // Where less isn't installed, cat shows the output.
        (void)startPager(set.empty() ? "command -v less >/dev/null && exec less || exec cat" : set);
    }
    ~Paged() { endPager(); }
    Paged(const Paged&) = delete;
    Paged& operator=(const Paged&) = delete;
};

int run(Globals& globals, const std::vector<std::string>& typed) {
    CLI::App app("Services and structures of a product-data store, at the command line.", "keld");
    setUp(app);
    app.footer(
        "Exit code: 0 done; 1 refused or failed; 2 the command line can't be understood;\n"
        "3 done, but with failures that the rules of the service drop.\n"
        "keld help VERB (or VERB --help) shows each verb with examples; --version the versions.\n"
        "keld help TOPIC tells about: " +
        joinedTopics() + ".");
    addGlobals(app, globals);
    Verbs verbs{app, globals, nullptr, nullptr};
    addVerbs(verbs, typed);
    verbs.understand = plannedAction;
    std::vector<std::string> words = understood(typed, app, globals.json);
    if (words.empty())
        return kExitDone;
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(word.data());
    const int argc = static_cast<int>(argv.size());
    argv.push_back(nullptr);
    try {
        app.parse(argc, argv.data());
    } catch (const CLI::CallForHelp&) {
        const std::string help = app.help();  // help of the chosen verb, with its full name
        writeBytes(globals.json ? dumped({{"help", help}}) + "\n" : help);
        return kExitDone;
    } catch (const CLI::ParseError& error) {
        explainUsage(app, error, argc, argv.data());
    }
    if (globals.wide)
        keepTablesWide();
    Context context(globals);
    context.command = commandOf(app);
    const Paged paged(globals, context.command);
    const int exit_code = verbs.chosen(context);
    context.close();
    if (globals.json && !context.document_written)
        writeDocument(context);
    return exit_code;
}

int guarded(const std::vector<std::string>& words) {
    Globals globals;
    // Look for --json before parsing, so that usage errors are reported as a document too.
    for (std::size_t i = 1; i < words.size() && words[i] != "--"; ++i)
        globals.json |= words[i] == "--json";
    int exit_code = kExitFailed;
    try {
        exit_code = run(globals, words);
    } catch (const CommandError& error) {
        exit_code = fail(globals, error.what(), error.suggestions, error.exit_code, 0);
    } catch (const mervane::Failure& failure) {
        exit_code = fail(globals, failure.what(), {}, kExitFailed, failure.status());
    } catch (const std::exception& failure) {
        exit_code = fail(globals, failure.what(), {}, kExitFailed, 0);
    }
    // Lost output is a failure, even if the verb did its work.
    if (!writtenOut()) {
        tell("can't write to the standard output");
        return kExitFailed;
    }
    return exit_code;
}

}  // namespace

}  // namespace keld

// NOLINTNEXTLINE(bugprone-exception-escape): a failure to tell of a failure ends the program.
int main(int argc, char** argv) {
    keld::failBeyondTheFileSizeLimit();
    return keld::guarded(keld::programArguments(argc, argv));
}
