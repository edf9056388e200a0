#include "tests/kills/operations.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>

#include "platform/keld_se.h"
#include "platform/mv_dbo.h"
#include "platform/mv_dst.h"
#include "platform/mv_err.h"
#include "platform/mv_heap.h"
#include "platform/mv_line.h"
#include "platform/mv_obj.h"
#include "tests/support/files.h"
#include "tests/support/step_generator.h"
#include "workbench/model/status.h"
#include "workbench/workbench.h"

namespace kills {

namespace {

namespace fs = std::filesystem;
using mervane::Argument;

mervane::Workbench& bench() {
    return *mervane_workbench();
}

void expect(int status, const std::string& what) {
    if (status == 0)
        return;
    std::string text = what + " gave " + std::to_string(status);
    for (const auto& entry : bench().errorStack())
        text += "; " + entry.text;
    throw std::runtime_error(text);
}

void expectStored(tag_t object, const std::string& attribute, const std::string& text) {
    const mervane::Values values = bench().get(object, attribute);
    const std::string found = values.empty() ? "(null)" : std::get<std::string>(values.front());
    if (found != text)
        throw std::runtime_error(attribute + " is " + found + " where " + text + " was set");
}

// A service with an integer result, as a client calls it.
void callService(int (*service)(int*), const std::string& name, std::vector<Argument> arguments) {
    bench().sendArguments(std::move(arguments));
    int result = 99;
    ERR_clear_errors();
    expect(service(&result), name);
    expect(result, name + "'s result");
}

class Own : public Operation {
public:
    Own(std::string name, std::string directory)
        : name_(std::move(name)), directory_(std::move(directory)) {}

protected:
    std::string name_, directory_;
    tag_t item_ = NULLTAG, revision_ = NULLTAG;

    void makeItem() { item_ = bench().createItem(name_, name_, "", "A", &revision_); }
    std::string numbered(int number) const { return name_ + "." + std::to_string(number); }
    tag_t datasetWithFile(const std::string& name) {
        const tag_t dataset = bench().createDataset("Text", name);
        bench().addFile(dataset, "Text", directory_ + "/notes.txt", "notes.txt");
        return dataset;
    }
};

class SetStatus final : public Own {
public:
    using Own::Own;
    void prepare() override { makeItem(); }
    void run(int number) override {
        const std::string status = number % 2 ? "Frozen" : "Released";
        callService(KELD_StatusManager, "KELD_StatusManager",
                    {status, std::string("ItemRevision"), revision_});
        const auto list = bench().get(revision_, "release_status_list");
        if (list.size() != 1)
            throw std::runtime_error("the revision has " + std::to_string(list.size()) +
                                     " statuses");
        expectStored(std::get<mervane::Reference>(list.front()).tag, "name", status);
    }
};

// A status that is set and taken back.
class Undo final : public Own {
public:
    using Own::Own;
    bool hasOwnRuns() const override { return true; }
    void prepare() override { makeItem(); }
    void run(int) override {
        bench().beginRun({mervane::RunWay::Whole, "KELD_StatusManager", "", "", ""});
        callService(KELD_StatusManager, "KELD_StatusManager",
                    {std::string("Frozen"), std::string("ItemRevision"), revision_});
        const auto run = bench().endRun({}, true, nullptr);
        const auto undone = bench().undoRun(run.number, "");
        if (!undone.done)
            throw std::runtime_error("the undo is refused: " + undone.conflicts.front());
        if (!bench().get(revision_, "release_status_list").empty())
            throw std::runtime_error("the status is there after the undo");
    }
};

class Rename final : public Own {
public:
    using Own::Own;
    void prepare() override {
        makeItem();
        bench().createRevision(item_, "B");
        bench().relate(revision_, bench().createDataset("Text", name_ + "/A"),
                       "VANE_specification");
    }
    void run(int number) override {
        const std::string id = numbered(number);
        callService(KELD_ReNameItemExtended, "KELD_ReNameItemExtended",
                    {id, std::string("A"), "named " + id, std::string("described"), item_,
                     revision_, RENAME_ITEM | RENAME_REVISIONS | RENAME_MODIFY});
        expectStored(item_, "item_id", id);
    }
};

class Resequence final : public Own {
public:
    using Own::Own;
    void prepare() override {
        makeItem();
        for (int i = 0; i < 3; ++i) {
            tag_t child = NULLTAG;
            bench().createItem(name_ + "-" + std::to_string(i), "part", "", "A", &child);
            for (int use = 0; use < 2; ++use)
                bench().addOccurrence(revision_, child, "1", std::to_string(10 * i + use));
        }
    }
    void run(int number) override {
        const tag_t top = bench().openBomWindow(revision_);
        bench().sendArguments({top, std::vector<tag_t>{top}, 0, number % 2});
        tag_t protocol = NULLTAG;
        expect(KELD_PSE_PackAndResequenceBom(&protocol), "KELD_PSE_PackAndResequenceBom");
        bench().saveBomWindow(top);
        bench().closeBomWindow(top);
    }
};

class JobFiles final : public Own {
public:
    using Own::Own;
    void prepare() override {
        makeItem();
        bench().relate(revision_, bench().createDataset("Text", name_), "VANE_specification");
    }
    void run(int number) override {
        // One of its own for each run: a job directory is named by the time.
        const std::string jobs = directory_ + "/jobs/" + numbered(number);
        fs::create_directories(jobs);
        callService(KELD_SrvCallCRJFromPortal, "KELD_SrvCallCRJFromPortal",
                    {std::string("Text"), jobs, jobs, std::string("PRINT"), std::string("new"),
                     std::string("opt=1"), std::string("true"), std::string("VANE_specification"),
                     std::string(" "), std::vector<tag_t>{revision_}});
    }
};

class JobItem final : public Own {
public:
    using Own::Own;
    void prepare() override { makeItem(); }
    void run(int) override {
        callService(KELD_SrvCallCRIFromPortal, "KELD_SrvCallCRIFromPortal",
                    {std::string("Text"), std::string("night"), std::string("PRINT"),
                     std::string("waiting"), std::string("opt=1"), std::string("true"),
                     std::string("VANE_specification"), std::vector<tag_t>{item_}});
    }
};

// The service gives the go-ahead and saves the files; then the client deletes.
class Delete final : public Own {
public:
    using Own::Own;
    void prepare() override { makeItem(); }
    void run(int number) override {
        const tag_t dataset = datasetWithFile(numbered(number));
        const tag_t relation = bench().relate(revision_, dataset, "VANE_specification");
        callService(KELD_DeleteDeluxe, "KELD_DeleteDeluxe", {std::vector<tag_t>{dataset}});
        expect(OBJ_delete(relation), "OBJ_delete of the relation");
        expect(OBJ_delete(dataset), "OBJ_delete of the dataset");
    }
};

class Copy final : public Own {
public:
    using Own::Own;
    void prepare() override {
        from_ = bench().createForm("Sheet", name_);
        for (int i = 0; i < 3; ++i)
            to_.push_back(bench().createForm("Sheet", name_ + "." + std::to_string(i)));
    }
    void run(int number) override {
        bench().set(from_, "s", {std::to_string(number)});
        callService(KELD_CopyAttr, "KELD_CopyAttr", {from_, to_});
        for (const tag_t form : to_)
            expectStored(form, "s", std::to_string(number));
    }

private:
    tag_t from_ = NULLTAG;
    std::vector<tag_t> to_;
};

class ImportStep final : public Own {
public:
    using Own::Own;
    void run(int) override {
        std::ifstream in(directory_ + "/product.stp", std::ios::binary);
        bench().importStep(in, "product.stp");
    }
};

class ImportJson final : public Own {
public:
    using Own::Own;
    void run(int number) override {
        const std::string id = numbered(number);
        std::ostringstream world;
        world << R"({"world": 1, "items": [)";
        for (int i = 0; i < 6; ++i)
            world << (i ? "," : "") << R"({"id": ")" << id << "." << i
                  << R"(", "name": "Wheel", "revisions": [{"id": "A", "datasets": [{"type": )"
                  << R"("Text", "name": "notes", "files": [{"reference": "Text", "name": "n.txt",)"
                  << R"( "text": "36 spokes of )" << id << R"("}]}]}]})";
        world << "]}";
        std::istringstream in(world.str());
        bench().importWorld(in, "w.json");
    }
};

// Two objects in one save.
class Pairs final : public Own {
public:
    using Own::Own;
    void prepare() override {
        makeItem();
        both_[0] = item_;
        both_[1] = bench().createForm("Sheet", name_);
    }
    void run(int number) override {
        const std::string text = numbered(number);
        expect(DBO_refresh_instances_any_class(2, both_, DBO_modify_lock), "locking");
        expect(OBJ_set_value_string(both_[0], "object_name", text.c_str()), "setting");
        expect(OBJ_set_value_string(both_[1], "s", text.c_str()), "setting");
        expect(DBO_save_instances(2, both_, false), "DBO_save_instances");
    }

private:
    tag_t both_[2] = {NULLTAG, NULLTAG};
};

class Items final : public Own {
public:
    using Own::Own;
    void run(int number) override { bench().createItem(numbered(number), "n", "", "A", nullptr); }
};

class Files final : public Own {
public:
    using Own::Own;
    void prepare() override { dataset_ = datasetWithFile(name_); }
    void run(int number) override {
        if (number % 4 == 0) {
            expect(DST_delete_all_dataset_revs(dataset_), "DST_delete_all_dataset_revs");
            dataset_ = datasetWithFile(numbered(number));
        } else {
            // Always a version of the first one: a rehearsed version is gone.
            const tag_t version = bench().createDatasetVersion(dataset_);
            bench().addFile(version, "Text", directory_ + "/notes.txt", "more.txt");
        }
    }

private:
    tag_t dataset_ = NULLTAG;
};

// Changes items that all processes change. Both another one's lock and its save in between are
// valid answers.
class Shared final : public Own {
public:
    using Own::Own;
    void run(int number) override {
        const tag_t item = bench().resolve(sharedItem(number % kSharedItems));
        if (OBJ_refresh(item, true) == 0) {
            const auto set = [&] {
                expect(OBJ_set_value_string(item, "object_name", numbered(number).c_str()),
                       "setting");
            };
            set();
            int saved = OBJ_save(item);
            // The last save of a process that was killed in its commit may come back with the
            // database's log, after this session has read the object: once.
            if (saved == mervane::kChangedMeanwhile) {
                expect(OBJ_refresh(item, true), "reading a locked object again");
                set();
                saved = OBJ_save(item);
            }
            expect(saved, "OBJ_save of a locked object");
            if (number % 3)
                expect(OBJ_refresh(item, false), "giving the lock back");
            else
                // Keep the lock for a while, so that others meet it.
                kept_.push_back(item);
        }
        ERR_clear_errors();
        if (kept_.size() > 2) {
            for (const tag_t kept : kept_)
                expect(OBJ_refresh(kept, false), "giving a kept lock back");
            kept_.clear();
        }
    }

private:
    std::vector<tag_t> kept_;
};

template <typename Kind>
std::unique_ptr<Operation> make(const std::string& name, const std::string& directory) {
    return std::make_unique<Kind>(name, directory);
}

struct Entry {
    std::string kind;
    std::unique_ptr<Operation> (*make)(const std::string&, const std::string&);
};

const std::vector<Entry>& entries() {
    static const std::vector<Entry> list = {
        {"status", make<SetStatus>},      {"undo", make<Undo>},
        {"rename", make<Rename>},         {"resequence", make<Resequence>},
        {"jobfiles", make<JobFiles>},     {"jobitem", make<JobItem>},
        {"delete", make<Delete>},         {"copy", make<Copy>},
        {"importstep", make<ImportStep>}, {"importjson", make<ImportJson>},
        {"pairs", make<Pairs>},           {"items", make<Items>},
        {"files", make<Files>},           {"shared", make<Shared>},
    };
    return list;
}

}  // namespace

std::unique_ptr<Operation> makeOperation(const std::string& kind, const std::string& name,
                                         const std::string& directory) {
    for (const Entry& entry : entries())
        if (entry.kind == kind)
            return entry.make(name, directory);
    throw std::runtime_error("there is no operation " + kind);
}

const std::vector<std::string>& operationKinds() {
    static const std::vector<std::string> kinds = [] {
        std::vector<std::string> all;
        for (const Entry& entry : entries())
            all.push_back(entry.kind);
        return all;
    }();
    return kinds;
}

std::string sharedItem(int number) {
    return "shared-" + std::to_string(number);
}

void useWorld(const std::string& directory) {
    ::setenv("KELD_CFG_PATH", directory.c_str(), 1);
    ::setenv("KELD_LOG_FILE", (directory + "/keld.log").c_str(), 1);
    ::setenv("KELD_LOG_LEVEL", "2", 0);
    // Many write at once here, on a machine that may have other work.
    ::setenv("MERVANE_WAIT_MS", "60000", 0);
    ::setenv("MV_TMP_DIR", directory.c_str(), 1);
    ::setenv("TEMP", directory.c_str(), 1);
}

void makeWorld(const std::string& directory, const std::string& path) {
    keld_test::writeFile(directory + "/notes.txt", std::string(20000, 'n'));
    keld_test::writeFile(
        directory + "/keld_statusmanager.ini",
        "[SelectWSO]\nItemRevision=1\n[Frozen_ItemRevision]\nSetReleaseState=Frozen\n"
        "PrevReleaseStatus=none;Released\n"
        "[Released_ItemRevision]\nSetReleaseState=Released\nPrevReleaseStatus=Frozen\n");
    fs::create_directories(directory + "/backup");
    {
        std::ofstream out(directory + "/product.stp", std::ios::binary);
        keld_test::StepShape shape;
        shape.parts = 6;
        shape.children = 3;
        keld_test::writeStep(out, shape);
    }
    bench().createStore(path);
    const auto store = bench().openStore(path);
    bench().openSession(store, {});
    bench().defineType("Sheet", "Form", {{"s", mervane::Kind::String, false, 80}});
    bench().setPreference("KELD_CopyAttributes_Form", {"Sheet;s"});
    bench().setPreference("KELD_DELBackupTopDirCentral", {directory + "/backup"});
    for (int i = 0; i < kSharedItems; ++i)
        bench().createItem(sharedItem(i), "shared", "", "A", nullptr);
    bench().closeStore(store);
}

}  // namespace kills
