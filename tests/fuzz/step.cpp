// STEP files: any content is read or refused, with the same result however few bytes the stream
// gives at a time.

#include <algorithm>
#include <istream>
#include <sstream>
#include <streambuf>
#include <string>

#include "tests/fuzz/fuzz.h"
#include "workbench/import/step_plan.h"
#include "workbench/import/step_reader.h"
#include "workbench/import/step_text.h"
#include "workbench/model/status.h"
#include "workbench/utf8.h"
#include "workbench/workbench.h"

namespace {

// Gives a few bytes at a time.
class ShortBuffer : public std::streambuf {
public:
    ShortBuffer(std::string_view text, std::size_t step) : rest_(text), step_(step) {}

private:
    int_type underflow() override {
        part_ = rest_.substr(0, step_);
        rest_.remove_prefix(part_.size());
        if (part_.empty())
            return traits_type::eof();
        setg(part_.data(), part_.data(), part_.data() + part_.size());
        return traits_type::to_int_type(part_.front());
    }
    std::string_view rest_;
    std::size_t step_;
    std::string part_;
};

// What was read, as a text to compare.
std::string shown(const mervane::StepStructure& read) {
    std::ostringstream out;
    for (const auto& product : read.products)
        out << product.instance << ' ' << product.line << ' ' << product.id << '|' << product.name
            << '|' << product.description << '\n';
    for (const auto& formation : read.formations)
        out << formation.instance << ' ' << formation.id << '|' << formation.product << '\n';
    for (const auto& definition : read.definitions)
        out << definition.instance << ' ' << definition.formation << '\n';
    for (const auto& usage : read.usages)
        out << usage.instance << ' ' << usage.id << '|' << usage.name << '|' << usage.parent << ' '
            << usage.child << '\n';
    out << read.instances << ' ' << read.bytes;
    return out.str();
}

void checkStructure(const mervane::StepStructure& read) {
    fuzz::require(!read.products.empty(), "there is a product");
    for (const auto& product : read.products)
        for (const std::string* text : {&product.id, &product.name, &product.description})
            fuzz::require(mervane::isUtf8(*text), "texts are UTF-8");
    for (const auto& formation : read.formations)
        fuzz::require(formation.product < read.products.size(), "a formation has its product");
    for (const auto& definition : read.definitions)
        fuzz::require(definition.formation < read.formations.size(), "a definition has its own");
    for (const auto& usage : read.usages)
        fuzz::require(usage.parent < read.definitions.size() &&
                          usage.child < read.definitions.size() && usage.parent != usage.child,
                      "a usage has both ends");
}

void checkPlan(const mervane::StepStructure& read) {
    const mervane::StepLimits limits;
    const auto plan =
        mervane::planStep(read, limits, [](const std::string& id) { return id.ends_with('1'); });
    std::vector<std::string> ids;
    for (const auto& item : plan.items) {
        fuzz::require(!item.id.empty() && item.id.size() <= limits.item_id, "an id that fits");
        fuzz::require(mervane::isUtf8(item.id), "an id is UTF-8");
        fuzz::require(item.name.size() <= limits.name, "a name that fits");
        ids.push_back(item.id);
    }
    std::sort(ids.begin(), ids.end());
    fuzz::require(std::adjacent_find(ids.begin(), ids.end()) == ids.end(), "each id once");
    for (const auto& revision : plan.revisions) {
        fuzz::require(revision.item < plan.items.size(), "a revision has its item");
        fuzz::require(!revision.id.empty() && revision.id.size() <= limits.revision_id,
                      "a revision's id fits");
    }
    for (const auto& occurrence : plan.occurrences)
        fuzz::require(
            occurrence.parent < plan.revisions.size() && occurrence.child < plan.revisions.size(),
            "an occurrence has both ends");
}

std::string readFrom(std::streambuf& buffer, bool first) {
    std::istream in(&buffer);
    std::ostringstream copy;
    try {
        const mervane::StepStructure read = mervane::readStep(in, "f.stp", &copy);
        if (first) {
            checkStructure(read);
            checkPlan(read);
        }
        return shown(read) + copy.str();
    } catch (const mervane::Failure& failure) {
        fuzz::require(failure.status() == mervane::kBadImport, "a refusal of the file");
        fuzz::require(std::string_view(failure.what()).starts_with("f.stp"), "with its place");
        return failure.what();
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    std::stringbuf whole{std::string(text)};
    const std::string read = readFrom(whole, true);
    if (size % 4 == 0) {
        ShortBuffer some(text, 1 + size % 13);
        fuzz::require(readFrom(some, false) == read, "the same in short pieces");
    }
    const std::unique_ptr<char[]> exact(new char[size]);
    std::copy(text.begin(), text.end(), exact.get());
    try {
        fuzz::require(mervane::isUtf8(mervane::decodeStepText({exact.get(), size})),
                      "a decoded text is UTF-8");
    } catch (const mervane::BadStepText&) {
    }
    return 0;
}
