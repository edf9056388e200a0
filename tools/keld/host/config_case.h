#pragma once

// A case of `keld config test`: a text file that a person can write (docs/configuration.md).

#include <string>
#include <vector>

namespace keld {

struct ConfigCase {
    std::string name;  // of the file, without its ending
    std::string path;
    std::string world, config;                     // as in the file; empty: those of the directory
    std::vector<std::vector<std::string>> before;  // commands to run first, in words
    std::vector<std::string> run;                  // the command that is tested
    std::vector<std::string> expected;             // lines; "..." is for any
    std::string head;                              // the text up to the expected lines
    std::string problem;  // why the file can't be understood; empty: it can
};

inline constexpr char kCaseEnding[] = ".case";

ConfigCase parseCase(const std::string& name, const std::string& text);
// Split a command line into words; parts in single or double quotes are kept as they are. False: a
// quote doesn't end.
bool splitWords(const std::string& text, std::vector<std::string>& words);

// The lines that a case keeps of what a command printed. Left out is what differs from run to run:
// the directory, times, numbers of runs, places of logs and line numbers of the configuration.
std::vector<std::string> caseLines(const std::string& out, const std::string& err, int exit_code,
                                   const std::string& directory);
// Whether the lines are as expected; blanks only separate words.
bool matchesCase(const std::vector<std::string>& expected, const std::vector<std::string>& got);
// The difference, line by line: "- " expected and missing, "+ " printed and not expected.
std::vector<std::string> caseDifference(const std::vector<std::string>& expected,
                                        const std::vector<std::string>& got);

struct CaseResult {
    std::string name;
    bool passed = false, broken = false;  // broken: it couldn't be run
    double seconds = 0;
    std::vector<std::string> lines;  // what differs, or why it couldn't be run
    std::vector<std::string> got;
};

std::string asJUnit(const std::string& suite, const std::vector<CaseResult>& results);

}  // namespace keld
