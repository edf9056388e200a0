#pragma once

// A case of `keld config test`: a text file that a person can write (docs/configuration.md).

#include <string>
#include <vector>

namespace keld {

struct ConfigCase {
    std::string name;  // of the file, without its ending
    std::string path;
    std::string world, config;  // as the file names them; empty: the directory's own
    std::vector<std::vector<std::string>> before;  // commands that come first, in words
    std::vector<std::string> run;                  // the command that is tested
    std::vector<std::string> expected;             // lines; "..." stands for any
    std::string head;                              // the text up to the expected lines
    std::string problem;                           // empty: the file can be understood
};

inline constexpr char kCaseEnding[] = ".case";

ConfigCase parseCase(const std::string& name, const std::string& text);
// A command line in words; parts in single or double quotes are kept as they are. False: a quote
// doesn't end.
bool splitWords(const std::string& text, std::vector<std::string>& words);

// What a command printed, as a case keeps it: without the directory, times, numbers of runs, places
// of logs and line numbers of the configuration.
std::vector<std::string> caseLines(const std::string& out, const std::string& err, int exit_code,
                                   const std::string& directory);
// Whether the lines are those expected; blanks count only between words.
bool matchesCase(const std::vector<std::string>& expected, const std::vector<std::string>& got);
// What differs, a line each: "- " expected and not there, "+ " there and not expected.
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
