#include <algorithm>

#include "workbench/admin/store_workbench.h"
#include "workbench/run/recorder.h"
#include "workbench/session/datasets.h"
#include "workbench/session/organisation.h"
#include "workbench/session/rights.h"
#include "workbench/session/workflows.h"

// What an administrator defines: classes and types, people, settings, rights, templates.

namespace mervane {

// Store a definition and its entry in the record of the run together.
template <typename Steps>
void StoreWorkbench::define(const std::string& what, Steps&& steps) {
    // Without a run there is nothing to record, and the store has a transaction of its own.
    if (!now().recorder())
        return steps();
    StoreTransaction transaction(now().store(), StoreTransaction::Others::Alone);
    steps();
    now().recorder()->modelExtended(what);
    transaction.commit();
}

tag_t StoreWorkbench::defineClass(const std::string& name, const std::string& parent,
                                  const std::vector<AttributeSpec>& attributes) {
    define("the class " + name,
           [&] { now().store().addClass(name, parent.empty() ? "Instance" : parent, attributes); });
    return now().model().findClass(name)->handle;
}

tag_t StoreWorkbench::defineType(const std::string& name, const std::string& parent_type,
                                 const std::vector<AttributeSpec>& attributes) {
    define("the type " + name, [&] { now().store().addType(name, parent_type, attributes); });
    return now().model().findType(name)->handle;
}

tag_t StoreWorkbench::defineRelationType(const std::string& name) {
    define("the relation type " + name, [&] { now().store().addRelationType(name); });
    return now().model().findRelationType(name)->handle;
}

tag_t StoreWorkbench::defineDatasetType(const std::string& name, const std::string& tool,
                                        const std::vector<std::string>& formats,
                                        const std::vector<std::string>& reference_names) {
    define("the dataset type " + name,
           [&] { now().store().addDatasetType(name, "Dataset", tool, formats, reference_names); });
    return now().model().findType(name)->handle;
}

// Anybody may rehearse a change of settings: it goes back.
void StoreWorkbench::needAdministratorUnlessRehearsed(const std::string& what) {
    if (!now().rehearses())
        needAdministrator(what);
}

void StoreWorkbench::needAdministrator(const std::string& what) {
    now().needAdministrator(what.c_str());
}

tag_t StoreWorkbench::createGroup(const std::string& name, const std::string& parent) {
    now().needAdministrator("make groups");
    return mervane::createGroup(now(), name, parent);
}

tag_t StoreWorkbench::createUser(const std::string& id, const std::string& name,
                                 const std::string& group) {
    now().needAdministrator("make users");
    return mervane::createUser(now(), id, name, group);
}

void StoreWorkbench::addToGroup(const std::string& user, const std::string& group) {
    now().needAdministrator("add users to groups");
    mervane::addToGroup(now(), user, group);
}

void StoreWorkbench::setPreference(const std::string& name,
                                   const std::vector<std::string>& values) {
    if (name.empty())
        throw Failure(kBadValue, "a preference needs a name");
    needAdministratorUnlessRehearsed("set preferences");
    now().setPreference(name, &values);
}

void StoreWorkbench::removePreference(const std::string& name) {
    needAdministratorUnlessRehearsed("remove preferences");
    now().setPreference(name, nullptr);
}

std::vector<std::pair<std::string, std::vector<std::string>>> StoreWorkbench::preferences() {
    return now().store().preferences();
}

namespace {

void needOneOf(const std::string& value, std::initializer_list<const char*> known,
               const char* what) {
    if (std::find(known.begin(), known.end(), value) != known.end())
        return;
    std::string list;
    for (const char* each : known)
        list += (list.empty() ? "" : ", ") + std::string(each);
    throw Failure(kBadValue, std::string(what) + " \"" + value + "\"; known are " + list);
}

// A right that names nothing would silently never count.
void checkRight(Session& session, const Right& right) {
    needOneOf(right.subject_kind, {"user", "group", "all"}, "kind of subject");
    needOneOf(right.scope_kind, {"object", "status", "type", "class", "all"}, "kind of scope");
    needPrivilege(right.privilege);
    if (right.subject_kind == "user" && findUser(session, right.subject) == NULLTAG)
        throw Failure(kUnknownObject, "there is no user " + right.subject);
    if (right.subject_kind == "group" && findGroup(session, right.subject) == NULLTAG)
        throw Failure(kUnknownObject, "there is no group " + right.subject);
    if (right.scope_kind == "type" && !session.model().findType(right.scope))
        throw Failure(kUnknownType, "there is no type " + right.scope);
    if (right.scope_kind == "class" && !session.model().findClass(right.scope))
        throw Failure(kUnknownClass, "there is no class " + right.scope);
    if (right.scope_kind == "object" &&
        right.scope.find_first_not_of("0123456789") != std::string::npos)
        throw Failure(kBadValue, "\"" + right.scope + "\" is no object's tag");
}

}  // namespace

void StoreWorkbench::addRight(const Right& right) {
    checkRight(now(), right);
    needAdministratorUnlessRehearsed("give rights");
    now().addRight(right);
}

void StoreWorkbench::removeRight(const Right& right) {
    // What the right names may be gone by now, so it isn't looked up.
    needAdministratorUnlessRehearsed("take rights away");
    now().removeRight(right);
}

RightDecision StoreWorkbench::decide(const std::string& user, const std::string& group,
                                     tag_t object, const std::string& privilege) {
    return now().decide(now().object(object), privilege, askerOf(now(), user, group));
}

std::vector<Right> StoreWorkbench::rights() {
    return now().store().rights();
}

tag_t StoreWorkbench::createProcessTemplate(const std::string& name,
                                            const std::vector<std::string>& tasks) {
    return mervane::createProcessTemplate(now(), name, tasks);
}

std::vector<std::string> StoreWorkbench::privilegeNames() {
    return knownPrivileges();
}

std::vector<std::string> StoreWorkbench::typeNames(const std::string& at_or_below) {
    const Model& model = now().model();
    const Type* top = model.findType(at_or_below.empty() ? "Instance" : at_or_below);
    if (!top)
        throw Failure(kUnknownType, "there is no type " + at_or_below);
    std::vector<std::string> names{top->name};
    for (const Type* type : model.subtypes(*top))
        names.push_back(type->name);
    return names;
}

std::vector<std::string> StoreWorkbench::referenceNames(const std::string& dataset_type) {
    const Type* type = findDatasetType(now(), dataset_type);
    if (!type)
        throw Failure(kUnknownType, "there is no dataset type " + dataset_type);
    return referenceNamesOf(now(), *type);
}

std::vector<std::string> StoreWorkbench::relationTypeNames() {
    std::vector<std::string> names;
    for (const RelationType* type : now().model().relationTypes())
        names.push_back(type->name);
    return names;
}

}  // namespace mervane
