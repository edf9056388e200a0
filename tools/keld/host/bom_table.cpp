#include "tools/keld/host/bom_table.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <unordered_set>

#include "tools/keld/host/nearest.h"
#include "workbench/names.h"

namespace keld {

namespace {

constexpr std::size_t kLongestText = 128;
constexpr std::size_t kNoPart = static_cast<std::size_t>(-1);

bool allDigits(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// Like the store: digits, with at most one point.
bool isQuantity(std::string_view text) {
    return text.find_first_not_of("0123456789.") == std::string_view::npos &&
           std::count(text.begin(), text.end(), '.') <= 1 &&
           text.find_first_of("0123456789") != std::string_view::npos;
}

// The reader has reported bytes that are no UTF-8 already.
bool hasControl(std::string_view text) {
    for (; !text.empty();) {
        const mervane::Character character = mervane::firstCharacter(text);
        if (character.number > 0 && mervane::isControl(character.number))
            return true;
        text.remove_prefix(character.length);
    }
    return false;
}

// A part as keld writes it: ITEM/REVISION, each in quotes where it needs them.
struct WrittenPart {
    std::string item, revision;
};
std::optional<WrittenPart> writtenPart(std::string_view text) {
    const auto take = [&](std::string_view end) {
        if (const auto quoted = mervane::takeQuoted(text))
            return *quoted;
        const std::size_t length = std::min(text.find_first_of(end), text.size());
        std::string part(text.substr(0, length));
        text.remove_prefix(length);
        return part;
    };
    WrittenPart part{take("/"), ""};
    if (text.starts_with('/')) {
        text.remove_prefix(1);
        part.revision = take("");
        if (part.revision.empty())
            return std::nullopt;
    }
    return text.empty() && !part.item.empty() ? std::optional(part) : std::nullopt;
}

// A row, checked by itself only.
struct BomRow {
    std::size_t line = 0;
    std::uint32_t level = 0;
    std::size_t parent = kNoPart, part = kNoPart;  // indexes into named_
    bool gap = false;
    std::string number, quantity;
};

class BomReader {
public:
    BomReader(BomStore& store, CsvProblems& problems) : store_(store), problems_(problems) {}

    BomPlan read(CsvReader& reader, bool ignore_columns) {
        CsvRow row;
        if (!reader.next(row)) {
            if (!problems_.any())
                problems_.add({1, 0}, "there is no line of headings");
            return {};
        }
        columns_.emplace(row, bomFields(), ignore_columns, problems_);
        checkHeadings(row);
        if (problems_.any())
            return {};
        places();
        types_ = store_.itemTypes();
        bool gap = false;
        while (reader.next(row)) {
            gap = gap || row.gap;
            if (!columns_->fits(row, problems_) || !addRow(row, gap)) {
                gap = true;
                continue;
            }
            gap = false;
        }
        if (rows_.empty() && !problems_.any())
            problems_.add({1, 0}, "there is no row below the headings");
        plan_.rows = rows_.size();
        findObjects();
        if (by_level_)
            addLinesByLevel();
        else
            addLinesByParent();
        rows_.clear();
        sortLines();
        findStored();
        return std::move(plan_);
    }

private:
    BomStore& store_;
    CsvProblems& problems_;
    BomPlan plan_;
    std::optional<CsvColumns> columns_;
    std::vector<std::string> types_;
    bool by_level_ = false, has_quantity_ = false;
    std::size_t item_column_ = 0, level_column_ = 0, parent_column_ = 0, number_column_ = 0;

    std::unordered_map<std::string, std::size_t> items_;
    // A part as rows name it, with an empty revision if they give none; `part` is its index in the
    // plan.
    struct NamedPart {
        std::size_t item = 0;
        std::string revision;
        std::size_t line = 0, part = 0;
    };
    std::vector<NamedPart> named_;
    std::unordered_map<std::string, std::size_t> named_places_, part_places_;
    std::vector<BomRow> rows_;
    std::vector<std::vector<std::size_t>> lines_of_;  // of each part, in the order of the rows
    // The uses in the store, by node. The nodes are the parts, then the revisions of unnamed_,
    // which no row names.
    std::vector<std::vector<std::size_t>> stored_below_;
    std::vector<tag_t> unnamed_;
    std::unordered_map<tag_t, tag_t> stored_items_;  // of stored revisions

    static std::string key(std::size_t item, const std::string& revision) {
        return std::to_string(item) + "/" + revision;
    }

    void checkHeadings(const CsvRow& row) {
        const CsvPlace whole{row.lines.front(), 0};
        const bool level = columns_->has("level"), parent = columns_->has("parent");
        by_level_ = level;
        if (level && parent)
            problems_.add(whole,
                          "found a column for the level and one for the parent, expected "
                          "one of them");
        if (!level && !parent)
            problems_.add(whole,
                          "found neither a column for the level nor one for the parent, "
                          "expected one of them, like \"level\" or \"parent\"");
        if (columns_->has("item") == columns_->has("line"))
            problems_.add(whole, columns_->has("item")
                                     ? "found a column for the item and one for the line, expected "
                                       "one of them"
                                     : "found no column for the item, expected one like \"item\"");
    }

    void places() {
        const auto column = [&](const char* field) { return columns_->at(field).value_or(0) + 1; };
        has_quantity_ = columns_->has("quantity");
        item_column_ = column(columns_->has("item") ? "item" : "line");
        level_column_ = column("level");
        parent_column_ = column("parent");
        number_column_ = column("number");
    }

    bool bad(const CsvRow& row, const char* field, const std::string& text) {
        problems_.add(columns_->place(row, field), text);
        return false;
    }

    bool isName(const CsvRow& row, const char* field, std::string_view text) {
        if (text.size() > kLongestText)
            return bad(row, field,
                       "found a text of " + std::to_string(text.size()) + " bytes, " +
                           foundText(text) + ", at most " + std::to_string(kLongestText) +
                           " are allowed");
        if (hasControl(text))
            return bad(row, field, "found a control character or a line break, expected a text");
        return true;
    }

    std::size_t itemNamed(const std::string& id, std::size_t line) {
        const auto [at, fresh] = items_.try_emplace(id, plan_.items.size());
        if (fresh) {
            BomItem item;
            item.id = id;
            item.line = line;
            plan_.items.push_back(std::move(item));
        }
        return at->second;
    }

    std::size_t partNamed(const std::string& id, const std::string& revision, std::size_t line) {
        const std::size_t item = itemNamed(id, line);
        if (!revision.empty())
            plan_.items[item].last_revision = revision;
        const auto [at, fresh] = named_places_.try_emplace(key(item, revision), named_.size());
        if (fresh)
            named_.push_back({item, revision, line, 0});
        return at->second;
    }

    // Give the part that the cells name; kNoPart, and a problem, if they name none.
    std::size_t partOf(const CsvRow& row, const char* item_field, const char* revision_field) {
        const std::string_view id = columns_->text(row, item_field);
        const std::string_view revision = columns_->text(row, revision_field);
        const bool good = isName(row, item_field, id) & isName(row, revision_field, revision);
        if (id.empty())
            bad(row, item_field, "the cell is empty, expected the id of an item");
        if (!good || id.empty())
            return kNoPart;
        return partNamed(std::string(id), std::string(revision), row.lines.front());
    }

    std::size_t partOfLine(const CsvRow& row) {
        const std::string_view text = columns_->text(row, "line");
        const auto part = writtenPart(text);
        if (!part) {
            bad(row, "line", "found " + foundText(text) + ", expected ITEM/REVISION");
            return kNoPart;
        }
        if (!isName(row, "line", part->item) || !isName(row, "line", part->revision))
            return kNoPart;
        return partNamed(part->item, part->revision, row.lines.front());
    }

    // Name and type belong to the item, so rows that give it different ones contradict each other.
    bool keepText(const CsvRow& row, const char* field, std::string BomItem::*text,
                  std::size_t BomItem::*line, BomItem& item) {
        const std::string_view found = columns_->text(row, field);
        if (found.empty())
            return true;
        if (!isName(row, field, found))
            return false;
        if ((item.*text).empty()) {
            item.*text = found;
            item.*line = row.lines.front();
            return true;
        }
        if (item.*text == found)
            return true;
        return bad(row, field,
                   "found " + foundText(found) + " for item " + item.id + ", which has " +
                       foundText(item.*text) + " in line " + std::to_string(item.*line));
    }

    bool isKnownType(const CsvRow& row) {
        const std::string_view type = columns_->text(row, "type");
        if (type.empty() || std::find(types_.begin(), types_.end(), type) != types_.end())
            return true;
        return bad(row, "type",
                   "there is no type of items " + foundText(type) + "." +
                       didYouMean(nearest(std::string(type), types_)));
    }

    bool readLevel(const CsvRow& row, BomRow& made) {
        constexpr std::size_t kMostDigits = 4;
        const std::string_view text = columns_->text(row, "level");
        if (!allDigits(text) || text.size() > kMostDigits)
            return bad(row, "level",
                       "found " + foundText(text) + ", expected a level: 0, 1, 2, ...");
        made.level =
            static_cast<std::uint32_t>(std::strtoul(std::string(text).c_str(), nullptr, 10));
        return true;
    }

    bool readNumbers(const CsvRow& row, BomRow& made) {
        constexpr std::size_t kMostDigits = 9;
        made.number = columns_->text(row, "number");
        made.quantity = columns_->text(row, "quantity");
        bool good = true;
        if (!made.number.empty() && (!allDigits(made.number) || made.number.size() > kMostDigits))
            good = bad(row, "number",
                       "found " + foundText(made.number) + ", expected a number like 10");
        if (!made.quantity.empty() &&
            (!isQuantity(made.quantity) || made.quantity.size() > kLongestText))
            good = bad(
                row, "quantity",
                "found " + foundText(made.quantity) + ", expected a decimal number like 4 or 1.5");
        return good;
    }

    // False: the row can't be used.
    bool addRow(const CsvRow& row, bool gap) {
        BomRow made;
        made.line = row.lines.front();
        made.gap = gap;
        bool good = readNumbers(row, made);
        if (by_level_)
            good = readLevel(row, made) && good;
        made.part = columns_->has("line") ? partOfLine(row) : partOf(row, "item", "revision");
        if (!by_level_ && !columns_->text(row, "parent").empty())
            good = (made.parent = partOf(row, "parent", "parent revision")) != kNoPart && good;
        good = isKnownType(row) && good;
        if (made.part == kNoPart)
            return false;
        BomItem& item = plan_.items[named_[made.part].item];
        good = keepText(row, "name", &BomItem::name, &BomItem::name_line, item) && good;
        good = keepText(row, "type", &BomItem::type, &BomItem::type_line, item) && good;
        if (good)
            rows_.push_back(std::move(made));
        return good;
    }

    // ---- objects ----

    void findObjects() {
        for (BomItem& item : plan_.items)
            item.tag = store_.item(item.id);
        for (NamedPart& named : named_) {
            BomItem& item = plan_.items[named.item];
            BomPart part;
            part.item = named.item;
            part.revision = named.revision;
            part.line = named.line;
            if (item.tag == NULLTAG) {
                if (part.revision.empty())
                    part.revision = item.last_revision.empty() ? "A" : item.last_revision;
            } else if (part.revision.empty()) {
                const BomStore::Revision latest = store_.latest(item.tag);
                part.revision = latest.id;
                part.tag = latest.tag;
                if (latest.tag == NULLTAG)
                    problems_.add({named.line, item_column_},
                                  "item " + item.id + " has no revision; name one");
            } else {
                part.tag = store_.revision(item.tag, part.revision);
            }
            const auto [at, fresh] =
                part_places_.try_emplace(key(part.item, part.revision), plan_.parts.size());
            named.part = at->second;
            if (!fresh)
                continue;
            part.first = item.tag == NULLTAG && !item.begun;
            item.begun = true;
            plan_.parts.push_back(std::move(part));
        }
        lines_of_.resize(plan_.parts.size());
    }

    BomLine lineOf(const BomRow& row, std::size_t parent) {
        BomLine line;
        line.parent = parent;
        line.child = named_[row.part].part;
        line.any_revision = named_[row.part].revision.empty();
        line.number = row.number;
        line.quantity = has_quantity_ ? row.quantity : "1";
        line.line = row.line;
        return line;
    }

    void addLine(BomLine line) {
        lines_of_[line.parent].push_back(plan_.lines.size());
        plan_.lines.push_back(std::move(line));
    }

    void addLinesByParent() {
        for (const BomRow& row : rows_)
            if (row.parent != kNoPart)
                addLine(lineOf(row, named_[row.parent].part));
    }

    // An assembly may occur at several places. The rows give its lines at one of the places only,
    // or the same lines at each.
    struct OpenRow {
        std::size_t part = 0, line = 0;
        std::uint32_t level = 0;
        bool again = false;    // an earlier row has given its lines
        bool circle = false;   // its part is above it too
        std::size_t next = 0;  // how many of the known lines have come again
    };

    void addLinesByLevel() {
        std::vector<OpenRow> open;
        std::vector<std::size_t> opened_by(plan_.parts.size());  // line in the file; 0: none
        std::unordered_map<std::size_t, std::size_t> inside;     // parts above, with their number
        const auto close = [&] {
            const OpenRow& last = open.back();
            if (last.again && last.next > 0 && last.next < lines_of_[last.part].size())
                problems_.add({last.line, item_column_},
                              differs(last.part, opened_by[last.part]) + ": it ends early");
            if (--inside[last.part] == 0)
                inside.erase(last.part);
            open.pop_back();
        };
        std::uint32_t lowest = rows_.empty() ? 0 : rows_.front().level, before = lowest;
        bool first = true;
        for (const BomRow& row : rows_) {
            if (first && row.level > 1)
                problems_.add({row.line, level_column_}, "found level " +
                                                             std::to_string(row.level) +
                                                             " in the first row, expected 0 or 1");
            if (!first && !row.gap && row.level > before + 1)
                problems_.add({row.line, level_column_},
                              "found level " + std::to_string(row.level) + " below level " +
                                  std::to_string(before) + ", expected at most " +
                                  std::to_string(before + 1));
            if (row.level < lowest)
                problems_.add({row.line, level_column_}, "found level " +
                                                             std::to_string(row.level) +
                                                             ", but the first row "
                                                             "has " +
                                                             std::to_string(lowest));
            first = false;
            before = row.level;
            while (!open.empty() && open.back().level >= row.level)
                close();
            const std::size_t part = named_[row.part].part;
            if (!open.empty())
                addBelow(open.back(), row, opened_by);
            OpenRow here;
            here.part = part;
            here.line = row.line;
            here.level = row.level;
            here.circle = inside.contains(part);
            here.again = opened_by[part] != 0;
            open.push_back(here);
            ++inside[part];
        }
        while (!open.empty())
            close();
    }

    void addBelow(OpenRow& above, const BomRow& row, std::vector<std::size_t>& opened_by) {
        if (above.circle)
            return;
        BomLine line = lineOf(row, above.part);
        if (!above.again) {
            opened_by[above.part] = above.line;
            return addLine(std::move(line));
        }
        const std::vector<std::size_t>& known = lines_of_[above.part];
        const std::size_t next = above.next++;
        if (next < known.size()) {
            const BomLine& same = plan_.lines[known[next]];
            if (same.child == line.child && same.number == line.number &&
                same.quantity == line.quantity)
                return;
        }
        problems_.add({row.line, item_column_}, differs(above.part, opened_by[above.part]));
        above.circle = true;  // one problem is enough: further rows below are passed over
        above.next = 0;
    }

    std::string differs(std::size_t part, std::size_t line) const {
        return "the lines of " + plan_.title(plan_.parts[part]) + " differ from those below line " +
               std::to_string(line);
    }

    // ---- order and circles ----

    // Find all stored uses above the parts, since a circle may run through them. Nothing in the
    // store uses a part that is still to be made.
    void findStoredUses() {
        stored_below_.resize(plan_.parts.size());
        std::unordered_map<tag_t, std::size_t> nodes;
        std::vector<tag_t> waiting;
        for (std::size_t part = 0; part < plan_.parts.size(); ++part) {
            if (plan_.parts[part].tag == NULLTAG)
                continue;
            nodes.try_emplace(plan_.parts[part].tag, part);
            if (!lines_of_[part].empty())
                waiting.push_back(plan_.parts[part].tag);
        }
        std::unordered_set<tag_t> seen(waiting.begin(), waiting.end());
        while (!waiting.empty()) {
            const tag_t revision = waiting.back();
            waiting.pop_back();
            const std::size_t below = nodes.at(revision);
            for (const tag_t parent : store_.parents(revision)) {
                const auto [at, fresh] = nodes.try_emplace(parent, stored_below_.size());
                if (fresh) {
                    stored_below_.emplace_back();
                    unnamed_.push_back(parent);
                }
                stored_below_[at->second].push_back(below);
                if (seen.insert(parent).second)
                    waiting.push_back(parent);
            }
        }
    }

    std::string titleOf(std::size_t node) {
        const std::size_t parts = plan_.parts.size();
        return node < parts ? plan_.title(plan_.parts[node]) : store_.title(unnamed_[node - parts]);
    }

    // Sort the lines so that parents come before what they use; a circle becomes a problem.
    void sortLines() {
        findStoredUses();
        enum : char { kNew, kOpen, kDone };
        std::vector<char> state(stored_below_.size(), kNew);
        std::vector<std::size_t> order;
        struct Step {
            std::size_t part, next = 0, by = 0;  // by: line of the file that led here; 0: none
        };
        const auto linesOf = [&](std::size_t part) {
            return part < lines_of_.size() ? lines_of_[part].size() : 0;
        };
        const auto below = [&](std::size_t part, std::size_t next) {
            const std::size_t lines = linesOf(part);
            if (next < lines) {
                const BomLine& line = plan_.lines[lines_of_[part][next]];
                return std::pair(line.child, line.line);
            }
            return std::pair(stored_below_[part][next - lines], std::size_t{0});
        };
        for (std::size_t start = 0; start < plan_.parts.size(); ++start) {
            if (state[start] != kNew)
                continue;
            std::vector<Step> way{{start}};
            state[start] = kOpen;
            while (!way.empty()) {
                const std::size_t part = way.back().part;
                if (way.back().next == linesOf(part) + stored_below_[part].size()) {
                    state[part] = kDone;
                    order.push_back(part);
                    way.pop_back();
                    continue;
                }
                const auto [child, by] = below(part, way.back().next++);
                if (state[child] == kNew) {
                    state[child] = kOpen;
                    way.push_back({child, 0, by});
                } else if (state[child] == kOpen) {
                    tellCircle(way, child, by);
                }
            }
        }
        std::vector<BomLine> sorted;
        sorted.reserve(plan_.lines.size());
        for (std::size_t i = order.size(); i-- > 0;)
            for (std::size_t next = 0; next < linesOf(order[i]); ++next)
                sorted.push_back(std::move(plan_.lines[lines_of_[order[i]][next]]));
        plan_.lines = std::move(sorted);
    }

    template <typename Steps>
    void tellCircle(const Steps& way, std::size_t part, std::size_t by) {
        std::size_t at = way.size();
        while (way[--at].part != part) {
        }
        std::string names;
        for (std::size_t i = at; i < way.size(); ++i) {
            names += titleOf(way[i].part) + " > ";
            if (i > at && by == 0)
                by = way[i].by;
        }
        problems_.add({by, item_column_}, "the part is used in itself: " + names + titleOf(part));
    }

    // ---- lines that the store has already ----

    void findStored() {
        for (std::size_t begin = 0; begin < plan_.lines.size();) {
            std::size_t end = begin;
            const std::size_t parent = plan_.lines[begin].parent;
            while (end < plan_.lines.size() && plan_.lines[end].parent == parent)
                ++end;
            const std::span<BomLine> lines(&plan_.lines[begin], end - begin);
            refuseTwins(lines);
            matchStored(lines, plan_.parts[parent]);
            begin = end;
        }
    }

    void refuseTwins(std::span<BomLine> lines) {
        std::unordered_map<std::string_view, std::size_t> numbers;
        for (const BomLine& line : lines)
            if (!line.number.empty())
                if (const auto [at, fresh] = numbers.try_emplace(line.number, line.line); !fresh)
                    problems_.add({line.line, number_column_},
                                  "the number " + line.number + " of " +
                                      plan_.title(plan_.parts[line.parent]) + " is in line " +
                                      std::to_string(at->second) + " already");
    }

    tag_t itemOf(const StoredLine& stored) {
        if (stored_items_.empty())
            for (const BomPart& part : plan_.parts)
                if (part.tag != NULLTAG)
                    stored_items_[part.tag] = plan_.items[part.item].tag;
        const auto [at, fresh] = stored_items_.try_emplace(stored.revision, NULLTAG);
        if (fresh)
            at->second = store_.itemOf(stored.revision);
        return at->second;
    }

    bool shows(const StoredLine& stored, const BomLine& line) {
        const BomPart& child = plan_.parts[line.child];
        return (child.tag != NULLTAG && stored.revision == child.tag) ||
               (line.any_revision && plan_.items[child.item].tag != NULLTAG &&
                itemOf(stored) == plan_.items[child.item].tag);
    }

    void matchStored(std::span<BomLine> lines, const BomPart& parent) {
        std::vector<StoredLine> stored;
        if (parent.tag != NULLTAG)
            stored = store_.lines(parent.tag);
        std::unordered_map<std::string, std::vector<std::size_t>> by_number;
        for (std::size_t i = 0; i < stored.size(); ++i)
            by_number[stored[i].number].push_back(i);
        std::vector<bool> taken(stored.size());
        const auto take = [&](BomLine& line, std::size_t i) {
            taken[i] = true;
            line.occurrence = stored[i].occurrence;
            line.old_quantity = stored[i].quantity;
            line.number = stored[i].number;
        };
        for (BomLine& line : lines) {
            const auto found = by_number.find(line.number);
            if (line.number.empty() || found == by_number.end())
                continue;
            const auto same = std::find_if(found->second.begin(), found->second.end(),
                                           [&](std::size_t i) { return shows(stored[i], line); });
            if (same != found->second.end())
                take(line, *same);
            else
                problems_.add({line.line, number_column_},
                              "the number " + line.number + " of " + plan_.title(parent) +
                                  " shows " + store_.title(stored[found->second.front()].revision) +
                                  " in the store, expected " +
                                  plan_.title(plan_.parts[line.child]) +
                                  " or a number that is free");
        }
        // A row without a number takes the first stored line that shows its part and that no other
        // row has taken: a second import of the same file adds nothing.
        std::unordered_map<tag_t, std::vector<std::size_t>> by_item;
        if (std::any_of(lines.begin(), lines.end(),
                        [](const BomLine& line) { return line.number.empty(); }))
            for (std::size_t i = stored.size(); i-- > 0;)
                by_item[itemOf(stored[i])].push_back(i);
        long highest = 0;
        for (const StoredLine& line : stored)
            highest = std::max(highest, numeric(line.number));
        for (const BomLine& line : lines)
            highest = std::max(highest, numeric(line.number));
        for (BomLine& line : lines) {
            if (!line.number.empty() || line.occurrence != NULLTAG)
                continue;
            const tag_t item = plan_.items[plan_.parts[line.child].item].tag;
            const auto same = item == NULLTAG ? by_item.end() : by_item.find(item);
            if (same != by_item.end()) {
                while (!same->second.empty() && taken[same->second.back()])
                    same->second.pop_back();
                const auto at = std::find_if(
                    same->second.rbegin(), same->second.rend(),
                    [&](std::size_t i) { return !taken[i] && shows(stored[i], line); });
                if (at != same->second.rend()) {
                    take(line, *at);
                    continue;
                }
            }
            constexpr long kStep = 10;
            highest = (highest / kStep + 1) * kStep;
            line.number = std::to_string(highest);
        }
    }

    static long numeric(const std::string& number) {
        constexpr long kLargest = 100000000;
        const long value = std::strtol(number.c_str(), nullptr, 10);
        return value > 0 && value < kLargest ? value : 0;
    }
};

}  // namespace

std::span<const CsvField> bomFields() {
    static const std::vector<CsvField> kFields = {
        {"level", {"level", "lvl", "bom level"}, "depth below the first row: 0, 1, 2, ..."},
        {"parent",
         {"parent", "parent id", "parent item", "assembly"},
         "id of the item above; empty: the row only names an item"},
        {"parent revision", {"parent revision", "parent rev"}, "its revision; empty: the latest"},
        {"item",
         {"item", "item id", "id", "child", "child id", "child item", "component", "part",
          "part number", "part no"},
         "id of the item"},
        {"revision",
         {"revision", "rev", "revision id", "item revision", "child revision", "child rev"},
         "its revision; empty: the latest, of a new item A"},
        {"line", {"line"}, "item and revision in one, as `bom show --csv` writes them"},
        {"number",
         {"number", "find number", "find no", "position", "pos", "line number", "sequence number"},
         "number of the line; empty: see below"},
        {"quantity",
         {"quantity", "qty", "amount"},
         "a decimal number; empty: none; without the column 1"},
        {"name",
         {"name", "item name", "object name", "title"},
         "name of a new item; empty: its id"},
        {"type", {"type", "item type", "object type"}, "type of a new item; empty: Item"},
        {"packed", {"packed"}, "nothing that is read"},
    };
    return kFields;
}

std::string BomPlan::title(const BomPart& part) const {
    return mervane::quotedName(items[part.item].id) + "/" + mervane::quotedName(part.revision);
}

std::size_t BomPlan::newItems() const {
    return static_cast<std::size_t>(std::count_if(
        items.begin(), items.end(), [](const BomItem& item) { return item.tag == NULLTAG; }));
}

std::size_t BomPlan::newRevisions() const {
    return static_cast<std::size_t>(
        std::count_if(parts.begin(), parts.end(),
                      [](const BomPart& part) { return part.tag == NULLTAG && !part.first; }));
}

std::size_t BomPlan::newLines() const {
    return static_cast<std::size_t>(
        std::count_if(lines.begin(), lines.end(),
                      [](const BomLine& line) { return line.occurrence == NULLTAG; }));
}

std::size_t BomPlan::changedLines() const {
    return static_cast<std::size_t>(std::count_if(
        lines.begin(), lines.end(),
        [](const BomLine& line) { return line.occurrence != NULLTAG && line.changes(); }));
}

BomPlan readBom(std::istream& in, char separator, bool ignore_columns, BomStore& store,
                CsvProblems& problems) {
    CsvReader reader(in, separator, problems);
    return BomReader(store, problems).read(reader, ignore_columns);
}

}  // namespace keld
