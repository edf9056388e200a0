// set --from: sets values of many objects by a file of rows.

#include <optional>

#include "tools/keld/host/csv_input.h"
#include "tools/keld/host/nearest.h"
#include "tools/keld/host/progress.h"
#include "tools/keld/host/value_table.h"
#include "tools/keld/verbs/property_values.h"

namespace keld {

namespace {

class StoreOfValues final : public ValueStore {
public:
    explicit StoreOfValues(const Context& context) : context_(context) {}

    Found find(const std::string& name, bool explain) override {
        Found found;
        try {
            found.object = context_.workbench().resolve(name);
        } catch (const mervane::Failure& failure) {
            constexpr int kUnknownObject = 710003;
            found.why = failure.what();
            if (explain && failure.status() == kUnknownObject)
                found.why = "there is no object " + foundText(name) + "." +
                            didYouMean(nearest(name, context_.workbench().similarNames(name)));
        }
        return found;
    }
    std::string whyNotProperty(const std::string& property) override {
        return keld::whyNotByHand(property);
    }
    std::string whyNotValue(tag_t object, const std::string& property,
                            const std::string& text) override {
        return keld::whyNotValue(context_, object, {property, text});
    }

private:
    const Context& context_;
};

}  // namespace

int setRows(Context& context, const CsvWish& csv, const RunWish& wish) {
    CsvInput input(context, csv, wish);
    context.open();
    CsvProblems problems(input.name());
    StoreOfValues store(context);
    std::optional<Progress> progress(std::in_place, "setting values from " + input.name(),
                                     "object");
    const ValueTable values = readValues(input.stream(), input.separator(), store, problems);
    // Report all problems before anything is changed.
    if (problems.any()) {
        progress.reset();
        return refuseRows(context, input, problems);
    }

    VerbRun run(context, wish, "set", "from " + csv.file);
    run.leaveChangesUnread();
    Table table({"ROW", "OBJECT", "SET"});
    std::size_t objects = 0, cells = 0;
    std::size_t row_line = 0;
    Deed done = deed(context, NULLTAG, [&](Deed&) {
        for (const ValueRow& row : values.rows) {
            row_line = row.line;
            std::vector<PropertyValue> wanted;
            for (const ValueRow::Value& value : row.values)
                wanted.push_back({values.properties[value.column - 1], value.text});
            const std::vector<std::string> changed = setValues(context, row.object, wanted);
            progress->count();
            if (changed.empty())
                continue;
            ++objects;
            cells += changed.size();
            std::string names;
            for (const std::string& name : changed)
                names += (names.empty() ? "" : ", ") + name;
            if (wish.dry_run)
                table.add({std::to_string(row.line), context.title(row.object), names});
        }
    });
    for (Refusal& refusal : done.refusals)
        refusal.found = input.name() + ":" + std::to_string(row_line) + ": " + refusal.found;
    const Record record = run.end(done.outcome);
    progress.reset();
    const bool good = done.outcome.succeeded() && (run.kept() || run.rehearses());
    context.document = {{"file", input.name()},
                        {"rows", values.rows.size()},
                        {"objects", objects},
                        {"values", cells},
                        {"succeeded", good},
                        {"dry_run", run.rehearses()},
                        {"outcome", asJson(context, done.outcome)}};
    if (good && run.rehearses())
        context.print("dry run, nothing is changed; it would be:\n" +
                      (table.empty() ? std::string() : table.text()));
    if (good)
        context.print(counted(values.rows.size(), "row") + ": " + counted(cells, "value") + " of " +
                      counted(objects, "object") + " set\n");
    tellProblems(context, done.outcome, done.refusals);
    return tellEnd(context, run, record, done.outcome);
}

}  // namespace keld
