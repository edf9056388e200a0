#include "tools/keld/verbs/copy_lines.h"

#include <algorithm>
#include <filesystem>
#include <iterator>

#include "platform/keld_basetool.h"
#include "tools/keld/host/system.h"
#include "workbench/utf8.h"

namespace keld {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kLongestLine = 1024;
constexpr std::size_t kShortestLine = 3;
constexpr int kTraceLevel = 3;

// Cut a value as the library does when it reads it.
std::string lineOf(const std::string& value) {
    std::string line = value.substr(0, kLongestLine);
    const auto trim = [&](const char* signs) {
        const auto last = line.find_last_not_of(signs);
        line.erase(last == std::string::npos ? 0 : last + 1);
    };
    trim("\r\n");
    trim(" \r");
    return line;
}

std::vector<std::string> remarksOn(const CopyLine& line, const std::string& value) {
    std::vector<std::string> remarks;
    if (value.size() > kLongestLine)
        remarks.push_back("only the first " + std::to_string(kLongestLine) +
                          " characters are read");
    const std::vector<std::string> fields = copyFields(line);
    if (line.preference != kCopyPreferences[kCopyRelations] && fields.size() > 2 &&
        fields[2] != "null")
        remarks.push_back("the third field isn't exactly null and is ignored");
    return remarks;
}

// A log for the check only, so that it contains no lines of anybody else.
class PrivateLog {
public:
    PrivateLog() : level_(KELD_GetLogLevel()) {
        directory_ = pathOf(makeTemporaryDirectory("keld-check"));
        setEnvironment("KELD_LOG_FILE", (directory_ / "keld.log").string());
        KELD_SetLogLevel(std::max(level_, kTraceLevel));
    }
    ~PrivateLog() {
        KELD_SetLogLevel(level_);
        std::error_code ignored;
        fs::remove_all(directory_, ignored);
    }
    PrivateLog(const PrivateLog&) = delete;
    PrivateLog& operator=(const PrivateLog&) = delete;

private:
    int level_;
    fs::path directory_;
};

// Give "ERROR: the property ..." without its first word; keep lines of traced calls only if there
// are no others.
void addError(std::vector<std::string>& errors, std::string text) {
    constexpr std::string_view kLead = "ERROR: ";
    if (text.starts_with(kLead))
        text.erase(0, kLead.size());
    errors.push_back(std::move(text));
}

bool isTraceOfCall(const std::string& text) {
    return text.starts_with("File:") || text.starts_with("--");
}

// Give each preference line the errors between its enter and leave lines in the log.
void assignErrors(const std::vector<LogLine>& log, std::vector<CopyLine>& lines) {
    std::vector<CopyLine*> read;
    for (CopyLine& line : lines)
        if (!line.skipped)
            read.push_back(&line);
    std::size_t entered = 0;
    bool inside = false;
    std::vector<std::string> calls;
    for (const LogLine& line : log) {
        if (line.text.starts_with("->AddAttribute ") || line.text.starts_with("->AddRelation ")) {
            ++entered;
            inside = true;
            calls.clear();
        } else if (line.text.starts_with("<-AddAttribute ") ||
                   line.text.starts_with("<-AddRelation ")) {
            if (inside && entered <= read.size() && read[entered - 1]->errors.empty())
                for (const std::string& call : calls)
                    addError(read[entered - 1]->errors, call);
            inside = false;
        } else if (inside && entered <= read.size() && line.level == 'E') {
            if (isTraceOfCall(line.text))
                calls.push_back(line.text);
            else
                addError(read[entered - 1]->errors, line.text);
        } else if (inside && entered <= read.size() && line.level == 'W') {
            read[entered - 1]->remarks.push_back(line.text);
        }
    }
    if (entered != read.size())
        throw CommandError("the log of the check has " + std::to_string(entered) + " lines of " +
                           std::to_string(read.size()) + "; it couldn't be written");
}

}  // namespace

std::vector<CopyLine> copyLines(const Context& context) {
    std::vector<CopyLine> lines;
    const auto preferences = context.workbench().preferences();
    for (const char* name : kCopyPreferences)
        for (const auto& [known, values] : preferences) {
            if (known != name)
                continue;
            int number = 0;
            for (const std::string& value : values) {
                CopyLine line{name, ++number, lineOf(value), false, {}, {}};
                line.skipped = line.text.size() < kShortestLine || line.text.starts_with('#');
                if (!line.skipped)
                    line.remarks = remarksOn(line, value);
                lines.push_back(std::move(line));
            }
        }
    return lines;
}

std::vector<std::string> copyFields(const CopyLine& line) {
    std::vector<std::string> fields;
    std::size_t start = 0;
    for (std::size_t at;
         fields.size() < 2 && (at = line.text.find(';', start)) != std::string::npos;
         start = at + 1)
        fields.push_back(line.text.substr(start, at - start));
    fields.push_back(line.text.substr(start));
    return fields;
}

CopyCheck checkCopyLines(Context& context) {
    CopyCheck check{copyLines(context), 0};
    const PrivateLog own;
    const LogWatch log;
    const Outcome outcome =
        runService(context, findService("KELD_CopyAttr"), {tag_t{NULLTAG}, std::vector<tag_t>{}});
    check.status = outcome.status;
    assignErrors(log.lines(), check.lines);
    return check;
}

std::string shownLine(const std::string& text, std::size_t most) {
    std::string shown;
    const auto last = text.find_last_not_of("\r\n");
    for (const char c : text.substr(0, last == std::string::npos ? 0 : last + 1)) {
        // Cut at the begin of a character, never inside one.
        if (shown.size() >= most && !mervane::continuesCharacter(c))
            return shown + "...";
        switch (c) {
            case '\t':
                shown += "\\t";
                break;
            case '\n':
                shown += "\\n";
                break;
            case '\r':
                shown += "\\r";
                break;
            default:
                shown += static_cast<unsigned char>(c) < 0x20 ? '?' : c;
        }
    }
    return shown;
}

}  // namespace keld
