#include "tests/fuzz/service_world.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_err.h"
#include "platform/mv_heap.h"
#include "platform/mv_line.h"
#include "platform/mv_reg.h"
#include "workbench/session/error_stack.h"
#include "workbench/session/session.h"

namespace fuzz {
namespace {

namespace fs = std::filesystem;

constexpr int calls_per_world = 64;
constexpr std::size_t most_text = 1 << 20;

// Let the library use nothing but this directory, and give its path.
std::string useRoot(const keld_test::Directory& directory) {
    const std::string root = directory.string();
    for (const char* name : {"KELD_CFG_PATH", "MV_TMP_DIR", "TEMP", "TMP"})
        setenv(name, root.c_str(), 1);
    setenv("KELD_LOG_FILE", (root + "/keld.log").c_str(), 1);
    setenv("KELD_DISABLE_LOCPREF_CACHE", "1", 1);
    setenv("KELD_DISABLE_COPYATTR_CACHE", "1", 1);
    return root;
}

}  // namespace

ServiceWorld::ServiceWorld()
    : bench_(*mervane_workbench()),
      directory_(std::make_unique<keld_test::Directory>()),
      root_(useRoot(*directory_)),
      output_(dup(STDOUT_FILENO)),
      nowhere_(open("/dev/null", O_WRONLY | O_CLOEXEC)) {
    require(output_ >= 0 && nowhere_ >= 0, "the output can be turned away");
    build();
}

ServiceWorld& serviceWorld() {
    static ServiceWorld* one = new ServiceWorld;
    static const bool registered = [] { return std::atexit([] { one->leave(); }) == 0; }();
    require(registered, "the directory will be emptied");
    return *one;
}

void ServiceWorld::leave() {
    checkStore();
    directory_.reset();
}

void ServiceWorld::build() {
    if (open_)
        bench_.closeStore(store_);
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(root_))
        if (entry.path().filename() != "keld.log")
            fs::remove_all(entry.path(), ignored);
    fs::create_directories(root_ + "/job");
    std::ofstream(root_ + "/file.txt") << "content\n";
    store_ = bench_.openStore(":memory:");
    open_ = true;
    bench_.openSession(store_, {});
    bench_.createProcessTemplate("Release", {"first", "second"});
    items_.clear();
    revisions_.clear();
    forms_.clear();
    all_.clear();
    tag_t top = NULLTAG;
    for (const char* id : {"000001", "000002", "000003"}) {
        tag_t first = NULLTAG;
        const tag_t item = bench_.createItem(id, id, "", "A", &first);
        const tag_t newer = bench_.createRevision(item, "B");
        const tag_t dataset = bench_.createDataset("Text", std::string(id) + "/A");
        bench_.addFile(dataset, "Text", root_ + "/file.txt", std::string(id) + ".txt");
        bench_.relate(first, dataset, "VANE_specification");
        const tag_t latest = bench_.createDatasetVersion(dataset);  // takes over the relations
        bench_.relate(newer, latest, "VANE_specification");
        items_.push_back(item);
        revisions_.insert(revisions_.end(), {first, newer});
        all_.insert(all_.end(), {latest, dataset});
        if (top == NULLTAG) {
            top = first;
        } else {
            bench_.addOccurrence(top, first, "2", "10");
            bench_.addOccurrence(top, first, "", "10");
            bench_.addOccurrence(top, newer, "1", "");
        }
    }
    bench_.addOccurrence(revisions_.back(), revisions_[2], "1", "10");
    addForms();
    addAround();
    lines_ = {bench_.openBomWindow(top)};
    int count = 0;
    tag_t* children = nullptr;
    if (LINE_ask_child_lines(lines_.front(), &count, &children) == 0)
        lines_.insert(lines_.end(), children, children + count);
    HEAP_free(children);
    for (const auto& kind : {items_, revisions_, forms_, lines_})
        all_.insert(all_.end(), kind.begin(), kind.end());
}

void ServiceWorld::addForms() {
    for (const tag_t owner : {items_[0], revisions_[0], revisions_[1], items_[1]}) {
        tag_t form = NULLTAG;
        require(KELD_GetMasterForm(owner, &form) == 0, "there is a master form");
        forms_.push_back(form);
    }
    for (const tag_t dataset : {all_[0], all_[2]}) {
        forms_.push_back(bench_.createForm("ItemRevision Master", "000001/A"));
        bench_.addNamedReference(dataset, "Text", forms_.back());
    }
}

// Folders, a file with a name of its own, statuses, rights, the registry of ids.
void ServiceWorld::addAround() {
    const tag_t folder = bench_.createFolder("full");
    bench_.addToFolder(folder, items_[0]);
    const tag_t loose = bench_.createDataset("Text", "loose");
    bench_.addFile(loose, "Text", root_ + "/file.txt", "../a:b?.txt");
    all_.insert(all_.end(), {folder, bench_.createFolder("empty"), loose});
    // What was released can't be changed by everybody, and one object is checked out.
    const tag_t status = bench_.create("ReleaseStatus");
    bench_.set(status, "name", {std::string("InWork")});
    bench_.set(revisions_[0], "release_status_list", {mervane::Reference{status}});
    bench_.addRight({"all", "", "status", "Released", "WRITE", false});
    bench_.checkOut(revisions_.back(), "");
    const tag_t classification = bench_.create("icm0");
    bench_.set(classification, "id", {std::string("000002/A")});
    bench_.relate(revisions_[2], classification, "VANE_reference");
    const tag_t site = bench_.create("Site");
    bench_.set(site, "site_name", {std::string("HQ")});
    bench_.set(site, "site_id", {std::int64_t{7}});
    bench_.setPreference("ART_id_registry_site", {"HQ"});
    require(REG_register_item_id("000002", 7) == 0, "an id is registered");
    all_.insert(all_.end(), {status, classification});
}

// Another kind of object at times, seldom none or an unknown one.
tag_t ServiceWorld::objectOf(Decisions& from, const std::vector<tag_t>& kind) {
    if (from.oneIn(20))
        return from.oneIn(2) ? NULLTAG : static_cast<tag_t>(from.number());
    return from.pick(from.oneIn(12) ? all_ : kind);
}

std::vector<tag_t> ServiceWorld::objectsOf(Decisions& from, const std::vector<tag_t>& kind) {
    std::vector<tag_t> result(from.oneIn(40) ? from.below(300) : from.below(6));
    for (tag_t& each : result)
        each = objectOf(from, kind);
    return result;
}

std::string ServiceWorld::directory(Decisions& from) {
    static constexpr const char* tails[] = {"/job",      "/job/",    "/missing",
                                            "/file.txt", "/job%s%n", "/job/%NAME%/$UNSET",
                                            "//job",     "/job;true"};
    if (from.oneIn(4))
        return from.oneIn(2) ? "" : " ";
    std::string result = root_ + from.pick(tails);
    if (from.oneIn(6))
        result += std::string(from.oneIn(4) ? 100000 : 900 + from.below(120), 'd');
    return result;
}

std::string ServiceWorld::program(Decisions& from) {
    static constexpr const char* programs[] = {"", " ", "none", "none", "none", "none"};
    if (from.oneIn(100))
        return from.oneIn(2) ? "/bin/true" : "/nowhere/no_such_program";
    return from.oneIn(10) ? "/bin/true " + std::string(985 + from.below(30), 'x')
                          : from.pick(programs);
}

void ServiceWorld::beforeCall() {
    if (calls_++ % calls_per_world == 0)
        build();
    ERR_clear_errors();
    blocks_ = bench_.liveHeapBlocks();
    locks_ = bench_.heldLocks();
    std::fflush(stdout);
    dup2(nowhere_, STDOUT_FILENO);
}

void ServiceWorld::afterCall(int most_blocks_left, bool locks_given_back) {
    std::fflush(stdout);
    dup2(output_, STDOUT_FILENO);
    require(!mervane::currentSession().bypass(), "the application bypass is off");
    require(!mervane::errorStack().hasMark(), "no protect mark is open");
    require(!locks_given_back || bench_.heldLocks() == locks_, "locks are given back");
    require(most_blocks_left < 0 ||
                bench_.liveHeapBlocks() <= blocks_ + static_cast<std::size_t>(most_blocks_left),
            "blocks are given back");
    for (const mervane::StackEntry& entry : bench_.errorStack())
        require(entry.text.size() < most_text, "a text of the error stack is bounded");
    if (calls_ % 16 == 0)
        checkLog();
    if (calls_ % calls_per_world == 0)
        checkStore();
}

void ServiceWorld::checkStore() {
    for (const mervane::CheckFinding& finding : bench_.check(store_, false)) {
        // A library function that removes statuses deletes them even if other objects have them,
        // and here it is called with any object.
        if (finding.text.find(" refers by release_status_list to ") != std::string::npos)
            continue;
        if (finding.error)
            std::fprintf(stderr, "%s\n", finding.text.c_str());
        require(!finding.error, "the store is whole");
    }
}

void ServiceWorld::checkLog() {
    const char* path = KELD_GetLogFilePath();
    require(path != nullptr && root_ + "/keld.log" == path, "the log is in the directory");
    std::string last(1, '\n');
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    if (file.tellg() > 0) {
        file.seekg(-1, std::ios::end);
        file.read(last.data(), 1);
    }
    require(last == "\n", "the log ends with a whole line");
    if (fs::file_size(path) > 64 * most_text)
        fs::resize_file(path, 0);
}

}  // namespace fuzz
