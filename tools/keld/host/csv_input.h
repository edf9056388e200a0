#pragma once

// A file of comma-separated values as a verb takes it: its options, its stream, and what is told
// of its problems.

#include <fstream>
#include <istream>
#include <string>

#include "tools/keld/host/context.h"
#include "tools/keld/host/csv_reader.h"
#include "tools/keld/host/run.h"

namespace keld {

struct CsvWish {
    std::string file, separator;
    bool ignore_columns = false;
};

// --separator.
void addSeparatorOption(CLI::App* verb, CsvWish& wish);
// --ignore-columns.
void addIgnoreColumnsOption(CLI::App* verb, CsvWish& wish);

// Open while it lives. Failure: CommandError if there is none that can be read, the separator is
// none, or a plan would have to read the standard input again.
class CsvInput {
public:
    // In the command that a plan keeps, the file stands with its directory.
    CsvInput(Context& context, const CsvWish& wish, const RunWish& run);
    std::istream& stream() { return *stream_; }
    char separator() const { return separator_; }      // 0: as the first line has it
    const std::string& name() const { return name_; }  // for people

private:
    std::ifstream file_;
    std::istream* stream_ = &file_;
    std::string name_;
    char separator_ = 0;
};

// All problems, to standard error and into the document; nothing was changed. Gives the exit code.
int refuseRows(Context& context, const CsvInput& input, const CsvProblems& problems);

}  // namespace keld
