// DIR_: folders.

#include "platform/mv_dir.h"

#include "workbench/modules/support.h"

using namespace mervane;

extern "C" {

int DIR_ask_size(tag_t folder, int* count) {
    return call(
        "DIR_ask_size",
        [&] {
            need(count, "count");
            Session& session = currentSession();
            Object& object = session.object(folder, standardClass(session, "Folder"));
            int entries = 0;
            for (tag_t tag : session.references(object, "contents"))
                entries += session.tryLiving(tag) ? 1 : 0;
            *count = entries;
        },
        folder, count);
}

}  // extern "C"
