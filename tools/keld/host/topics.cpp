#include "tools/keld/host/topics.h"

namespace keld {

namespace {

struct Topic {
    const char *name, *text;
};

constexpr Topic kTopics[] = {
    {"objects",
     R"(How objects are named

  000123             an item, by its id
  000123/A           a revision
  000123/A:drawing   a dataset of that revision, by its name
  #4711              any object, by its tag (quote it for the shell: '#4711')

A part with a blank or one of / : , " ' is in double quotes: '"a/b"/A:"my drawing"'.
A name that nothing has is answered with the nearest ones. keld find PATTERN looks for names.
)"},
    {"many",
     R"(Many objects in one call

  keld status set 000123/A 000124/A Frozen     a run for each
  keld checkout --from names.txt               names of a file, one a line
  keld find 'P-*' --json | jq -r '.found[].object' | keld set - object_desc=obsolete
  keld revise 000123 000124 --together         one run: all of them, or none

  keld bom import parts.csv                    items and lines, a row for each
  keld rename --from ids.csv                   old and new ids
  keld set --from values.csv                   objects, a column for each property

A line tells the outcome of each, and the sum of the outcomes is the number of names given:
done, done with failures, refused, unknown, named before, went back, not reached.
Without --together one that is refused doesn't hold up the others. The exit code is 1 if one was
refused, unknown or not reached.
)"},
    {"undo",
     R"(Runs, and taking them back

Every verb that changes the store makes a run, which is all or nothing.

  --dry-run          the same code runs, and everything goes back
  --as-server        each change is stored for itself; what was stored before a failure stays
  --plan FILE        with --dry-run: write what it found; keld apply FILE carries it out

  keld runs                  what was run, newest first
  keld runs show 7           everything that it changed
  keld runs undo 7           take it back, as a run of its own
  keld history 000123/A      what runs did to one object
)"},
    {"filters",
     R"(Filters of find and tree

  --type T               type or class, those below it included
  --owner USER           the owning user
  --status S             latest release status; none: those without one
  --checked-out          what somebody has checked out
  --checked-out-by USER  what this user has checked out

Several filters let through what fits all of them. tree shows the parts that fit and those that
lead to them.
)"},
    {"results",
     R"(Exit codes and output

  0    done
  1    refused or failed
  2    the command line can't be understood
  3    done, but with failures that the rules of the service drop
  130  interrupted by Ctrl-C

Tables go to standard output, messages to standard error after "keld: ". With --json standard
output is exactly one document, also after a failure. Tables are cut to the terminal; --wide keeps
them whole.
)"},
    {"environment",
     R"(Environment

  MERVANE_STORE     the store; else ./keld.db (--store)
  MERVANE_VOLUME    this host's place of the directory with the files of a store on a server
  KELD_CFG_PATH     directory of keld_statusmanager.ini and keld_base.ini (--cfg)
  KELD_LOG_FILE     the log; else keld.log beside the store
  KELD_LOG_LEVEL    0 off, 1 error, 2 warning, 3 trace, 4 debug (--log-level)
  KELD_LOG_MAX_MB   size at which the log is begun anew
  MERVANE_SYNC      how safe a save is
  MERVANE_WAIT_MS   how long to wait for another run
  PAGER             program that long tables are shown in on a terminal; empty: none
  COLUMNS           width of tables
  NO_COLOR          no colours
)"},
    {"completion",
     R"(Completion in shells

  bash   source docs/completion/keld, or put it into ~/.local/share/bash-completion/completions
  zsh    put docs/completion/_keld into a directory of fpath, and run compinit

Completed are verbs, options, ids of items, revisions and datasets, statuses, types, relation types,
services, users, privileges and properties. Both ask keld complete, which looks into the store that
the line names.
)"},
};

}  // namespace

std::vector<std::string> topicNames() {
    std::vector<std::string> names;
    for (const Topic& topic : kTopics)
        names.emplace_back(topic.name);
    return names;
}

std::string topicText(const std::string& name) {
    for (const Topic& topic : kTopics)
        if (name == topic.name)
            return topic.text;
    return {};
}

}  // namespace keld
