// config graph: which status may follow which, and where the walks go.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>

#include "tools/keld/host/system.h"
#include "tools/keld/lint/ini_graph.h"
#include "tools/keld/verbs/config_runs.h"

namespace keld {

namespace {

namespace fs = std::filesystem;

struct WantedGraph {
    std::string ini, only, svg;
    bool dot = false;
};

Json graphJson(const StatusGraph& graph, const Reachable& reachable) {
    Json edges = Json::array(), older = Json::array(), ends = Json::array(), steps = Json::array(),
         starts = Json::array();
    for (const StatusEdge& edge : graph.edges)
        edges.push_back({{"from", edge.from},
                         {"to", edge.to},
                         {"type", edge.type},
                         {"section", edge.section},
                         {"line", edge.line}});
    for (const OlderEdge& edge : graph.older)
        older.push_back({{"target", edge.target},
                         {"to", edge.to},
                         {"type", edge.type},
                         {"section", edge.section},
                         {"line", edge.line}});
    for (const StatusEnd& end : graph.ends)
        ends.push_back({{"status", end.status}, {"section", end.section}, {"line", end.line}});
    for (const WalkStart& start : reachable.starts)
        starts.push_back({{"type", start.type},
                          {"line", start.line},
                          {"section", reachable.process[start.at].section}});
    for (const WalkStep& step : reachable.steps) {
        Json json = {{"from", reachable.process[step.from].section},
                     {"to", reachable.process[step.to].section},
                     {"key", walkKey(step.direction)},
                     {"entry", step.entry},
                     {"line", step.line}};
        if (std::find(steps.begin(), steps.end(), json) == steps.end())
            steps.push_back(std::move(json));
    }
    return {{"statuses", {{"edges", edges}, {"older", older}, {"ends", ends}}},
            {"walks", {{"starts", starts}, {"steps", steps}}}};
}

// Graphviz draws it, if it is there.
void drawSvg(const std::string& dot, const std::string& path) {
    std::error_code ignored;
    if (fs::exists(pathOf(path), ignored))
        throw CommandError("there is a file " + path + " already");
    const std::string directory = makeTemporaryDirectory("keld-graph");
    const std::string source = (pathOf(directory) / "graph.dot").string();
    const std::string drawn = (pathOf(directory) / "graph.svg").string();
    std::ofstream(pathOf(source), std::ios::binary) << dot;
    int status = -1;
    try {
        constexpr int kSeconds = 60;
        status = runProgram(
            {{"dot", "-Tsvg", source}, directory, drawn, (pathOf(directory) / "errors").string()},
            kSeconds);
        if (status == 0)
            fs::copy_file(pathOf(drawn), pathOf(path));
    } catch (const fs::filesystem_error& failure) {
        fs::remove_all(pathOf(directory), ignored);
        throw CommandError("can't write " + path + ": " + failure.code().message());
    } catch (const CommandError&) {
        status = -1;
    }
    fs::remove_all(pathOf(directory), ignored);
    if (status != 0)
        throw CommandError("Graphviz's program dot can't be run; --dot prints what it draws from");
}

int showGraph(Context& context, const WantedGraph& wanted) {
    openOrStandard(context);
    const ConfigFile file = needIni(wanted.ini);
    const KnownNames names = knownNames(context);
    const Reachable reachable = followWalks(file.ini, names);
    const StatusGraph graph = statusGraph(file.ini, reachable);
    const bool statuses = wanted.only != "walks", walks = wanted.only != "statuses";
    context.document = graphJson(graph, reachable);
    if (!wanted.svg.empty()) {
        drawSvg(statuses ? asDot(graph) : walksAsDot(reachable), wanted.svg);
        context.print("drew " + wanted.svg + "\n");
        return kExitDone;
    }
    std::string text;
    if (wanted.dot)
        text = (statuses ? asDot(graph) : "") + (walks ? walksAsDot(reachable) : "");
    else
        text = (statuses ? asText(graph) : "") + (walks ? walksAsText(reachable) : "");
    context.print(text);
    return kExitDone;
}

}  // namespace

void addConfigGraphVerb(Verbs& verbs, CLI::App* group) {
    auto wanted = std::make_shared<WantedGraph>();
    CLI::App* verb =
        verbs.add(group, "graph", "Show which status may follow which, and where the walks go",
                  "  keld config graph\n"
                  "  keld config graph --only statuses --dot\n"
                  "  keld config graph --only walks --svg walks.svg\n",
                  [wanted](Context& context) { return showGraph(context, *wanted); });
    verb->add_option("--only", wanted->only, "one of the two graphs: statuses or walks")
        ->check(CLI::IsMember({"statuses", "walks"}));
    CLI::Option* dot = verb->add_flag("--dot", wanted->dot, "as text for Graphviz");
    verb->add_option("--svg", wanted->svg,
                     "draw it to this new file, if Graphviz is installed; without --only the "
                     "graph of the statuses")
        ->excludes(dot);
    verb->add_option("--ini", wanted->ini, "of this file in place of the configured one");
}

}  // namespace keld
