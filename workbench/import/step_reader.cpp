#include "workbench/import/step_reader.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <unordered_map>

#include "workbench/import/step_scanner.h"

namespace mervane {
namespace {

enum class Entity { Other, Product, Formation, Definition, Relationship, Usage };

Entity entityOf(std::string_view keyword) {
    if (keyword == "PRODUCT")
        return Entity::Product;
    if (keyword == "PRODUCT_DEFINITION_FORMATION" ||
        keyword == "PRODUCT_DEFINITION_FORMATION_WITH_SPECIFIED_SOURCE")
        return Entity::Formation;
    if (keyword == "PRODUCT_DEFINITION" ||
        keyword == "PRODUCT_DEFINITION_WITH_ASSOCIATED_DOCUMENTS")
        return Entity::Definition;
    if (keyword == "PRODUCT_DEFINITION_RELATIONSHIP")
        return Entity::Relationship;
    if (keyword == "NEXT_ASSEMBLY_USAGE_OCCURRENCE")
        return Entity::Usage;
    return Entity::Other;
}

struct Parameter {
    StepToken kind = StepToken::End;  // Open for a list, Keyword for a typed value
    std::string text;
    std::uint64_t number = 0;
};
using Parameters = std::vector<Parameter>;

// References by instance number, until the whole file has been read: they may lead forwards.
struct Unresolved {
    std::vector<std::uint64_t> formation_product, definition_formation, usage_parent, usage_child;
};

class Reader {
public:
    Reader(std::istream& in, const std::string& source_name, std::ostream* copy)
        : scanner_(in, source_name, copy) {}

    StepStructure read() {
        readMark("ISO-10303-21");
        readSections();
        if (structure_.products.empty())
            scanner_.fail(scanner_.line(), "expected at least one PRODUCT, found none");
        resolve();
        refuseCycles();
        structure_.bytes = scanner_.bytesRead();
        return std::move(structure_);
    }

private:
    void expect(StepToken token, const char* what) {
        if (scanner_.next() != token)
            scanner_.failExpected(what);
    }

    void readMark(const char* mark) {
        if (scanner_.next() != StepToken::Keyword || scanner_.text() != mark)
            scanner_.failExpected(std::string(mark) + " at the start of a STEP file");
        expect(StepToken::Semicolon, "';'");
    }

    void readSections() {
        bool header = false, data = false;
        while (true) {
            const char* what = !header ? "HEADER" : !data ? "DATA" : "DATA or END-ISO-10303-21";
            if (scanner_.next() != StepToken::Keyword)
                scanner_.failExpected(what);
            // The next token changes this text, so nothing below uses it after expect().
            const std::string_view keyword = scanner_.text();
            if (!header && keyword == "HEADER") {
                header = true;
                expect(StepToken::Semicolon, "';' after HEADER");
                readHeader();
            } else if (header && keyword == "DATA") {
                data = true;
                readDataStart();
                readData();
            } else if (header && !data && (keyword == "ANCHOR" || keyword == "REFERENCE")) {
                skipSection();
            } else if (data && keyword == "END-ISO-10303-21") {
                expect(StepToken::Semicolon, "';'");
                readEnd();
                return;
            } else {
                scanner_.failExpected(what);
            }
        }
    }

    void readEnd() {
        // A signature isn't made of the tokens of the other sections.
        if (scanner_.next() == StepToken::Keyword && scanner_.text() == "SIGNATURE")
            scanner_.skipRest();
        else if (scanner_.token() != StepToken::End)
            scanner_.failExpected("nothing after END-ISO-10303-21");
    }

    void readHeader() {
        while (true) {
            if (scanner_.next() != StepToken::Keyword)
                scanner_.failExpected("a header entity or ENDSEC");
            if (scanner_.text() == "ENDSEC")
                return expect(StepToken::Semicolon, "';' after ENDSEC");
            entity_start_ = scanner_.bytesRead();
            readRecord(nullptr);
            expect(StepToken::Semicolon, "';' after a header entity");
        }
    }

    // The optional name and schemas of a data section.
    void readDataStart() {
        if (scanner_.next() == StepToken::Open) {
            entity_start_ = scanner_.bytesRead();
            readParameters(nullptr);
            scanner_.next();
        }
        if (scanner_.token() != StepToken::Semicolon)
            scanner_.failExpected("';' after DATA");
    }

    void skipSection() {
        expect(StepToken::Semicolon, "';' after the name of a section");
        while (scanner_.next() != StepToken::Keyword || scanner_.text() != "ENDSEC")
            if (scanner_.token() == StepToken::End)
                scanner_.failExpected("ENDSEC");
        expect(StepToken::Semicolon, "';' after ENDSEC");
    }

    void readData() {
        while (true) {
            if (scanner_.next() == StepToken::Keyword && scanner_.text() == "ENDSEC")
                return expect(StepToken::Semicolon, "';' after ENDSEC");
            if (scanner_.token() != StepToken::Instance)
                scanner_.failExpected("an instance (#n=...) or ENDSEC");
            readInstance();
        }
    }

    void readInstance() {
        const std::uint64_t instance = scanner_.number();
        entity_line_ = scanner_.line();
        entity_start_ = scanner_.bytesRead();
        ++structure_.instances;
        expect(StepToken::Equals, "'='");
        if (scanner_.next() == StepToken::Keyword) {
            const Entity entity = entityOf(scanner_.text());
            // A relationship alone is no usage: it counts in an instance of several types only.
            const bool kept = entity != Entity::Other && entity != Entity::Relationship;
            parameters_.clear();
            readRecord(kept ? &parameters_ : nullptr);
            if (kept)
                keep(entity, instance, parameters_);
        } else if (scanner_.token() == StepToken::Open) {
            readComplex(instance);
        } else {
            scanner_.failExpected("the name of an entity");
        }
        expect(StepToken::Semicolon, "';' at the end of an instance");
    }

    // An instance of several types: ( TYPE(...) TYPE(...) ). Each has its own parameters only, so
    // those of a usage are found at its supertype.
    void readComplex(std::uint64_t instance) {
        Entity entity = Entity::Other;
        std::optional<Parameters> relationship;
        Parameters own;
        while (scanner_.next() != StepToken::Close) {
            if (scanner_.token() != StepToken::Keyword)
                scanner_.failExpected("the name of an entity or ')'");
            // A subtype has only the parameters that it adds, and those that count are at its base.
            const bool subtype = scanner_.text().find("_WITH_") != std::string_view::npos;
            const Entity part = subtype ? Entity::Other : entityOf(scanner_.text());
            parameters_.clear();
            readRecord(part == Entity::Other ? nullptr : &parameters_);
            if (part == Entity::Relationship) {
                relationship = parameters_;
            } else if (part != Entity::Other) {
                entity = part;
                own = parameters_;
            }
        }
        if (entity == Entity::Usage) {
            if (!relationship)
                scanner_.fail(entity_line_,
                              "expected PRODUCT_DEFINITION_RELATIONSHIP beside "
                              "NEXT_ASSEMBLY_USAGE_OCCURRENCE");
            keep(entity, instance, *relationship);
        } else if (entity != Entity::Other) {
            keep(entity, instance, own);
        }
    }

    // KEYWORD(...), the keyword being read.
    void readRecord(Parameters* kept) {
        expect(StepToken::Open, "'(' after the name of an entity");
        readParameters(kept);
    }

    // Read from after an opening parenthesis to the one that closes it. Only values of this level
    // are kept; deeper ones are checked for their form.
    void readParameters(Parameters* kept) {
        scanner_.keepStrings(kept != nullptr);
        int depth = 1;
        bool after_value = false, first = true;
        while (depth > 0) {
            const StepToken token = scanner_.next();
            limitEntity(kept != nullptr);
            // An empty list may close at once, but nothing may close after a comma.
            if (token == StepToken::Close && (after_value || first)) {
                --depth;
                after_value = true;
                first = false;
            } else if (after_value) {
                if (token != StepToken::Comma)
                    scanner_.failExpected("',' or ')'");
                after_value = false;
            } else {
                readValue(token, depth, kept, after_value, first);
            }
        }
        scanner_.keepStrings(false);
    }

    void readValue(StepToken token, int& depth, Parameters* kept, bool& after_value, bool& first) {
        switch (token) {
            case StepToken::Keyword:
            case StepToken::Open:
                if (kept && depth == 1)
                    kept->push_back({token, {}, 0});
                if (token == StepToken::Keyword)
                    expect(StepToken::Open, "'(' after the type of a value");
                if (++depth > kMaxNesting)
                    scanner_.fail(scanner_.line(), "expected at most " +
                                                       std::to_string(kMaxNesting) +
                                                       " parentheses in one another");
                first = true;
                return;
            case StepToken::Close:
            case StepToken::Comma:
            case StepToken::Semicolon:
            case StepToken::Equals:
            case StepToken::End:
                scanner_.failExpected("a value");
            default:
                break;
        }
        if (kept && depth == 1) {
            const bool string = token == StepToken::String;
            const bool numbered = token == StepToken::Instance;
            kept->push_back({token, string ? scanner_.decodedText() : std::string(),
                             numbered ? scanner_.number() : 0});
        }
        after_value = true;
        first = false;
    }

    void limitEntity(bool kept) {
        const std::uint64_t limit = kept ? kMaxProductBytes : kMaxEntityBytes;
        if (scanner_.bytesRead() - entity_start_ > limit)
            scanner_.fail(entity_line_,
                          "expected an entity of at most " + std::to_string(limit >> 20) + " MiB");
    }

    // ---- what is kept of an entity ----

    const Parameter& parameter(const Parameters& parameters, std::size_t index, const char* what) {
        if (index >= parameters.size())
            scanner_.fail(entity_line_, std::string("expected ") + what + " as parameter " +
                                            std::to_string(index + 1) + ", found " +
                                            std::to_string(parameters.size()) + " parameters");
        return parameters[index];
    }
    std::string text(const Parameters& parameters, std::size_t index, const char* what) {
        const Parameter& p = parameter(parameters, index, what);
        // A value that is unset or derived counts as an empty text.
        if (p.kind != StepToken::String && p.kind != StepToken::Dollar && p.kind != StepToken::Star)
            scanner_.fail(entity_line_, std::string("expected ") + what +
                                            " (a string) as parameter " +
                                            std::to_string(index + 1));
        return p.text;
    }
    std::uint64_t reference(const Parameters& parameters, std::size_t index, const char* what) {
        const Parameter& p = parameter(parameters, index, what);
        if (p.kind != StepToken::Instance)
            scanner_.fail(entity_line_, std::string("expected a reference to ") + what +
                                            " as parameter " + std::to_string(index + 1));
        return p.number;
    }

    void keep(Entity entity, std::uint64_t instance, const Parameters& p) {
        // Only numbers of kept entities are noted: those of the geometry would fill the memory.
        if (const auto [at, added] = lines_.try_emplace(instance, entity_line_); !added)
            scanner_.fail(entity_line_, "expected a new instance number, found #" +
                                            std::to_string(instance) + ", which line " +
                                            std::to_string(at->second) + " has");
        switch (entity) {
            case Entity::Product:
                products_[instance] = structure_.products.size();
                structure_.products.push_back({instance, entity_line_, text(p, 0, "the id"),
                                               text(p, 1, "the name"), optionalText(p, 2)});
                return;
            case Entity::Formation:
                formations_[instance] = structure_.formations.size();
                structure_.formations.push_back(
                    {instance, entity_line_, text(p, 0, "the id"), optionalText(p, 1), 0});
                unresolved_.formation_product.push_back(reference(p, 2, "a PRODUCT"));
                return;
            case Entity::Definition:
                definitions_[instance] = structure_.definitions.size();
                structure_.definitions.push_back({instance, entity_line_, 0});
                unresolved_.definition_formation.push_back(
                    reference(p, 2, "a PRODUCT_DEFINITION_FORMATION"));
                return;
            case Entity::Usage:
                structure_.usages.push_back(
                    {instance, entity_line_, text(p, 0, "the id"), optionalText(p, 1), 0, 0});
                unresolved_.usage_parent.push_back(reference(p, 3, "a PRODUCT_DEFINITION"));
                unresolved_.usage_child.push_back(reference(p, 4, "a PRODUCT_DEFINITION"));
                return;
            default:
                return;
        }
    }

    static std::string optionalText(const Parameters& parameters, std::size_t index) {
        // A missing description is no reason to refuse a file.
        return index < parameters.size() ? parameters[index].text : std::string();
    }

    // ---- references and cycles ----

    using Numbers = std::unordered_map<std::uint64_t, std::size_t>;

    std::size_t find(const Numbers& numbers, std::uint64_t instance, std::uint64_t line,
                     const char* what) {
        const auto found = numbers.find(instance);
        if (found == numbers.end())
            scanner_.fail(line, std::string("expected a reference to ") + what + ", found #" +
                                    std::to_string(instance) + ", which is none");
        return found->second;
    }

    void resolve() {
        for (std::size_t i = 0; i < structure_.formations.size(); ++i) {
            auto& formation = structure_.formations[i];
            formation.product =
                find(products_, unresolved_.formation_product[i], formation.line, "a PRODUCT");
        }
        for (std::size_t i = 0; i < structure_.definitions.size(); ++i) {
            auto& definition = structure_.definitions[i];
            definition.formation = find(formations_, unresolved_.definition_formation[i],
                                        definition.line, "a PRODUCT_DEFINITION_FORMATION");
        }
        for (std::size_t i = 0; i < structure_.usages.size(); ++i) {
            auto& usage = structure_.usages[i];
            usage.parent =
                find(definitions_, unresolved_.usage_parent[i], usage.line, "a PRODUCT_DEFINITION");
            usage.child =
                find(definitions_, unresolved_.usage_child[i], usage.line, "a PRODUCT_DEFINITION");
        }
    }

    // In a store versions contain one another, so the test is made on them, not on definitions.
    void refuseCycles() {
        const auto version = [&](std::size_t definition) {
            return structure_.definitions[definition].formation;
        };
        std::vector<std::vector<std::size_t>> below(structure_.formations.size());
        for (std::size_t i = 0; i < structure_.usages.size(); ++i)
            below[version(structure_.usages[i].parent)].push_back(i);
        // A path in place of calls: a chain in a file may be deeper than a stack.
        enum : char { New, Open, Done };
        std::vector<char> state(below.size(), New);
        std::vector<std::pair<std::size_t, std::size_t>> path;  // version, next usage
        for (std::size_t start = 0; start < below.size(); ++start) {
            if (state[start] != New)
                continue;
            state[start] = Open;
            path.push_back({start, 0});
            while (!path.empty()) {
                auto& [at, next] = path.back();
                if (next == below[at].size()) {
                    state[at] = Done;
                    path.pop_back();
                    continue;
                }
                const auto& usage = structure_.usages[below[at][next++]];
                const std::size_t child = version(usage.child);
                if (state[child] == Open)
                    scanner_.fail(usage.line, "expected a structure without a cycle, found that #" +
                                                  std::to_string(usage.instance) +
                                                  " puts a product into itself");
                if (state[child] == New) {
                    state[child] = Open;
                    path.push_back({child, 0});
                }
            }
        }
    }

    StepScanner scanner_;
    StepStructure structure_;
    Unresolved unresolved_;
    Numbers products_, formations_, definitions_;
    std::unordered_map<std::uint64_t, std::uint64_t> lines_;  // of what is kept
    Parameters parameters_;
    std::uint64_t entity_line_ = 0, entity_start_ = 0;
};

}  // namespace

StepStructure readStep(std::istream& in, const std::string& source_name, std::ostream* copy) {
    return Reader(in, source_name, copy).read();
}

}  // namespace mervane
