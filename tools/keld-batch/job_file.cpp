#include "tools/keld-batch/job_file.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>
#include <optional>
#include <string_view>

namespace keld_batch {

namespace {

namespace fs = std::filesystem;

struct Line {
    std::string key, value;
};

// Reads the lines of a file in turn, each "-key=value".
class Lines {
public:
    Lines(const std::string& content, std::vector<std::string>& problems)
        : content_(content), problems_(problems) {}

    bool atEnd() const { return at_ >= content_.size(); }
    bool failed() const { return !problems_.empty(); }

    // Gives the value of the next line if it has this key; else nothing, and the line stays.
    std::optional<std::string> take(std::string_view key) {
        if (atEnd())
            return std::nullopt;
        const std::size_t kept = at_;
        const std::string line = next();
        if (line.size() > key.size() + 1 && line[0] == '-' &&
            line.compare(1, key.size(), key) == 0 && line[key.size() + 1] == '=')
            return line.substr(key.size() + 2);
        at_ = kept;
        --number_;
        return std::nullopt;
    }
    // Like take(), but a missing key is a problem. After the first problem it reads nothing more.
    std::string need(std::string_view key) {
        if (failed())
            return "";
        if (auto value = take(key))
            return *value;
        problem("-" + std::string(key) + "= was expected");
        return "";
    }
    void problem(const std::string& text) {
        problems_.push_back("line " + std::to_string(number_ + 1) + ": " + text + ", not " +
                            shown());
    }

private:
    std::string next() {
        ++number_;
        const std::size_t end = std::min(content_.find('\n', at_), content_.size());
        std::string line = content_.substr(at_, end - at_);
        at_ = end + 1;
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        return line;
    }
    // The line found there, short and without control characters.
    std::string shown() const {
        if (atEnd())
            return "the end of the file";
        std::string line =
            content_.substr(at_, std::min(content_.find('\n', at_) - at_, std::size_t{40}));
        std::replace_if(
            line.begin(), line.end(),
            [](char c) { return std::iscntrl(static_cast<unsigned char>(c)) != 0; }, '?');
        return "\"" + line + "\"";
    }

    const std::string& content_;
    std::vector<std::string>& problems_;
    std::size_t at_ = 0;
    int number_ = 0;
};

std::optional<std::string> readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return std::nullopt;
    std::string content{std::istreambuf_iterator<char>(in), {}};
    if (in.bad())
        return std::nullopt;
    return content;
}

}  // namespace

JobFile parseJobFile(const std::string& file, const std::string& content) {
    JobFile job;
    job.file = file;
    job.empty = content.empty();
    if (job.empty)
        return job;
    Lines lines(content, job.problems);
    job.type = lines.need("typ");
    job.item = lines.need("iid");
    job.revision = lines.need("irv");
    job.user = lines.need("user");
    job.users_group = lines.need("usersgroup");
    job.mail_to = lines.need("mailto");
    job.city = lines.need("city");
    job.job_type = lines.need("jobtype");
    job.state = lines.need("state");
    while (!lines.failed()) {
        const auto type = lines.take("bom_rev_type");
        if (!type)
            break;
        job.bom_views.push_back({*type, lines.need("bom_rev_name")});
    }
    do {
        const std::string name = lines.need("obj");
        const std::string relation = lines.need("rel");
        if (!lines.failed())
            job.objects.push_back({name, relation});
    } while (!lines.failed() && !lines.atEnd());
    if (!lines.failed() && content.back() != '\n')
        job.problems.push_back("the last line has no end; the file may have been cut off");
    return job;
}

Job readJobDirectory(const fs::path& directory) {
    Job job;
    std::vector<fs::path> paths;
    std::error_code failure;
    for (const auto& entry : fs::directory_iterator(directory, failure))
        if (entry.path().extension() == ".job")
            paths.push_back(entry.path());
    if (failure) {
        job.problems.push_back(directory.string() + " can't be read: " + failure.message());
        return job;
    }
    std::sort(paths.begin(), paths.end());
    for (const fs::path& path : paths) {
        const std::string name = path.filename().string();
        if (const auto content = readFile(path)) {
            job.files.push_back(parseJobFile(name, *content));
        } else {
            JobFile unreadable;
            unreadable.file = name;
            unreadable.problems.push_back("the file can't be read");
            job.files.push_back(unreadable);
        }
    }
    if (const auto options = readFile(directory / "options.txt"))
        job.options = *options;
    else
        job.problems.push_back("there is no options.txt, so the job isn't complete");
    return job;
}

}  // namespace keld_batch
