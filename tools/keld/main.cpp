// keld: a host process for the services, at the command line.

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <iostream>
#include <string_view>

#include "platform/keld_basetool.h"
#include "tools/keld/host/context.h"
#include "tools/keld/host/nearest.h"
#include "tools/keld/host/system.h"

namespace keld {

namespace {

void addGlobals(CLI::App& app, Globals& globals) {
    app.add_option("--store", globals.store, "the store; else MERVANE_STORE, else ./keld.db");
    app.add_option("--user", globals.user, "work as this user; else the store's first");
    app.add_option("--group", globals.group, "in this group; else the user's default group");
    app.add_option("--cfg", globals.cfg, "configuration directory; else KELD_CFG_PATH, else .");
    app.add_option("--log-level", globals.log_level,
                   "0 off, 1 error, 2 warning, 3 trace, 4 debug; else KELD_LOG_LEVEL, else the "
                   "store's level");
    app.add_flag("--json", globals.json, "show one JSON document in place of text");
}

// The word in the place of a verb that no verb has, with the verbs that could stand there.
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

// An option that neither the verb nor the program has.
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
    const CLI::App& verb = chosenVerb(app);
    explainUnknownOption(app, verb, argc, argv);
    const std::string name = &verb == &app ? "" : " " + verb.get_name();
    const CLI::App* parent = verb.get_parent();
    throw CommandError(std::string(error.what()) + " (see keld" +
                           (parent && parent != &app ? " " + parent->get_name() : "") + name +
                           " --help)",
                       {}, kExitUsage);
}

int fail(const Globals& globals, const std::string& text,
         const std::vector<std::string>& suggestions, int exit_code, int status) {
    std::cerr << "keld: " << text << didYouMean(suggestions) << "\n";
    if (globals.json) {
        Json error = {{"text", text}, {"exit_code", exit_code}};
        if (status != 0)
            error["status"] = status;
        if (!suggestions.empty())
            error["did_you_mean"] = suggestions;
        std::cout << dumped({{"error", error}}) << "\n";
    }
    return exit_code;
}

int run(Globals& globals, int argc, char** argv) {
    CLI::App app("Services and structures of a product-data store, at the command line.", "keld");
    // A text may begin with a slash on Windows, too.
    app.allow_windows_style_options(false);
    app.require_subcommand(1);
    app.fallthrough();
    app.footer(
        "Exit code: 0 done; 1 refused or failed; 2 the command line can't be understood;\n"
        "3 done, but with failures that the rules of the service drop.\n"
        "keld VERB --help shows each verb with examples.");
    addGlobals(app, globals);
    Verbs verbs{app, globals, nullptr};
    addStoreVerbs(verbs);
    addWorldVerbs(verbs);
    addLookVerbs(verbs);
    addStatusVerbs(verbs);
    addBomVerbs(verbs);
    addJobVerbs(verbs);
    addDeleteVerb(verbs);
    addRenameVerb(verbs);
    addRegistryVerbs(verbs);
    addCallVerbs(verbs);
    addVersionVerb(verbs);
    addPeopleVerbs(verbs);
    addLogVerbs(verbs);
    addCopyVerb(verbs);
    addDoctorVerb(verbs);
    addRunsVerbs(verbs);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        const std::string help = chosenVerb(app).help();
        std::cout << (globals.json ? dumped({{"help", help}}) + "\n" : help);
        return kExitDone;
    } catch (const CLI::ParseError& error) {
        explainUsage(app, error, argc, argv);
    }
    Context context(globals);
    const int exit_code = verbs.chosen(context);
    context.close();
    if (globals.json)
        std::cout << dumped(context.document) << "\n";
    return exit_code;
}

int guarded(int argc, char** argv) {
    Globals globals;
    // Known before the command line is understood, so that usage errors are a document too.
    for (int i = 1; i < argc && std::string_view(argv[i]) != "--"; ++i)
        globals.json |= std::string_view(argv[i]) == "--json";
    int exit_code = kExitFailed;
    try {
        exit_code = run(globals, argc, argv);
    } catch (const CommandError& error) {
        exit_code = fail(globals, error.what(), error.suggestions, error.exit_code, 0);
    } catch (const mervane::Failure& failure) {
        exit_code = fail(globals, failure.what(), {}, kExitFailed, failure.status());
    } catch (const std::exception& failure) {
        exit_code = fail(globals, failure.what(), {}, kExitFailed, 0);
    }
    std::cout.flush();
    if (!std::cout) {
        std::cerr << "keld: can't write to the standard output\n";
        return kExitFailed;
    }
    return exit_code;
}

}  // namespace

}  // namespace keld

// NOLINTNEXTLINE(bugprone-exception-escape): a failure to tell of a failure ends the program.
int main(int argc, char** argv) {
    keld::failBeyondTheFileSizeLimit();
    std::vector<std::string> words = keld::programArguments(argc, argv);
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    return keld::guarded(static_cast<int>(words.size()), pointers.data());
}
