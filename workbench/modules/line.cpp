// LINE_: BOM lines.

#include "platform/mv_line.h"

#include "workbench/session/bom_window.h"
#include "workbench/session/interface.h"

using namespace mervane;

extern "C" {

int LINE_look_up_attribute(const char* name, int* attribute) {
    return call(
        "LINE_look_up_attribute",
        [&] {
            need(name, "name");
            need(attribute, "attribute");
            *attribute = currentSession().bomWindows().attributeId(name);
        },
        name, attribute);
}

int LINE_ask_attribute_tag(tag_t line, int attribute, tag_t* value) {
    return call(
        "LINE_ask_attribute_tag",
        [&] {
            need(value, "value");
            BomWindows& windows = currentSession().bomWindows();
            const std::string name = windows.attributeName(attribute);
            const Session::Property property = windows.property(line, name);
            if (property.kind != Kind::Reference || property.array)
                throw Failure(kWrongKind, "BOM line attribute \"" + name + "\" is no single tag");
            *value = property.values.empty() ? NULLTAG
                                             : std::get<Reference>(property.values.front()).tag;
        },
        line, attribute, value);
}

int LINE_ask_child_lines(tag_t line, int* count, tag_t** children) {
    return call(
        "LINE_ask_child_lines",
        [&] {
            need(count, "count");
            need(children, "children");
            const auto list = currentSession().bomWindows().children(line);
            *children = copyTags(list);
            *count = static_cast<int>(list.size());
        },
        line, count, children);
}

int LINE_pack(tag_t line) {
    return call(
        "LINE_pack", [&] { currentSession().bomWindows().pack(line); }, line);
}

int LINE_unpack(tag_t line) {
    return call(
        "LINE_unpack", [&] { currentSession().bomWindows().unpack(line); }, line);
}

}  // extern "C"
