// version: which programs and libraries are in use.

#include <CLI/CLI.hpp>
#include <filesystem>
#include <fstream>

#include "platform/keld_se.h"
#include "platform/keld_version.h"
#include "tools/keld/host/context.h"
#include "tools/keld/host/system.h"

namespace keld {

namespace {

namespace fs = std::filesystem;

// Give what the library prints to standard output, line by line.
std::vector<std::string> versionReport() {
    const std::string file = makeTemporaryFile("keld-version");
    {
        const OutputAside aside(file);
        KELD_Version();
    }
    std::vector<std::string> lines;
    {
        std::ifstream in(pathOf(file));
        for (std::string line; std::getline(in, line);) {
            if (!line.empty() && line.back() == '\r')
                line.pop_back();
            lines.push_back(line);
        }
    }
    std::error_code ignored;
    fs::remove(pathOf(file), ignored);
    while (!lines.empty() && lines.back().empty())
        lines.pop_back();
    return lines;
}

// Date and time are after the version in the first line of the report.
std::string buildStamp(const std::vector<std::string>& report) {
    const auto at = report.empty() ? std::string::npos : report.front().find(")  ");
    return at == std::string::npos ? "" : report.front().substr(at + 3);
}

int version(Context& context) {
    context.setUpLog();
    const std::vector<std::string> report = versionReport();
    Table table({});
    table.add({"keld", KELD_VERSION});
    table.add({"built", buildStamp(report)});
    context.document = {{"version", KELD_VERSION},
                        {"built", buildStamp(report)},
                        {"lines", report},
                        {"libraries", Json::array()}};
    const auto add = [&](const std::string& name, const char* function) {
        const Module module = moduleOf(findFunction(function));
        table.add({name, module.version.empty() ? "no version" : module.version, module.file});
        return Json{{"name", name}, {"version", module.version}, {"file", module.file}};
    };
    for (const auto& [name, function] : {std::pair{"keld_se", "KELD_SrvCall"},
                                         {"keld_qsktool", "KELD_CopyString"},
                                         {"keld_basetool", "KELD_GetLogLevel"}})
        context.document["libraries"].push_back(add(name, function));
    // The module that answers the libraries' platform calls: the workbench, or that of a server.
    context.document["platform"] = add("platform", "OBJ_save");
    for (const std::string& line : report)
        context.print(line + "\n");
    context.print("\n" + table.text());
    return kExitDone;
}

}  // namespace

void addVersionVerb(Verbs& verbs) {
    verbs.add(&verbs.app, "version",
              "Show the versions of the libraries and of the platform in use", "  keld version\n",
              version);
}

}  // namespace keld
