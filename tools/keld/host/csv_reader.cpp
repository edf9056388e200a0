#include "tools/keld/host/csv_reader.h"

#include <algorithm>
#include <cstdio>
#include <new>
#include <stdexcept>

#include "workbench/utf8.h"

namespace keld {

namespace {

constexpr std::size_t kReadAtOnce = 65536;
constexpr std::size_t kMostRowBytes = std::size_t{1} << 20U;
constexpr char kTooLong[] = "the row has more than a megabyte; is a quote missing?";
constexpr char kWantUtf8[] = "expected UTF-8 (spreadsheets call it \"CSV UTF-8\")";

// Blanks belong to a cell, so the parser must not strip them.
int noBlank(unsigned char) {
    return 0;
}

std::string hexByte(char byte) {
    char text[8];
    std::snprintf(text, sizeof text, "0x%02X", static_cast<unsigned char>(byte));
    return text;
}

// Find what no cell may hold; empty: nothing is wrong.
std::string badBytes(std::string_view cell) {
    for (; !cell.empty();) {
        if (cell.front() == '\0')
            return "found a byte 0 in the cell, expected text";
        const mervane::Character character = mervane::firstCharacter(cell);
        if (character.number < 0)
            return "found the byte " + hexByte(cell.front()) + ", which is no UTF-8; " + kWantUtf8;
        cell.remove_prefix(character.length);
    }
    return {};
}

}  // namespace

// ---- problems ----

void CsvProblems::add(CsvPlace place, const std::string& text) {
    ++count_;
    if (!keeps(place))
        return;
    kept_.emplace(std::pair(place.line, place.column), text);
    if (kept_.size() > kMost)
        kept_.erase(std::prev(kept_.end()));
}

bool CsvProblems::keeps(CsvPlace place) const {
    return kept_.size() < kMost || std::pair(place.line, place.column) < kept_.rbegin()->first;
}

std::vector<CsvProblems::Problem> CsvProblems::kept() const {
    std::vector<Problem> all;
    for (const auto& [place, text] : kept_)
        all.push_back({{place.first, place.second}, text});
    return all;
}

std::vector<std::string> CsvProblems::texts() const {
    std::vector<std::string> all;
    for (const auto& [place, text] : kept_)
        all.push_back(file_ + ":" + std::to_string(place.first) + ":" +
                      (place.second == 0 ? "" : std::to_string(place.second) + ":") + " " + text);
    if (count_ > kept_.size())
        all.push_back(file_ + ": and " + std::to_string(count_ - kept_.size()) + " more");
    return all;
}

// ---- rows ----

bool CsvRow::empty() const {
    return std::all_of(cells.begin(), cells.end(),
                       [](const std::string& cell) { return trimmedText(cell).empty(); });
}

std::string_view trimmedText(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r\n";
    const std::size_t begin = text.find_first_not_of(kBlanks);
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

std::string foundText(std::string_view text) {
    constexpr std::size_t kMost = 60;
    std::string shown;
    for (std::string_view rest = text; !rest.empty();) {
        const std::size_t length = mervane::firstCharacter(rest).length;
        if (shown.size() + length > kMost) {
            shown += "...";
            break;
        }
        shown.append(rest.substr(0, length));
        rest.remove_prefix(length);
    }
    return "'" + shown + "'";
}

CsvReader::CsvReader(std::istream& in, char separator, CsvProblems& problems)
    : in_(in), problems_(problems), separator_(separator) {
}

CsvReader::~CsvReader() {
    csv_free(&parser_);
}

// Take a line with its break: a line feed, or a carriage return without one.
bool CsvReader::takeLine() {
    line_.clear();
    while (line_.size() <= kMostRowBytes) {
        if (block_at_ == block_.size()) {
            block_.resize(kReadAtOnce);
            in_.read(block_.data(), static_cast<std::streamsize>(kReadAtOnce));
            block_.resize(static_cast<std::size_t>(in_.gcount()));
            block_at_ = 0;
            if (in_.bad())
                throw std::runtime_error("the file can't be read to its end");
        }
        if (block_.empty())
            return !line_.empty();
        if (!line_.empty() && line_.back() == '\r' && block_[block_at_] != '\n')
            return true;
        const std::size_t end = block_.find_first_of("\r\n", block_at_);
        const std::size_t stop = end == std::string::npos ? block_.size() : end + 1;
        line_.append(block_, block_at_, stop - block_at_);
        block_at_ = stop;
        if (line_.back() == '\n')
            return true;
    }
    return true;
}

void CsvReader::setUpParser() {
    csv_free(&parser_);
    if (csv_init(&parser_, CSV_STRICT | CSV_STRICT_FINI) != 0)
        throw std::bad_alloc();
    csv_set_space_func(&parser_, noBlank);
    csv_set_delim(&parser_, static_cast<unsigned char>(separator_));
}

// Set encoding and separator by the first line.
void CsvReader::begin() {
    begun_ = true;
    if (line_.starts_with("\xFF\xFE") || line_.starts_with("\xFE\xFF")) {
        problems_.add({1, 0}, std::string("the file is UTF-16; ") + kWantUtf8);
        stopped_ = true;
        return;
    }
    if (line_.starts_with("\xEF\xBB\xBF"))
        line_.erase(0, 3);
    if (separator_ == 0) {
        const auto outside = [&](char wanted) {
            bool quoted = false;
            std::size_t count = 0;
            for (const char c : line_) {
                quoted = quoted != (c == '"');
                count += !quoted && c == wanted ? 1 : 0;
            }
            return count;
        };
        separator_ = outside(';') > outside(',') ? ';' : ',';
    }
    setUpParser();
}

void CsvReader::cellEnded(void* cell, std::size_t size, void* self) noexcept {
    auto* reader = static_cast<CsvReader*>(self);
    // No exception may pass through the parser, which is a C library.
    try {
        reader->addCell({static_cast<const char*>(cell), size});
    } catch (...) {
        reader->failure_ = std::current_exception();
    }
}

void CsvReader::rowEnded(int, void* self) noexcept {
    static_cast<CsvReader*>(self)->complete_ = true;
}

void CsvReader::addCell(std::string_view cell) {
    row_.cells.emplace_back(cell);
    row_.lines.push_back(cell_line_);
    if (const std::string bad = badBytes(cell); !bad.empty())
        problems_.add(row_.place(row_.cells.size() - 1), bad);
    cell_line_ = number_;
}

// Drop the row that is being read; the next line begins a new one.
void CsvReader::dropRow() {
    row_.cells.clear();
    row_.lines.clear();
    open_ = 0;
    gap_ = true;
    setUpParser();
}

void CsvReader::feed() {
    const bool blank = trimmedText(line_).empty();
    if (open_ == 0)
        cell_line_ = number_;
    complete_ = false;
    const std::size_t done =
        csv_parse(&parser_, line_.data(), line_.size(), cellEnded, rowEnded, this);
    if (failure_)
        std::rethrow_exception(std::exchange(failure_, nullptr));
    if (done < line_.size()) {
        if (csv_error(&parser_) != CSV_EPARSE)
            throw std::bad_alloc();
        problems_.add({cell_line_, row_.cells.size() + 1},
                      "found a quote inside the cell; expected a cell without one, or one that "
                      "is in quotes as a whole, with each quote in it doubled");
        dropRow();
        complete_ = false;
    } else if (complete_ || (open_ == 0 && blank && row_.cells.empty())) {
        open_ = 0;
    } else {
        open_ += line_.size();
        if (open_ > kMostRowBytes) {
            problems_.add({cell_line_, row_.cells.size() + 1}, kTooLong);
            stopped_ = true;
        }
    }
}

void CsvReader::endOfFile() {
    ended_ = true;
    if (open_ > 0 && !stopped_)
        problems_.add({cell_line_, row_.cells.size() + 1},
                      "found the end of the file inside quotes; expected the quote that ends the "
                      "cell");
}

bool CsvReader::next(CsvRow& row) {
    while (!ended_ && !stopped_) {
        if (!takeLine()) {
            endOfFile();
            break;
        }
        ++number_;
        if (!begun_)
            begin();
        if (stopped_)
            break;
        if (line_.size() > kMostRowBytes) {
            problems_.add({number_, 0}, kTooLong);
            stopped_ = true;
            break;
        }
        // The parser ends a row at a break only, and the last line may have none.
        if (line_.empty() || (line_.back() != '\n' && line_.back() != '\r'))
            line_ += '\n';
        feed();
        if (!complete_)
            continue;
        row = std::exchange(row_, {});
        if (row.empty())
            continue;
        row.gap = std::exchange(gap_, false);
        return true;
    }
    return false;
}

}  // namespace keld
