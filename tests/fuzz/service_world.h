#pragma once

// The world that the services are called in, its configuration, and what holds after every call.

#include <vector>

#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/service_input.h"
#include "tests/support/files.h"
#include "workbench/workbench.h"

namespace fuzz {

class ServiceWorld {
public:
    ServiceWorld();
    // A valid object mostly; else none, an unknown one or one of another class.
    tag_t object(Decisions& from) { return objectOf(from, all_); }
    tag_t item(Decisions& from) { return objectOf(from, items_); }
    tag_t revision(Decisions& from) { return objectOf(from, revisions_); }
    tag_t form(Decisions& from) { return objectOf(from, forms_); }
    tag_t line(Decisions& from) { return objectOf(from, lines_); }
    std::vector<tag_t> objects(Decisions& from) { return objectsOf(from, all_); }
    std::vector<tag_t> lines(Decisions& from) { return objectsOf(from, lines_); }
    // Texts that end at the file system or at the command processor are never made up.
    std::string directory(Decisions& from);
    static std::string program(Decisions& from);
    // Names that the configuration has sections for, mostly.
    static std::string status(Decisions& from);
    static std::string type(Decisions& from);
    // Preferences, the status manager's file and the log level.
    void configure(Decisions& from);

    // Look at the store a last time and remove the directory.
    void leave();

    // Between them, what the library prints is thrown away.
    void beforeCall();
    // How many heap blocks the call may leave, below 0: any; whether it gives its locks back.
    void afterCall(int most_blocks_left, bool locks_given_back);

private:
    void build();
    void addForms();
    void addAround();
    tag_t objectOf(Decisions& from, const std::vector<tag_t>& kind);
    std::vector<tag_t> objectsOf(Decisions& from, const std::vector<tag_t>& kind);
    void writeStatusFile(Decisions& from);
    void checkLog();
    void checkStore();

    mervane::Workbench& bench_;
    std::unique_ptr<keld_test::Directory> directory_;
    std::string root_;  // its path
    int output_, nowhere_;
    mervane::Workbench::StoreId store_ = 0;
    bool open_ = false;
    int calls_ = 0;
    std::vector<tag_t> all_, items_, revisions_, forms_, lines_;
    std::size_t blocks_ = 0, locks_ = 0;
};

ServiceWorld& serviceWorld();

}  // namespace fuzz
