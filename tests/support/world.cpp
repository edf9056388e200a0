#include "tests/support/world.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "platform/keld_basetool.h"
#include "platform/mv_err.h"
#include "platform/mv_heap.h"
#include "platform/mv_rel.h"
#include "tests/support/files.h"
#include "tests/support/store_kind.h"

namespace world {

namespace {

namespace fs = std::filesystem;

// One directory for the process: the library keeps the path of its configuration.
const fs::path& directory() {
    static const struct Configured {
        Configured() {
            ::setenv("KELD_CFG_PATH", directory.string().c_str(), 1);
            ::setenv("KELD_LOG_FILE", directory.at("keld.log").c_str(), 1);
            ::unsetenv("KELD_LOG_MAX_MB");
        }
        keld_test::Directory directory;
    } made;
    return made.directory;
}

std::string readFrom(const fs::path& path, std::size_t start) {
    std::ifstream file(path, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(start));  // the log of a deep walk is large
    std::ostringstream text;
    if (file.peek() != std::ifstream::traits_type::eof())
        text << file.rdbuf();
    return text.str();
}

// Handles of classes, attributes and types begin here.
constexpr tag_t kFirstHandle = 0x80000000u;

// "YYYY-MM-DD hh:mm:ss.mmm L " comes before the indentation.
constexpr std::size_t kStampLength = 26;

LogLine parseLine(const std::string& line) {
    LogLine parsed{line.size() > 24 ? line[24] : '?', 0, ""};
    std::size_t at = std::min(kStampLength, line.size());
    while (line.compare(at, 2, "  ") == 0)
        ++parsed.depth, at += 2;
    parsed.text = line.substr(at);
    return parsed;
}

bool isCallLine(const std::string& text) {
    return text.starts_with(" ->") || text.starts_with(" <-") || text.starts_with(" File:");
}

}  // namespace

World::World() : bench(*mervane_workbench()) {
    directory();
    store_ = keld_test::openFreshStore();
    session_ = bench.openSession(store_, {});
    std::error_code ignored;
    fs::remove(directory() / "keld_statusmanager.ini", ignored);
    fs::remove(directory() / "keld_base.ini", ignored);
    ERR_clear_errors();  // the process's stack, if an earlier world filled it
    KELD_SetLogLevel(4);
    clearLog();
    blocks_at_start_ = blocks();
}

World::~World() {
    bench.setFaults({});
    bench.closeStore(store_);
}

ItemTags World::item(const std::string& id, const std::string& type) {
    ItemTags made;
    made.item = bench.createItem(id, id, type, "A", &made.revision);
    return made;
}

tag_t World::revision(tag_t item, const std::string& revision_id) {
    return bench.createRevision(item, revision_id);
}

tag_t World::masterForm(tag_t object) {
    tag_t relation = NULLTAG, form = NULLTAG;
    int count = 0;
    tag_t* forms = nullptr;
    REL_find_relation_type("VANE_master_form", &relation);
    if (REL_list_secondary_objects_only(object, relation, &count, &forms) == 0 && count > 0)
        form = forms[0];
    HEAP_free(forms);
    return form;
}

tag_t World::dataset(const std::string& name, const std::string& type) {
    return bench.createDataset(type, name);
}

tag_t World::specification(tag_t primary, const std::string& name, const std::string& type) {
    const tag_t made = dataset(name, type);
    bench.relate(primary, made, "VANE_specification");
    return made;
}

tag_t World::occurrence(tag_t parent_revision, tag_t child_revision) {
    return bench.addOccurrence(parent_revision, child_revision, "", "");
}

void World::put(tag_t object, const std::string& attribute, const std::string& text) {
    bench.set(object, attribute, {text});
}

void World::put(tag_t object, const std::string& attribute, date_s date) {
    bench.set(object, attribute, {mervane::Date{date}});
}

tag_t World::giveStatus(tag_t object, const std::string& name) {
    const tag_t status = bench.create("ReleaseStatus");
    put(status, "name", name);
    mervane::Values list = bench.get(object, "release_status_list");
    list.push_back(mervane::Reference{status});
    bench.set(object, "release_status_list", list);
    return status;
}

mervane::Workbench::SessionId World::otherUser(const std::string& id) {
    bench.createGroup(id + "s", "");
    bench.createUser(id, id, id + "s");
    const auto session = bench.openSession(store_, {id, ""});
    bench.selectSession(session_);
    return session;
}

void World::as(mervane::Workbench::SessionId session, const std::function<void()>& action) {
    bench.selectSession(session);
    action();
    bench.selectSession(session_);
}

template <typename Result>
Result World::look(const std::function<Result()>& action) {
    const auto before = bench.currentSession();
    const auto fresh = bench.openSession(store_, {});
    Result result = action();
    bench.closeSession(fresh);
    bench.selectSession(before);
    return result;
}

mervane::Values World::stored(tag_t object, const std::string& attribute) {
    return look<mervane::Values>([&] { return bench.get(object, attribute); });
}

std::string World::storedText(tag_t object, const std::string& attribute) {
    const mervane::Values values = stored(object, attribute);
    return values.empty() ? "" : std::get<std::string>(values[0]);
}

date_s World::storedDate(tag_t object, const std::string& attribute) {
    const mervane::Values values = stored(object, attribute);
    return values.empty() ? date_s{} : std::get<mervane::Date>(values[0]).date;
}

std::vector<tag_t> World::storedTags(tag_t object, const std::string& attribute) {
    std::vector<tag_t> tags;
    for (const mervane::Value& value : stored(object, attribute))
        tags.push_back(std::get<mervane::Reference>(value).tag);
    return tags;
}

std::vector<std::string> World::statuses(tag_t object) {
    std::vector<std::string> found;
    for (const tag_t status : storedTags(object, "release_status_list"))
        if (exists(status))
            found.push_back(storedText(status, "name"));
    return found;
}

bool World::exists(tag_t object) {
    return look<bool>([&] {
        try {
            bench.describe(object);
            return true;
        } catch (const mervane::Failure&) {
            return false;
        }
    });
}

int World::count(const std::string& cls) {
    mervane::FindQuery query;
    query.text = "*";
    query.type = cls;
    return look<int>([&] { return static_cast<int>(bench.find(query).size()); });
}

std::string World::everything() {
    std::ostringstream out;
    return look<std::string>([&] {
        bench.exportWorld(out);
        return out.str();
    });
}

void World::ini(const std::string& text) {
    configure("keld_statusmanager.ini", text);
}

void World::configure(const std::string& file, const std::string& text) {
    // A new file each time: the library tells an unchanged one by size, time and identity, and two
    // writes can happen within one tick of the file system's clock.
    const fs::path path = directory() / file;
    const fs::path fresh = directory() / (file + ".new");
    std::ofstream out(fresh, std::ios::binary);
    out << text;
    out.close();
    if (!out)
        throw std::runtime_error(fresh.string() + " can't be written");
    fs::rename(fresh, path);
}

std::vector<LogLine> World::log() {
    KELD_GetLogFilePath();  // what waits reaches the file
    std::istringstream text(readFrom(directory() / "keld.log", log_start_));
    std::vector<LogLine> found;
    for (std::string line; std::getline(text, line);)
        found.push_back(parseLine(line));
    return found;
}

std::vector<std::string> World::lines(std::string_view levels) {
    std::vector<std::string> found;
    for (const LogLine& line : log())
        if (levels.find(line.level) != std::string_view::npos && !isCallLine(line.text))
            found.push_back(line.text);
    return found;
}

void World::clearLog() {
    KELD_GetLogFilePath();
    std::error_code missing;
    const std::uintmax_t size = fs::file_size(directory() / "keld.log", missing);
    log_start_ = missing ? 0 : static_cast<std::size_t>(size);
}

std::vector<std::string> World::calls(const std::function<void()>& action) {
    bench.startJournal();
    action();
    std::vector<std::string> found;
    for (const mervane::JournalEntry& entry : bench.stopJournal())
        if (!entry.operation.starts_with("ERR_ask_"))
            found.push_back(entry.operation + "(" + shownArguments(argumentsText(entry)) + ")");
    return found;
}

std::string World::shownArguments(const std::string& arguments) const {
    std::string shown;
    std::istringstream list(arguments);
    for (std::string part; std::getline(list, part, ',');) {
        std::erase(part, '"');
        part.erase(0, part.find_first_not_of(' '));
        const bool date = part.size() >= 10 && part[4] == '-' && part[7] == '-';
        if (part == "out" || date)
            continue;
        if (part.starts_with("#")) {
            const auto tag = static_cast<tag_t>(std::stoul(part.substr(1)));
            if (tag >= kFirstHandle)
                continue;
            const auto known = names_.find(tag);
            part = known != names_.end() ? known->second : "?";
        }
        shown += (shown.empty() ? "" : ", ") + part;
    }
    return shown;
}

void World::fail(const std::string& operation, int n, int status) {
    bench.setFaults({{operation, n, status}});
}

void World::failNothing() {
    bench.setFaults({});
}

}  // namespace world
