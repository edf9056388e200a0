#include "tools/keld/host/config_case.h"

#include <algorithm>
#include <cstdio>
#include <regex>
#include <sstream>

namespace keld {

bool splitWords(const std::string& text, std::vector<std::string>& words) {
    std::string word;
    bool open = false;
    char quote = '\0';
    for (const char c : text) {
        if (quote != '\0') {
            if (c == quote)
                quote = '\0';
            else
                word += c;
        } else if (c == '\'' || c == '"') {
            quote = c;
            open = true;
        } else if (c == ' ' || c == '\t') {
            if (open)
                words.push_back(word);
            word.clear();
            open = false;
        } else {
            word += c;
            open = true;
        }
    }
    if (open)
        words.push_back(word);
    return quote == '\0';
}

namespace {

std::string trimmed(const std::string& text) {
    const auto first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

void dropEmptyEnd(std::vector<std::string>& lines) {
    while (!lines.empty() && trimmed(lines.back()).empty())
        lines.pop_back();
}

// Give the words with one blank between them.
std::string squeezed(const std::string& text) {
    std::istringstream in(text);
    std::string all;
    for (std::string word; in >> word;)
        all += (all.empty() ? "" : " ") + word;
    return all;
}

bool isCommand(ConfigCase& made, int number, const std::string& rest,
               std::vector<std::string>& words) {
    if (!splitWords(rest, words) || words.size() < 2 || words.front() != "keld") {
        made.problem = "line " + std::to_string(number) + ": '" + rest +
                       "' is no command; expected: keld VERB ...";
        return false;
    }
    words.erase(words.begin());
    return true;
}

}  // namespace

ConfigCase parseCase(const std::string& name, const std::string& text) {
    ConfigCase made;
    made.name = name;
    std::istringstream in(text);
    int number = 0;
    bool expecting = false;
    for (std::string line; std::getline(in, line);) {
        ++number;
        if (expecting) {
            if (!line.empty() && line.back() == '\r')
                line.pop_back();
            made.expected.push_back(line);
            continue;
        }
        made.head += line + "\n";
        const std::string whole = trimmed(line);
        if (whole.empty() || whole.front() == ';' || whole.front() == '#')
            continue;
        const auto blank = whole.find_first_of(" \t");
        const std::string key = whole.substr(0, blank);
        const std::string rest = blank == std::string::npos ? "" : trimmed(whole.substr(blank));
        std::vector<std::string> words;
        if (key == "expect" && rest.empty()) {
            expecting = true;
        } else if (key == "world" && !rest.empty()) {
            made.world = rest;
        } else if (key == "config" && !rest.empty()) {
            made.config = rest;
        } else if (key == "before") {
            if (!isCommand(made, number, rest, words))
                return made;
            made.before.push_back(words);
        } else if (key == "run" && made.run.empty()) {
            if (!isCommand(made, number, rest, made.run))
                return made;
        } else {
            made.problem = "line " + std::to_string(number) + ": '" + whole.substr(0, 100) +
                           "' can't be understood; expected world PATH, config PATH, before "
                           "COMMAND, one run COMMAND, or expect";
            return made;
        }
    }
    if (made.run.empty())
        made.problem = "line " + std::to_string(number) + ": there is no command to run";
    if (!expecting)
        made.head += "expect\n";
    dropEmptyEnd(made.expected);
    return made;
}

std::vector<std::string> caseLines(const std::string& out, const std::string& err, int exit_code,
                                   const std::string& directory) {
    static const std::regex time(
        R"([0-9]{4}-[0-9]{2}-[0-9]{2}[ T][0-9]{2}:[0-9]{2}(:[0-9]{2}(\.[0-9]+)?)?)");
    static const std::regex job(R"(_[0-9]{10}\b)");
    static const std::regex place(R"(, line [0-9]+$)");
    std::vector<std::string> lines;
    for (const std::string& text : {out, err}) {
        std::istringstream in(text);
        for (std::string line; std::getline(in, line);) {
            if (line.starts_with("keld: "))
                line.erase(0, 6);
            if (line.starts_with("log in ") || line.starts_with("  log: ") ||
                (line.starts_with("run ") &&
                 line.find_first_not_of("0123456789", 4) == std::string::npos))
                continue;
            for (const std::string& path : {directory + "/", directory + "\\", directory})
                for (std::size_t at; (at = line.find(path)) != std::string::npos;)
                    line.erase(at, path.size());
            line = std::regex_replace(line, time, "<time>");
            line = std::regex_replace(line, job, "_<time>");
            if (line.find(".ini, line ") != std::string::npos)
                line = std::regex_replace(line, place, "");
            while (!line.empty() && line.back() == ' ')
                line.pop_back();
            lines.push_back(line);
        }
    }
    if (exit_code > 1)
        lines.push_back("exit code " + std::to_string(exit_code));
    dropEmptyEnd(lines);
    return lines;
}

bool matchesCase(const std::vector<std::string>& expected, const std::vector<std::string>& got) {
    // ends[i]: the lines expected so far match the first i lines that were printed.
    std::vector<bool> ends(got.size() + 1, false);
    ends[0] = true;
    for (const std::string& wanted : expected) {
        const std::string line = squeezed(wanted);
        std::vector<bool> next(got.size() + 1, false);
        bool any = false;
        for (std::size_t i = 0; i <= got.size(); ++i) {
            any |= ends[i];
            if (line == "...")
                next[i] = any;
            else if (i > 0 && ends[i - 1] && squeezed(got[i - 1]) == line)
                next[i] = true;
        }
        ends = std::move(next);
    }
    return ends[got.size()];
}

std::vector<std::string> caseDifference(const std::vector<std::string>& expected,
                                        const std::vector<std::string>& got) {
    constexpr std::size_t kMost = 1000;
    std::vector<std::string> lines;
    if (expected.size() > kMost || got.size() > kMost)
        return {"- " + std::to_string(expected.size()) + " lines",
                "+ " + std::to_string(got.size()) + " lines"};
    // common[i][j]: the longest common sequence of the lines from i and from j on.
    std::vector<std::vector<std::size_t>> common(expected.size() + 1,
                                                 std::vector<std::size_t>(got.size() + 1, 0));
    const auto same = [&](std::size_t i, std::size_t j) {
        return squeezed(expected[i]) == squeezed(got[j]);
    };
    for (std::size_t i = expected.size(); i-- > 0;)
        for (std::size_t j = got.size(); j-- > 0;)
            common[i][j] = same(i, j) ? common[i + 1][j + 1] + 1
                                      : std::max(common[i + 1][j], common[i][j + 1]);
    std::size_t i = 0, j = 0;
    while (i < expected.size() || j < got.size()) {
        if (i < expected.size() && j < got.size() && same(i, j))
            lines.push_back("  " + got[j]), ++i, ++j;
        else if (j == got.size() || (i < expected.size() && common[i + 1][j] >= common[i][j + 1]))
            lines.push_back("- " + expected[i++]);
        else
            lines.push_back("+ " + got[j++]);
    }
    return lines;
}

namespace {

// XML allows no control characters but tabs and line ends. The text is UTF-8 already.
std::string xmlText(const std::string& text) {
    std::string all;
    for (const char c : text)
        switch (c) {
            case '&':
                all += "&amp;";
                break;
            case '<':
                all += "&lt;";
                break;
            case '>':
                all += "&gt;";
                break;
            case '"':
                all += "&quot;";
                break;
            default:
                all += static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\t' ? '?' : c;
        }
    return all;
}

std::string secondsText(double seconds) {
    char text[40];
    std::snprintf(text, sizeof text, "%.3f", seconds);
    return text;
}

}  // namespace

std::string asJUnit(const std::string& suite, const std::vector<CaseResult>& results) {
    std::size_t failed = 0, broken = 0;
    double seconds = 0;
    std::string cases;
    for (const CaseResult& each : results) {
        seconds += each.seconds;
        cases += "    <testcase classname=\"" + xmlText(suite) + "\" name=\"" + xmlText(each.name) +
                 "\" time=\"" + secondsText(each.seconds) + "\"";
        if (each.passed) {
            cases += "/>\n";
            continue;
        }
        ++(each.broken ? broken : failed);
        const char* word = each.broken ? "error" : "failure";
        std::string text;
        for (const std::string& line : each.lines)
            text += line + "\n";
        cases += ">\n      <" + std::string(word) + " message=\"" +
                 (each.broken ? "it can't be run" : "the output differs") + "\">" + xmlText(text) +
                 "</" + word + ">\n    </testcase>\n";
    }
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n  <testsuite name=\"" +
           xmlText(suite) + "\" tests=\"" + std::to_string(results.size()) + "\" failures=\"" +
           std::to_string(failed) + "\" errors=\"" + std::to_string(broken) + "\" time=\"" +
           secondsText(seconds) + "\">\n" + cases + "  </testsuite>\n</testsuites>\n";
}

}  // namespace keld
