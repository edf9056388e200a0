#pragma once

// A file of comma-separated values as a verb takes it: its options, its stream, and the report of
// its problems.

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

// Add --separator.
void addSeparatorOption(CLI::App* verb, CsvWish& wish);
// Add --ignore-columns.
void addIgnoreColumnsOption(CLI::App* verb, CsvWish& wish);

// The file is open as long as this lives. Failure: CommandError if it can't be read, if the
// separator isn't one character, or if a plan would have to read the standard input again.
class CsvInput {
public:
    // A plan may be carried out from elsewhere, so the command gets the absolute path of the file.
    CsvInput(Context& context, const CsvWish& wish, const RunWish& run);
    std::istream& stream() { return *stream_; }
    char separator() const { return separator_; }      // 0: the first line decides
    const std::string& name() const { return name_; }  // for people

private:
    std::ifstream file_;
    std::istream* stream_ = &file_;
    std::string name_;
    char separator_ = 0;
};

// Report all problems, to standard error and in the document, and that nothing changed. Gives the
// exit code.
int refuseRows(Context& context, const CsvInput& input, const CsvProblems& problems);

}  // namespace keld
