#include "tools/keld/host/visits.h"

#include <algorithm>
#include <memory>

#include "tools/keld/host/bom_lines.h"
#include "tools/keld/host/refusal.h"
#include "tools/keld/host/service.h"

namespace keld {

namespace {

constexpr tag_t kFirstHandle = 0x80000000u;  // the first tag of classes, attributes and the like

const char* resultOf(Came came) {
    switch (came) {
        case Came::Allowed:
            return "allowed";
        case Came::Changed:
            return "changed";
        case Came::AlreadyThere:
            return "already there";
        case Came::NotConcerned:
            return "not concerned";
        default:
            return "refused";
    }
}

// A way as one text; a long one is cut in the middle.
std::string wayText(const std::vector<std::string>& way) {
    constexpr std::size_t kEnds = 4;
    std::vector<std::string> shown = way;
    if (shown.size() > 2 * kEnds) {
        const std::string left_out = std::to_string(way.size() - 2 * kEnds) + " more";
        shown.erase(shown.begin() + kEnds, shown.end() - kEnds);
        shown.insert(shown.begin() + kEnds, "... " + left_out + " ...");
    }
    return joined(shown, " > ");
}

}  // namespace

// ---- what is shown ----

void VisitList::describe(const Context& context) {
    for (const Visit& visit : visits) {
        if (visit.object == NULLTAG || names_.contains(visit.object))
            continue;
        ObjectName& made = names_[visit.object];
        made = nameOf(context, visit.line ? lineTag(visit.object, "bl_revision") : visit.object);
        if (visit.line)
            made.type = "BOMLine";
    }
}

const ObjectName& VisitList::name(tag_t object) const {
    static const ObjectName unknown{"?", "?", ""};
    const auto known = names_.find(object);
    return known == names_.end() ? unknown : known->second;
}

// The way from the first visit to this one. A line and the revision that it shows are one step.
std::vector<std::size_t> VisitList::wayTo(std::size_t visit) const {
    std::vector<std::size_t> way;
    for (std::size_t at = visit; at != kNoVisit; at = visits[at].from)
        if (way.empty() || name(visits[at].object).typed != name(visits[way.back()].object).typed)
            way.push_back(at);
    std::reverse(way.begin(), way.end());
    return way;
}

Json VisitList::asJson(std::size_t number) const {
    const auto orNull = [](const std::string& text) { return text.empty() ? Json() : Json(text); };
    const Visit& visit = visits[number];
    const ObjectName& object = name(visit.object);
    Json path = Json::array();
    for (const std::size_t at : wayTo(number))
        path.push_back(name(visits[at].object).label);
    return {{"object", object.label},
            {"tag", visit.object},
            {"type", object.type},
            {"pass", orNull(visit.pass)},
            {"section", orNull(visit.section)},
            {"path", std::move(path)},
            {"previous", orNull(visit.previous)},
            {"new", orNull(visit.now)},
            {"result", resultOf(visit.came)},
            {"rule", orNull(visit.rule)}};
}

void VisitList::showTable(const Context& context, bool status, bool all) const {
    constexpr std::size_t kRowsAtOnce = 10000;
    const auto isIn = [](const char* pass) {
        return [pass](const Visit& visit) { return visit.pass == std::string_view(pass); };
    };
    // The pass that sets the status; if the run was refused before it, the test pass.
    const bool set = std::any_of(visits.begin(), visits.end(), isIn("attributes"));
    const auto main_pass = isIn(set ? "attributes" : "test");
    std::vector<std::string> header{"OBJECT", "TYPE"};
    if (status)
        header.insert(header.end(), {"PASS", "SECTION", "PREVIOUS STATUS", "NEW STATUS"});
    header.emplace_back("RESULT");
    if (all)
        header.insert(header.end(), {"RULE", "FROM"});
    Table table(header);
    for (std::size_t i = 0; i < visits.size(); ++i) {
        const Visit& visit = visits[i];
        const bool nothing = visit.came == Came::Allowed || visit.came == Came::NotConcerned;
        if (!all && nothing && !main_pass(visit))
            continue;
        const ObjectName& object = name(visit.object);
        std::vector<std::string> row{(visit.line ? "line " : "") + object.typed, object.type};
        const auto named = [&](const std::string& text) {
            return visit.line ? "" : text.empty() ? "none" : text;
        };
        if (status)
            row.insert(row.end(),
                       {visit.pass, visit.section, named(visit.previous), named(visit.now)});
        row.emplace_back(resultOf(visit.came));
        if (all) {
            std::vector<std::string> way;
            for (const std::size_t at : wayTo(i))
                way.push_back(name(visits[at].object).typed);
            if (!way.empty())
                way.pop_back();
            row.insert(row.end(), {visit.rule, wayText(way)});
        }
        table.add(std::move(row));
        if (table.rows() == kRowsAtOnce)
            context.print(table.take());
    }
    if (!table.empty())
        context.print(table.text());
}

void VisitList::show(Context& context, bool status, bool all) {
    if (!context.json())
        return showTable(context, status, all);
    context.rows = {"visits", [list = std::make_shared<const VisitList>(std::move(*this))](
                                  const std::function<void(const Json&)>& write) {
                        for (std::size_t i = 0; i < list->visits.size(); ++i)
                            write(list->asJson(i));
                    }};
}

// ---- calls of a run ----

CallWatch::CallWatch(const Context& context, bool objects, Each each)
    : context_(context), objects_(objects), each_(std::move(each)) {
    context_.workbench().startJournal([this](const mervane::JournalEntry& entry) { add(entry); });
}

void CallWatch::end() {
    if (listening_)
        (void)context_.workbench().stopJournal();
    listening_ = false;
}

void CallWatch::add(const mervane::JournalEntry& entry) {
    const tag_t object = entry.object();
    if (entry.status != 0)
        failed_[entry.status] = {entry.operation, object};
    if (objects_ && object != NULLTAG && (object < kFirstHandle || isBomLine(object))) {
        if (known_.insert(object).second)
            touched_.push_back(object);
        if (entry.operation == "OBJ_set_value_string" && entry.status == 0)
            set_.insert(object);
    }
    if (each_)
        each_(entry);
}

CallWatch::Failed CallWatch::failedWith(int status) const {
    const auto known = failed_.find(status);
    return known == failed_.end() ? Failed{} : known->second;
}

VisitList CallWatch::visits() {
    // Stop listening first: the questions below are no calls of the run.
    end();
    VisitList list;
    const Context& context = context_;
    const std::vector<std::string> types = context.workbench().typeNames("WorkspaceObject");
    const std::set<std::string> shown(types.begin(), types.end());
    std::map<tag_t, std::size_t> places;
    for (const tag_t object : touched_) {
        Visit visit;
        visit.object = object;
        visit.line = isBomLine(object);
        if (!visit.line) {
            try {
                if (!shown.contains(context.workbench().describe(object).type))
                    continue;
            } catch (const mervane::Failure&) {
                continue;
            }
        }
        const std::vector<tag_t> parents =
            visit.line ? std::vector{lineTag(object, "bl_parent")} : parentsOf(context, object);
        for (const tag_t parent : parents)
            if (const auto known = places.find(parent); known != places.end())
                visit.from = std::min(visit.from, known->second);
        places.emplace(object, list.visits.size());
        list.visits.push_back(std::move(visit));
    }
    list.describe(context);
    return list;
}

void CallWatch::show(Context& context, VisitList& list, const Record& record,
                     const std::vector<Refusal>& refusals, const std::string& rule,
                     const Rest& rest) const {
    std::set<tag_t> changed;
    for (const ChangedObject& object : record.objects)
        changed.insert(object.tag);
    std::map<tag_t, std::string> refused;
    for (const Refusal& refusal : refusals)
        refused.emplace(refusal.object, refusal.rule);
    for (Visit& visit : list.visits) {
        const auto why = refused.find(visit.object);
        if (why != refused.end()) {
            visit.came = Came::Refused;
            visit.rule = why->second;
        } else if (changed.contains(visit.object) || (visit.line && set_.contains(visit.object))) {
            visit.came = Came::Changed;
        } else if (refused.empty()) {
            visit.came = Came::NotConcerned;
            visit.rule = rule;
        }
        if (rest && why == refused.end() && visit.came != Came::Changed)
            rest(visit);
    }
    list.show(context, false, true);
}

Refusal refusalOfFailure(const Context& context, const Outcome& outcome, const CallWatch& calls,
                         tag_t object, tag_t start) {
    const CallWatch::Failed failed = calls.failedWith(outcome.status);
    // An object that the run made and deleted again can't be named.
    const bool there = failed.object != NULLTAG && nameOf(context, failed.object).type != kGoneType;
    Refusal refusal = refusalOf(context, outcome.status, there ? failed.object : object, start);
    if (!failed.operation.empty()) {
        tellFailedCall(refusal, failed.operation, outcome);
        return refusal;
    }
    for (const mervane::StackEntry& entry : outcome.stack)
        if (refusal.found.empty() && entry.status == outcome.status)
            refusal.found = entry.text;
    if (refusal.found.empty() && !outcome.problems.empty())
        refusal.found = outcome.problems.front();
    return refusal;
}

}  // namespace keld
