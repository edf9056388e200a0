#include "tests/injection/verbs.h"

#include <algorithm>

#include "tests/support/files.h"

namespace injection {

namespace {

using Done = std::function<bool(const Sandbox&, const State&)>;

Done has(std::vector<std::string> texts) {
    return [texts = std::move(texts)](const Sandbox&, const State& state) {
        return std::all_of(texts.begin(), texts.end(), [&](const std::string& text) {
            return state.world.find(text) != std::string::npos;
        });
    };
}

Done hasNot(const std::string& text) {
    return [text](const Sandbox&, const State& state) {
        return state.world.find(text) == std::string::npos;
    };
}

bool soundStore(const std::string& path) {
    const State state = Sandbox::stateOf(path);
    return state.failure.empty() && state.errors.empty() && !state.world.empty();
}

bool registered(const State& state, const std::string& id) {
    return std::find(state.ids.begin(), state.ids.end(), id) != state.ids.end();
}

}  // namespace

const std::vector<Verb>& verbs() {
    static const std::vector<Verb> all = {
        {"load",
         {"load", "loaded.json"},
         Sort::Whole,
         has({"\"000300\"", "loaded text", "more of it"})},
        {"checkout", {"checkout", "000101/A", "--comment", "swept"}, Sort::Whole, has({"swept"})},
        {"checkin", {"checkin", "000102/A"}, Sort::Whole, hasNot("was out")},
        {"prefs set",
         {"prefs", "set", "Swept", "one", "two"},
         Sort::Whole,
         has({"\"Swept\"", "[\"one\", \"two\"]"})},
        {"prefs remove",
         {"prefs", "remove", "OldPreference"},
         Sort::Whole,
         hasNot("OldPreference")},
        {"users add",
         {"users", "add", "swept", "--in-group", "design"},
         Sort::Whole,
         has({"\"user_id\": \"swept\""})},
        {"users join",
         {"users", "join", "miller", "dba"},
         Sort::Whole,
         [](const Sandbox&, const State& state) {
             std::size_t members = 0;
             for (auto at = state.world.find("\"GroupMember\""); at != std::string::npos;
                  at = state.world.find("\"GroupMember\"", at + 1))
                 ++members;
             return members == 3;
         }},
        {"log level", {"log", "level", "2"}, Sort::Whole, has({"KELD_LogLevel"})},
        {"registry add",
         {"registry", "add", "000888"},
         Sort::Whole,
         [](const Sandbox&, const State& state) { return registered(state, "000888"); }},
        {"registry remove",
         {"registry", "remove", "000777"},
         Sort::Whole,
         [](const Sandbox&, const State& state) { return !registered(state, "000777"); }},
        {"registry use",
         {"registry", "use", "ids.db"},
         Sort::Steps,
         [](const Sandbox& sandbox, const State& state) {
             return registered(state, "000777") && fs::exists(sandbox.path("ids.db"));
         }},
        {"registry off",
         {"registry", "off"},
         Sort::Steps,
         [](const Sandbox&, const State&) { return true; }},
        {"status set", {"status", "set", "000101/A", "Frozen"}, Sort::Whole, has({"\"Frozen\""})},
        {"rename", {"rename", "000101", "--to", "000999"}, Sort::Whole, has({"\"000999\""})},
        {"bom resequence",
         {"bom", "resequence", "000200/A", "--save"},
         Sort::Whole,
         [](const Sandbox&, const State&) { return true; }},
        {"status set --as-server",
         {"status", "set", "000101/A", "Frozen", "--as-server"},
         Sort::Steps,
         has({"\"Frozen\""})},
        {"apply", {"apply", "plan.json"}, Sort::Whole, has({"\"Frozen\""})},
        {"runs undo", {"runs", "undo", "6"}, Sort::Whole, has({"\"000203\""})},
        {"copy-attr", {"copy-attr", "000200", "000201"}, Sort::Whole, hasNot("\"other\"")},
        {"delete-check",
         {"delete-check", "000100/A:drawing", "--then-delete"},
         Sort::Whole,
         hasNot("sheet 1")},
        {"job files",
         {"job", "files", "000100/A", "--types", "Text", "--into", "backups"},
         Sort::Steps,
         [](const Sandbox&, const State&) { return true; }},
        {"check --repair",
         {"check", "--repair"},
         Sort::Whole,
         [](const Sandbox& sandbox, const State&) {
             return !fs::exists(sandbox.path("keld.db.volume/999999"));
         }},
        {"index text on",
         {"index", "text", "on"},
         Sort::Whole,
         [](const Sandbox&, const State&) { return true; }},
        {"backup",
         {"backup", "copy.db"},
         Sort::Outside,
         [](const Sandbox& sandbox, const State&) { return soundStore(sandbox.path("copy.db")); }},
        {"init",
         {"init", "--store", "new.db"},
         Sort::Outside,
         [](const Sandbox& sandbox, const State&) { return soundStore(sandbox.path("new.db")); }},
        {"export",
         {"export", "out.json"},
         Sort::Outside,
         [](const Sandbox& sandbox, const State& state) {
             // A change that others made during the export may be in it or not.
             const std::string out = keld_test::readFile(sandbox.path("out.json"));
             return out == state.world ||
                    out == Sandbox::stateOf(sandbox.path("../prepared/keld.db")).world;
         }},
        {"cat --output",
         {"cat", "000100/A:drawing", "--output", "out.txt"},
         Sort::Outside,
         [](const Sandbox& sandbox, const State&) {
             return keld_test::readFile(sandbox.path("out.txt")) == "sheet 1\n";
         }},
    };
    return all;
}

}  // namespace injection
