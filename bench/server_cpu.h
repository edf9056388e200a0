#pragma once

// What a database server on this machine has used of the processors.

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cctype>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

namespace server_cpu {

// The first process of the server with a socket in the directory; 0: there is none.
inline pid_t serverAt(const std::string& directory) {
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    (directory + "/.s.PGSQL.5432").copy(name.sun_path, sizeof name.sun_path - 1);
    const int connection = socket(AF_UNIX, SOCK_STREAM, 0);
    // Of a socket the system knows who listens on it.
    ucred server{};
    socklen_t size = sizeof server;
    if (connect(connection, reinterpret_cast<const sockaddr*>(&name), sizeof name) != 0 ||
        getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &server, &size) != 0)
        server.pid = 0;
    close(connection);
    return server.pid;
}

struct Times {
    pid_t parent = 0;
    double own = 0, of_ended_children = 0;  // seconds
};

inline Times timesOf(const std::string& process) {
    std::ifstream in("/proc/" + process + "/stat");
    const std::string all{std::istreambuf_iterator<char>(in), {}};
    Times times;
    const std::size_t name_ends = all.rfind(')');
    if (name_ends == std::string::npos)
        return times;
    std::istringstream fields(all.substr(name_ends + 1));
    std::string skipped;
    fields >> skipped >> times.parent;
    for (int i = 0; i < 9; ++i)
        fields >> skipped;
    double user = 0, system = 0, children_user = 0, children_system = 0;
    fields >> user >> system >> children_user >> children_system;
    const auto ticks = static_cast<double>(sysconf(_SC_CLK_TCK));
    times.own = (user + system) / ticks;
    times.of_ended_children = (children_user + children_system) / ticks;
    return times;
}

// Seconds of the server and of all who work for it, also of those that have ended.
inline double used(pid_t server) {
    if (server == 0)
        return 0;
    const Times first = timesOf(std::to_string(server));
    double sum = first.own + first.of_ended_children;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        const std::string name = entry.path().filename().string();
        if (std::isdigit(static_cast<unsigned char>(name[0])) == 0)
            continue;
        if (const Times each = timesOf(name); each.parent == server)
            sum += each.own + each.of_ended_children;
    }
    return sum;
}

}  // namespace server_cpu
