#pragma once

// A small world with a user who has jobs made, and calls of the job file writer and the two
// services.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <functional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "jobs/keld_fct_cjf_from_portal.h"
#include "os/keld_os.h"
#include "platform/keld_se.h"
#include "platform/mv_art.h"
#include "platform/mv_dbo.h"
#include "platform/mv_heap.h"
#include "platform/mv_obj.h"
#include "platform/mv_org.h"
#include "platform/mv_rel.h"
#include "tests/support/files.h"
#include "tests/support/world.h"

namespace jobs {

namespace fs = std::filesystem;

inline constexpr int kPlanned = 4711;

using keld_test::readText;

inline tag_t relationType(const std::string& name) {
    tag_t type = NULLTAG;
    EXPECT_EQ(0, REL_find_relation_type(name.c_str(), &type));
    return type;
}

// The arguments of the writer.
struct WriterCall {
    std::string destination;
    std::string type = "CADPART", all_types = "false", target_flag = "false";
    std::vector<tag_t> relation_types;  // empty: VANE_specification
    std::string job_type = "PRINT", options, state = "released", file_flag = "false";
    std::string user_flag = "currentUserId", mail_flag = "true", city_flag = "true";
    bool only_pid = false;
    std::vector<tag_t> targets;
};

struct JobFile {
    std::string name, content;
};

// The user u4711 of the group "design" below "engineering", with city and mail address, and a
// revision to make jobs of.
class JobTest : public testing::Test {
protected:
    JobTest() {
        world.bench.defineType("CADPART", "Dataset", {});
        world.bench.defineType("CADMASTER", "Dataset", {});
        const auto session = world.otherUser("u4711");
        world.bench.selectSession(session);
        tag_t member = NULLTAG;
        char* name = nullptr;
        EXPECT_EQ(0, ORG_ask_current_groupmember(&member));
        EXPECT_EQ(0, ORG_ask_groupmember_group(member, &group));
        EXPECT_EQ(0, DBO_get_user(&name, &user));
        EXPECT_EQ(0, ORG_ask_user_person(user, &person));
        HEAP_free(name);
        administer([this] {
            world.put(group, "group_name", "design");
            world.bench.set(group, "parent",
                            {mervane::Reference{world.bench.createGroup("engineering", "")}});
            world.put(user, "user_name", "Ursula Meyer");
        });
        world.put(person, "PA2", "Brightwater");
        world.put(person, "PA9", "u4711.mail");
        made = world.item("000123");
        world.name(made.revision, "rev");
    }

    // Change users and groups, which the session of u4711 may not; it reads them anew.
    void administer(const std::function<void()>& changes) {
        const auto mine = world.bench.currentSession();
        world.as(mine, [] {});  // the first session, an administrator's, comes after it
        changes();
        world.bench.selectSession(mine);
        for (const tag_t tag : {group, user})
            EXPECT_EQ(0, OBJ_refresh(tag, false));
    }

    // Run the writer; the job directory is what it reports, as do its other results.
    int write(const WriterCall& call) {
        tag_t* targets = nullptr;
        if (!call.targets.empty()) {
            targets = static_cast<tag_t*>(HEAP_alloc(call.targets.size() * sizeof(tag_t)));
            std::memcpy(targets, call.targets.data(), call.targets.size() * sizeof(tag_t));
        }
        const std::vector<tag_t> types =
            call.relation_types.empty() ? std::vector<tag_t>{relationType("VANE_specification")}
                                        : call.relation_types;
        const std::string destination =
            call.destination.empty() ? directory_.string() : call.destination;
        char job_directory[1024] = "untouched";
        const int status = KELD_fct_CRJ_from_portal(
            destination.c_str(), call.type.c_str(), call.all_types.c_str(),
            call.target_flag.c_str(), types.data(), static_cast<int>(types.size()),
            call.job_type.c_str(), call.options.c_str(), call.state.c_str(), call.file_flag.c_str(),
            call.user_flag.c_str(), call.mail_flag.c_str(), call.city_flag.c_str(), "IREV", "IREV",
            "IREV", call.only_pid, static_cast<int>(call.targets.size()), targets, job_directory);
        job_directory_ = job_directory;
        return status;
    }
    // A call for the revision that the fixture has made.
    WriterCall forRevision() const {
        WriterCall call;
        call.targets = {made.revision};
        return call;
    }

    const std::string& jobDirectory() const { return job_directory_; }
    // The job files of a directory in the order of their counters.
    static std::vector<JobFile> filesIn(const fs::path& directory) {
        std::vector<JobFile> found;
        for (const auto& entry : fs::directory_iterator(directory))
            if (entry.path().extension() == ".job")
                found.push_back({entry.path().filename().string(), readText(entry.path())});
        const auto counter = [](const JobFile& file) {
            const std::size_t end = file.name.rfind('.');
            return std::stoi(file.name.substr(file.name.rfind('_', end) + 1));
        };
        std::sort(found.begin(), found.end(),
                  [&](const JobFile& a, const JobFile& b) { return counter(a) < counter(b); });
        return found;
    }
    std::vector<std::string> contents() const {
        std::vector<std::string> found;
        for (const JobFile& file : filesIn(job_directory_))
            found.push_back(file.content);
        return found;
    }
    std::string options() const { return readText(fs::path(job_directory_) / "options.txt"); }
    bool hasOptions() const { return fs::exists(fs::path(job_directory_) / "options.txt"); }

    // The nine lines at the head of a file for the fixture's revision.
    static std::string header(const std::string& type, const std::string& item_id = "000123",
                              const std::string& revision_id = "A") {
        return "-typ=" + type + "\n-iid=" + item_id + "\n-irv=" + revision_id +
               "\n-user=u4711\n-usersgroup=design.engineering\n-mailto=u4711.mail\n"
               "-city=Brightwater\n-jobtype=PRINT\n-state=released\n";
    }
    static std::string object(const std::string& name,
                              const std::string& relation = "VANE_specification") {
        return "-obj=" + name + "\n-rel=" + relation + "\n";
    }
    tag_t part(const std::string& name, const std::string& type = "CADPART") {
        return world.specification(made.revision, name, type);
    }
    // The value of a key in the first job file.
    std::string value(const std::string& key) const {
        std::istringstream lines(contents().empty() ? "" : contents().front());
        for (std::string line; std::getline(lines, line);)
            if (line.starts_with("-" + key + "="))
                return line.substr(key.size() + 2);
        return "(no -" + key + ")";
    }
    // What the library put on the error stack, without the planned failures of the platform.
    std::vector<std::pair<int, std::string>> stack() {
        std::vector<std::pair<int, std::string>> found;
        for (const auto& entry : world.bench.errorStack()) {
            EXPECT_EQ(3, entry.severity);
            if (entry.text.find("planned failure") == std::string::npos)
                found.emplace_back(entry.status, entry.text);
        }
        return found;
    }
    // How deep the log is indented now.
    int depth() {
        KELD_TRACE("probe\n");
        return world.log().back().depth;
    }

    world::World world;
    tag_t user = NULLTAG, person = NULLTAG, group = NULLTAG;
    world::ItemTags made;
    keld_test::Directory directory_;

private:
    std::string job_directory_;
};

}  // namespace jobs
