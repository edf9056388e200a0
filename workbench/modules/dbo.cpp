// DBO_: classes, attributes and instances, below the level of properties.

#include "platform/mv_dbo.h"

#include <algorithm>
#include <unordered_set>

#include "workbench/modules/support.h"
#include "workbench/session/bom_window.h"
#include "workbench/session/dates.h"
#include "workbench/store/referrer.h"

using namespace mervane;

namespace {

// Where a referrer was found.
constexpr int kInStore = 1, kInSessionOnly = 2;

const Class& classNamed(Session& session, const char* name) {
    need(name, "className");
    const Class* cls = session.model().findClass(name);
    if (!cls)
        throw Failure(kUnknownClass, "there is no class \"" + std::string(name) + "\"");
    return *cls;
}

// The objects of a list, all of them or a Failure.
std::vector<Object*> objects(Session& session, int count, const tag_t* tags) {
    needList(count, tags, "instances");
    std::vector<Object*> list;
    for (int i = 0; i < count; ++i)
        list.push_back(&session.object(tags[i]));
    return list;
}

std::string named(const Object& object, const Attribute& attribute) {
    return tagText(object.tag) + " (" + object.type->name + "), attribute \"" + attribute.name +
           "\"";
}

const Attribute& arrayOf(Session& session, const Object& object, tag_t handle) {
    const Attribute& attribute = session.attribute(object, handle);
    if (!attribute.array)
        throw Failure(kWrongKind, named(object, attribute) + ": it is no array");
    return attribute;
}

const Attribute& referencesOf(Session& session, const Object& object, tag_t handle) {
    const Attribute& attribute = arrayOf(session, object, handle);
    if (attribute.kind != Kind::Reference)
        throw Failure(kWrongKind, named(object, attribute) + ": it holds no references");
    return attribute;
}

const Attribute& singleOf(Session& session, const Object& object, tag_t handle, Kind kind) {
    const Attribute& attribute = session.attribute(object, handle);
    if (attribute.array || attribute.kind != kind)
        throw Failure(kWrongKind, named(object, attribute) + ": it is of another kind");
    return attribute;
}

void checkRange(const Object& object, const Attribute& attribute, int first, int count,
                std::size_t length) {
    if (first < 0 || count < 0 ||
        static_cast<std::size_t>(first) + static_cast<std::size_t>(count) > length)
        throw Failure(kBadIndex, named(object, attribute) + ": " + std::to_string(count) +
                                     " entries from index " + std::to_string(first) +
                                     " were asked for, there are " + std::to_string(length));
}

// Who refers to an instance, as it is handed out.
struct Referring {
    std::vector<tag_t> tags, classes;
    std::vector<int> levels, where, class_levels, class_where;
    tag_t last_type = NULLTAG;

    void add(const Session::Referrer& referrer, const Type& type, int level, bool with_levels) {
        const int place = referrer.is_new ? kInSessionOnly : kInStore;
        tags.push_back(referrer.tag);
        if (with_levels) {
            levels.push_back(level);
            where.push_back(place);
        }
        // Most are of the type of the one before.
        if (type.handle != std::exchange(last_type, type.handle) && addClass(type) && with_levels) {
            class_levels.push_back(level);
            class_where.push_back(place);
        }
    }

    // Those of one level, all in the store. A release asks for those of one status object for each
    // part, and the list is long each time: so few steps for each.
    void take(Model& model, tag_t instance, const std::vector<StoredReferrer>& referrers) {
        tags.resize(referrers.size());
        std::size_t count = 0;
        tag_t last = NULLTAG;
        bool counts = false;
        for (const StoredReferrer& referrer : referrers) {
            if (referrer.type == NULLTAG || referrer.tag == instance)
                continue;
            if (referrer.type != last_type) {
                last_type = referrer.type;
                const Type* type = model.typeOf(last_type);
                counts = type != nullptr;
                if (counts)
                    addClass(*type);
            }
            // The references of one object follow each other.
            if (counts && referrer.tag != last)
                tags[count++] = last = referrer.tag;
        }
        tags.resize(count);
    }

private:
    bool addClass(const Type& type) {
        if (std::find(classes.begin(), classes.end(), type.cls->handle) != classes.end())
            return false;
        classes.push_back(type.cls->handle);
        return true;
    }
};

// Find referrers over so many levels, each object once. For one level the lists of levels and
// places stay empty: they would say the same for all, and fill the memory of a caller that doesn't
// free them.
Referring findReferrers(Session& session, tag_t instance, int levels) {
    Referring found;
    std::unordered_set<tag_t> known{instance};
    std::vector<tag_t> current{instance};
    const Type* type = nullptr;
    if (const auto* plain = levels == 1 ? session.plainReferrers(instance) : nullptr) {
        found.take(session.model(), instance, *plain);
        return found;
    }
    for (int level = 1; level <= levels && !current.empty(); ++level) {
        std::vector<tag_t> next;
        for (tag_t target : current)
            for (const auto& referrer : session.referrers(target)) {
                // The references of one object follow each other.
                if (referrer.tag == instance ||
                    (!found.tags.empty() && found.tags.back() == referrer.tag) ||
                    (levels > 1 && !known.insert(referrer.tag).second))
                    continue;
                // Most referrers are of the type of the one before, which saves the look-up.
                if (!type || type->handle != referrer.type)
                    type = session.model().typeOf(referrer.type);
                if (!type)
                    continue;
                if (levels > 1)
                    next.push_back(referrer.tag);
                found.add(referrer, *type, level, levels > 1);
            }
        current = std::move(next);
    }
    return found;
}

}  // namespace

extern "C" {

int DBO_class_id_of_class(const char* className, tag_t* classId) {
    return call(
        "DBO_class_id_of_class",
        [&] {
            need(classId, "classId");
            *classId = classNamed(currentSession(), className).handle;
        },
        className, classId);
}

int DBO_class_of_instance(tag_t instance, tag_t* classId) {
    return call(
        "DBO_class_of_instance",
        [&] {
            need(classId, "classId");
            Session& session = currentSession();
            if (isLine(instance)) {
                session.bomWindows().line(instance);
                *classId = standardClass(session, "BOMLine").handle;
            } else {
                *classId = session.object(instance).cls().handle;
            }
        },
        instance, classId);
}

int DBO_name_of_class(tag_t classId, char** name) {
    return call(
        "DBO_name_of_class",
        [&] {
            need(name, "name");
            const Class* cls = currentSession().model().classOf(classId);
            if (!cls)
                throw Failure(kUnknownClass, tagText(classId) + " is no class");
            *name = copyText(cls->name);
        },
        classId, name);
}

int DBO_attr_id_of_attr(const char* attribute, const char* className, tag_t* attr) {
    return call(
        "DBO_attr_id_of_attr",
        [&] {
            need(attribute, "attribute");
            need(attr, "attr");
            Session& session = currentSession();
            const Class& cls = classNamed(session, className);
            const Attribute* found = session.model().findAttribute(cls, attribute);
            if (!found)
                throw Failure(kUnknownAttribute,
                              "the class " + cls.name + " has no attribute \"" + attribute + "\"");
            *attr = found->handle;
        },
        attribute, className, attr);
}

int DBO_length_of_attr(tag_t instance, tag_t attr, int* length) {
    return call(
        "DBO_length_of_attr",
        [&] {
            need(length, "length");
            Session& session = currentSession();
            Object& object = session.object(instance);
            const Attribute& attribute = arrayOf(session, object, attr);
            *length = static_cast<int>(session.list(object, attribute).size());
        },
        instance, attr, length);
}

int DBO_ask_attr_tags(tag_t instance, tag_t attr, int first, int count, tag_t** values,
                      logical** isNull, logical** isEmpty) {
    return call(
        "DBO_ask_attr_tags",
        [&] {
            need(values, "values");
            need(isNull, "isNull");
            need(isEmpty, "isEmpty");
            Session& session = currentSession();
            Object& object = session.object(instance);
            const Attribute& attribute = referencesOf(session, object, attr);
            const Values& stored = session.list(object, attribute);
            checkRange(object, attribute, first, count, stored.size());
            std::vector<tag_t> tags;
            for (int i = first; i < first + count; ++i)
                tags.push_back(std::get<Reference>(stored[static_cast<std::size_t>(i)]).tag);
            // All blocks are made before the first is handed out: the caller gets all or none.
            Block tag_block(copyTags(tags));
            Block null_block(filled<logical>(tags.size(), false));
            Block empty_block(filled<logical>(tags.size(), false));
            for (std::size_t i = 0; i < tags.size(); ++i)
                null_block.get()[i] = empty_block.get()[i] = tags[i] == NULLTAG;
            *values = tag_block.give();
            *isNull = null_block.give();
            *isEmpty = empty_block.give();
        },
        instance, attr, first, count, values, isNull, isEmpty);
}

int DBO_ask_attr_string(tag_t instance, tag_t attr, char** value, logical* isNull,
                        logical* isValid) {
    return call(
        "DBO_ask_attr_string",
        [&] {
            need(value, "value");
            need(isNull, "isNull");
            need(isValid, "isValid");
            Session& session = currentSession();
            Object& object = session.object(instance);
            const Attribute& attribute = singleOf(session, object, attr, Kind::String);
            const Values stored = session.values(object, attribute);
            *value = copyText(stored.empty() ? "" : std::get<std::string>(stored[0]));
            *isNull = stored.empty();
            *isValid = true;
        },
        instance, attr, value, isNull, isValid);
}

int DBO_load_instances_possible(int count, const tag_t* instances, int* loaded,
                                tag_t** loadedInstances) {
    return call(
        "DBO_load_instances_possible",
        [&] {
            needList(count, instances, "instances");
            need(loaded, "loaded");
            need(loadedInstances, "loadedInstances");
            Session& session = currentSession();
            std::vector<tag_t> tags;
            for (int i = 0; i < count; ++i)
                if (session.tryLiving(instances[i]))
                    tags.push_back(instances[i]);
            giveTags(tags, loaded, loadedInstances);
        },
        count, Passed(count, instances), loaded, loadedInstances);
}

int DBO_refresh_instances_any_class(int count, const tag_t* instances, int lockMode) {
    return call(
        "DBO_refresh_instances_any_class",
        [&] {
            if (lockMode != DBO_no_lock && lockMode != DBO_modify_lock)
                throw Failure(kBadValue, std::to_string(lockMode) + " is no lock mode");
            Session& session = currentSession();
            for (Object* object : objects(session, count, instances))
                session.refresh(*object, lockMode == DBO_modify_lock);
        },
        count, Passed(count, instances), lockMode);
}

int DBO_set_attr_string(int count, const tag_t* instances, tag_t attr, const char* value) {
    return call(
        "DBO_set_attr_string",
        [&] {
            need(value, "value");
            Session& session = currentSession();
            for (Object* object : objects(session, count, instances))
                session.set(*object, singleOf(session, *object, attr, Kind::String),
                            {std::string(value)});
        },
        count, Passed(count, instances), attr, value);
}

int DBO_set_attr_date(int count, const tag_t* instances, tag_t attr, date_s value) {
    return call(
        "DBO_set_attr_date",
        [&] {
            Session& session = currentSession();
            const Values values = dateValues(value);
            for (Object* object : objects(session, count, instances))
                session.set(*object, singleOf(session, *object, attr, Kind::Date), values);
        },
        count, Passed(count, instances), attr, value);
}

int DBO_set_attr_null(int count, const tag_t* instances, tag_t attr) {
    return call(
        "DBO_set_attr_null",
        [&] {
            Session& session = currentSession();
            for (Object* object : objects(session, count, instances))
                session.set(*object, session.attribute(*object, attr), {});
        },
        count, Passed(count, instances), attr);
}

int DBO_append_attr_tags(int count, const tag_t* instances, tag_t attr, int n,
                         const tag_t* newTags) {
    return call(
        "DBO_append_attr_tags",
        [&] {
            needList(n, newTags, "newTags");
            Session& session = currentSession();
            for (int i = 0; i < n; ++i)
                // All are tested before the first instance changes.
                session.living(newTags[i]);
            for (Object* object : objects(session, count, instances)) {
                const Attribute& attribute = referencesOf(session, *object, attr);
                Values values = session.values(*object, attribute);
                for (int i = 0; i < n; ++i)
                    values.push_back(Reference{newTags[i]});
                session.set(*object, attribute, std::move(values));
            }
        },
        count, Passed(count, instances), attr, n, Passed(n, newTags));
}

int DBO_remove_from_attr(int count, const tag_t* instances, tag_t attr, int first, int n) {
    return call(
        "DBO_remove_from_attr",
        [&] {
            Session& session = currentSession();
            for (Object* object : objects(session, count, instances)) {
                const Attribute& attribute = arrayOf(session, *object, attr);
                Values values = session.values(*object, attribute);
                checkRange(*object, attribute, first, n, values.size());
                values.erase(values.begin() + first, values.begin() + first + n);
                session.set(*object, attribute, std::move(values));
            }
        },
        count, Passed(count, instances), attr, first, n);
}

int DBO_save_instances(int count, const tag_t* instances, logical flag) {
    return call(
        "DBO_save_instances",
        [&] {
            Session& session = currentSession();
            session.save(objects(session, count, instances));
        },
        count, Passed(count, instances), flag);
}

int DBO_delete_instances(int count, const tag_t* instances) {
    return call(
        "DBO_delete_instances",
        [&] {
            Session& session = currentSession();
            std::vector<tag_t> tags;
            for (Object* object : objects(session, count, instances))
                tags.push_back(object->tag);
            session.erase(tags);
        },
        count, Passed(count, instances));
}

int DBO_referencers_of_instance(tag_t instance, int levels, int mode, int* count, tag_t** instances,
                                int** instanceLevels, int** instanceWhereFound, int* classCount,
                                tag_t** classes, int** classLevels, int** classWhereFound) {
    return call(
        "DBO_referencers_of_instance",
        [&] {
            need(count, "count");
            need(instances, "instances");
            need(instanceLevels, "instanceLevels");
            need(instanceWhereFound, "instanceWhereFound");
            need(classCount, "classCount");
            need(classes, "classes");
            need(classLevels, "classLevels");
            need(classWhereFound, "classWhereFound");
            if (levels < 1 || mode != DBO_in_ds_and_db)
                throw Failure(kBadValue, "levels must be at least 1 and the mode " +
                                             std::to_string(DBO_in_ds_and_db));
            Session& session = currentSession();
            session.object(instance);
            const Referring found = findReferrers(session, instance, levels);
            // All six blocks are made before the first is handed out.
            Block b1(copyTags(found.tags)), b2(copyTags(found.classes));
            Block b3(copyList(found.levels)), b4(copyList(found.where)),
                b5(copyList(found.class_levels)), b6(copyList(found.class_where));
            *count = static_cast<int>(found.tags.size());
            *classCount = static_cast<int>(found.classes.size());
            *instances = b1.give();
            *classes = b2.give();
            *instanceLevels = b3.give();
            *instanceWhereFound = b4.give();
            *classLevels = b5.give();
            *classWhereFound = b6.give();
        },
        instance, levels, mode, count, instances, instanceLevels, instanceWhereFound, classCount,
        classes, classLevels, classWhereFound);
}

int DBO_get_user(char** name, tag_t* user) {
    return call(
        "DBO_get_user",
        [&] {
            need(name, "name");
            need(user, "user");
            Session& session = currentSession();
            *name = copyText(session.userName());
            *user = session.user();
        },
        name, user);
}

int DBO_get_user_id(char** id) {
    return call(
        "DBO_get_user_id",
        [&] {
            need(id, "id");
            *id = copyText(currentSession().userId());
        },
        id);
}

int DBO_ask_user_id(tag_t user, char** id) {
    return call(
        "DBO_ask_user_id",
        [&] {
            need(id, "id");
            Session& session = currentSession();
            Object& object = session.object(user, standardClass(session, "User"));
            *id = copyText(session.text(object, "user_id"));
        },
        user, id);
}

int DBO_ask_group(char** name, tag_t* group) {
    return call(
        "DBO_ask_group",
        [&] {
            need(name, "name");
            need(group, "group");
            Session& session = currentSession();
            *name = copyText(session.groupName());
            *group = session.group();
        },
        name, group);
}

date_s DBO_null_date(void) {
    return {};
}

int DBO_is_cached(tag_t dataset, logical* cached) {
    return call(
        "DBO_is_cached",
        [&] {
            need(cached, "cached");
            Session& session = currentSession();
            Object& object = session.object(dataset, standardClass(session, "Dataset"));
            // What another site owns is here as a copy.
            *cached = session.reference(object, "owning_site") != NULLTAG;
        },
        dataset, cached);
}

}  // extern "C"
