#include "tools/keld/host/context.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <tuple>

#include "platform/keld_basetool.h"
#include "tools/keld/host/csv.h"
#include "tools/keld/host/nearest.h"
#include "tools/keld/host/system.h"
#include "workbench/address.h"
#include "workbench/names.h"

namespace keld {

namespace fs = std::filesystem;

Context::~Context() {
    try {
        close();
    } catch (const std::exception& failure) {
        note(failure.what());
    }
}

std::string Context::storePath() const {
    if (!globals_.store.empty())
        return globals_.store;
    std::string set = environment("MERVANE_STORE");
    return set.empty() ? "keld.db" : set;
}

std::string Context::logPath() const {
    std::string set = environment("KELD_LOG_FILE");
    if (!set.empty())
        return set;
    // Beside the store; a store on a server has no directory, so the log is in this one.
    const std::string store = mervane::isServerAddress(storePath()) ? "keld.log" : storePath();
    return (fs::absolute(pathOf(store)).parent_path() / "keld.log").lexically_normal().string();
}

bool Context::storeMayBeThere() const {
    // Only the server knows; it tells when the store is opened.
    std::error_code ignored;
    return mervane::isServerAddress(storePath()) || fs::exists(pathOf(storePath()), ignored);
}

std::string Context::shownStore() const {
    return mervane::withoutPassword(storePath());
}

std::string Context::wholeStorePath() const {
    return mervane::isServerAddress(storePath())
               ? shownStore()
               : fs::absolute(pathOf(storePath())).lexically_normal().string();
}

void Context::open() {
    const std::string path = storePath();
    if (!storeMayBeThere())
        throw CommandError("there is no store at " + path + ". Make one with: keld init --store " +
                           path);
    reopen(path);
    setUpLog();
}

void Context::reopen(const std::string& path) {
    close();
    store_ = workbench().openStore(path);
    limitRights(path);
    try {
        workbench().openSession(*store_, {globals_.user, globals_.group});
    } catch (const mervane::Failure& failure) {
        const std::vector<std::string> near = nearestUsersAndGroups();
        throw CommandError(failure.what(), near);
    }
}

// Find the names that may have been meant, after a session couldn't be opened.
std::vector<std::string> Context::nearestUsersAndGroups() const {
    workbench().openSession(*store_, {});
    std::vector<std::string> near;
    for (const auto& [wanted, type, attribute] :
         {std::tuple{globals_.user, "User", "user_id"},
          std::tuple{globals_.group, "Group", "group_name"}}) {
        std::vector<std::string> known;
        for (const mervane::Found& found : workbench().find({"", type, "", 0}))
            for (const mervane::Value& value : workbench().get(found.tag, attribute))
                if (const auto* text = std::get_if<std::string>(&value))
                    known.push_back(*text);
        const bool exists = std::find(known.begin(), known.end(), wanted) != known.end();
        if (!wanted.empty() && !exists)
            near = nearest(wanted, known);
    }
    return near;
}

void Context::close() {
    if (!store_)
        return;
    const auto store = *store_;
    store_.reset();
    workbench().closeStore(store);
}

void Context::setUpLog() {
    setEnvironment("KELD_LOG_FILE", logPath());
    if (environment("KELD_LOG_MAX_MB").empty())
        setEnvironment("KELD_LOG_MAX_MB", kLogMegabytes);
    // Services take the first of these that is set for their temporary files and have no default.
    if (!isSet("MV_TMP_DIR") && !isSet("TEMP") && !isSet("TMP"))
        setEnvironment("MV_TMP_DIR", fs::temp_directory_path().string());
    if (!globals_.cfg.empty())
        setEnvironment("KELD_CFG_PATH", globals_.cfg);
    std::string level = environment("KELD_LOG_LEVEL");
    if (globals_.log_level)
        level = std::to_string(*globals_.log_level);
    if (level.empty() && store_)
        for (const auto& [name, values] : workbench().preferences())
            if (name == kLogLevelPreference && !values.empty())
                level = values.front();
    if (!level.empty())
        KELD_SetLogLevel(std::atoi(level.c_str()));
}

void Context::print(const std::string& text) const {
    if (!json() && !tablesAreCsv())
        writeText(text);
}

void Context::note(const std::string& text) const {
    tell(text);
}

void Context::problem(const std::string& text) const {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        tell(line);
}

Json noteDamaged(const Context& context, const std::vector<mervane::CheckFinding>& damaged) {
    Json texts = Json::array();
    for (const mervane::CheckFinding& each : damaged) {
        texts.push_back(each.text);
        context.note(each.text);
    }
    return texts;
}

tag_t Context::object(const std::string& name) const {
    try {
        return workbench().resolve(name);
    } catch (const mervane::Failure& failure) {
        constexpr int kUnknownObject = 710003;
        if (failure.status() != kUnknownObject)
            throw;
        throw CommandError(
            "there is no object '" + shortened(name) +
                "' (expected an id like 000123, 000123/A, 000123/A:drawing, or #tag)",
            nearest(name, workbench().similarNames(name)));
    }
}

std::string Context::label(tag_t object) const {
    try {
        const mervane::Found found = workbench().describe(object);
        if (!found.id.empty())
            return found.id;
    } catch (const mervane::Failure&) {
    }
    return "#" + std::to_string(object);
}

std::string Context::title(tag_t object) const {
    try {
        return workbench().describe(object).typed;
    } catch (const mervane::Failure&) {
        return "#" + std::to_string(object);
    }
}

std::string shortened(const std::string& name) {
    constexpr std::size_t kMost = 200;
    return name.size() <= kMost ? name : name.substr(0, kMost) + "...";
}

std::string newId(const std::string& what, const std::string& typed) {
    constexpr std::size_t kLongest = 128;
    std::string id = mervane::unquotedName(typed);
    if (id.size() > kLongest)
        throw CommandError(what + " '" + shortened(id) + "' has " + std::to_string(id.size()) +
                           " bytes, at most " + std::to_string(kLongest) + " are allowed");
    return id;
}

CLI::App* Verbs::add(CLI::App* parent, const std::string& name, const std::string& description,
                     const std::string& examples, Action action) {
    CLI::App* verb = parent->add_subcommand(name, description);
    verb->footer("Examples:\n" + examples);
    verb->callback([this, action = std::move(action)] { chosen = action; });
    return verb;
}

CLI::App* Verbs::addGroup(const std::string& name, const std::string& description,
                          const std::string& examples, Action action) {
    CLI::App* group = app.add_subcommand(name, description);
    group->footer("Examples:\n" + examples);
    group->require_subcommand(action ? 0 : 1, 1);
    if (action)
        group->callback([this, group, action = std::move(action)] {
            if (group->get_subcommands().empty())
                chosen = action;
        });
    return group;
}

OutputAside::OutputAside(const std::string& path) {
    // What is buffered by now belongs to the old destination.
    std::cout.flush();
    std::fflush(stdout);
    if (path.empty() && errorIsTerminal())
        file_ = makeTemporaryFile("keld-output");
    kept_ = redirectOutput(path.empty() ? file_ : path);
}

OutputAside::~OutputAside() {
    std::cout.flush();
    std::fflush(stdout);
    restoreOutput(kept_);
    if (file_.empty())
        return;
    std::ifstream in(pathOf(file_), std::ios::binary);
    for (std::string line; std::getline(in, line);)
        passOn(line + "\n");
    in.close();
    std::error_code ignored;
    fs::remove(pathOf(file_), ignored);
}

}  // namespace keld
