#pragma once

// Pieces of work on a store on a server, and what is stored at a moment, for the sweep in which
// each statement fails in turn.

#include <functional>
#include <map>
#include <string>
#include <vector>

struct pg_conn;

namespace mervane::test {

// A piece of work has steps that are stored each as one: when a step has failed, what was stored by
// those before it is there, and nothing of it and of those after it.
using Steps = std::vector<std::function<void()>>;
struct Work {
    std::string name;
    // What the session does that is current when the steps are run. What they work on is made by
    // this call, in the session that is current then. `number` has four digits, so that
    // all store rows of the same sizes.
    std::function<Steps(int number)> make;
    // Opening the store is the first step.
    bool opens = false;
    // The last step ends a run, which has ended then, whatever happens.
    bool ends_run = false;
};

// `directory`: with a file "notes.txt", and what else kills::makeWorld() puts there.
std::vector<Work> worksOf(const std::string& directory);

// Names of measures and by how much they have grown.
using Growth = std::map<std::string, long>;

// Rows of the tables, past the workbench.
struct StoredState {
    std::string contents;                  // a sum of all that is stored
    std::map<std::string, long> measures;  // numbers of rows, versions and bytes

    Growth since(const StoredState& before) const;
};

// What is wrong with what is stored after so many steps; empty: nothing. `stored`: by how much it
// has grown after each number of steps. `unknown`: the next step may be stored, too.
std::string wrongState(const StoredState& before, const StoredState& now,
                       const std::vector<Growth>& stored, std::size_t done, bool unknown);

class Tables {
public:
    // Throws std::runtime_error.
    explicit Tables(const std::string& address);
    ~Tables();
    Tables(const Tables&) = delete;

    // All but what sessions keep for themselves, and files that no object owns.
    StoredState state() const;
    // The first value of the answer; empty: there is none.
    std::string asked(const std::string& sql) const;

private:
    pg_conn* connection_ = nullptr;
};

}  // namespace mervane::test
