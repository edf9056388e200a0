// MVTYPE_: types and their properties.

#include "platform/mv_mvtype.h"

#include "platform/mv_supplement.h"
#include "workbench/modules/support.h"
#include "workbench/session/properties.h"

using namespace mervane;

namespace {

const Type& typeObject(Session& session, tag_t handle) {
    const Type* type = session.model().typeOf(handle);
    if (!type)
        throw Failure(kUnknownType, tagText(handle) + " is no type");
    return *type;
}

}  // namespace

extern "C" {

int MVTYPE_find_type(const char* name, const char* parentClass, tag_t* type) {
    return call(
        "MVTYPE_find_type",
        [&] {
            need(name, "name");
            need(parentClass, "parentClass");
            need(type, "type");
            const Model& model = currentSession().model();
            const Type* found = model.findType(name);
            const Type* above = model.findType(parentClass);
            *type = found && above && found->isA(*above) ? found->handle : NULLTAG;
        },
        name, parentClass, type);
}

int MVTYPE_ask_subtypes(tag_t type, logical flag, int* count, tag_t** subtypes) {
    return call(
        "MVTYPE_ask_subtypes",
        [&] {
            need(count, "count");
            need(subtypes, "subtypes");
            Session& session = currentSession();
            const Type& top = typeObject(session, type);
            std::vector<tag_t> tags;
            for (const Type* each : session.model().subtypes(top))
                if (!flag || each->parent == &top)
                    tags.push_back(each->handle);
            giveTags(tags, count, subtypes);
        },
        type, flag, count, subtypes);
}

int MVTYPE_ask_property_by_name(tag_t type, const char* property, tag_t* handle) {
    return call(
        "MVTYPE_ask_property_by_name",
        [&] {
            need(property, "property");
            need(handle, "handle");
            const Type& owner = typeObject(currentSession(), type);
            if (const auto found = owner.by_name.find(property); found != owner.by_name.end())
                *handle = owner.layout[found->second]->handle;
            else if (typeHasProperty(owner, property))
                // A worked-out property is in no model, so its handle is made of its name alone.
                // The words before it keep it apart from attributes, whose names begin with a class
                // or type.
                *handle = makeHandle(HandleKind::Attribute, "property " + std::string(property));
            else
                *handle = NULLTAG;
        },
        type, property, handle);
}

int MVTYPE_ask_name(tag_t type, char* name) {
    return call(
        "MVTYPE_ask_name",
        [&] {
            need(name, "name");
            Session& session = currentSession();
            const RelationType* relation_type = session.model().relationTypeOf(type);
            copyInto(name, kNameSize,
                     relation_type ? relation_type->name : typeObject(session, type).name,
                     "type name");
        },
        type, name);
}

}  // extern "C"
