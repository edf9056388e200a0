// STR_: stored structures.

#include "platform/mv_str.h"

#include <memory>

#include "workbench/session/heap.h"
#include "workbench/session/interface.h"
#include "workbench/session/structure.h"

using namespace mervane;

extern "C" {

int STR_list_occurrences_of_bvr(tag_t bvr, int* count, tag_t** occurrences) {
    return call(
        "STR_list_occurrences_of_bvr",
        [&] {
            need(count, "count");
            need(occurrences, "occurrences");
            Session& session = currentSession();
            session.object(bvr, *session.model().findClass("STRBOMViewRevision"));
            const auto list = occurrencesOf(session, bvr);
            *occurrences = copyTags(list);
            *count = static_cast<int>(list.size());
        },
        bvr, count, occurrences);
}

int STR_where_used_all(tag_t revision, int levels, int* count, int** levelList, tag_t** parents) {
    return call(
        "STR_where_used_all",
        [&] {
            need(count, "count");
            need(levelList, "levelList");
            need(parents, "parents");
            const auto uses = whereUsed(currentSession(), revision, levels);
            std::vector<tag_t> tags;
            for (const Use& use : uses)
                tags.push_back(use.parent);
            // The block goes back if there is no memory for the other one.
            std::unique_ptr<tag_t, void (*)(void*)> tag_block(copyTags(tags), &heap::release);
            int* level_block = nullptr;
            if (!uses.empty()) {
                level_block = static_cast<int*>(allocate(uses.size() * sizeof(int)));
                for (std::size_t i = 0; i < uses.size(); ++i)
                    level_block[i] = uses[i].level;
            }
            *levelList = level_block;
            *parents = tag_block.release();
            *count = static_cast<int>(uses.size());
        },
        revision, levels, count, levelList, parents);
}

}  // extern "C"
