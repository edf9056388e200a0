// config test: runs the cases of a directory in parallel, each in its own processes.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>

#include "platform/keld_basetool.h"
#include "tools/keld/host/config_case.h"
#include "tools/keld/host/progress.h"
#include "tools/keld/host/system.h"
#include "tools/keld/verbs/config_runs.h"

namespace keld {

namespace {

namespace fs = std::filesystem;

struct WantedTest {
    std::string directory, junit;
    bool accept = false;
    unsigned jobs = 0;
};

std::string wholeFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// Read the cases, sorted by name.
std::vector<ConfigCase> readCases(const std::string& directory) {
    std::error_code failure;
    if (!fs::is_directory(pathOf(directory), failure))
        throw CommandError("there is no directory " + directory);
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(pathOf(directory)))
        if (entry.is_regular_file() && entry.path().extension() == kCaseEnding)
            files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    if (files.empty())
        throw CommandError("there is no file *" + std::string(kCaseEnding) + " in " + directory);
    constexpr std::uintmax_t kMostBytes = 4 << 20;
    std::vector<ConfigCase> cases;
    for (const fs::path& file : files) {
        ConfigCase made;
        if (fs::file_size(file, failure) > kMostBytes) {
            made.name = file.stem().string();
            made.problem = "line 1: the file is too long for a case";
        } else {
            made = parseCase(file.stem().string(), wholeFile(file));
        }
        made.path = file.string();
        cases.push_back(std::move(made));
    }
    return cases;
}

// The stores in which cases begin; each is made once.
class CaseWorlds {
public:
    CaseWorlds(Context& context, std::string directory, std::string cases)
        : context_(context), directory_(std::move(directory)), cases_(std::move(cases)) {}

    // Give the store of the world that the case names. Failure: CommandError or Failure.
    std::string of(const ConfigCase& each) {
        const fs::path named = each.world.empty() ? own() : pathOf(cases_) / pathOf(each.world);
        const auto [known, added] = made_.try_emplace(named.lexically_normal().string());
        if (added)
            known->second = make(named);
        if (known->second.starts_with('!'))
            throw CommandError(known->second.substr(1));
        return known->second;
    }

private:
    fs::path own() const {
        const fs::path json = pathOf(cases_) / "world.json";
        std::error_code ignored;
        return fs::exists(json, ignored) ? json : pathOf(cases_) / "world.db";
    }

    // Give the store's path, or '!' and the reason why it can't be made.
    std::string make(const fs::path& from) {
        const std::string to =
            (pathOf(directory_) / ("world" + std::to_string(made_.size()) + ".db")).string();
        mervane::Workbench& workbench = context_.workbench();
        std::error_code ignored;
        if (!fs::is_regular_file(from, ignored))
            return "!there is no world " + from.string();
        try {
            if (from.extension() == ".json") {
                workbench.createStore(to);
                const auto store = workbench.openStore(to);
                try {
                    workbench.openSession(store, {});
                    std::ifstream in(from, std::ios::binary);
                    (void)workbench.importWorld(in, from.string());
                } catch (...) {
                    workbench.closeStore(store);
                    throw;
                }
                workbench.closeStore(store);
            } else {
                const auto store = workbench.openStore(from.string());
                try {
                    (void)workbench.backup(store, to);
                } catch (...) {
                    workbench.closeStore(store);
                    throw;
                }
                workbench.closeStore(store);
            }
        } catch (const mervane::Failure& failure) {
            return "!" + from.string() + ": " + failure.what();
        }
        return to;
    }

    Context& context_;
    std::string directory_, cases_;
    std::map<std::string, std::string> made_;
};

struct Prepared {
    const ConfigCase* what;
    std::string directory, world, config;  // its own directory; the store; the INI file
    CaseResult result;
};

void runPrepared(Prepared& each, const std::string& program) {
    constexpr int kSeconds = 120;
    const fs::path at = pathOf(each.directory);
    CaseResult& result = each.result;
    const auto broken = [&](const std::string& why) {
        result.broken = true;
        result.lines.push_back(why);
    };
    if (!each.what->problem.empty())
        return broken(each.what->problem);
    if (each.config.empty())
        return;
    fs::create_directories(at);
    // A copy of its own, so that cases can't affect each other.
    fs::copy_file(pathOf(each.world), at / "keld.db");
    std::error_code ignored;
    const std::string volume = each.world + ".volume";
    if (fs::is_directory(pathOf(volume), ignored))
        fs::copy(pathOf(volume), at / "keld.db.volume", fs::copy_options::recursive);
    fs::copy_file(pathOf(each.config), at / "keld_statusmanager.ini");
    const fs::path base = pathOf(each.config).parent_path() / "keld_base.ini";
    if (fs::is_regular_file(base, ignored))
        fs::copy_file(base, at / "keld_base.ini");
    const std::string out = (at / "out").string(), err = (at / "err").string();
    const auto run = [&](const std::vector<std::string>& words) {
        std::vector<std::string> all{program, "--store", (at / "keld.db").string(), "--cfg",
                                     each.directory};
        all.insert(all.end(), words.begin(), words.end());
        return runProgram({all, each.directory, out, err}, kSeconds);
    };
    for (const std::vector<std::string>& words : each.what->before)
        if (const int code = run(words); code != 0) {
            broken("a command before it ended with " + std::to_string(code) + ":");
            for (const std::string& line :
                 caseLines(wholeFile(pathOf(out)), wholeFile(pathOf(err)), 0, each.directory))
                result.lines.push_back("  " + line);
            return;
        }
    const int code = run(each.what->run);
    result.got = caseLines(wholeFile(pathOf(out)), wholeFile(pathOf(err)), code, each.directory);
    result.passed = matchesCase(each.what->expected, result.got);
    if (!result.passed)
        result.lines = caseDifference(each.what->expected, result.got);
}

void runAll(std::vector<Prepared>& all, unsigned jobs) {
    const std::string program = ownProgram();
    std::atomic<std::size_t> next{0};
    const auto work = [&] {
        for (std::size_t i; (i = next++) < all.size();) {
            const auto began = std::chrono::steady_clock::now();
            try {
                runPrepared(all[i], program);
            } catch (const std::exception& failure) {
                all[i].result.broken = true;
                all[i].result.lines.emplace_back(failure.what());
            }
            all[i].result.seconds =
                std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
            std::error_code ignored;
            fs::remove_all(pathOf(all[i].directory), ignored);
        }
    };
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < jobs; ++i)
        threads.emplace_back(work);
    for (std::thread& thread : threads)
        thread.join();
}

// The temporary directory of all cases; removed at the end.
class CaseDirectory {
public:
    CaseDirectory() : path_(makeTemporaryDirectory("keld-cases")) {}
    ~CaseDirectory() {
        std::error_code ignored;
        fs::remove_all(pathOf(path_), ignored);
    }
    CaseDirectory(const CaseDirectory&) = delete;
    CaseDirectory& operator=(const CaseDirectory&) = delete;
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

void prepare(Context& context, std::vector<Prepared>& all, const std::vector<ConfigCase>& cases,
             const WantedTest& wanted, const std::string& directory) {
    CaseWorlds worlds(context, directory, wanted.directory);
    for (const ConfigCase& each : cases) {
        Prepared made;
        made.what = &each;
        made.result.name = each.name;
        made.directory = (pathOf(directory) / ("case" + std::to_string(all.size()))).string();
        try {
            if (each.problem.empty()) {
                const fs::path named =
                    pathOf(wanted.directory) /
                    pathOf(each.config.empty() ? "keld_statusmanager.ini" : each.config);
                made.world = worlds.of(each);
                made.config = needIni(named.string()).path;
            }
        } catch (const std::exception& failure) {
            made.result.broken = true;
            made.result.lines.emplace_back(failure.what());
        }
        all.push_back(std::move(made));
    }
}

void acceptOutput(const Prepared& each) {
    std::string text = each.what->head;
    for (const std::string& line : each.result.got)
        text += line + "\n";
    // A failed write must not damage the case, so replace its file at the end.
    const std::string beside = makeFileBeside(each.what->path);
    std::ofstream out(pathOf(beside), std::ios::binary);
    out << text;
    out.close();
    if (!out)
        throw CommandError("can't write " + beside);
    fs::permissions(pathOf(beside), fs::status(pathOf(each.what->path)).permissions());
    fs::rename(pathOf(beside), pathOf(each.what->path));
}

int testCases(Context& context, const WantedTest& wanted) {
    const std::vector<ConfigCase> cases = readCases(wanted.directory);
    // Stores of cases needn't survive a crash, and the user's own settings must not change results.
    setEnvironment("MERVANE_SYNC", "off");
    for (const char* name :
         {"KELD_LOG_FILE", "KELD_LOG_LEVEL", "MERVANE_JOURNAL", "MERVANE_FAULTS", "COLUMNS"})
        setEnvironment(name, "");
    const CaseDirectory directory;
    setEnvironment("MV_TMP_DIR", directory.path());
    std::vector<Prepared> all;
    prepare(context, all, cases, wanted, directory.path());
    {
        Progress progress("running the cases", "case");
        runAll(all, wanted.jobs == 0 ? processors() : wanted.jobs);
    }
    Json list = Json::array();
    std::vector<CaseResult> results;
    std::size_t passed = 0, accepted = 0;
    std::string text;
    for (Prepared& each : all) {
        CaseResult& result = each.result;
        const bool taken = wanted.accept && !result.passed && !result.broken;
        if (taken)
            acceptOutput(each);
        passed += result.passed ? 1 : 0;
        accepted += taken ? 1 : 0;
        const char* word = result.passed   ? "ok"
                           : taken         ? "accepted"
                           : result.broken ? "broken"
                                           : "failed";
        list.push_back({{"case", result.name},
                        {"result", word},
                        {"seconds", result.seconds},
                        {"lines", result.lines}});
        char start[16];
        std::snprintf(start, sizeof start, "%-8s  ", word);
        text += start + shown(result.name) + "\n";
        if (!result.passed)
            for (const std::string& line : result.lines)
                text += "    " + shown(line) + "\n";
        if (taken)
            result.passed = true;
        results.push_back(result);
    }
    const std::size_t failed = all.size() - passed - accepted;
    text += counted(all.size(), "case") + ": " + std::to_string(passed) + " passed, " +
            (accepted > 0 ? std::to_string(accepted) + " accepted, " : "") +
            std::to_string(failed) + " failed\n";
    context.print(text);
    context.document = {{"directory", wanted.directory},
                        {"cases", list},
                        {"passed", passed},
                        {"accepted", accepted},
                        {"failed", failed}};
    if (!wanted.junit.empty()) {
        std::ofstream out(pathOf(wanted.junit), std::ios::binary);
        out << asJUnit(pathOf(wanted.directory).filename().string(), results);
        out.close();
        if (!out)
            throw CommandError("can't write " + wanted.junit);
    }
    return failed == 0 ? kExitDone : kExitFailed;
}

}  // namespace

void addConfigTestVerb(Verbs& verbs, CLI::App* group) {
    auto wanted = std::make_shared<WantedTest>();
    CLI::App* verb = verbs.add(
        group, "test", "Run a directory of cases, and compare what they print",
        "  keld config test cases\n"
        "  keld config test cases --junit report.xml\n"
        "  keld config test cases --accept    # what is printed is what is expected from now on\n",
        [wanted](Context& context) { return testCases(context, *wanted); });
    verb->add_option("DIR", wanted->directory, "with files NAME.case")->required();
    verb->add_flag("--accept", wanted->accept, "write what was printed into the cases that failed");
    verb->add_option("--junit", wanted->junit, "write the results to this file, as JUnit XML");
    verb->add_option("-j,--jobs", wanted->jobs,
                     "so many cases side by side; 0: as many as there are processors")
        ->check(CLI::Range(0U, 256U))
        ->capture_default_str();
}

}  // namespace keld
