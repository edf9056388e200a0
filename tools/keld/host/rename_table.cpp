#include "tools/keld/host/rename_table.h"

#include <algorithm>
#include <optional>
#include <unordered_map>

namespace keld {

namespace {

constexpr std::size_t kLongestNewId = 128;

class RenameReader {
public:
    RenameReader(RenameStore& store, CsvProblems& problems) : store_(store), problems_(problems) {}

    std::vector<Rename> read(CsvReader& reader, bool ignore_columns) {
        CsvRow row;
        if (!reader.next(row)) {
            if (!problems_.any())
                problems_.add({1, 0}, "there is no row");
            return {};
        }
        const bool headings = hasHeadings(row);
        if (headings) {
            columns_.emplace(row, renameFields(), ignore_columns, problems_);
            for (const char* field : {"old", "new"})
                if (!columns_->has(field))
                    problems_.add({row.lines.front(), 0},
                                  "found no column for the " + std::string(field) +
                                      " id, expected one like \"" + field + "\"");
        } else {
            columns_.emplace(std::initializer_list<const char*>{"old", "new"});
        }
        if (problems_.any())
            return {};
        old_column_ = *columns_->at("old") + 1;
        new_column_ = *columns_->at("new") + 1;
        for (bool more = !headings || reader.next(row); more; more = reader.next(row))
            if (columns_->fits(row, problems_))
                add(row);
        if (renames_.empty() && !problems_.any())
            problems_.add({1, 0}, "there is no row below the headings");
        findItems();
        return ordered();
    }

private:
    RenameStore& store_;
    CsvProblems& problems_;
    std::optional<CsvColumns> columns_;
    std::size_t old_column_ = 1, new_column_ = 2;
    std::vector<Rename> renames_;
    std::unordered_map<tag_t, std::size_t> of_item_;      // index of the rename of an item
    std::unordered_map<std::string, std::size_t> to_id_;  // index of the rename that gives an id

    // Any cell that is the name of a column makes it a row of headings.
    static bool hasHeadings(const CsvRow& row) {
        return std::any_of(row.cells.begin(), row.cells.end(), [](const std::string& cell) {
            const std::string heading = plainHeading(cell);
            return std::any_of(renameFields().begin(), renameFields().end(), [&](const auto& each) {
                return std::find(each.headings.begin(), each.headings.end(), heading) !=
                       each.headings.end();
            });
        });
    }

    void add(const CsvRow& row) {
        const Rename made{row.lines.front(), NULLTAG, std::string(columns_->text(row, "old")),
                          std::string(columns_->text(row, "new"))};
        bool good = true;
        const auto bad = [&](const char* field, const std::string& text) {
            problems_.add(columns_->place(row, field), text);
            good = false;
        };
        if (made.from.empty())
            bad("old", "the cell is empty, expected the id of an item");
        if (made.to.empty())
            bad("new", "the cell is empty, expected the new id");
        for (const char* field : {"old", "new"})
            if (const std::string_view id = columns_->text(row, field); id.size() > kLongestNewId)
                bad(field, "found an id of " + std::to_string(id.size()) + " bytes, " +
                               foundText(id) + ", at most " + std::to_string(kLongestNewId) +
                               " are allowed");
        if (good)
            renames_.push_back(made);
    }

    void findItems() {
        for (std::size_t i = 0; i < renames_.size(); ++i) {
            Rename& rename = renames_[i];
            const CsvPlace old_place{rename.line, old_column_}, new_place{rename.line, new_column_};
            // Similar names take long to find, so ask for them only if the problem is kept.
            RenameStore::Found found = store_.find(rename.from, problems_.keeps(old_place));
            if (found.item == NULLTAG) {
                problems_.add(old_place, found.why);
                continue;
            }
            rename.item = found.item;
            rename.from = found.id;
            if (rename.to == rename.from)
                problems_.add(new_place, "the new id is the old one, " + foundText(rename.to));
            if (const auto [at, fresh] = of_item_.try_emplace(found.item, i); !fresh)
                problems_.add(old_place, foundText(rename.from) + " is in line " +
                                             std::to_string(renames_[at->second].line) +
                                             " already");
            if (const auto [at, fresh] = to_id_.try_emplace(rename.to, i); !fresh)
                problems_.add(new_place, "the new id " + foundText(rename.to) + " is in line " +
                                             std::to_string(renames_[at->second].line) +
                                             " already");
        }
        for (const Rename& rename : renames_) {
            if (rename.item == NULLTAG || rename.to == rename.from)
                continue;
            const tag_t holder = store_.holder(rename.to);
            if (holder != NULLTAG && holder != rename.item && !of_item_.contains(holder))
                problems_.add({rename.line, new_column_},
                              "the new id " + foundText(rename.to) +
                                  " is taken, and the file doesn't rename the item that has it");
        }
    }

    // The rename that must come first, since its item still has the id that this one gives.
    std::optional<std::size_t> before(std::size_t rename) const {
        const tag_t holder = store_.holder(renames_[rename].to);
        const auto found = of_item_.find(holder);
        return holder == NULLTAG || found == of_item_.end() ? std::nullopt
                                                            : std::optional(found->second);
    }

    std::vector<Rename> ordered() {
        if (problems_.any())
            return {};
        enum : char { kWaiting, kOnTheWay, kOrdered };
        std::vector<char> state(renames_.size(), kWaiting);
        std::vector<Rename> all;
        for (std::size_t start = 0; start < renames_.size(); ++start) {
            std::vector<std::size_t> way;
            std::optional<std::size_t> at = start;
            while (at && state[*at] == kWaiting) {
                state[*at] = kOnTheWay;
                way.push_back(*at);
                at = before(*at);
            }
            if (at && state[*at] == kOnTheWay)
                tellCircle(way, *at);
            for (std::size_t i = way.size(); i-- > 0;) {
                state[way[i]] = kOrdered;
                all.push_back(renames_[way[i]]);
            }
        }
        return all;
    }

    void tellCircle(const std::vector<std::size_t>& way, std::size_t begin) {
        auto at = std::find(way.begin(), way.end(), begin);
        std::string names = renames_[*at].from;
        for (; at != way.end(); ++at)
            names += " > " + renames_[*at].to;
        problems_.add(
            {renames_[begin].line, new_column_},
            "the renames lead in a circle: " + names + "; give one of them another id in between");
    }
};

}  // namespace

std::span<const CsvField> renameFields() {
    static const std::vector<CsvField> kFields = {
        {"old", {"old", "old id", "from", "item", "item id"}, "id of the item"},
        {"new", {"new", "new id", "to"}, "the id that it gets"},
    };
    return kFields;
}

std::vector<Rename> readRenames(std::istream& in, char separator, bool ignore_columns,
                                RenameStore& store, CsvProblems& problems) {
    CsvReader reader(in, separator, problems);
    return RenameReader(store, problems).read(reader, ignore_columns);
}

}  // namespace keld
