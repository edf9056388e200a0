#include "tools/keld/host/status_visits.h"

#include <set>
#include <string_view>

#include "platform/keld_basetool.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/status_marks.h"
#include "tools/keld/lint/config.h"

namespace keld {

namespace {

constexpr char kTestPassName[] = "test", kAttributePassName[] = "attributes",
               kActionPassName[] = "actions";

bool takeBetween(const std::string& text, std::string_view start, std::string_view end,
                 std::string* found) {
    const auto first = text.find(start);
    if (first == std::string::npos)
        return false;
    const auto from = first + start.size();
    const auto last = text.find(end, from);
    if (last == std::string::npos)
        return false;
    *found = text.substr(from, last - from);
    return true;
}

// What a call does to an object; empty: a call that isn't reported, null: no such call.
const char* deedOf(std::string_view call) {
    static constexpr std::pair<const char*, const char*> kDeeds[] = {
        {marks::kSaveForm, "a form was filled"},
        {marks::kDeleteDataset, "a dataset was deleted"},
        {marks::kPurge, "older versions were purged"},
        {marks::kFindJob, ""},
        {marks::kStartJob, "a workflow was started"}};
    for (const auto& [mark, deed] : kDeeds)
        if (call.starts_with(mark))
            return deed;
    return nullptr;
}

}  // namespace

// Reads the log line by line. The journal has delivered the objects before their lines are read.
class StatusLogReader {
public:
    StatusLogReader(std::vector<Visit>& visits, std::vector<Trail>* trails,
                    const std::vector<tag_t>& asked, const std::vector<tag_t>& lines, tag_t start)
        : visits_(visits), trails_(trails), asked_(asked), lines_(lines), start_(start) {}

    void add(const LogLine& line) {
        const std::string_view text = line.text;
        if (text.starts_with(marks::kTestPass))
            begin(kTestPassName);
        else if (text.starts_with(marks::kAttributePass))
            begin(kAttributePassName);
        else if (text.starts_with(marks::kActionPass))
            begin(kActionPassName);
        else if (text.starts_with(marks::kVisit))
            visit(line.text);
        else if (text.starts_with(marks::kSkipped))
            skip();
        else if (text.starts_with(marks::kEnter))
            enter(text.substr(std::size(marks::kEnter) - 1));
        else if (text.starts_with(marks::kLeave))
            leave(text.substr(std::size(marks::kLeave) - 1));
        else if (text.starts_with(marks::kFailed))
            fail(text.substr(std::size(marks::kFailed) - 1));
        else if (text.starts_with(marks::kGoes))
            go(text);
        else if (text.starts_with(marks::kSetFurther))
            with([](Trail& trail) { ++trail.sets; });
    }
    std::size_t stopped() const { return stopped_; }

private:
    void begin(const char* pass) {
        pass_ = pass;
        open_.clear();
    }
    Visit* top() {
        return open_.empty() || open_.back() == kNoVisit ? nullptr : &visits_[open_.back()];
    }
    // Change the trail of the current visit.
    template <typename Change>
    void with(Change&& change) {
        if (trails_ && !open_.empty() && open_.back() != kNoVisit)
            change((*trails_)[open_.back()]);
    }
    void go(std::string_view text) {
        const auto by = text.rfind(marks::kGoesBy);
        constexpr std::size_t kSize = std::size(marks::kGoesBy) - 1;
        if (by != std::string_view::npos && by + kSize < text.size())
            with([&](Trail& trail) { trail.entries.push_back({text[by + kSize] - '0', 0}); });
    }
    void enterTrail(std::string_view call) {
        with([&](Trail& trail) {
            if (call.starts_with(marks::kPrivilege))
                ++trail.privileges;
            else if (call.starts_with(marks::kNeededField))
                ++trail.fields;
            else if (call.starts_with(marks::kFillForm))
                trail.fillings.push_back(fillings_++);
            else if (call.starts_with(marks::kNextDeletion))
                trail.deleted.push_back(0);
            else if (call.starts_with(marks::kSetFirst) || call.starts_with(marks::kSetSecond))
                ++trail.sets;
            else if (call.starts_with(marks::kPurge))
                trail.purged = true;
        });
    }
    void leaveTrail(std::string_view call) {
        with([&](Trail& trail) {
            if (call.starts_with(marks::kDeleteDataset) && !failed_ && !trail.deleted.empty())
                ++trail.deleted.back();
            else if (call.starts_with(marks::kStartJob) && !failed_)
                ++trail.jobs;
            else if ((call.starts_with(marks::kStartJob) || call.starts_with(marks::kFindJob)) &&
                     failed_)
                trail.job_failed = true;
        });
    }
    tag_t next(const std::vector<tag_t>& tags, std::size_t& place) {
        return place < tags.size() ? tags[place++] : NULLTAG;
    }

    void visit(const std::string& text) {
        Visit made;
        if (!takeBetween(text, marks::kVisit, marks::kLastStatus, &made.section) ||
            !takeBetween(text, marks::kLastStatus, marks::kVisitEnd, &made.previous))
            return;
        made.pass = pass_;
        made.line = asciiLower(made.section).ends_with("_bomline");
        if (open_.empty() || open_.back() != kNoVisit)
            open_.push_back(kNoVisit);  // the start object has no enter line here
        if (open_.size() > 1)
            made.from = open_[open_.size() - 2];
        if (!made.line)
            made.object = next(asked_, asked_place_);
        else if (made.from == kNoVisit)
            made.object = start_;
        open_.back() = visits_.size();
        if (trails_) {
            Trail trail;
            if (made.from != kNoVisit && !(*trails_)[made.from].entries.empty()) {
                ++(*trails_)[made.from].entries.back().visits;
                trail.arrival = (*trails_)[made.from].entries.back().direction;
            }
            trails_->push_back(std::move(trail));
        }
        visits_.push_back(std::move(made));
    }
    void skip() {
        if (Visit* at = top()) {
            at->came = Came::NotConcerned;
            at->rule = "DoNothingOnReleaseStatus";
        }
        with([](Trail& trail) { trail.skipped = true; });
    }
    void enter(std::string_view call) {
        failed_ = false;
        enterTrail(call);
        if (call.starts_with(marks::kVisitCall)) {
            open_.push_back(kNoVisit);
        } else if (call.starts_with(marks::kChildLines) || call.starts_with(marks::kLineTag)) {
            const tag_t line = next(lines_, lines_place_);
            if (Visit* at = top(); at && at->line)
                at->object = line;
        }
    }
    void leave(std::string_view call) {
        if (call.starts_with(marks::kVisitCall)) {
            if (!open_.empty())
                open_.pop_back();
            return;
        }
        leaveTrail(call);
        const char* deed = deedOf(call);
        Visit* at = top();
        if (!deed || !at)
            return;
        if (failed_) {
            at->came = Came::Refused;
            at->rule = std::string(call.substr(0, call.find('('))) + " failed";
        } else if (*deed != '\0') {
            at->came = Came::Changed;
            at->rule = deed;
        }
    }
    // Failures travel outwards, so the first visit that fails is the innermost one; it ended the
    // run.
    void fail(std::string_view what) {
        failed_ = true;
        const auto call = what.find(": ");
        if (stopped_ == kNoVisit && call != std::string_view::npos && !open_.empty() &&
            (what.substr(call + 2).starts_with(marks::kVisitCall) ||
             what.substr(call + 2).starts_with("iRet")))
            stopped_ = open_.back();
    }

    std::vector<Visit>& visits_;
    std::vector<Trail>* trails_;  // null: trails aren't kept
    const std::vector<tag_t>&asked_, &lines_;
    tag_t start_;
    const char* pass_ = kTestPassName;
    std::vector<std::size_t> open_;  // visits under way; kNoVisit: its line hasn't come yet
    std::size_t asked_place_ = 0, lines_place_ = 0, stopped_ = kNoVisit;
    std::size_t fillings_ = 0;
    bool failed_ = false;  // whether a call has failed since the last enter line
};

struct StatusWatch::Walk {
    Walk(tag_t start, bool with_trails)
        : trailing(with_trails),
          reader(visits, with_trails ? &trails : nullptr, asked, lines, start) {}

    // Only a visit asks for an attribute and then at once for its length; that gives the visited
    // object.
    void add(const mervane::JournalEntry& entry) {
        if (entry.operation == "DBO_length_of_attr" && attribute)
            asked.push_back(entry.object());
        attribute = entry.operation == "DBO_attr_id_of_attr";
        const bool children = entry.operation == "LINE_ask_child_lines";
        if (children || entry.operation == "LINE_ask_attribute_tag")
            lines.push_back(entry.object());
        if (children)
            last_line = entry.object();
        if (trailing)
            fill(entry);
        constexpr int kCallsAtOnce = 500;  // few enough that the log can't fill up meanwhile
        if (++calls % kCallsAtOnce == 0)
            follow();
    }
    // Forms are the only objects that the service locks like this: lock, set fields, save.
    void fill(const mervane::JournalEntry& entry) {
        if (entry.operation == "OBJ_refresh") {
            const bool* lock = entry.argument<bool>(1);
            filling = lock && *lock;
            if (filling)
                fillings.push_back({entry.object(), {}});
            return;
        }
        if (!filling)
            return;
        std::vector<Filling::Step>& steps = fillings.back().steps;
        const bool own = entry.object() == fillings.back().form;
        const bool set =
            entry.operation == "OBJ_UIF_set_value" || entry.operation == "OBJ_set_value_date";
        const auto* field = entry.argument<std::string>(1);
        if (own && field && (set || entry.operation == "OBJ_UIF_ask_value"))
            steps.push_back({*field, set, entry.status});
        else if (own && entry.operation == "OBJ_save")
            filling = false;
        else if (!steps.empty() && !steps.back().field.empty())
            steps.emplace_back();
    }
    void follow() {
        log.follow([this](const LogLine& line) { reader.add(line); });
    }

    LogWatch log;
    std::vector<tag_t> asked;  // by visits for their latest status, once in each
    std::vector<tag_t> lines;  // for their children or revision
    tag_t last_line = NULLTAG;
    bool attribute = false;  // whether the last call asked for an attribute
    int calls = 0;
    bool trailing, filling = false;
    std::vector<Visit> visits;
    std::vector<Trail> trails;
    std::vector<Filling> fillings;
    StatusLogReader reader;
};

StatusWatch::StatusWatch(Context& context, tag_t start, bool trails)
    : walk_(std::make_unique<Walk>(start, trails)),
      calls_(context, false,
             [walk = walk_.get()](const mervane::JournalEntry& entry) { walk->add(entry); }) {
}

StatusWatch::~StatusWatch() = default;

StatusWatch::Seen StatusWatch::end() {
    calls_.end();
    (void)KELD_GetLogFilePath();  // this call also flushes the log
    walk_->follow();
    Seen seen;
    seen.last_line = walk_->last_line;
    seen.stopped = walk_->reader.stopped();
    seen.list.visits = std::move(walk_->visits);
    seen.trails = std::move(walk_->trails);
    seen.fillings = std::move(walk_->fillings);
    return seen;
}

const Visit* StatusWatch::Seen::last() const {
    if (stopped != kNoVisit)
        return &list.visits[stopped];
    return list.visits.empty() ? nullptr : &list.visits.back();
}

void StatusWatch::Seen::judge(const Context& context, int status) {
    list.describe(context);
    const std::optional<IniFile> ini = readIniFile(statusConfigPath());
    const auto value = [&](const Visit& visit, const char* key) {
        const IniEntry* entry = ini ? ini->find(visit.section, key) : nullptr;
        return entry ? entry->value : std::string();
    };
    // The status that a visit found is the one that the object's previous visit left.
    std::map<tag_t, std::string> later;
    for (std::size_t i = list.visits.size(); i-- > 0;) {
        Visit& visit = list.visits[i];
        visit.now = visit.previous;
        if (visit.line || visit.object == NULLTAG)
            continue;
        const auto [known, last] = later.try_emplace(visit.object);
        visit.now = last ? latestStatus(context, visit.object) : known->second;
        known->second = visit.previous;
    }
    // Visits on the way to the one that ended the run.
    std::set<std::size_t> unfinished;
    if (status != 0 && stopped != kNoVisit)
        for (std::size_t at = list.visits[stopped].from; at != kNoVisit; at = list.visits[at].from)
            unfinished.insert(at);
    for (std::size_t i = 0; i < list.visits.size(); ++i) {
        Visit& visit = list.visits[i];
        const bool attributes = visit.pass == std::string_view(kAttributePassName);
        if (status != 0 && i == stopped) {
            visit.came = Came::Refused;
            visit.rule = context.workbench().messageText(status);
        } else if (attributes && visit.previous != visit.now) {
            visit.came = Came::Changed;
            visit.rule.clear();
        } else if (visit.came != Came::Allowed || visit.pass == std::string_view(kTestPassName)) {
            if (visit.came == Came::Allowed && visit.line)
                visit.came = Came::NotConcerned, visit.rule = "a BOM line has no status";
        } else if (attributes && visit.line) {
            visit.came = Came::NotConcerned;
            visit.rule = "a BOM line has no status";
        } else if (unfinished.contains(i)) {
            visit.came = Came::NotConcerned;
            visit.rule = "the run ended before its turn";
        } else if (!attributes) {
            visit.came = Came::NotConcerned;
            visit.rule = "no StartJob";
        } else if (value(visit, "SetReleaseState").empty()) {
            visit.came = Came::NotConcerned;
            visit.rule = ini && ini->hasSection(visit.section) ? "no SetReleaseState"
                                                               : "there is no such section";
        } else {
            visit.came = Came::AlreadyThere;
        }
    }
}

}  // namespace keld
