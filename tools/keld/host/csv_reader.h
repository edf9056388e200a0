#pragma once

// Reading comma-separated values (RFC 4180): rows with the places of their cells, and everything
// that is wrong in a file, so that it can be told before anything is changed.

#include <csv.h>

#include <cstddef>
#include <exception>
#include <istream>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace keld {

// A line of the file and a cell of its row, both from 1; column 0: the line as a whole.
struct CsvPlace {
    std::size_t line = 0, column = 0;
};

// What is wrong in a file. Of many only the first ones are kept, by their places.
class CsvProblems {
public:
    static constexpr std::size_t kMost = 100;

    explicit CsvProblems(std::string file) : file_(std::move(file)) {}
    void add(CsvPlace place, const std::string& text);
    bool any() const { return count_ > 0; }
    std::size_t count() const { return count_; }
    // Whether a problem here would be among those that are kept: a text may be long to find.
    bool keeps(CsvPlace place) const;

    struct Problem {
        CsvPlace place;
        std::string text;
    };
    std::vector<Problem> kept() const;
    // "bom.csv:3:2: ..." for each that is kept, and how many more there are.
    std::vector<std::string> texts() const;

private:
    std::string file_;
    std::size_t count_ = 0;
    std::multimap<std::pair<std::size_t, std::size_t>, std::string> kept_;
};

struct CsvRow {
    std::vector<std::string> cells;
    std::vector<std::size_t> lines;  // in which each cell begins
    bool gap = false;                // rows in front of it couldn't be read

    CsvPlace place(std::size_t cell) const { return {lines[cell], cell + 1}; }
    // Nothing stands in it: what a spreadsheet leaves below the last row.
    bool empty() const;
};

// What was found, as a message has it: in quotes, and not longer than a message can be.
std::string foundText(std::string_view text);
std::string_view trimmedText(std::string_view text);

class CsvReader {
public:
    // Separator 0: comma or semicolon, whichever stands in the first line more often. A UTF-8
    // signature is skipped.
    CsvReader(std::istream& in, char separator, CsvProblems& problems);
    ~CsvReader();
    CsvReader(const CsvReader&) = delete;
    CsvReader& operator=(const CsvReader&) = delete;

    // The next row in which something stands. False: there is none. What can't be read is a
    // problem, and the next line is read. Failure: std::runtime_error if the file can't be read.
    bool next(CsvRow& row);
    char separator() const { return separator_; }

private:
    std::istream& in_;
    CsvProblems& problems_;
    csv_parser parser_{};
    char separator_;
    std::string block_, line_;
    std::size_t block_at_ = 0;
    bool ended_ = false, stopped_ = false, begun_ = false;
    std::size_t number_ = 0;     // of the line
    std::size_t cell_line_ = 0;  // in which the cell under way begins
    std::size_t open_ = 0;       // bytes of the row under way, if it goes on in the next line
    bool complete_ = false, gap_ = false;
    CsvRow row_;
    std::exception_ptr failure_;

    bool takeLine();
    void begin();
    void setUpParser();
    void feed();
    void endOfFile();
    void addCell(std::string_view cell);
    void dropRow();
    static void cellEnded(void* cell, std::size_t size, void* self) noexcept;
    static void rowEnded(int, void* self) noexcept;
};

}  // namespace keld
