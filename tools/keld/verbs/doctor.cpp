// doctor: shows what is configured and where files are, and finds what is wrong.

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "platform/keld_basetool.h"
#include "tools/keld/host/context.h"
#include "tools/keld/host/nearest.h"
#include "tools/keld/host/progress.h"
#include "tools/keld/host/system.h"
#include "tools/keld/lint/config.h"
#include "workbench/address.h"

namespace keld {

namespace {

namespace fs = std::filesystem;

constexpr const char* kVariables[] = {"MERVANE_STORE",
                                      "MERVANE_VOLUME",
                                      "MERVANE_JOURNAL",
                                      "MERVANE_FAULTS",
                                      "KELD_CFG_PATH",
                                      "KELD_LOG_FILE",
                                      "KELD_LOG_LEVEL",
                                      "KELD_LOG_MAX_MB",
                                      "KELD_DISABLE_LOCPREF_CACHE",
                                      "KELD_DISABLE_COPYATTR_CACHE",
                                      "MV_TMP_DIR",
                                      "TEMP",
                                      "TMP"};

class Doctor {
public:
    explicit Doctor(Context& context) : context_(context) {}

    int run(const std::string& ini_path) {
        readVariables();
        lookAtStore();
        lookAtLog();
        lookAtConfig(ini_path);
        report();
        return errors_ == 0 ? kExitDone : kExitFailed;
    }

private:
    void fact(const std::string& name, const std::string& value) {
        facts_.add({name, value});
        context_.document["facts"][name] = value;
    }

    void finding(Severity severity, const std::string& where, const std::string& text) {
        const bool error = severity == Severity::Error, note = severity == Severity::Note;
        const char* word = error ? "error" : note ? "note" : "warning";
        ++(error ? errors_ : note ? notes_ : warnings_);
        findings_.push_back({{"severity", word}, {"where", where}, {"text", text}});
        text_ += (note ? word : painted(error ? Colour::Red : Colour::Yellow, word)) + ": " +
                 shown(where + ": " + text) + "\n";
    }

    void readVariables() {
        for (const char* name : kVariables)
            if (isSet(name))
                variables_.emplace_back(name, environment(name));
    }

    void lookAtStore() {
        const std::string path = context_.wholeStorePath();
        fact("store", path);
        std::error_code ignored;
        if (!context_.storeMayBeThere()) {
            finding(Severity::Error, "store",
                    "there is none at " + path + "; make one with: keld init");
            // Go on without a store: the other checks need only the standard data model.
            context_.reopen(":memory:");
            context_.setUpLog();
            return;
        }
        try {
            context_.open();
        } catch (const mervane::Failure& failure) {
            finding(Severity::Error, "store", failure.what());
            context_.reopen(":memory:");
            context_.setUpLog();
            return;
        }
        for (const auto& [name, value] : context_.workbench().serverFacts(context_.store()))
            fact("store " + name, value);
        for (const std::string& text : context_.workbench().serverWarnings(context_.store()))
            finding(Severity::Warning, "store", text);
        {
            const Progress progress("counting the objects");
            fact("objects", std::to_string(context_.workbench().find({}).size()));
        }
        for (const auto& [name, values] : context_.workbench().preferences()) {
            if (name == "KELD_DELBackupTopDirCentral" && !values.empty() &&
                !values.front().empty() && !fs::is_directory(pathOf(values.front()), ignored))
                finding(Severity::Warning, "preference " + name,
                        "'" + values.front() + "' is no directory yet");
            if (name == kLogLevelPreference)
                checkLevel("preference " + name, values.empty() ? "" : values.front());
        }
    }

    void checkLevel(const std::string& where, const std::string& value) {
        char* end = nullptr;
        (void)std::strtol(value.c_str(), &end, 10);
        if (value.empty() || *end)
            finding(Severity::Warning, where,
                    "'" + value + "' is no log level; expected a number from 0 (off) to 4 (debug)");
    }

    void lookAtLog() {
        const std::string path = context_.logPath();
        fact("log", path);
        fact("log level", std::to_string(KELD_GetLogLevel()));
        for (const auto& [name, value] : variables_)
            if (name == "KELD_LOG_LEVEL" && !value.empty())
                checkLevel("environment " + name, value);
        if (const std::string reason = whyNotAppendable(path); !reason.empty())
            finding(Severity::Error, "log", path + " can't be written: " + reason);
    }

    void lookAtConfig(const std::string& ini_path) {
        const std::string directory = KELD_GetCfgPath();
        std::error_code ignored;
        std::string shown = fs::absolute(pathOf(directory)).lexically_normal().string();
        if (shown.size() > 1 && shown.ends_with('/'))
            shown.pop_back();
        fact("configuration directory", shown);
        if (ini_path.empty() && !fs::is_directory(pathOf(directory), ignored))
            finding(Severity::Error, "configuration", directory + " is no directory");
        const std::string path = ini_path.empty() ? statusConfigPath() : ini_path;
        fact("status manager", fs::absolute(pathOf(path)).lexically_normal().string());
        const std::optional<IniFile> ini = readIniFile(path);
        if (!ini) {
            finding(ini_path.empty() && !fs::exists(pathOf(path), ignored) ? Severity::Warning
                                                                           : Severity::Error,
                    "status manager",
                    whyNoIni(path) + ": every status change is refused as not configured");
            return;
        }
        const std::string file = pathOf(path).filename().string();
        for (const Finding& found : checkIni(*ini, knownNames(context_)))
            finding(found.severity,
                    file + (found.line > 0 ? ":" + std::to_string(found.line) : "") +
                        (found.section.empty() ? "" : " [" + found.section + "]"),
                    found.text);
    }

    void report() {
        for (const auto& [name, value] : variables_)
            fact("environment " + name, mervane::withoutPassword(value));
        context_.document["errors"] = errors_;
        context_.document["warnings"] = warnings_;
        context_.document["notes"] = notes_;
        context_.document["findings"] = findings_;
        context_.print(facts_.text());
        context_.print((text_.empty() ? "" : "\n" + text_) + "\n" +
                       (errors_ + warnings_ == 0 ? std::string("all is well\n")
                                                 : counted(errors_, "error") + ", " +
                                                       counted(warnings_, "warning") + "\n"));
    }

    Context& context_;
    Table facts_{std::vector<std::string>{}};
    std::vector<std::pair<std::string, std::string>> variables_;
    Json findings_ = Json::array();
    std::string text_;
    std::size_t errors_ = 0, warnings_ = 0, notes_ = 0;
};

}  // namespace

void addDoctorVerb(Verbs& verbs) {
    auto ini = std::make_shared<std::string>();
    CLI::App* verb = verbs.add(&verbs.app, "doctor",
                               "Show what is configured, where files lie, and what is wrong",
                               "  keld doctor\n"
                               "  keld doctor --cfg /etc/keld\n"
                               "  keld doctor --ini draft/keld_statusmanager.ini\n",
                               [ini](Context& context) { return Doctor(context).run(*ini); });
    verb->add_option("--ini", *ini, "check this file in place of the configured one");
}

}  // namespace keld
