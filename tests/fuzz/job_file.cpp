// Job files: one without problems is exactly what was read from it, line by line; a file made of
// arbitrary values is read back, and one that is cut inside a line is refused.

#include <string>

#include "tests/fuzz/fuzz.h"
#include "tools/keld-batch/job_file.h"

namespace {

using keld_batch::JobFile;

std::string written(const JobFile& job) {
    std::string text = "-typ=" + job.type + "\n-iid=" + job.item + "\n-irv=" + job.revision +
                       "\n-user=" + job.user + "\n-usersgroup=" + job.users_group +
                       "\n-mailto=" + job.mail_to + "\n-city=" + job.city +
                       "\n-jobtype=" + job.job_type + "\n-state=" + job.state + "\n";
    for (const auto& view : job.bom_views)
        text += "-bom_rev_type=" + view.type + "\n-bom_rev_name=" + view.name + "\n";
    for (const auto& object : job.objects)
        text += "-obj=" + object.name + "\n-rel=" + object.relation + "\n";
    return text;
}

std::string withPlainEnds(const std::string& text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i)
        if (text[i] != '\r' || i + 1 == text.size() || text[i + 1] != '\n')
            result += text[i];
    return result;
}

void readAsItIs(const std::string& content) {
    const JobFile job = keld_batch::parseJobFile("a.job", content);
    fuzz::require(job.empty == content.empty(), "an empty file is empty");
    for (const std::string& problem : job.problems)
        for (const char c : problem)
            fuzz::require(static_cast<unsigned char>(c) >= 0x20 && c != 0x7F,
                          "a problem is one line");
    if (job.problems.empty() && !job.empty) {
        fuzz::require(!job.objects.empty(), "there is an object");
        fuzz::require(written(job) == withPlainEnds(content), "all of the file was read");
    }
}

std::string value(fuzz::Input& input) {
    std::string text(input.upTo('\n'));
    while (text.ends_with('\r'))
        text.pop_back();
    return text;
}

void writeAndRead(fuzz::Input input) {
    JobFile job;
    const std::size_t views = input.byte() % 4;
    const std::size_t objects = 1 + input.byte() % 4;
    const std::size_t cut = static_cast<std::uint32_t>(input.number());
    for (std::string* text : {&job.type, &job.item, &job.revision, &job.user, &job.users_group,
                              &job.mail_to, &job.city, &job.job_type, &job.state})
        *text = value(input);
    for (std::size_t i = 0; i < views; ++i)
        job.bom_views.push_back({value(input), value(input)});
    for (std::size_t i = 0; i < objects; ++i)
        job.objects.push_back({value(input), value(input)});
    const std::string text = written(job);
    const JobFile read = keld_batch::parseJobFile("a.job", text);
    fuzz::require(read.problems.empty(), "a file that was written has no problems");
    fuzz::require(written(read) == text, "it is read back");
    const std::string part = text.substr(0, cut % text.size());
    if (!part.empty() && !part.ends_with('\n'))
        fuzz::require(!keld_batch::parseJobFile("a.job", part).problems.empty(),
                      "a cut line is a problem");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    readAsItIs({reinterpret_cast<const char*>(data), size});
    writeAndRead({data, size});
    return 0;
}
