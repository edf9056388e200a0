#pragma once

// The keys and entries of its configuration that a rehearsed run of the status manager read, what
// it found for each, and what that decided.

#include <functional>

#include "tools/keld/host/status_visits.h"
#include "tools/keld/lint/ini.h"

namespace keld {

enum class Did { Read, Decided, Refused };

struct Decision {
    std::size_t visit = kNoVisit;  // kNoVisit: before the first one
    std::string section, key;      // key: spelt as in the documentation; empty: no key rules it
    int line = 0;                  // 0: the key is missing, so its default is used
    int number = -1;               // number of the entry in the list; -1: the key as a whole
    std::string value;             // the value that was read, of the key or of the entry
    std::string found, decided;
    Did did = Did::Read;
};

class StatusDecisions {
public:
    using Each = std::function<void(const Decision&)>;
    // `status` is the one that ended the run, 0 if none did. Requires: the run was watched with
    // trails; for `found`, its visits have been judged.
    StatusDecisions(const IniFile& ini, const StatusWatch::Seen& seen, int status);

    // Whether the run may begin.
    void ofStart(const std::string& type, const Each& each) const;
    void ofVisit(std::size_t visit, const Each& each) const;

private:
    const IniFile& ini_;
    const StatusWatch::Seen& seen_;
    int status_;
    std::vector<bool> unfinished_;  // visits that were still open when another one ended the run

    struct Teller;
    void ofTest(Teller& tell) const;
    void ofDeeds(Teller& tell) const;
    void ofForm(Teller& tell, const std::string& form, const Filling& filling) const;
    void ofWalk(Teller& tell, int direction) const;
    bool cameTo(std::size_t visit) const;
};

}  // namespace keld
