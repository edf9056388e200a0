// CLF_: classification objects.

#include "platform/mv_clf.h"

#include "workbench/modules/support.h"

using namespace mervane;

extern "C" {

int CLF_ask_classification_object_id(tag_t classificationObject, char** id) {
    return call(
        "CLF_ask_classification_object_id",
        [&] {
            need(id, "id");
            Session& session = currentSession();
            Object& object = session.object(classificationObject, standardClass(session, "icm0"));
            *id = copyText(session.text(object, "id"));
        },
        classificationObject, id);
}

}  // extern "C"
