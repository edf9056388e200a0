#pragma once

// A process with pipes to its standard input and output, which is killed with its object.

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

namespace keld_test {

class Child {
public:
    Child(const std::string& program, const std::vector<std::string>& arguments) {
        int in[2], out[2];
        if (::pipe2(in, O_CLOEXEC) != 0 || ::pipe2(out, O_CLOEXEC) != 0)
            throw std::runtime_error("no pipe");
        std::vector<char*> list{const_cast<char*>(program.c_str())};
        for (const std::string& argument : arguments)
            list.push_back(const_cast<char*>(argument.c_str()));
        list.push_back(nullptr);
        process_ = ::fork();
        if (process_ == 0) {
            // By this a database server tells whose its connections are.
            ::setenv("PGAPPNAME", ("process " + std::to_string(::getpid())).c_str(), 1);
            ::dup2(in[0], STDIN_FILENO);
            ::dup2(out[1], STDOUT_FILENO);
            ::execv(program.c_str(), list.data());
            ::_exit(127);
        }
        ::close(in[0]);
        ::close(out[1]);
        in_ = in[1];
        out_ = out[0];
    }
    ~Child() {
        if (process_ > 0)
            kill();
        ::close(in_);
        ::close(out_);
    }
    Child(const Child&) = delete;

    // Give it a line. Returns: whether it could.
    bool say(const std::string& text) {
        const std::string all = text + "\n";
        return ::write(in_, all.data(), all.size()) == static_cast<ssize_t>(all.size());
    }
    // The next line that it said; empty when there are no more.
    std::string line() {
        for (;;) {
            const auto end = read_.find('\n');
            if (end != std::string::npos) {
                const std::string found = read_.substr(0, end);
                read_.erase(0, end + 1);
                return found;
            }
            char buffer[4096];
            const ssize_t got = ::read(out_, buffer, sizeof buffer);
            if (got <= 0)
                return "";
            read_.append(buffer, static_cast<std::size_t>(got));
        }
    }
    std::vector<std::string> remainingLines() {
        std::vector<std::string> lines;
        for (std::string next = line(); !next.empty(); next = line())
            lines.push_back(next);
        return lines;
    }
    // The next lines, up to one with this begin and not more than so many.
    std::vector<std::string> linesUntil(const std::string& begin, std::size_t most) {
        std::vector<std::string> lines;
        for (std::string next = line(); !next.empty(); next = line()) {
            lines.push_back(next);
            if (next.starts_with(begin) || lines.size() == most)
                break;
        }
        return lines;
    }
    void kill() {
        ::kill(process_, SIGKILL);
        wait();
    }
    // Let it end by itself.
    int end() {
        ::close(in_);
        in_ = -1;
        return wait();
    }
    pid_t process() const { return process_; }

private:
    pid_t process_ = -1;
    int in_ = -1, out_ = -1;
    std::string read_;

    int wait() {
        int status = 0;
        ::waitpid(process_, &status, 0);
        process_ = -1;
        return status;
    }
};

}  // namespace keld_test
