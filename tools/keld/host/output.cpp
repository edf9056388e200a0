#include "tools/keld/host/output.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "tools/keld/host/csv.h"
#include "tools/keld/host/system.h"
#include "workbench/names.h"

namespace keld {

namespace {

constexpr std::size_t kGap = 2;        // between columns
constexpr std::size_t kNarrowest = 8;  // columns aren't cut below this

bool tables_wide = false;

// 0: no limit.
std::size_t widthLimit() {
    if (tables_wide)
        return 0;
    const std::string set = environment("COLUMNS");
    const long columns = std::strtol(set.c_str(), nullptr, 10);
    return columns > 0 ? static_cast<std::size_t>(columns) : outputWidth();
}

// Narrow the widest columns until all fit. The first column is never cut.
void fit(std::vector<std::size_t>& widths, std::size_t limit) {
    std::size_t all = 0;
    for (const std::size_t width : widths)
        all += width + kGap;
    all -= widths.empty() ? 0 : kGap;
    while (limit > 0 && all > limit && widths.size() > 1) {
        const auto widest = std::max_element(widths.begin() + 1, widths.end());
        if (*widest <= kNarrowest)
            return;
        --*widest;
        --all;
    }
}

std::string cut(const std::string& text, std::size_t width) {
    if (characters(text) <= width)
        return text;
    std::string_view rest = text;
    std::string start;
    for (std::size_t i = 0; i + 1 < width; ++i) {
        const std::size_t length = mervane::firstCharacter(rest).length;
        start.append(rest.substr(0, length));
        rest.remove_prefix(length);
    }
    return start + "\u2026";
}

}  // namespace

std::string cutText(const std::string& text, std::size_t most) {
    return cut(shown(text), most);
}

void keepTablesWide() {
    tables_wide = true;
}

void Table::add(std::vector<std::string> row) {
    if (!tablesAreCsv())
        for (std::string& cell : row)
            cell = shown(cell);
    rows_.push_back(std::move(row));
}

namespace {

// Short rows get empty cells at the end. An empty line separates tables.
void writeAsCsv(const std::vector<std::string>& header,
                const std::vector<std::vector<std::string>>& rows) {
    static bool another = false;
    std::string all = another && !header.empty() ? "\n" : "";
    another = true;
    if (!header.empty())
        all += csvLine(header);
    for (std::vector<std::string> row : rows) {
        row.resize(std::max(row.size(), header.size()));
        all += csvLine(row);
    }
    writeBytes(all);
}

}  // namespace

std::string Table::text(const std::string& indent) const {
    if (tablesAreCsv()) {
        writeAsCsv(header_, rows_);
        return {};
    }
    std::vector<std::size_t> widths;
    const auto widen = [&](const std::vector<std::string>& row) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], characters(row[i]));
    };
    widen(header_);
    for (const auto& row : rows_)
        widen(row);
    fit(widths, widthLimit());
    const auto line = [&](const std::vector<std::string>& row) {
        std::string text = indent;
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string cell = i == 0 ? row[i] : cut(row[i], widths[i]);
            text += cell;
            if (i + 1 < row.size())
                text.append(widths[i] - characters(cell) + kGap, ' ');
        }
        while (!text.empty() && text.back() == ' ')
            text.pop_back();
        return text;
    };
    std::string all = header_.empty() ? "" : painted(Colour::Bold, line(header_)) + "\n";
    for (const auto& row : rows_)
        all += line(row) + "\n";
    return all;
}

std::string Table::take() {
    std::string all = text();
    header_.clear();
    rows_.clear();
    return all;
}

std::string counted(std::size_t number, const std::string& noun) {
    return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

std::string dumped(const Json& document) {
    const std::string text = document.dump(2, ' ', false, Json::error_handler_t::replace);
    std::string all;
    for (std::string_view rest = text; !rest.empty();) {
        const mervane::Character character = mervane::firstCharacter(rest);
        if (character.number >= 0x7F && mervane::isControl(character.number)) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x",
                          static_cast<unsigned>(character.number) & 0xFFFFU);
            all += escape;
        } else {
            all.append(rest.substr(0, character.length));
        }
        rest.remove_prefix(character.length);
    }
    return all;
}

}  // namespace keld
