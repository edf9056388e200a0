#pragma once

// A statement of the database that fails. Linked to a program, its sqlite3_step wins over the
// database's own for every library of the process.

#include <string>

namespace kills {

class StatementFault {
public:
    // The n-th step from now on, from 1, isn't taken. `gone`: the database has given up the
    // transaction as well, as it does when it runs out of space. What takes something back never
    // fails: it needs no space.
    StatementFault(int n, bool gone);
    ~StatementFault() { end(); }
    StatementFault(const StatementFault&) = delete;

    void end();
    bool happened() const;
    std::string text() const;  // of the statement that failed
};

}  // namespace kills
