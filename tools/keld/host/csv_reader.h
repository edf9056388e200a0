#pragma once

// Reading comma-separated values (RFC 4180): rows with the places of their cells, and all problems
// of a file, so that people see them before anything is changed.

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

// The problems of a file. Only the first ones are kept, in the order of their places.
class CsvProblems {
public:
    static constexpr std::size_t kMost = 100;

    explicit CsvProblems(std::string file) : file_(std::move(file)) {}
    void add(CsvPlace place, const std::string& text);
    bool any() const { return count_ > 0; }
    std::size_t count() const { return count_; }
    // Whether a problem here would be kept. Ask before a text that is expensive to make.
    bool keeps(CsvPlace place) const;

    struct Problem {
        CsvPlace place;
        std::string text;
    };
    std::vector<Problem> kept() const;
    // "bom.csv:3:2: ..." for each that is kept; the last one says how many more there are.
    std::vector<std::string> texts() const;

private:
    std::string file_;
    std::size_t count_ = 0;
    std::multimap<std::pair<std::size_t, std::size_t>, std::string> kept_;
};

struct CsvRow {
    std::vector<std::string> cells;
    std::vector<std::size_t> lines;  // line in which each cell begins
    bool gap = false;                // rows before it couldn't be read

    CsvPlace place(std::size_t cell) const { return {lines[cell], cell + 1}; }
    // No cell has text; spreadsheets leave such rows below the last one.
    bool empty() const;
};

// What was found, for a message: in quotes, and cut if it is long.
std::string foundText(std::string_view text);
std::string_view trimmedText(std::string_view text);

class CsvReader {
public:
    // Separator 0: a semicolon if the first line has more of them than commas, else a comma. A
    // UTF-8 signature is skipped.
    CsvReader(std::istream& in, char separator, CsvProblems& problems);
    ~CsvReader();
    CsvReader(const CsvReader&) = delete;
    CsvReader& operator=(const CsvReader&) = delete;

    // Read the next row that has text. False: there is none. What can't be read is a problem, and
    // reading goes on with the next line. Failure: std::runtime_error if the file can't be read.
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
    std::size_t number_ = 0;     // of the current line
    std::size_t cell_line_ = 0;  // line in which the current cell begins
    std::size_t open_ = 0;       // bytes of the current row, if it goes on in the next line
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
