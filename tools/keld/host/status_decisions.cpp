#include "tools/keld/host/status_decisions.h"

#include <algorithm>

#include "tools/keld/host/status_visits.h"
#include "tools/keld/lint/ini_check.h"
#include "tools/keld/lint/keys.h"

namespace keld {

namespace {

constexpr int kRefusedRight = 919401, kRefusedType = 919402, kRefusedStatus = 919403,
              kRefusedField = 919404, kRefusedCheckOut = 919405;

bool isPass(const Visit& visit, std::string_view pass) {
    return visit.pass == pass;
}

}  // namespace

// Adds what is known of a visit to each of its decisions.
struct StatusDecisions::Teller {
    const IniFile& ini;
    const Each& each;
    std::size_t number;
    const Visit& visit;
    const Trail& trail;

    const IniEntry* entry(const std::string& section, const char* key) const {
        return ini.find(section, key);
    }
    void key(const std::string& section, const char* name, Did did, const std::string& found,
             const std::string& decided) const {
        const IniEntry* at = entry(section, name);
        const ConfigKey* known = findKey(SectionKind::Process, name);
        each({number, section, name, at ? at->line : 0, -1,
              at      ? at->value
              : known ? known->default_value
                      : "",
              found, decided, did});
    }
    void item(const std::string& section, const std::string& name, const std::string& value,
              std::size_t at, Did did, const std::string& found, const std::string& decided) const {
        const IniEntry* whole = ini.find(section, name);
        each({number, section, name, whole ? whole->line : 0, static_cast<int>(at), value, found,
              decided, did});
    }
};

StatusDecisions::StatusDecisions(const IniFile& ini, const StatusWatch::Seen& seen, int status)
    : ini_(ini), seen_(seen), status_(status), unfinished_(seen.list.visits.size(), false) {
    if (status != 0 && seen.stopped != kNoVisit)
        for (std::size_t at = seen.list.visits[seen.stopped].from; at != kNoVisit;
             at = seen.list.visits[at].from)
            unfinished_[at] = true;
}

void StatusDecisions::ofStart(const std::string& type, const Each& each) const {
    const IniEntry* selected = ini_.find("SelectWSO", type);
    const bool refused = status_ == kRefusedType;
    each({kNoVisit, "SelectWSO", type, selected ? selected->line : 0, -1,
          selected ? selected->value : "0", "",
          refused ? "no run starts on this type" : "a run may start on this type",
          refused ? Did::Refused : Did::Decided});
}

void StatusDecisions::ofVisit(std::size_t number, const Each& each) const {
    const Visit& visit = seen_.list.visits[number];
    Teller tell{ini_, each, number, visit, seen_.trails[number]};
    const std::string& status = visit.previous;
    if (!visit.line) {
        const char* kAlone = "DoNothingOnReleaseStatus";
        const std::string found = "status " + (status.empty() ? "none" : status);
        if (tell.trail.skipped) {
            tell.key(visit.section, kAlone, Did::Decided, found, "left alone, with all below it");
            const std::vector<std::string> words =
                splitList(tell.entry(visit.section, kAlone)->value, ';');
            for (std::size_t i = 0; i < words.size(); ++i)
                if (words[i].find(status) != std::string::npos) {
                    tell.item(visit.section, kAlone, words[i], i, Did::Decided, found, "");
                    break;
                }
            return;
        }
        tell.key(visit.section, kAlone, Did::Read, found,
                 isPass(visit, "actions") ? "nobody is left alone in this pass" : "goes on");
    }
    if (isPass(visit, "test") && !visit.line) {
        ofTest(tell);
        if (status_ != 0 && seen_.stopped == number && tell.trail.entries.empty())
            return;
    }
    if (tell.trail.arrival != kNoRek) {
        ofWalk(tell, kNoRek);
        if (tell.trail.arrival != kBack)
            ofWalk(tell, kForward);
    }
    if (!cameTo(number))
        return;
    ofDeeds(tell);
    if (tell.trail.arrival == kBegin || tell.trail.arrival == kBack)
        ofWalk(tell, kBack);
}

// Whether a visit came to the work on its object. It didn't if the run ended in a visit below it,
// unless that was on the way back, which comes last.
bool StatusDecisions::cameTo(std::size_t visit) const {
    if (status_ == 0)
        return true;
    if (visit == seen_.stopped)
        return !isPass(seen_.list.visits[visit], "test");
    if (!unfinished_[visit])
        return true;
    const Trail& trail = seen_.trails[visit];
    return !trail.entries.empty() && trail.entries.back().direction == kBack;
}

void StatusDecisions::ofTest(Teller& tell) const {
    const bool ended = status_ != 0 && seen_.stopped == tell.number;
    const std::string& section = tell.visit.section;
    const std::string& status = tell.visit.previous;
    const std::string found = "status " + (status.empty() ? "none" : status);
    const char* kBefore = "PrevReleaseStatus";
    const bool wrong = ended && status_ == kRefusedStatus;
    tell.key(section, kBefore, wrong ? Did::Refused : Did::Decided, found,
             wrong ? "refused: 919403" : "allowed");
    const std::vector<std::string> words = statusWords(valueOf(ini_, section, kBefore));
    const std::string wanted = status.empty() ? "none" : status;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const bool is = words[i].find(wanted) != std::string::npos;
        tell.item(section, kBefore, words[i], i, is ? Did::Decided : Did::Read, found, "");
        if (is)
            break;
    }
    if (wrong)
        return;
    const bool out = ended && status_ == kRefusedCheckOut;
    tell.each({tell.number, section, "", 0, -1, "", out ? "checked out" : "not checked out",
               out ? "refused: 919405" : "allowed", out ? Did::Refused : Did::Decided});
    if (out)
        return;
    // The service asks for the right only if nobody else has checked the object out.
    const bool denied = ended && status_ == kRefusedRight;
    const IniEntry* own = ini_.find(section, "PrivilegName");
    const IniEntry* global = ini_.find("GLOBAL", "PrivilegName");
    if (tell.trail.privileges > 0 || denied) {
        const IniEntry* used = own ? own : global;
        tell.each({tell.number, own || !global ? section : "GLOBAL", "PrivilegName",
                   used ? used->line : 0, -1, used ? used->value : "CHANGE",
                   denied && tell.trail.privileges == 0 ? "another user has it checked out"
                   : denied                             ? "the user hasn't got it"
                                                        : "the user has it",
                   denied ? "refused: 919401" : "allowed", denied ? Did::Refused : Did::Decided});
    }
    if (denied)
        return;
    const bool empty = ended && status_ == kRefusedField;
    const std::vector<std::string> fields =
        splitList(valueOf(ini_, section, "CheckNeedFields"), ';');
    tell.key(section, "CheckNeedFields",
             empty            ? Did::Refused
             : fields.empty() ? Did::Read
                              : Did::Decided,
             fields.empty() ? "no fields"
             : empty        ? "an empty field"
                            : "all are filled",
             empty ? "refused: 919404" : "allowed");
    const auto asked = std::min(fields.size(), static_cast<std::size_t>(tell.trail.fields));
    for (std::size_t i = 0; i < asked; ++i) {
        const bool last = empty && i + 1 == asked;
        tell.item(section, "CheckNeedFields", fields[i], i, last ? Did::Refused : Did::Decided,
                  last ? "empty" : "filled", last ? "refused: 919404" : "allowed");
    }
}

void StatusDecisions::ofWalk(Teller& tell, int direction) const {
    const char* key = walkKey(direction);
    const std::string& section = tell.visit.section;
    const std::vector<std::string> entries = splitList(valueOf(ini_, section, key), ';');
    std::size_t gone = 0, visits = 0;
    std::vector<std::size_t> each;
    for (const Trail::Entry& entry : tell.trail.entries)
        if (entry.direction == direction) {
            ++gone;
            visits += entry.visits;
            each.push_back(entry.visits);
        }
    if (gone == 0 && !entries.empty())
        return;  // the run ended before this list
    tell.key(section, key, visits > 0 ? Did::Decided : Did::Read, "",
             entries.empty() ? "goes nowhere"
             : visits == 0   ? "leads to nothing"
                             : "leads to " + std::to_string(visits));
    for (std::size_t i = 0; i < each.size() && i < entries.size(); ++i)
        tell.item(section, key, entries[i], i, each[i] > 0 ? Did::Decided : Did::Read, "",
                  each[i] == 0 ? "leads to nothing" : "leads to " + std::to_string(each[i]));
}

void StatusDecisions::ofDeeds(Teller& tell) const {
    const std::string& section = tell.visit.section;
    const Trail& trail = tell.trail;
    if (isPass(tell.visit, "actions")) {
        const bool wanted = !valueOf(ini_, section, "StartJob").empty();
        tell.key(section, "StartJob",
                 trail.jobs > 0     ? Did::Decided
                 : trail.job_failed ? Did::Refused
                                    : Did::Read,
                 "",
                 trail.jobs > 0     ? "a workflow was started"
                 : trail.job_failed ? "no workflow: a call failed"
                                    : "no workflow");
        if (wanted)
            tell.key(section, "JobPrefix", trail.jobs > 0 ? Did::Decided : Did::Read, "",
                     "begins the workflow's name");
        return;
    }
    if (!isPass(tell.visit, "attributes") || tell.visit.line)
        return;
    const std::vector<std::string> forms = splitList(valueOf(ini_, section, "SetAttributes"), ';');
    tell.key(section, "SetAttributes", trail.fillings.empty() ? Did::Read : Did::Decided, "",
             trail.fillings.empty() ? "no form is filled"
                                    : std::to_string(trail.fillings.size()) + " filled");
    // The service fills the forms of the list in order, as far as they exist.
    for (std::size_t i = 0; i < forms.size(); ++i) {
        const bool filled = i < trail.fillings.size();
        tell.item(section, "SetAttributes", forms[i], i, filled ? Did::Decided : Did::Read, "",
                  filled ? "filled" : "not filled");
        if (filled && trail.fillings[i] < seen_.fillings.size())
            ofForm(tell, section + "_" + forms[i], seen_.fillings[trail.fillings[i]]);
    }
    const std::vector<std::string> deletions =
        splitList(valueOf(ini_, section, "DeleteDatasets"), ';');
    int all = 0;
    for (const int count : trail.deleted)
        all += count;
    tell.key(section, "DeleteDatasets", all > 0 ? Did::Decided : Did::Read, "",
             all == 0 ? "nothing is deleted" : "deleted " + std::to_string(all));
    for (std::size_t i = 0; i < deletions.size() && i < trail.deleted.size(); ++i)
        tell.item(section, "DeleteDatasets", deletions[i], i,
                  trail.deleted[i] > 0 ? Did::Decided : Did::Read, "",
                  trail.deleted[i] == 0 ? "nothing is deleted"
                                        : "deleted " + std::to_string(trail.deleted[i]));
    const bool ended = status_ != 0 && seen_.stopped == tell.number;
    tell.key(section, "Purge",
             trail.purged && ended && trail.sets == 0 ? Did::Refused
             : trail.purged                           ? Did::Decided
                                                      : Did::Read,
             "", trail.purged ? "older versions are purged" : "nothing is purged");
    if (ended && trail.sets == 0)
        return;
    const bool sets = trail.sets > 0;
    tell.key(section, "SetReleaseState",
             ended  ? Did::Refused
             : sets ? Did::Decided
                    : Did::Read,
             "status " + (tell.visit.previous.empty() ? "none" : tell.visit.previous),
             ended   ? "the status can't be set"
             : !sets ? "the status stays"
                     : "status " + (tell.visit.now.empty() ? "none" : tell.visit.now));
}

namespace {

// Assigns the steps of a filling to the entries that made them, in their order.
class FillingReader {
public:
    explicit FillingReader(const Filling& filling)
        : at_(filling.steps.begin()), end_(filling.steps.end()) {}

    // What the next entry did. With `asks` it sets the field only if that is empty. With `starred`
    // a star stands for any rest of a name; without, it is a character like others.
    Did next(const std::string& field, bool asks, bool starred) {
        while (at_ != end_ && at_->field.empty())
            ++at_;
        if (asks) {
            if (at_ == end_ || at_->set || at_->field != field)
                return Did::Read;
            if ((at_++)->status != 0)
                return Did::Refused;
        }
        const auto star = starred ? field.find('*') : std::string::npos;
        Did did = Did::Read;
        while (at_ != end_ && at_->set &&
               (star == std::string::npos ? did == Did::Read && at_->field == field
                                          : at_->field.starts_with(field.substr(0, star)))) {
            if ((at_++)->status != 0)
                return Did::Refused;
            did = Did::Decided;
        }
        return did;
    }

private:
    std::vector<Filling::Step>::const_iterator at_, end_;
};

}  // namespace

// The service applies the keys in this order, each followed by its OnEmpty form, and ends a list at
// the first failure.
void StatusDecisions::ofForm(Teller& tell, const std::string& form, const Filling& filling) const {
    const IniSection* section = ini_.first(form);
    if (!section)
        return;
    FillingReader reader(filling);
    for (const ConfigKey& key : configKeys()) {
        if (key.section != SectionKind::Form)
            continue;
        const bool pair = key.value != std::string_view("`field`");
        const bool dates = key.name == std::string_view("SetActDateDate") ||
                           key.name == std::string_view("Del_Date");
        for (const std::string& name : {std::string(key.name), key.name + std::string(kOnEmpty)}) {
            const IniEntry* entry = ini_.find(form, name);
            if (!entry)
                continue;
            const bool asks = isOnEmpty(name) && key.name != std::string_view("Del_Date");
            const std::vector<std::string> items = splitList(entry->value, ';');
            std::size_t done = 0;
            Did whole = Did::Read;
            std::vector<Decision> each;
            for (std::size_t i = 0; i < items.size() && whole != Did::Refused; ++i) {
                const Did did = reader.next(
                    pair ? items[i].substr(0, items[i].find('=')) : items[i], asks, !dates);
                if (did != Did::Read)
                    whole = did;
                done += did == Did::Decided ? 1 : 0;
                each.push_back({tell.number, section->name, name, entry->line, static_cast<int>(i),
                                items[i], "",
                                did == Did::Refused   ? "the field can't be set"
                                : did == Did::Decided ? "set"
                                                      : "stays as it is",
                                did});
            }
            tell.each({tell.number, section->name, name, entry->line, -1, entry->value, "",
                       done == 0 ? "no field is set" : "set " + std::to_string(done), whole});
            for (const Decision& one : each)
                tell.each(one);
        }
    }
}

}  // namespace keld
