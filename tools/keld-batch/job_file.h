#pragma once

// Reading job files. Their format stands in docs/job-files.md; this is one way to read it, for
// people who write a batch program of their own. Standard library only.

#include <filesystem>
#include <string>
#include <vector>

namespace keld_batch {

struct BomView {
    std::string type, name;
};

struct JobObject {
    std::string name;
    std::string relation;  // empty: the item itself
};

// One job file. Without problems all nine values of the header and at least one object are there,
// or the file is empty, which is a type without a match and no job.
struct JobFile {
    std::string file;  // name without directory
    std::string type, item, revision, user, users_group, mail_to, city, job_type, state;
    std::vector<BomView> bom_views;
    std::vector<JobObject> objects;
    bool empty = false;
    std::vector<std::string> problems;  // "line 3: ...", each with what was expected
};

// The content of a job file. Lines end in LF or CR LF.
JobFile parseJobFile(const std::string& file, const std::string& content);

struct Job {
    std::vector<JobFile> files;         // in the order of their names
    std::string options;                // as it stands
    std::vector<std::string> problems;  // of the directory
};

// All job files of a directory and its options.txt, which is the last thing written: without it the
// directory isn't complete, which is a problem.
Job readJobDirectory(const std::filesystem::path& directory);

}  // namespace keld_batch
