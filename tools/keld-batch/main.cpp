// keld-batch: a minimal batch program. It takes a job directory as its only argument, reads the job
// files and the options, and writes a summary of them into the directory.

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include "tools/keld-batch/job_file.h"

namespace {

namespace fs = std::filesystem;
using keld_batch::Job;
using keld_batch::JobFile;

constexpr int kExitDone = 0;
constexpr int kExitProblems = 1;
constexpr int kExitUsage = 2;

int problemsIn(const Job& job) {
    std::size_t count = job.problems.size();
    for (const JobFile& file : job.files)
        count += file.problems.size();
    return static_cast<int>(count);
}

// Write one block for each file, in the form of the job files themselves.
void writeFile(std::ostream& out, const JobFile& file) {
    const char* result = !file.problems.empty() ? "problem" : file.empty ? "empty" : "done";
    out << "\n-file=" << file.file << "\n-result=" << result << "\n";
    for (const std::string& problem : file.problems)
        out << "-problem=" << problem << "\n";
    if (!file.problems.empty() || file.empty)
        return;
    out << "-typ=" << file.type << "\n-iid=" << file.item << "\n-irv=" << file.revision
        << "\n-user=" << file.user << "\n-jobtype=" << file.job_type << "\n-state=" << file.state
        << "\n-bom_views=" << file.bom_views.size() << "\n";
    for (const auto& object : file.objects)
        out << "-obj=" << object.name << "\n-rel=" << object.relation << "\n";
}

void writeSummary(std::ostream& out, const Job& job) {
    int jobs = 0, empty = 0;
    std::size_t objects = 0;
    for (const JobFile& file : job.files) {
        jobs += file.problems.empty() && !file.empty ? 1 : 0;
        empty += file.empty ? 1 : 0;
        objects += file.problems.empty() ? file.objects.size() : 0;
    }
    out << "-files=" << job.files.size() << "\n-jobs=" << jobs << "\n-empty=" << empty
        << "\n-objects=" << objects << "\n-options=" << job.options.size()
        << "\n-problems=" << problemsIn(job) << "\n";
    for (const std::string& problem : job.problems)
        out << "-problem=" << problem << "\n";
    for (const JobFile& file : job.files)
        writeFile(out, file);
}

int run(int argc, char** argv) {
    if (argc != 2 || argv[1][0] == '\0') {
        std::cerr << "keld-batch: the job directory is the only argument";
        // The service doesn't quote the path, so blanks in it split the argument.
        if (argc > 2)
            std::cerr << "; " << argc - 1 << " came, so the directory's path may have blanks in it";
        std::cerr << "\n";
        return kExitUsage;
    }
    const fs::path directory = argv[1];
    if (!fs::is_directory(directory)) {
        std::cerr << "keld-batch: there is no directory " << directory.string() << "\n";
        return kExitUsage;
    }
    const Job job = keld_batch::readJobDirectory(directory);
    const fs::path result = directory / "result.txt";
    std::ofstream out(result);
    writeSummary(out, job);
    out.close();
    if (!out) {
        std::cerr << "keld-batch: " << result.string() << " can't be written\n";
        return kExitProblems;
    }
    const int problems = problemsIn(job);
    std::cout << "keld-batch: " << job.files.size() << " job files, " << problems
              << " problems, see " << result.string() << "\n";
    return problems == 0 ? kExitDone : kExitProblems;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& failure) {
        std::cerr << "keld-batch: " << failure.what() << "\n";
        return kExitProblems;
    }
}
