#pragma once

// A session: one user's view of one store. Objects are cached here; locks, rights, the error stack
// and the stream of service arguments belong to it.

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "workbench/model/model.h"
#include "workbench/model/status.h"
#include "workbench/workbench.h"

namespace mervane {

class Store;
class BomWindows;

struct Field {
    Values values;  // empty: null
    bool dirty = false;
};

struct Object {
    tag_t tag = NULLTAG;
    const Type* type = nullptr;
    std::int64_t version = 0;  // counts saves; 0: never saved
    bool locked = false;       // this session holds the modify lock
    std::vector<Field> fields;
    // Parts that are stored with the first save of this object (revision and forms of a new item).
    std::vector<tag_t> saved_along;

    const Class& cls() const { return *type->cls; }
    bool isNew() const { return version == 0; }
    bool isA(const Class& c) const { return type->cls->isA(c); }
};

class Session {
public:
    Session(std::shared_ptr<Store> store, const SessionOptions& options);
    ~Session();
    Session(const Session&) = delete;

    Store& store() { return *store_; }
    Model& model();

    // ---- objects ----
    // The object, loaded if need be. Failure kUnknownObject if it doesn't exist.
    Object& object(tag_t tag);
    // Likewise, and of this class or below; Failure kWrongClass if not.
    Object& object(tag_t tag, const Class& cls);
    // Null instead of a failure.
    Object* tryObject(tag_t tag);
    // A new, unsaved object of a type, with owner and dates set if it is a workspace object.
    Object& create(const Type& type);
    void unload(tag_t tag);
    // Re-read; with lock, take the lock first; without, give it up. New objects keep their values.
    void refresh(Object& object, bool lock);
    void lock(Object& object);
    // Write the dirty values of all in one transaction; locks stay.
    void save(std::span<Object* const> objects);
    void save(Object& object);
    // Delete with its parts and the relations in which it is primary; refused while others refer.
    void remove(Object& object);
    // Delete outright, asking nobody.
    void erase(std::span<const tag_t> tags);

    // ---- values; Failure for an unknown attribute or a wrong kind ----
    const Attribute& attribute(const Object& object, std::string_view name) const;
    const Attribute& attribute(const Object& object, tag_t handle) const;
    Field& field(Object& object, const Attribute& attribute);
    const Values& values(Object& object, std::string_view name);
    std::string text(Object& object, std::string_view name);  // empty if null
    tag_t reference(Object& object, std::string_view name);   // NULLTAG if null
    std::vector<tag_t> references(Object& object, std::string_view name);
    // Set with all checks: locked or new, kind, length, existing target of a reference.
    void set(Object& object, const Attribute& attribute, Values values);
    void set(Object& object, std::string_view name, Values values);
    // Set without the test for the lock, for the workbench's own bookkeeping.
    void put(Object& object, std::string_view name, Values values);

    // ---- who refers; stored references and this session's unsaved ones, by tag ----
    struct Referrer {
        tag_t tag = NULLTAG;
        tag_t attribute = NULLTAG;
    };
    std::vector<Referrer> referrers(tag_t target);
    // Objects whose reference attribute of this name on this class holds the target, by tag.
    std::vector<tag_t> referrersBy(std::string_view class_name, std::string_view attribute,
                                   tag_t target);
    // Objects of a class or below with a string attribute of this value, by tag.
    std::vector<tag_t> findByText(std::string_view class_name, std::string_view attribute,
                                  const std::string& text);

    // ---- properties: attributes and what is worked out from them ----
    struct Property {
        Kind kind = Kind::String;
        bool array = false;
        bool writable = true;
        Values values;
    };
    bool hasProperty(Object& object, std::string_view name);
    Property property(Object& object, std::string_view name);
    void setProperty(Object& object, std::string_view name, Values values);
    std::string displayText(Object& object, std::string_view name);
    void setDisplayText(Object& object, std::string_view name, const std::string& text);
    std::string displayId(tag_t tag);  // what ENT_ask_id_string gives
    static std::string displayText(Session& session, const Value& value);

    // ---- user, rights, check-out ----
    tag_t user() const { return user_; }
    tag_t group() const { return group_; }
    std::string userId();
    std::string userName();
    std::string groupName();
    void setBypass(bool on) { bypass_ = on; }
    bool bypass() const { return bypass_; }
    bool allowed(Object& object, const std::string& privilege);
    bool modifiable(Object& object);
    struct CheckOut {
        tag_t object = NULLTAG, user = NULLTAG;
        std::string date, comment;
    };
    bool checkedOut(tag_t object, CheckOut* by);
    void checkOut(Object& object, const std::string& comment);
    void checkIn(Object& object);

    // ---- locks ----
    std::size_t heldLocks() const;

    // ---- a stretch of saves as one transaction (imports): all or nothing ----
    void beginBatch();
    void commitBatch();
    void rollbackBatch();  // the cache is dropped too

    BomWindows& bomWindows() { return *bom_windows_; }
    // Drop the whole cache, as closing and opening would.
    void forgetAll();

private:
    std::shared_ptr<Store> store_;
    std::unordered_map<tag_t, std::unique_ptr<Object>> cache_;
    std::unique_ptr<BomWindows> bom_windows_;
    tag_t user_ = NULLTAG, group_ = NULLTAG;
    bool bypass_ = false;
    // further members as the implementation needs them
};

// The current session; Failure kNoSession if there is none.
Session& currentSession();

}  // namespace mervane
