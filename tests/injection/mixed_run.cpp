// Six at once run all verbs on one store while programs are killed and stopped; each keeps a ledger
// of what was acknowledged to it, which is compared with the store at the end.
//
//   mixed_run [--seconds S] [--seed N] [--expect-loss]
//
// --expect-loss lets writes get lost in silence and fails if nobody notices.

#include <signal.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <iostream>
#include <map>
#include <mutex>
#include <optional>
#include <random>
#include <set>
#include <thread>

#include "tests/injection/program_run.h"
#include "tests/injection/sandbox.h"

namespace injection {

namespace {

using Clock = std::chrono::steady_clock;

struct Options {
    double seconds = 60;
    unsigned seed = 1;
    bool expect_loss = false;
};

enum class Truth { No, Yes, Maybe };

struct Item {
    std::string id, other_id;  // other_id: a rename whose end nobody knows
    std::string content;       // of its dataset's file
    Truth there = Truth::Maybe, dataset = Truth::Yes, status = Truth::No, checked_out = Truth::No;
};

struct Counts {
    std::mutex mutex;
    std::map<std::string, int> runs;
    std::map<std::string, int> reasons;  // of refusals that nobody had disturbed
    int kills = 0, stops = 0, acknowledged = 0, refused = 0, unknown = 0;
    std::vector<std::string> problems;

    void problem(const std::string& text) {
        const std::lock_guard guard(mutex);
        problems.push_back(text);
    }
};

class Worker {
public:
    Worker(int number, const Options& options, const Sandbox& sandbox, Counts& counts)
        : number_(number),
          options_(options),
          sandbox_(sandbox),
          counts_(counts),
          random_(options.seed * 16 + static_cast<unsigned>(number)) {}

    void workUntil(Clock::time_point end) {
        while (Clock::now() < end)
            step();
    }
    void compare(tag_t (*find)(const std::string&), const State& state);

private:
    enum class Ending { Acknowledged, Refused, Unknown };

    const int number_;
    const Options options_;
    const Sandbox& sandbox_;
    Counts& counts_;
    std::mt19937 random_;
    double typical_ = 0.03;  // seconds of a run that nobody disturbs
    std::vector<Item> items_;
    std::set<std::string> preference_{""};  // what it may be
    std::map<std::string, Truth> users_, ids_;
    int made_ = 0;

    int upTo(int most) { return std::uniform_int_distribution<int>(0, most - 1)(random_); }
    double fraction() { return std::uniform_real_distribution<double>(0, 1)(random_); }
    std::string fresh(const char* kind) {
        return kind + std::to_string(number_) + "x" + std::to_string(++made_);
    }

    static void sleep(double seconds) {
        std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    }

    // Run a verb, perhaps disturbed.
    Ending run(const std::vector<std::string>& arguments, Result* said = nullptr) {
        Environment environment{{"MERVANE_WAIT_MS", "20000"}};
        if (upTo(2) == 0)
            environment.emplace_back("KELD_CALLS_PROCESS", "4711");
        if (options_.expect_loss)
            environment.emplace_back("KELD_CALLS_AT", "pwrite:30+:LOSE");
        const auto begin = Clock::now();
        ProgramRun program(sandbox_.directory(), arguments, environment);
        const int disturbance = upTo(4);  // 0: killed, 1: stopped for a while
        bool killed = false;
        if (disturbance < 2) {
            sleep(fraction() * typical_ * 1.2);
            if (!program.ended()) {
                program.send(disturbance == 0 ? SIGKILL : SIGSTOP);
                killed = disturbance == 0;
                if (!killed) {
                    sleep(0.02 + fraction() * 0.5);
                    program.send(SIGCONT);
                }
                const std::lock_guard guard(counts_.mutex);
                ++(killed ? counts_.kills : counts_.stops);
            }
        }
        const Result result = program.wait(120);
        if (disturbance > 1)
            typical_ =
                0.8 * typical_ + 0.2 * std::chrono::duration<double>(Clock::now() - begin).count();
        if (said)
            *said = result;
        const std::string what = arguments[0] + (arguments.size() > 1 ? " " + arguments[1] : "");
        if (result.hung)
            counts_.problem(what + " hangs");
        else if (result.exit_code > 3 && !killed)
            counts_.problem(what + " ended with " + std::to_string(result.exit_code) + ": " +
                            result.err);
        const std::lock_guard guard(counts_.mutex);
        ++counts_.runs[arguments[0]];
        if (result.exit_code == 0) {
            ++counts_.acknowledged;
            return Ending::Acknowledged;
        }
        if (result.exit_code > 1 || result.err.find("may be stored") != std::string::npos) {
            ++counts_.unknown;
            return Ending::Unknown;
        }
        ++counts_.refused;
        ++counts_.reasons[what.substr(0, 24) + ": " + (result.err + result.out).substr(0, 300)];
        return Ending::Refused;
    }

    // Our knowledge after this ending of a verb that should have led to `wanted`.
    static Truth after(Ending ending, Truth before, Truth wanted, bool one_step) {
        if (ending == Ending::Acknowledged)
            return wanted;
        if (before == wanted || (ending == Ending::Refused && one_step))
            return before;
        return Truth::Maybe;
    }

    // One of the items that are known to be there, under a known id.
    Item* known() {
        std::vector<Item*> all;
        for (Item& item : items_)
            if (item.there == Truth::Yes && item.other_id.empty())
                all.push_back(&item);
        return all.empty() ? nullptr
                           : all[static_cast<std::size_t>(upTo(static_cast<int>(all.size())))];
    }

    void step() {
        Item* item = known();
        const int choice = item ? upTo(14) : upTo(5);
        switch (choice) {
            case 0:
            case 1:
                return load();
            case 2:
                return prefer();
            case 3:
                return addName("registry", ids_, {"registry", "add"}, {});
            case 4:
                return upTo(2)
                           ? addName("users", users_, {"users", "add"}, {"--in-group", "design"})
                           : care();
            case 5:
                item->checked_out =
                    after(run({"checkout", item->id + "/A"}), item->checked_out, Truth::Yes, true);
                return;
            case 6:
                item->checked_out =
                    after(run({"checkin", item->id + "/A"}), item->checked_out, Truth::No, true);
                return;
            case 7:
            case 8:
                item->status = after(run({"status", "set", item->id + "/A", "Frozen"}),
                                     item->status, Truth::Yes, true);
                return;
            case 9:
            case 10:
                return rename(*item);
            case 11:
                if (item->dataset == Truth::Yes)
                    item->dataset =
                        after(run({"delete-check", item->id + "/A:notes", "--then-delete"}),
                              Truth::Yes, Truth::No, true);
                return;
            case 12:
                (void)run({"bom", "resequence", "000200/A", "--save"});
                return;
            default:
                return read(*item);
        }
    }

    void load() {
        Item item;
        item.id = fresh("W");
        item.content = "content of " + item.id;
        const std::string document = sandbox_.path(item.id + ".json");
        std::ofstream(document)
            << R"({"world": 1, "items": [{"id": ")" << item.id
            << R"(", "revisions": [{"id": "A", "datasets": [{"type": "Text", "name": "notes",)"
            << R"("files": [{"reference": "Text", "name": "n.txt", "text": ")" << item.content
            << R"("}]}]}]}]})";
        item.there = after(run({"load", document}), Truth::No, Truth::Yes, true);
        fs::remove(document);
        items_.push_back(item);
    }

    void prefer() {
        const std::string value = fresh("V");
        const Ending ending = run({"prefs", "set", "P" + std::to_string(number_), value});
        if (ending == Ending::Acknowledged)
            preference_.clear();
        if (ending != Ending::Refused)
            preference_.insert(value);
    }

    void addName(const char* kind, std::map<std::string, Truth>& names,
                 std::vector<std::string> verb, const std::vector<std::string>& rest) {
        const std::string name = fresh(kind[0] == 'u' ? "u" : "R");
        verb.push_back(name);
        verb.insert(verb.end(), rest.begin(), rest.end());
        names[name] = after(run(verb), Truth::No, Truth::Yes, true);
    }

    void rename(Item& item) {
        const std::string to = fresh("N");
        const Ending ending = run({"rename", item.id, "--to", to});
        if (ending == Ending::Acknowledged)
            item.id = to;
        else if (ending == Ending::Unknown)
            item.other_id = to;
    }

    void care() {
        Result said;
        const int choice = upTo(3);
        if (choice == 0) {
            if (run({"check"}, &said) == Ending::Refused)
                counts_.problem("the check finds something: " + said.out);
        } else if (choice == 1) {
            (void)run({"export", fresh("world") + ".json"});
        } else {
            const std::string copy = fresh("copy");
            if (run({"backup", copy}) == Ending::Acknowledged &&
                runKeld(sandbox_.directory(), {"check", "--store", copy}).exit_code != 0)
                counts_.problem("a copy that was acknowledged isn't sound");
        }
    }

    void read(const Item& item) {
        Result said;
        if (item.dataset == Truth::Yes &&
            run({"cat", item.id + "/A:notes"}, &said) == Ending::Acknowledged &&
            said.out != item.content)
            counts_.problem("the file of " + item.id + " reads " + said.out);
    }
};

bool isYes(const mervane::Values& values) {
    return !values.empty() && std::get<std::string>(values.front()) == "Y";
}

bool agrees(Truth truth, bool is) {
    return truth == Truth::Maybe || (truth == Truth::Yes) == is;
}

void Worker::compare(tag_t (*find)(const std::string&), const State& state) {
    const auto need = [&](bool truth, const std::string& text) {
        if (!truth)
            counts_.problem(text);
    };
    for (const Item& item : items_) {
        const bool first = find(item.id) != NULLTAG;
        const bool second = !item.other_id.empty() && find(item.other_id) != NULLTAG;
        need(agrees(item.there, first || second), item.id + " is lost or wasn't refused");
        need(!(first && second), item.id + " is there twice");
        if (!first && !second)
            continue;
        const std::string id = first ? item.id : item.other_id;
        const tag_t revision = find(id + "/A");
        need(revision != NULLTAG, id + " has lost its revision");
        if (revision == NULLTAG)
            continue;
        need(agrees(item.dataset, find(id + "/A:notes") != NULLTAG),
             id + ": the dataset isn't as it was acknowledged");
        if (item.there == Truth::Maybe)
            need(find(id + "/A:notes") != NULLTAG, id + " is there by half");
        if (item.dataset == Truth::Yes)
            need(state.world.find(item.content) != std::string::npos,
                 id + " has lost the contents of its file");
        need(agrees(item.status, !bench().get(revision, "release_status_list").empty()),
             id + ": the status isn't as it was acknowledged");
        need(agrees(item.checked_out, isYes(bench().get(revision, "checked_out"))),
             id + ": the check-out isn't as it was acknowledged");
    }
    std::string stored;
    for (const auto& [name, values] : bench().preferences())
        if (name == "P" + std::to_string(number_))
            stored = values.front();
    need(preference_.count(stored) != 0, "a preference is " + stored);
    for (const auto& [name, truth] : ids_)
        need(agrees(truth, std::find(state.ids.begin(), state.ids.end(), name) != state.ids.end()),
             "the id " + name + " isn't as it was acknowledged");
    for (const auto& [name, truth] : users_)
        need(agrees(truth, state.world.find("\"user_id\": \"" + name + "\"") != std::string::npos),
             "the user " + name + " isn't as it was acknowledged");
}

tag_t find(const std::string& name) {
    try {
        return bench().resolve(name);
    } catch (const mervane::Failure&) {
        return NULLTAG;
    }
}

int mixedRun(const Options& options) {
    const Sandbox sandbox;
    Counts counts;
    std::vector<std::unique_ptr<Worker>> workers;
    for (int i = 0; i < 6; ++i)
        workers.push_back(std::make_unique<Worker>(i, options, sandbox, counts));
    const auto end = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                        std::chrono::duration<double>(options.seconds));
    std::vector<std::thread> threads;
    for (auto& worker : workers)
        threads.emplace_back([&worker, end] { worker->workUntil(end); });
    for (std::thread& thread : threads)
        thread.join();

    const State state = sandbox.state();
    if (!state.failure.empty())
        counts.problem("the store can't be read: " + state.failure);
    for (const std::string& error : state.errors)
        counts.problem("the check finds " + error);
    if (state.failure.empty()) {
        const auto store = bench().openStore(sandbox.path("keld.db"));
        bench().openSession(store, {});
        for (const auto& worker : workers)
            worker->compare(find, state);
        bench().closeStore(store);
    }

    int runs = 0;
    for (const auto& [verb, count] : counts.runs)
        runs += count;
    std::cout << "seed " << options.seed << ": " << runs << " runs of six at once, " << counts.kills
              << " kills, " << counts.stops << " stops; " << counts.acknowledged
              << " acknowledged, " << counts.refused << " refused, " << counts.unknown
              << " unknown; " << counts.problems.size() << " problems\n";
    for (const auto& [verb, count] : counts.runs)
        std::cout << "  " << verb << " " << count << "\n";
    for (const auto& [reason, count] : counts.reasons)
        std::cout << "  refused " << count << " times: " << reason << "\n";
    if (options.expect_loss) {
        std::cout << (counts.problems.empty() ? "nobody noticed\n" : "the loss was noticed\n");
        return counts.problems.empty() ? 1 : 0;
    }
    for (const std::string& problem : counts.problems)
        std::cout << "problem: " << problem << "\n";
    // A run in which little is acknowledged or nobody is disturbed proves little.
    const bool enough = counts.acknowledged * 3 > runs && counts.kills > 0 && counts.stops > 0;
    if (!enough)
        std::cout << "too little happened\n";
    return counts.problems.empty() && enough ? 0 : 1;
}

}  // namespace

}  // namespace injection

int main(int argc, char** argv) {
    injection::Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "--expect-loss") {
            options.expect_loss = true;
        } else if (word == "--seconds" && i + 1 < argc) {
            options.seconds = std::atof(argv[++i]);
        } else if (word == "--seed" && i + 1 < argc) {
            options.seed = static_cast<unsigned>(std::atoi(argv[++i]));
        } else {
            std::cerr << "mixed_run [--seconds S] [--seed N] [--expect-loss]\n";
            return 2;
        }
    }
    return injection::mixedRun(options);
}
