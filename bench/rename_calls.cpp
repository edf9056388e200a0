// The platform calls that a rename makes beside those of call_recorder.cpp, recorded in the same
// way.

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/call_recorder.h"
#include "platform/mv_art.h"
#include "platform/mv_dst.h"
#include "platform/mv_ent.h"
#include "platform/mv_err.h"
#include "platform/mv_fil.h"
#include "platform/mv_heap.h"
#include "platform/mv_mvtype.h"
#include "platform/mv_obj.h"
#include "platform/mv_supplement.h"

namespace {

template <typename F>
F real(const char* name) {
    void* address = dlsym(RTLD_NEXT, name);
    if (!address) {
        fprintf(stderr, "%s isn't there\n", name);
        exit(1);
    }
    return reinterpret_cast<F>(address);
}

// Calls of one shape each, made and recorded.
int onObject(int (*next)(tag_t), tag_t object) {
    if (call_recorder::isRecording())
        call_recorder::add([=] { return next(object); });
    return next(object);
}

int withText(int (*next)(tag_t, const char*), tag_t object, const char* given) {
    if (call_recorder::isRecording())
        call_recorder::add([=, text = std::string(given)] { return next(object, text.c_str()); });
    return next(object, given);
}

int intoBuffer(int (*next)(tag_t, char*), tag_t object, char* buffer) {
    if (call_recorder::isRecording())
        call_recorder::add([=] {
            char out[241] = "";
            return next(object, out);
        });
    return next(object, buffer);
}

int intoText(int (*next)(tag_t, char**), tag_t object, char** text) {
    if (call_recorder::isRecording())
        call_recorder::add([=] {
            char* out = nullptr;
            const int status = next(object, &out);
            HEAP_free(out);
            return status;
        });
    return next(object, text);
}

int intoList(int (*next)(tag_t, int*, tag_t**), tag_t object, int* count, tag_t** list) {
    if (call_recorder::isRecording())
        call_recorder::add([=] {
            int n = 0;
            tag_t* out = nullptr;
            const int status = next(object, &n, &out);
            HEAP_free(out);
            return status;
        });
    return next(object, count, list);
}

template <typename T>
int intoValue(int (*next)(tag_t, T*), tag_t object, T* value) {
    if (call_recorder::isRecording())
        call_recorder::add([=] {
            T out{};
            return next(object, &out);
        });
    return next(object, value);
}

}  // namespace

#define NEXT(name) static const auto next = real<decltype(&name)>(#name)

extern "C" {

KELD_EXPORT int OBJ_refresh(tag_t object, logical lock) {
    NEXT(OBJ_refresh);
    if (call_recorder::isRecording())
        call_recorder::add([=] { return next(object, lock); });
    return next(object, lock);
}

KELD_EXPORT int OBJ_save(tag_t object) {
    NEXT(OBJ_save);
    return onObject(next, object);
}

KELD_EXPORT int OBJ_lock(tag_t object) {
    NEXT(OBJ_lock);
    return onObject(next, object);
}

KELD_EXPORT int DST_save_myself(tag_t dataset) {
    NEXT(DST_save_myself);
    return onObject(next, dataset);
}

KELD_EXPORT int ART_ask_id(tag_t item, char* id) {
    NEXT(ART_ask_id);
    return intoBuffer(next, item, id);
}

KELD_EXPORT int ART_ask_rev_id(tag_t revision, char* id) {
    NEXT(ART_ask_rev_id);
    return intoBuffer(next, revision, id);
}

KELD_EXPORT int ENT_ask_name(tag_t object, char* name) {
    NEXT(ENT_ask_name);
    return intoBuffer(next, object, name);
}

KELD_EXPORT int ENT_ask_description(tag_t object, char* description) {
    NEXT(ENT_ask_description);
    return intoBuffer(next, object, description);
}

KELD_EXPORT int MVTYPE_ask_name(tag_t type, char* name) {
    NEXT(MVTYPE_ask_name);
    return intoBuffer(next, type, name);
}

KELD_EXPORT int FIL_ask_original_file_name(tag_t file, char* name) {
    NEXT(FIL_ask_original_file_name);
    return intoBuffer(next, file, name);
}

KELD_EXPORT int ENT_describe(tag_t object, ItemDescription* description) {
    NEXT(ENT_describe);
    return intoValue(next, object, description);
}

KELD_EXPORT int DST_ask_dataset_prev_rev(tag_t dataset, tag_t* previous) {
    NEXT(DST_ask_dataset_prev_rev);
    return intoValue(next, dataset, previous);
}

KELD_EXPORT int DST_ask_dataset_ref_count(tag_t dataset, int* count) {
    NEXT(DST_ask_dataset_ref_count);
    return intoValue(next, dataset, count);
}

KELD_EXPORT int ENT_ask_id_string(tag_t object, char** text) {
    NEXT(ENT_ask_id_string);
    return intoText(next, object, text);
}

KELD_EXPORT int ENT_ask_object_id_string(tag_t object, char** text) {
    NEXT(ENT_ask_object_id_string);
    return intoText(next, object, text);
}

KELD_EXPORT int ART_list_all_revs(tag_t item, int* count, tag_t** revisions) {
    NEXT(ART_list_all_revs);
    return intoList(next, item, count, revisions);
}

KELD_EXPORT int ART_list_bom_views(tag_t item, int* count, tag_t** views) {
    NEXT(ART_list_bom_views);
    return intoList(next, item, count, views);
}

KELD_EXPORT int ART_rev_list_bom_view_revs(tag_t revision, int* count, tag_t** bvrs) {
    NEXT(ART_rev_list_bom_view_revs);
    return intoList(next, revision, count, bvrs);
}

KELD_EXPORT int ENT_set_name(tag_t object, const char* name) {
    NEXT(ENT_set_name);
    return withText(next, object, name);
}

KELD_EXPORT int FIL_set_original_file_name(tag_t file, const char* name) {
    NEXT(FIL_set_original_file_name);
    return withText(next, file, name);
}

KELD_EXPORT int DST_find_dataset_named_ref(tag_t dataset, int index, char* refName, int* refType,
                                           tag_t* reference) {
    NEXT(DST_find_dataset_named_ref);
    if (call_recorder::isRecording())
        call_recorder::add([=] {
            char name[33] = "";
            int type = 0;
            tag_t out = NULLTAG;
            return next(dataset, index, name, &type, &out);
        });
    return next(dataset, index, refName, refType, reference);
}

KELD_EXPORT int ART_find_item(const char* itemId, tag_t* item) {
    NEXT(ART_find_item);
    if (call_recorder::isRecording())
        call_recorder::add([=, id = std::string(itemId)] {
            tag_t out = NULLTAG;
            return next(id.c_str(), &out);
        });
    return next(itemId, item);
}

KELD_EXPORT int MVTYPE_find_type(const char* name, const char* parentClass, tag_t* type) {
    NEXT(MVTYPE_find_type);
    if (call_recorder::isRecording())
        call_recorder::add([=, text = std::string(name), parent = std::string(parentClass)] {
            tag_t out = NULLTAG;
            return next(text.c_str(), parent.c_str(), &out);
        });
    return next(name, parentClass, type);
}

KELD_EXPORT int ERR_set_protect_mark(int* mark) {
    NEXT(ERR_set_protect_mark);
    if (call_recorder::isRecording())
        call_recorder::add([] {
            int out = 0;
            return next(&out);
        });
    return next(mark);
}

KELD_EXPORT int ERR_clear_protect_mark(int mark) {
    NEXT(ERR_clear_protect_mark);
    if (call_recorder::isRecording())
        call_recorder::add([=] { return next(mark); });
    return next(mark);
}

KELD_EXPORT int ERR_clear_errors(void) {
    NEXT(ERR_clear_errors);
    if (call_recorder::isRecording())
        call_recorder::add([] { return next(); });
    return next();
}

KELD_EXPORT int ERR_ask_error_text(int number, char** text) {
    NEXT(ERR_ask_error_text);
    if (call_recorder::isRecording())
        call_recorder::add([=] {
            char* out = nullptr;
            const int status = next(number, &out);
            HEAP_free(out);
            return status;
        });
    return next(number, text);
}

}  // extern "C"
