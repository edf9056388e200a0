#include "tools/keld/verbs/protocol.h"

#include <sstream>

namespace keld {

namespace {

// Take the text before the mark, and the mark, off the front; false if there is no mark.
bool takeUpTo(std::string& text, const std::string& mark, std::string& taken) {
    const auto at = text.find(mark);
    if (at == std::string::npos)
        return false;
    taken = text.substr(0, at);
    text.erase(0, at + mark.size());
    return true;
}

}  // namespace

std::vector<ProtocolBlock> readProtocol(const std::string& text) {
    std::vector<ProtocolBlock> protocol;
    std::istringstream in(text);
    std::string line;
    std::getline(in, line);  // the header
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (line.empty())
            continue;
        if (!line.starts_with("\t\t")) {
            protocol.push_back({line, {}});
            continue;
        }
        ProtocolLine child;
        line.erase(0, 2);
        if (!protocol.empty() && takeUpTo(line, "\t\t", child.component) &&
            takeUpTo(line, "\t\t", child.before) && takeUpTo(line, "\t\t", child.now)) {
            child.status = line;
            protocol.back().lines.push_back(child);
        }
    }
    return protocol;
}

Json asJson(const std::vector<ProtocolBlock>& protocol) {
    Json all = Json::array();
    for (const ProtocolBlock& block : protocol) {
        Json lines = Json::array();
        for (const ProtocolLine& line : block.lines)
            lines.push_back({{"component", line.component},
                             {"old", line.before},
                             {"new", line.now.empty() ? Json() : Json(line.now)},
                             {"status", line.status}});
        all.push_back({{"parent", block.parent}, {"lines", lines}});
    }
    return all;
}

std::string asText(const std::vector<ProtocolBlock>& protocol) {
    if (protocol.empty())
        return "no lines were worked on\n";
    Table table({"PARENT", "COMPONENT", "OLD", "NEW", "STATUS"});
    for (const ProtocolBlock& block : protocol) {
        bool first = true;
        for (const ProtocolLine& line : block.lines) {
            table.add(
                {first ? block.parent : "", line.component, line.before, line.now, line.status});
            first = false;
        }
    }
    return table.text();
}

}  // namespace keld
