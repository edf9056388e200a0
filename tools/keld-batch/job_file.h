#pragma once

// Reading job files; docs/job-files.md has their format. This is one way to read them, for people
// who write a batch program of their own. Standard library only.

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

// One job file. Without problems it has all nine values of the header and at least one object, or
// it is empty: no job matched its type.
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
    std::string options;                // as in the file
    std::vector<std::string> problems;  // of the directory, not of one file
};

// Reads all job files of a directory and its options.txt. The service writes options.txt last, so a
// directory without it isn't complete; that is a problem.
Job readJobDirectory(const std::filesystem::path& directory);

}  // namespace keld_batch
