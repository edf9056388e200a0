#include "tests/kills/running.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

extern char** environ;

namespace kills {

Running::Running(const std::string& program, std::vector<std::string> arguments,
                 const std::vector<std::pair<std::string, std::string>>& environment) {
    int in[2], out[2];
    if (::pipe2(in, O_CLOEXEC) != 0 || ::pipe2(out, O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    // All is made before the fork: between it and the program's start nothing may be allocated.
    arguments.insert(arguments.begin(), program);
    std::vector<char*> list, variables;
    for (std::string& argument : arguments)
        list.push_back(argument.data());
    list.push_back(nullptr);
    std::vector<std::string> added;
    for (const auto& [variable, value] : environment)
        added.push_back(variable + "=" + value);
    for (std::string& variable : added)
        variables.push_back(variable.data());
    for (char** variable = environ; *variable; ++variable)
        variables.push_back(*variable);
    variables.push_back(nullptr);
    process_ = ::fork();
    if (process_ == 0) {
        ::dup2(in[0], STDIN_FILENO);
        ::dup2(out[1], STDOUT_FILENO);
        ::execve(program.c_str(), list.data(), variables.data());
        ::_exit(127);
    }
    ::close(in[0]);
    ::close(out[1]);
    in_ = in[1];
    out_ = out[0];
    ::fcntl(out_, F_SETFL, O_NONBLOCK);
}

Running::~Running() {
    if (process_ > 0)
        kill();
    askToEnd();
    ::close(out_);
}

bool Running::listen() {
    char buffer[65536];
    for (;;) {
        const ssize_t got = ::read(out_, buffer, sizeof buffer);
        if (got > 0)
            read_.append(buffer, static_cast<std::size_t>(got));
        else if (got == 0)
            return false;
        else if (errno != EINTR)
            return true;
    }
}

bool Running::line(std::string& text) {
    const auto end = read_.find('\n');
    if (end == std::string::npos)
        return false;
    text = read_.substr(0, end);
    read_.erase(0, end + 1);
    return true;
}

void Running::kill() {
    ::kill(process_, SIGKILL);
    wait();
}

void Running::askToEnd() {
    if (in_ >= 0)
        ::close(in_);
    in_ = -1;
}

int Running::wait() {
    int status = 0;
    while (::waitpid(process_, &status, 0) < 0 && errno == EINTR) {
    }
    process_ = -1;
    return status;
}

}  // namespace kills
