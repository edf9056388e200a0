#include <algorithm>

#include "workbench/import/import.h"
#include "workbench/import/step_plan.h"
#include "workbench/import/step_reader.h"
#include "workbench/import/temporary_file.h"
#include "workbench/session/datasets.h"
#include "workbench/session/items.h"
#include "workbench/session/relations.h"
#include "workbench/session/structure.h"
#include "workbench/store/store.h"
#include "workbench/utf8.h"

namespace mervane {
namespace {

constexpr std::size_t kMaxFileName = 132;

std::string lastPart(const std::string& source_name) {
    const std::string name = source_name.substr(source_name.find_last_of("/\\") + 1);
    return name.empty() || name == "-" ? "import.stp" : cutUtf8(name, kMaxFileName);
}

// Makes in a session what a plan says. What has been stored is dropped from the session's cache,
// so that memory grows with the plan alone.
class StepImport {
public:
    explicit StepImport(Session& session) : session_(session) {}

    ImportReport run(StepStructure structure, const std::string& path,
                     const std::string& file_name) {
        SessionBatch batch(session_);
        const std::int64_t before = session_.store().objectCount();
        // Inside, so that an id that is free now is still free when it is given.
        plan_ = planStep(std::move(structure), limits(), [this](const std::string& id) {
            return findItem(session_, id) != NULLTAG;
        });
        makeItems();
        makeStructure();
        keepFile(path, file_name);
        objects_ = session_.store().objectCount() - before;
        batch.commit();
        return report();
    }

private:
    StepLimits limits() const {
        const Model& model = session_.model();
        const auto length = [&](const char* cls, const char* attribute) {
            return static_cast<std::size_t>(
                model.findAttribute(*model.findClass(cls), attribute)->max_length);
        };
        return {length("Item", "item_id"), length("ItemRevision", "item_revision_id"),
                length("Item", "object_name"), length("Item", "object_desc")};
    }

    void makeItems() {
        revisions_.resize(plan_.revisions.size());
        std::vector<std::vector<std::size_t>> of_item(plan_.items.size());
        for (std::size_t i = 0; i < plan_.revisions.size(); ++i)
            of_item[plan_.revisions[i].item].push_back(i);
        for (std::size_t i = 0; i < plan_.items.size(); ++i)
            makeItem(plan_.items[i], of_item[i]);
    }

    void makeItem(const StepPlan::Item& planned, const std::vector<std::size_t>& revisions) {
        Object* first = nullptr;
        Object& item = newItem(session_, *session_.model().findType("Item"), planned.id,
                               planned.name, plan_.revisions[revisions[0]].id, &first);
        session_.put(item, "source_id", {planned.source_id});
        if (!planned.description.empty())
            session_.put(item, "object_desc", {planned.description});
        describe(*first, plan_.revisions[revisions[0]]);
        revisions_[revisions[0]] = first->tag;
        // The save empties the list, and all of it is dropped from the cache below.
        std::vector<tag_t> made = item.saved_along;
        made.push_back(item.tag);
        session_.save(item);
        for (std::size_t i = 1; i < revisions.size(); ++i) {
            Object& next = newRevision(session_, item, plan_.revisions[revisions[i]].id);
            describe(next, plan_.revisions[revisions[i]]);
            revisions_[revisions[i]] = next.tag;
            made.insert(made.end(), next.saved_along.begin(), next.saved_along.end());
            made.push_back(next.tag);
            session_.save(next);
        }
        forget(made);
    }

    void describe(Object& revision, const StepPlan::Revision& planned) {
        if (!planned.description.empty())
            session_.put(revision, "object_desc", {planned.description});
    }

    // Each usage is an occurrence of its own, in the order of the file.
    void makeStructure() {
        std::vector<tag_t> views(revisions_.size());
        std::vector<std::int64_t> count(revisions_.size());
        for (const StepPlan::Occurrence& planned : plan_.occurrences) {
            tag_t& view = views[planned.parent];
            if (view == NULLTAG) {
                view = bomViewRevision(session_, revisions_[planned.parent]);
                // Only the tags of these are needed from here on.
                forget({session_.reference(session_.object(view), "bom_view"), view,
                        revisions_[planned.parent]});
            }
            Object& occurrence =
                newOccurrence(session_, view, revisions_[planned.child], ++count[planned.parent]);
            session_.save(occurrence);
            forget({view, occurrence.tag});
        }
    }

    void keepFile(const std::string& path, const std::string& file_name) {
        // Without the extension: a rename of the dataset adds it to the file's name again.
        const std::size_t dot = file_name.rfind('.');
        const std::string name = dot == 0 ? file_name : file_name.substr(0, dot);
        const tag_t dataset = createDataset(session_, "STEP", cutUtf8(name, 128));
        addFile(session_, dataset, "STEP", path, file_name);
        const tag_t specification = session_.model().findRelationType("VANE_specification")->handle;
        for (const std::size_t top : plan_.tops)
            session_.save(newRelation(session_, revisions_[top], dataset, specification));
    }

    void forget(const std::vector<tag_t>& tags) {
        for (const tag_t tag : tags)
            session_.unload(tag);
    }

    ImportReport report() const {
        ImportReport report;
        report.items = static_cast<int>(plan_.items.size());
        report.revisions = static_cast<int>(plan_.revisions.size());
        report.occurrences = static_cast<int>(plan_.occurrences.size());
        report.objects = static_cast<int>(objects_);
        report.renamed_ids = plan_.renamed_ids;
        if (plan_.tops.size() == 1)
            report.top = revisions_[plan_.tops[0]];
        const auto note = [&](int count, const char* text) {
            if (count > 0)
                report.notes.push_back(std::to_string(count) + text);
        };
        note(plan_.cut_ids, " ids were too long and were cut");
        note(plan_.unnamed, " products have no id");
        return report;
    }

    Session& session_;
    StepPlan plan_;
    std::vector<tag_t> revisions_;  // as in the plan
    std::int64_t objects_ = 0;
};

}  // namespace

ImportReport importStep(Session& session, std::istream& in, const std::string& source_name) {
    // The source can be read only once, and the file itself is stored, too.
    TemporaryFile copy;
    StepStructure structure = readStep(in, source_name, &copy.stream());
    copy.close();
    return StepImport(session).run(std::move(structure), copy.path(), lastPart(source_name));
}

}  // namespace mervane
