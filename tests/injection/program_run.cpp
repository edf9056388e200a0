#include "tests/injection/program_run.h"

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "tests/support/files.h"

namespace injection {

namespace {

// Names that no two runs have; they lie where no call is counted.
std::string besideName(const std::string& directory) {
    static std::atomic<int> number{0};
    return directory + "-said-" + std::to_string(++number);
}

}  // namespace

ProgramRun::ProgramRun(const std::string& directory, const std::vector<std::string>& arguments,
                       const Environment& environment)
    : out_(besideName(directory)), err_(out_ + "-err") {
    std::vector<std::string> texts{"LD_PRELOAD=" INTERPOSER,
                                   "ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=0",
                                   "KELD_CALLS_ROOT=" + directory,
                                   "TMPDIR=" + directory,
                                   "MERVANE_WAIT_MS=400",
                                   "PATH=/usr/bin:/bin",
                                   "HOME=" + directory,
                                   "KELD_CFG_PATH=" KELD_SOURCE_DIR "/tests/keld/config"};
    for (const auto& [name, value] : environment) {
        std::erase_if(texts, [&](const std::string& text) { return text.starts_with(name + "="); });
        texts.push_back(name + "=" + value);
    }
    std::vector<char*> list, words{const_cast<char*>(KELD)};
    for (std::string& text : texts)
        list.push_back(text.data());
    list.push_back(nullptr);
    for (const std::string& argument : arguments)
        words.push_back(const_cast<char*>(argument.c_str()));
    words.push_back(nullptr);
    const int out = ::open(out_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    const int err = ::open(err_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    process_ = ::fork();
    if (process_ == 0) {
        ::dup2(out, STDOUT_FILENO);
        ::dup2(err, STDERR_FILENO);
        if (::chdir(directory.c_str()) != 0)
            ::_exit(126);
        ::execve(KELD, words.data(), list.data());
        ::_exit(127);
    }
    ::close(out);
    ::close(err);
    if (process_ < 0)
        throw std::runtime_error("no process");
}

ProgramRun::~ProgramRun() {
    if (!ended_) {
        ::kill(process_, SIGKILL);
        ::waitpid(process_, &status_, 0);
    }
    ::unlink(out_.c_str());
    ::unlink(err_.c_str());
}

bool ProgramRun::waitForStop() {
    ::waitpid(process_, &status_, WUNTRACED);
    ended_ = !WIFSTOPPED(status_);
    return !ended_;
}

void ProgramRun::send(int signal) {
    if (!ended_)
        ::kill(process_, signal);
}

bool ProgramRun::ended() {
    ended_ = ended_ || ::waitpid(process_, &status_, WNOHANG) == process_;
    return ended_;
}

Result ProgramRun::wait(double seconds) {
    Result result;
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!ended()) {
        if (std::chrono::steady_clock::now() > end) {
            result.hung = true;
            send(SIGKILL);
            ::waitpid(process_, &status_, 0);
            ended_ = true;
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    result.exit_code = WIFEXITED(status_) ? WEXITSTATUS(status_) : 128 + WTERMSIG(status_);
    result.out = keld_test::readFile(out_);
    result.err = keld_test::readFile(err_);
    return result;
}

Result runKeld(const std::string& directory, const std::vector<std::string>& arguments,
               const Environment& environment) {
    return ProgramRun(directory, arguments, environment).wait();
}

}  // namespace injection
