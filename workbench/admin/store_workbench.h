#pragma once

// The class of the object that mervane_workbench() gives. Its members are defined by subject:
// stores.cpp, registry.cpp, model.cpp, objects.cpp, search.cpp, runs.cpp, calls.cpp.

#include <map>
#include <memory>

#include "workbench/run/run.h"
#include "workbench/session/session.h"
#include "workbench/store/store.h"
#include "workbench/workbench.h"

namespace mervane {

class StoreWorkbench final : public Workbench {
public:
    ~StoreWorkbench();

    void createStore(const std::string& path, const std::string& volume) override;
    StoreId openStore(const std::string& path) override;
    std::string storeIdentity(StoreId store) override;
    void closeStore(StoreId store) override;
    std::vector<CheckFinding> check(StoreId store, bool repair) override;
    std::vector<CheckFinding> backup(StoreId store, const std::string& path) override;
    std::vector<CheckFinding> copyStore(StoreId store, const std::string& to,
                                        const std::string& volume) override;
    std::vector<std::pair<std::string, std::string>> serverFacts(StoreId store) override;
    std::vector<std::string> serverWarnings(StoreId store) override;

    SessionId openSession(StoreId store, const SessionOptions& options) override;
    void selectSession(SessionId session) override;
    SessionId currentSession() const override;
    void closeSession(SessionId session) override;

    tag_t defineClass(const std::string& name, const std::string& parent,
                      const std::vector<AttributeSpec>& attributes) override;
    tag_t defineType(const std::string& name, const std::string& parent_type,
                     const std::vector<AttributeSpec>& attributes) override;
    tag_t defineRelationType(const std::string& name) override;
    tag_t defineDatasetType(const std::string& name, const std::string& tool,
                            const std::vector<std::string>& formats,
                            const std::vector<std::string>& reference_names) override;

    void needAdministrator(const std::string& what) override;
    tag_t createGroup(const std::string& name, const std::string& parent) override;
    tag_t createUser(const std::string& id, const std::string& name,
                     const std::string& group) override;
    void addToGroup(const std::string& user, const std::string& group) override;
    void setPreference(const std::string& name, const std::vector<std::string>& values) override;
    void removePreference(const std::string& name) override;
    std::vector<std::pair<std::string, std::vector<std::string>>> preferences() override;
    void addRight(const Right& right) override;
    void removeRight(const Right& right) override;
    std::vector<Right> rights() override;
    RightDecision decide(const std::string& user, const std::string& group, tag_t object,
                         const std::string& privilege) override;
    tag_t createProcessTemplate(const std::string& name,
                                const std::vector<std::string>& tasks) override;

    void createRegistry(const std::string& path) override;
    void useRegistry(const std::string& path) override;
    std::string registryPath() override;
    std::vector<std::string> registeredIds() override;
    bool registryReachable() override;
    void setRegistryReachable(bool reachable) override;

    tag_t createItem(const std::string& id, const std::string& name, const std::string& type,
                     const std::string& revision, tag_t* first_revision) override;
    tag_t createRevision(tag_t item, const std::string& revision) override;
    tag_t createForm(const std::string& type, const std::string& name) override;
    tag_t createFolder(const std::string& name) override;
    void addToFolder(tag_t folder, tag_t content) override;
    tag_t createDataset(const std::string& type, const std::string& name) override;
    tag_t createDatasetVersion(tag_t dataset) override;
    tag_t addFile(tag_t dataset, const std::string& reference_name, const std::string& path,
                  const std::string& original_name) override;
    void addNamedReference(tag_t dataset, const std::string& reference_name, tag_t object) override;
    tag_t relate(tag_t primary, tag_t secondary, const std::string& relation_type) override;
    tag_t create(const std::string& type) override;
    void set(tag_t object, const std::string& attribute, const Values& values) override;
    Values get(tag_t object, const std::string& attribute) override;
    void needDisplayText(tag_t object, const std::string& property,
                         const std::string& text) override;
    void checkOut(tag_t object, const std::string& comment) override;
    void checkIn(tag_t object) override;
    std::optional<CheckOutInfo> checkOutOf(tag_t object) override;
    void needRead(tag_t object) override;

    tag_t bomViewRevision(tag_t revision) override;
    tag_t addOccurrence(tag_t parent_revision, tag_t child_revision, const std::string& quantity,
                        const std::string& sequence_no) override;
    int copyStructure(tag_t from_revision, tag_t to_revision) override;
    tag_t openBomWindow(tag_t revision) override;
    void saveBomWindow(tag_t line) override;
    void closeBomWindow(tag_t line) override;

    void asOne(const std::function<void()>& steps) override;

    std::vector<Found> find(const FindQuery& query) override;
    tag_t resolve(const std::string& name) override;
    std::vector<std::string> similarNames(const std::string& name) override;
    StructureSize measure(tag_t revision, std::size_t most) override;
    Found describe(tag_t object) override;
    std::optional<TextIndexState> textIndex() override;
    void setTextIndex(bool on) override;
    std::vector<std::string> attributeNames(tag_t object) override;
    std::vector<std::string> privilegeNames() override;
    std::vector<std::string> typeNames(const std::string& at_or_below) override;
    std::vector<std::string> relationTypeNames() override;
    std::vector<std::string> referenceNames(const std::string& dataset_type) override;

    ImportReport importWorld(std::istream& in, const std::string& source_name) override;
    std::vector<CheckFinding> exportWorld(std::ostream& out) override;
    ImportReport importStep(std::istream& in, const std::string& source_name) override;

    void beginRun(const RunOptions& options) override;
    RunHead endRun(const RunOutcome& outcome, bool keep,
                   const std::function<void(const RunEntry&)>& each) override;
    bool inRun() override;
    RunHead runUnderWay() override;
    RunReads readsOfRun() override;
    void readRunSoFar(const std::function<void(const RunEntry&)>& each) override;
    std::vector<ReadDifference> differencesFrom(const RunReads& reads) override;
    void interrupt() noexcept override;
    bool interrupted() noexcept override;
    std::vector<RunHead> runs(const RunQuery& query) override;
    RunHead run(std::int64_t number) override;
    void readRun(std::int64_t number, const std::function<void(const RunEntry&)>& each) override;
    UndoReport undoRun(std::int64_t number, const std::string& version) override;
    int pruneRuns(const std::string& before) override;
    bool recordsRuns() override;
    void recordRuns(bool on) override;

    void sendArguments(std::vector<Argument> arguments) override;
    std::vector<StackEntry> errorStack() override;
    std::string messageText(int status) override;
    std::vector<int> messageNumbers() override;
    std::size_t liveHeapBlocks() override;
    void failHeapAfter(std::optional<std::size_t> allocations) override;
    std::size_t heldLocks() override;
    bool holdsLock(tag_t object) override;
    std::optional<LockInfo> lockOf(tag_t object) override;

    void startJournal() override;
    void startJournal(std::function<void(const JournalEntry&)> each) override;
    std::vector<JournalEntry> stopJournal() override;
    void setFaults(const std::vector<Fault>& faults) override;
    std::uint64_t statementsRun() override;
    std::uint64_t roundTrips() override;
    std::uint64_t objectsWorkedOn() override;

private:
    struct OpenSession {
        StoreId store;
        std::unique_ptr<Session> session;
        std::unique_ptr<Run> run;  // ends before the session
    };
    std::map<StoreId, std::shared_ptr<Store>> stores_;
    std::map<SessionId, OpenSession> sessions_;
    int last_store_ = 0, last_session_ = 0;
    SessionId current_ = 0;  // 0: none

    Store& storeOf(StoreId store);
    Session& now();  // the current session
    OpenSession& nowOpen();
    void needAdministratorUnlessRehearsed(const std::string& what);
    template <typename Steps>
    void define(const std::string& what, Steps&& steps);
    std::vector<Store::Hit> hitsByName(const Type& wanted, const std::string& text);
    bool isNewest(Object& dataset);
};

}  // namespace mervane
