// A second process for the tests of locks, kills and backups. It tells on standard output what it
// has done, one line at a time, and ends when standard input does.
//
//   workbench_writer hold STORE TAG     take the lock, say "held", keep it
//   workbench_writer try STORE TAG      say the status of taking the lock and its text
//   workbench_writer choose STORE TYPE  make an item, say its id, and save it when standard input
//                                       ends
//   workbench_writer pairs STORE A B    count up in the names of two objects, one save for both
//   workbench_writer items STORE NAME   make items NAME-1, NAME-2, ...
//   workbench_writer files STORE PATH   make datasets with the file and delete every second one
//   workbench_writer deletes STORE NAME make items and delete them, each time in a whole run

#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <string>

#include "platform/mv_art.h"
#include "platform/mv_dbo.h"
#include "platform/mv_obj.h"
#include "workbench/workbench.h"

namespace {

mervane::Workbench& bench() {
    return *mervane_workbench();
}

// Straight to the pipe: what was said before a kill has been said.
void say(const std::string& line) {
    const std::string whole = line + "\n";
    if (::write(STDOUT_FILENO, whole.data(), whole.size()) < 0)
        std::_Exit(3);
}

void waitForEnd() {
    char byte;
    while (::read(STDIN_FILENO, &byte, 1) > 0) {
    }
}

// In one run, which lasts while others have theirs.
void makeAndDelete(const std::string& name) {
    const tag_t item = bench().createItem(name, "made by the writer", "", "A", nullptr);
    bench().beginRun({mervane::RunWay::Whole, "deletes", "", "", ""});
    bench().createFolder(name);
    bench().find({name + "*", "Folder", "", 0});
    if (OBJ_delete(item) != 0)
        throw std::runtime_error(bench().errorStack().front().text);
    bench().endRun({}, true, nullptr);
}

tag_t tagOf(const char* text) {
    return static_cast<tag_t>(std::strtoul(text, nullptr, 10));
}

int pairs(const tag_t (&both)[2]) {
    for (int i = 1;; ++i) {
        const std::string name = std::to_string(i);
        if (DBO_refresh_instances_any_class(2, both, DBO_modify_lock) != 0 ||
            OBJ_set_value_string(both[0], "object_name", name.c_str()) != 0 ||
            OBJ_set_value_string(both[1], "object_name", name.c_str()) != 0 ||
            DBO_save_instances(2, both, false) != 0)
            return 2;
        say(name);
    }
}

int run(int count, char** arguments) {
    const std::string verb = arguments[1];
    bench().openSession(bench().openStore(arguments[2]), {});
    if (verb == "hold") {
        if (OBJ_lock(tagOf(arguments[3])) != 0)
            return 2;
        say("held");
        waitForEnd();
    } else if (verb == "try") {
        const int status = OBJ_lock(tagOf(arguments[3]));
        const auto stack = bench().errorStack();
        say(std::to_string(status) + " " + (stack.empty() ? "" : stack.back().text));
    } else if (verb == "choose") {
        tag_t item = NULLTAG, revision = NULLTAG;
        char id[129] = "";
        if (ART_create_item(nullptr, nullptr, arguments[3], nullptr, &item, &revision) != 0 ||
            ART_ask_id(item, id) != 0)
            return 2;
        say(id);
        waitForEnd();
        say(std::to_string(OBJ_save(item)));
    } else if (verb == "pairs" && count == 5) {
        return pairs({tagOf(arguments[3]), tagOf(arguments[4])});
    } else if (verb == "items") {
        for (int i = 1;; ++i) {
            const std::string id = std::string(arguments[3]) + "-" + std::to_string(i);
            bench().createItem(id, "made by the writer", "", "A", nullptr);
            say(id);
        }
    } else if (verb == "deletes") {
        for (int i = 1;; ++i) {
            makeAndDelete(std::string(arguments[3]) + "-" + std::to_string(i));
            say(std::to_string(i));
        }
    } else if (verb == "files") {
        tag_t last = NULLTAG;
        for (int i = 1;; ++i) {
            const tag_t dataset = bench().createDataset("Text", "file-" + std::to_string(i));
            bench().addFile(dataset, "Text", arguments[3], "a.txt");
            say(std::to_string(dataset));
            if (i % 2 == 0 && OBJ_delete(last) != 0)
                return 2;
            last = dataset;
        }
    }
    return 0;
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 4)
        return 64;
    try {
        return run(count, arguments);
    } catch (const std::exception& error) {
        say(std::string("failed: ") + error.what());
        return 1;
    }
}
