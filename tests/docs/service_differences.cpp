#include "tests/docs/service_differences.h"

#include <cctype>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>

namespace docs {
namespace {

namespace fs = std::filesystem;
using keld::Holds;
using keld::Service;
using keld::Slot;

constexpr const char* kHeader = "src/platform/keld_se.h";
constexpr const char* kExports = "cmake/exports/keld_se.txt";
constexpr const char* kPage = "docs/services.md";
constexpr const char* kFuzzers = "tests/fuzz/CMakeLists.txt";
constexpr const char* kSweep = "tests/faults/*_sweep_test.cpp";
constexpr const char* kMemory = "tests/memory/entry_memory_test.cpp";

std::string content(const fs::path& path) {
    std::ifstream file(path);
    if (!file)
        throw std::runtime_error(path.string() + " can't be read");
    return {std::istreambuf_iterator<char>(file), {}};
}

bool has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// ---- arguments as a text tells them: "one, two (texts), three" ----

struct Told {
    std::string name;
    std::string hint;  // in parentheses after it
};

// The parts between commas that are outside of parentheses.
std::vector<Told> toldArguments(const std::string& text) {
    std::vector<Told> told(1);
    int depth = 0;
    for (const char c : text + ",") {
        if (c == ',' && depth == 0) {
            told.emplace_back();
            continue;
        }
        depth += c == '(' ? 1 : c == ')' ? -1 : 0;
        (depth > 0 || c == ')' ? told.back().hint : told.back().name) += c;
    }
    told.pop_back();
    for (Told& each : told) {
        const std::size_t first = each.name.find_first_not_of(' '),
                          last = each.name.find_last_not_of(' ');
        each.name = first == std::string::npos ? "" : each.name.substr(first, last - first + 1);
    }
    return told;
}

// What a hint says of the kind; empty if it says something else.
std::string hintedKind(const std::string& hint) {
    if (hint == "(text)" || hint == "(texts)")
        return "string";
    if (hint == "(integer)" || hint == "(integers)")
        return "int";
    return "";
}

std::string joined(const std::vector<std::string>& names) {
    std::string all;
    for (const std::string& name : names)
        all += (all.empty() ? "" : ", ") + name;
    return all;
}

// Names in their order; kinds as far as they are told. A hint in the plural holds for all arguments
// since the hint before it.
std::vector<std::string> argumentDifferences(const Service& service, const std::string& text) {
    const std::vector<Told> told = toldArguments(text);
    std::vector<std::string> names, described, differences;
    for (const Told& each : told)
        names.push_back(each.name);
    for (const keld::ServiceArgument& argument : service.arguments)
        described.push_back(argument.name);
    if (names != described)
        return {"has the arguments " + joined(names) + "; described are " + joined(described)};
    std::size_t since = 0;
    for (std::size_t i = 0; i < told.size(); ++i) {
        const std::string kind = keld::wireKind(service.arguments[i].as);
        const bool list = told[i].name.starts_with("list of ") || told[i].hint == "(a list)";
        if (list != (kind == "tags"))
            differences.push_back(told[i].name +
                                  (list ? " is told as a list" : " isn't told as a list") +
                                  "; described is " + kind);
        const std::string hinted = hintedKind(told[i].hint);
        if (hinted.empty())
            continue;
        for (std::size_t k = told[i].hint.ends_with("s)") ? since : i; k <= i; ++k) {
            const std::string wire = keld::wireKind(service.arguments[k].as);
            if (wire != hinted)
                differences.push_back(told[k].name + " is told as " + hinted + "; described is " +
                                      wire);
        }
        since = i + 1;
    }
    return differences;
}

// ---- the places ----

class Comparison {
public:
    Comparison(const std::vector<Service>& services, const fs::path& project)
        : services_(services), project_(project) {}

    std::vector<std::string> all() {
        compareHeader();
        compareExports();
        comparePage();
        compareFuzzers();
        compareSweep();
        compareMemory();
        return differences_;
    }

private:
    void differs(const std::string& file, const std::string& service, const std::string& what) {
        differences_.push_back(file + ": " + service + " " + what);
    }

    void compareArguments(const std::string& file, const Service& service,
                          const std::string& text) {
        for (const std::string& difference : argumentDifferences(service, text))
            differs(file, service.name, difference);
    }

    // Every service is in the place, and nothing else.
    void compareNames(const std::string& file, std::set<std::string> found,
                      std::string Service::*called = &Service::function) {
        for (const Service& service : services_)
            if (found.erase(service.*called) == 0)
                differs(file, service.name, "isn't there");
        for (const std::string& name : found)
            differs(file, name, "isn't described in tools/keld/services.cpp");
    }

    // The declarations between two lines of the header, each with the comment above it.
    void compareHeader() {
        std::istringstream header(content(project_ / kHeader));
        std::map<std::string, std::pair<std::string, std::string>> found;  // slot, comment
        std::set<std::string> names;
        std::string comment;
        bool inside = false;
        for (std::string line; std::getline(header, line);) {
            if (line.starts_with("// ---- "))
                inside = line == "// ---- user services ----";
            else if (!inside || line.empty())
                comment.clear();
            else if (line.starts_with("// "))
                comment += line.substr(2);
            else if (const auto [name, slot] = declared(line); !name.empty()) {
                found[name] = {slot, comment};
                names.insert(name);
            } else
                differences_.push_back(std::string(kHeader) +
                                       ": not the declaration of a service: " + line);
        }
        compareNames(kHeader, names);
        for (const Service& service : services_) {
            const auto declaration = found.find(service.function);
            if (declaration == found.end())
                continue;
            const auto& [slot, told] = declaration->second;
            static const std::map<Slot, std::string> slots = {
                {Slot::Int, "int"}, {Slot::Tag, "tag_t"}, {Slot::Text, "char*"}};
            if (slot != slots.at(service.slot))
                differs(kHeader, service.name,
                        "has a place for " + slot + "; described is " + slots.at(service.slot));
            compareArguments(kHeader, service, argumentsIn(told));
            if (has(told, "Returns: 0 always") != service.always_zero)
                differs(kHeader, service.name, "returns 0 always in one of the two alone");
        }
    }

    // The name and what its place is for: "KELD_SE_API int NAME(SLOT* result);". Else empty.
    static std::pair<std::string, std::string> declared(const std::string& line) {
        const std::string begin = "KELD_SE_API int ", end = "* result);";
        const std::size_t open = line.find('(');
        if (!line.starts_with(begin) || !line.ends_with(end) || open == std::string::npos)
            return {};
        return {line.substr(begin.size(), open - begin.size()),
                line.substr(open + 1, line.size() - end.size() - open - 1)};
    }

    // What a comment says after "Arguments:", up to the first period outside of parentheses.
    static std::string argumentsIn(const std::string& comment) {
        std::size_t at = std::string::npos;
        for (const std::string begin : {"Arguments: ", "Argument: "})
            if (at == std::string::npos && has(comment, begin))
                at = comment.find(begin) + begin.size();
        if (at == std::string::npos)
            return "";
        std::string text;
        int depth = 0;
        for (const char c : comment.substr(at)) {
            depth += c == '(' ? 1 : c == ')' ? -1 : 0;
            if (c == '.' && depth == 0)
                break;
            text += c;
        }
        return text;
    }

    // The other names that are exported aren't services.
    void compareExports() {
        const std::string exported = "\n" + content(project_ / kExports);
        for (const Service& service : services_)
            if (!has(exported, "\n" + service.function + "\n"))
                differs(kExports, service.name, "isn't there");
    }

    // The rows of the table: arguments, result, returned status.
    void comparePage() {
        std::istringstream page(content(project_ / kPage));
        std::map<std::string, std::vector<std::string>> rows;
        std::set<std::string> names;
        for (std::string line; std::getline(page, line);) {
            if (!line.starts_with("| `KELD_"))
                continue;
            std::vector<std::string> cells = cellsOf(line);
            const std::string name = cells.front().substr(1, cells.front().size() - 2);
            cells.erase(cells.begin());
            if (cells.size() != 3) {
                differs(kPage, name, "has a row with another number of cells than the table");
                continue;
            }
            rows[name] = cells;
            names.insert(name);
        }
        compareNames(kPage, names, &Service::name);
        for (const Service& service : services_) {
            const auto found = rows.find(service.name);
            if (found == rows.end())
                continue;
            const std::vector<std::string>& cells = found->second;
            compareArguments(kPage, service, cells[0]);
            const std::string &result = cells[1], &returns = cells[2];
            if (has(result, "text") != (service.slot == Slot::Text))
                differs(kPage, service.name, "gives a text in one of the two alone");
            if (has(result, "object") != (service.slot == Slot::Tag))
                differs(kPage, service.name, "gives an object in one of the two alone");
            if (result.starts_with("0,") != (service.holds == Holds::Zero))
                differs(kPage, service.name, "has the result 0 in one of the two alone");
            if (has(returns, "the same") != (service.holds == Holds::Returned))
                differs(kPage, service.name,
                        "has the returned status as its result in one of the two alone");
            if ((returns == "0, always") != service.always_zero)
                differs(kPage, service.name, "returns 0 always in one of the two alone");
        }
    }

    void compareFuzzers() {
        compareNames(kFuzzers, namesAfter(content(project_ / kFuzzers), "\nkeld_fuzz_service("));
    }

    void compareSweep() {
        std::string sweeps;
        for (const auto& entry : fs::directory_iterator(project_ / "tests/faults"))
            if (entry.path().filename().string().ends_with("_sweep_test.cpp"))
                sweeps += content(entry.path());
        std::erase_if(sweeps, [](char c) { return c == ' ' || c == '\n'; });
        std::set<std::string> names = namesAfter(sweeps, "callService(world,\"");
        names.merge(namesAfter(sweeps, "sendTo(world,\""));
        compareNames(kSweep, names, &Service::name);
    }

    // The test itself holds the other exported names against its cases.
    void compareMemory() {
        const std::string cases = content(project_ / kMemory);
        for (const Service& service : services_)
            if (!has(cases, "\"" + service.function + "\""))
                differs(kMemory, service.name, "isn't there");
    }

    // "| one | two |" without its bars.
    static std::vector<std::string> cellsOf(const std::string& row) {
        std::vector<std::string> cells;
        std::size_t start = 2;
        for (std::size_t at; (at = row.find(" |", start)) != std::string::npos; start = at + 3)
            cells.push_back(row.substr(start, at - start));
        return cells;
    }

    static std::set<std::string> namesAfter(const std::string& text, const std::string& marker) {
        std::set<std::string> names;
        for (std::size_t at = 0; (at = text.find(marker, at)) != std::string::npos;) {
            at += marker.size();
            std::size_t end = at;
            while (end < text.size() &&
                   (std::isalnum(static_cast<unsigned char>(text[end])) || text[end] == '_'))
                ++end;
            names.insert(text.substr(at, end - at));
        }
        return names;
    }

    const std::vector<Service>& services_;
    const fs::path& project_;
    std::vector<std::string> differences_;
};

}  // namespace

std::vector<std::string> serviceDifferences(const std::vector<Service>& services,
                                            const fs::path& project) {
    return Comparison(services, project).all();
}

}  // namespace docs
