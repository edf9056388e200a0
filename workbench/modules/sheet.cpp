// SHEET_: forms.

#include "platform/mv_sheet.h"

#include "workbench/modules/support.h"

using namespace mervane;

extern "C" {

int SHEET_ask_prop_names(tag_t form, int* count, char*** names) {
    return call(
        "SHEET_ask_prop_names",
        [&] {
            need(count, "count");
            need(names, "names");
            Session& session = currentSession();
            Object& object = session.object(form, standardClass(session, "Form"));
            // The attributes that all forms have come first and are left out.
            const std::size_t common = session.model().findType("Form")->layout.size();
            std::vector<std::string> list;
            for (std::size_t i = common; i < object.type->layout.size(); ++i)
                list.push_back(object.type->layout[i]->name);
            giveTexts(list, count, names);
        },
        form, count, names);
}

}  // extern "C"
