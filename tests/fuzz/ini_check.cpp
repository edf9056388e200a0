// The configuration check: it reads from a file what the library reads. Whatever the file contains,
// the check ends, and its findings are about lines of the file.

#include <algorithm>
#include <string>

#include "basetool/keld_ini.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/plain.h"
#include "tools/keld/lint/ini_check.h"
#include "tools/keld/lint/ini_graph.h"

namespace {

const keld::KnownNames& names() {
    static const keld::KnownNames known = {
        {"Item", "ItemRevision", "Document", "DocumentRevision", "BOMView Revision", "Drawing"},
        {"VANE_specification", "KELD_rel"},
        {"READ", "CHANGE"},
        {"Release"},
        {"Item", "Document"},
        {"ItemRevision", "DocumentRevision"},
        {"Drawing"},
        {"BOMView Revision"},
        {"Released", "In Work"},
        [](const keld::Reached&, const std::string&) {
            return std::vector<std::string>{"object_name", "user_data_1"};
        }};
    return known;
}

void compareWithLibrary(const std::string& text, const keld::IniFile& file) {
    CKELD_IniContent content;
    content.Parse(text);
    fuzz::require(file.distinctSections().size() == content.m_sections.size(), "as many sections");
    for (const auto& [name, section] : content.m_sections) {
        fuzz::require(file.hasSection(name), "the section is there");
        const auto entries = file.entries(name);
        fuzz::require(entries.size() == section.size(), "as many keys");
        for (const keld::IniEntry* entry : entries) {
            const auto read = section.find(std::string_view(entry->key));
            fuzz::require(read != section.end() && read->second == entry->value,
                          "the value that the library reads");
            fuzz::require(file.find(name, entry->key) == entry, "found by its key");
        }
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const int lines = static_cast<int>(std::count(text.begin(), text.end(), '\n')) + 1;
    const keld::IniFile file = keld::parseIni(text);
    compareWithLibrary(text, file);
    for (const keld::IniIgnored& ignored : file.ignored)
        fuzz::require(ignored.line >= 1 && ignored.line <= lines, "an ignored line of the file");
    int before = 0;
    for (const keld::Finding& finding : keld::checkIni(file, names())) {
        fuzz::require(finding.line >= before && finding.line <= lines, "findings by their lines");
        fuzz::require(!finding.text.empty(), "a finding says something");
        before = finding.line;
    }
    const keld::Reachable reachable = keld::followWalks(file, names());
    const keld::StatusGraph graph = keld::statusGraph(file, reachable);
    fuzz::require(keld::asText(graph).starts_with("statuses\n"), "a graph as text");
    fuzz::require(keld::asDot(graph).ends_with("}\n"), "a graph for Graphviz");
    fuzz::require(keld::walksAsDot(reachable).ends_with("}\n"), "walks for Graphviz");
    (void)keld::walksAsText(reachable);
    return 0;
}
