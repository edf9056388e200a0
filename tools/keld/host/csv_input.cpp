#include "tools/keld/host/csv_input.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>

#include "tools/keld/host/system.h"

namespace keld {

namespace {

constexpr char kPiped[] = "-";

char separatorNamed(const std::string& word) {
    if (word.empty())
        return 0;
    if (word == "tab" || word == "\\t")
        return '\t';
    if (word.size() != 1 || word == "\"" || word == "\n" || word == "\r")
        throw CommandError(
            "'" + shortened(word) + "' is no separator; expected one character like ; or tab", {},
            kExitUsage);
    return word.front();
}

void openCsv(std::ifstream& file, const std::string& name) {
    std::error_code failure;
    const auto status = std::filesystem::status(pathOf(name), failure);
    if (!std::filesystem::exists(status))
        throw CommandError("there is no file " + name);
    if (std::filesystem::is_directory(status))
        throw CommandError(name + " is a directory, not a file");
    file.open(pathOf(name), std::ios::binary);
    if (!file)
        throw CommandError("can't read " + name + ": " + std::strerror(errno));
}

}  // namespace

void addSeparatorOption(CLI::App* verb, CsvWish& wish) {
    verb->add_option("--separator", wish.separator,
                     "what is between cells, a character or tab; else a comma or a semicolon, "
                     "as the first line has it");
}

void addIgnoreColumnsOption(CLI::App* verb, CsvWish& wish) {
    verb->add_flag("--ignore-columns", wish.ignore_columns,
                   "leave out columns whose headings have no meaning here");
}

CsvInput::CsvInput(Context& context, const CsvWish& wish, const RunWish& run)
    : name_(wish.file), separator_(separatorNamed(wish.separator)) {
    if (wish.file == kPiped) {
        if (!run.plan.empty())
            throw CommandError("a plan reads its file again: name one, not the standard input", {},
                               kExitUsage);
        stream_ = &std::cin;
        name_ = "standard input";
        return;
    }
    openCsv(file_, wish.file);
    const std::string whole = std::filesystem::absolute(pathOf(wish.file)).string();
    for (std::string& word : context.command)
        if (word == "--from=" + wish.file)
            word = "--from=" + whole;
    if (!context.command.empty() && context.command.back() == wish.file)
        context.command.back() = whole;
}

int refuseRows(Context& context, const CsvInput& input, const CsvProblems& problems) {
    Json all = Json::array();
    for (const CsvProblems::Problem& problem : problems.kept())
        all.push_back({{"line", problem.place.line},
                       {"column", problem.place.column == 0 ? Json() : Json(problem.place.column)},
                       {"text", problem.text}});
    context.document = {{"file", input.name()},
                        {"succeeded", false},
                        {"problems", all},
                        {"problem_count", problems.count()}};
    for (const std::string& text : problems.texts())
        context.note(text);
    context.print(counted(problems.count(), "problem") + " in " + shown(input.name()) +
                  "; nothing changed\n");
    return kExitFailed;
}

}  // namespace keld
