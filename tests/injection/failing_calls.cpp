// Lets each call of each changing verb fail, in turn, and looks at what is left.
//
//   failing_calls [--stop] [--part P --of N] [--verb NAME] [--expect-loss]
//
// Each P-th of N injections; without it all. With --stop the process is stopped at the call,
// another one works meanwhile, then it goes on. --expect-loss lets writes get lost in silence and
// fails if nobody notices.

#include <signal.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <iostream>
#include <map>
#include <sstream>

#include "tests/injection/program_run.h"
#include "tests/injection/sandbox.h"
#include "tests/injection/verbs.h"
#include "tests/support/files.h"

namespace injection {

namespace {

struct Options {
    int part = 1, of = 1;
    std::string verb;
    bool stop = false, expect_loss = false;
};

// How each call may fail; those that only a write knows come last.
const std::map<std::string, std::vector<const char*>> kWays = {
    {"open", {"ENOSPC", "EIO", "EINTR"}},
    {"write", {"ENOSPC", "EIO", "EINTR", "SHORT"}},
    {"pwrite", {"ENOSPC", "EIO", "EINTR", "SHORT"}},
    {"fsync", {"EIO", "ENOSPC", "EINTR"}},
    {"fdatasync", {"EIO", "ENOSPC", "EINTR"}},
    {"rename", {"EIO", "ENOSPC"}},
    {"link", {"EIO", "ENOSPC"}},
    {"ftruncate", {"EIO", "EINTR"}},
    {"flock", {"EIO", "EINTR"}},
    {"unlink", {"EIO"}},
};

// What another process does meanwhile.
const std::vector<std::string> kOther = {"registry", "add", "000666"};

class Sweep {
public:
    explicit Sweep(const Options& options) : options_(options) {}

    int run() {
        for (const Verb& verb : verbs())
            if (options_.verb.empty() || options_.verb == verb.name)
                sweep(verb);
        std::cout << taken_ << " of " << number_ << " injections in " << swept_
                  << " verbs: " << succeeded_ << " runs succeeded all the same, " << refused_
                  << " were refused, " << unknown_ << " said that it isn't known; " << problems_
                  << " problems\n";
        for (const auto& [call, count] : by_call_)
            std::cout << "  " << call << " " << count << "\n";
        if (options_.expect_loss) {
            std::cout << (problems_ > 0 ? "the loss was noticed\n" : "nobody noticed\n");
            return problems_ > 0 ? 0 : 1;
        }
        return problems_ == 0 && taken_ > 0 ? 0 : 1;
    }

private:
    const Options options_;
    const Sandbox sandbox_;
    int number_ = 0, taken_ = 0, swept_ = 0, succeeded_ = 0, refused_ = 0, unknown_ = 0,
        problems_ = 0;
    std::map<std::string, int> by_call_;

    void problem(const Verb& verb, const std::string& at, const std::string& text,
                 const Result& result) {
        ++problems_;
        if (!options_.expect_loss)
            std::cout << verb.name << " with " << at << ": " << text << "\n  exit "
                      << result.exit_code << "\n  " << result.out << "  " << result.err << "\n";
    }

    // The calls of an undisturbed run, which must succeed.
    std::map<std::string, int> callsOf(const Verb& verb) {
        sandbox_.renew();
        const std::string counts = sandbox_.directory() + "-counts";
        fs::remove(counts);
        const Result result =
            runKeld(sandbox_.directory(), verb.arguments, {{"KELD_CALLS_COUNT", counts}});
        const State state = sandbox_.state();
        if (result.exit_code != 0 || !verb.done(sandbox_, state))
            problem(verb, "nothing", "an undisturbed run doesn't do what it is for", result);
        std::map<std::string, int> calls;
        std::istringstream in(keld_test::readFile(counts));
        std::string call;
        for (int count = 0; in >> call >> count;)
            calls[call] += count;
        if (calls["open"] == 0 || calls["pwrite"] + calls["write"] == 0)
            problem(verb, "nothing", "no call was counted", result);
        return calls;
    }

    void sweep(const Verb& verb) {
        ++swept_;
        sandbox_.renew();
        const State before = sandbox_.state();
        if (options_.stop) {
            // What the store holds when only the other one has worked.
            (void)runKeld(sandbox_.directory(), kOther);
            const State beside = sandbox_.state();
            for (const auto& [call, count] : callsOf(verb))
                for (int n = 1; n <= count; ++n)
                    stopAt(verb, before, beside, call, n);
            return;
        }
        for (const auto& [call, count] : callsOf(verb)) {
            if (options_.expect_loss) {
                if (call == "pwrite")
                    for (int n = 1; n <= count; ++n)
                        take(verb, before, call, std::to_string(n), "LOSE");
                continue;
            }
            for (int n = 1; n <= count; ++n)
                for (const char* way : kWays.at(call))
                    take(verb, before, call, std::to_string(n), way);
            // The disk stays full.
            if (call == "write" || call == "pwrite" || call == "open")
                for (int n = 1; n <= count; ++n)
                    take(verb, before, call, std::to_string(n) + "+", "ENOSPC");
        }
    }

    void stopAt(const Verb& verb, const State& before, const State& beside, const std::string& call,
                int n) {
        if (number_++ % options_.of != options_.part - 1)
            return;
        ++taken_;
        ++by_call_[call];
        const std::string at = call + ":" + std::to_string(n) + ":STOP";
        sandbox_.renew();
        ProgramRun stopped(sandbox_.directory(), verb.arguments, {{"KELD_CALLS_AT", at}});
        stopped.waitForStop();
        const Result other = runKeld(sandbox_.directory(), kOther, {{"MERVANE_WAIT_MS", "100"}});
        stopped.send(SIGCONT);
        const Result result = stopped.wait();
        if (other.hung)
            problem(verb, at, "the other one hangs", other);
        if (other.exit_code > 1 || (other.exit_code == 1 && other.err.empty()))
            problem(verb, at, "the other one has no word about it", other);
        judge(verb, at, other.exit_code == 0 ? beside : before, result);
        const State after = sandbox_.state();
        if (other.exit_code == 0 &&
            std::find(after.ids.begin(), after.ids.end(), kOther.back()) == after.ids.end())
            problem(verb, at, "what the other one acknowledged isn't there", other);
    }

    void take(const Verb& verb, const State& before, const std::string& call, const std::string& n,
              const std::string& way) {
        if (number_++ % options_.of != options_.part - 1)
            return;
        ++taken_;
        ++by_call_[call];
        const std::string at = call + ":" + n + ":" + way;
        sandbox_.renew();
        judge(verb, at, before,
              runKeld(sandbox_.directory(), verb.arguments, {{"KELD_CALLS_AT", at}}));
    }

    void judge(const Verb& verb, const std::string& at, const State& before, const Result& result) {
        const State after = sandbox_.state();
        if (result.hung)
            return problem(verb, at, "it hangs", result);
        if (result.exit_code > 3)
            return problem(verb, at, "ended by a signal", result);
        if (!after.failure.empty())
            return problem(verb, at, "the store can't be read: " + after.failure, result);
        if (!after.errors.empty())
            return problem(verb, at, "the check finds " + after.errors.front(), result);
        const bool done = verb.done(sandbox_, after);
        // Done with failures that the rules drop: the store is sound, and the program said enough.
        if (result.exit_code == 3)
            return void(++succeeded_);
        if (result.exit_code == 0) {
            ++succeeded_;
            // A file that can't be read may be kept, if the program says so.
            if (!done && result.out.find("; kept for") == std::string::npos)
                problem(verb, at, "what was acknowledged isn't there", result);
            return;
        }
        if (result.err.find("keld: ") == std::string::npos && result.out.empty())
            problem(verb, at, "no word about it", result);
        if (result.err.find("may be stored") != std::string::npos ||
            result.out.find("may be stored") != std::string::npos) {
            ++unknown_;
            if (verb.sort == Sort::Whole && !done && after.world != before.world)
                problem(verb, at, "half of it is there", result);
            return;
        }
        ++refused_;
        if (verb.sort == Sort::Whole && (after.world != before.world || after.ids != before.ids))
            problem(verb, at, "something is left of what was refused", result);
        // What could be read is there, and the rest was reported.
        const bool partly = result.err.find("can't be opened") != std::string::npos &&
                            (result.out.starts_with("copied ") || result.out.starts_with("wrote "));
        if (verb.sort == Sort::Outside && !partly) {
            const auto left =
                sandbox_.namesBut({"keld.", "more.json", "loaded.json", "plan.json", "backups"});
            if (!left.empty())
                problem(verb, at, left.front() + " is left", result);
        }
    }
};

int number(const char* text) {
    int value = 0;
    std::from_chars(text, text + std::strlen(text), value);
    return value;
}

}  // namespace

}  // namespace injection

int main(int argc, char** argv) {
    injection::Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const bool more = i + 1 < argc;
        if (word == "--stop")
            options.stop = true;
        else if (word == "--expect-loss")
            options.expect_loss = true;
        else if (word == "--part" && more)
            options.part = injection::number(argv[++i]);
        else if (word == "--of" && more)
            options.of = injection::number(argv[++i]);
        else if (word == "--verb" && more)
            options.verb = argv[++i];
        else
            options.of = 0;
    }
    if (options.of < 1 || options.part < 1 || options.part > options.of) {
        std::cerr << "failing_calls [--stop] [--part P --of N] [--verb NAME] [--expect-loss]\n";
        return 2;
    }
    return injection::Sweep(options).run();
}
