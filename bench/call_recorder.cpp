#include "bench/call_recorder.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/keld_basetool.h"
#include "platform/mv_acl.h"
#include "platform/mv_cko.h"
#include "platform/mv_dbo.h"
#include "platform/mv_ent.h"
#include "platform/mv_heap.h"
#include "platform/mv_line.h"
#include "platform/mv_obj.h"
#include "platform/mv_rel.h"
#include "platform/mv_rls.h"

namespace {

std::vector<std::function<int()>> calls;
std::vector<std::function<void()>> settings;
bool recording = false;
tag_t line_shift = 0;

template <typename F>
F real(const char* name) {
    void* address = dlsym(RTLD_NEXT, name);
    if (!address) {
        fprintf(stderr, "%s isn't there\n", name);
        exit(1);
    }
    return reinterpret_cast<F>(address);
}

void record(std::function<int()> play) {
    calls.push_back(std::move(play));
}

std::vector<tag_t> tagsOf(int count, const tag_t* tags) {
    return {tags, tags + count};
}

#define REAL(name) static const auto next = real<decltype(&name)>(#name)

}  // namespace

extern "C" {

KELD_EXPORT int ENT_ask_object_type(tag_t object, char* type) {
    REAL(ENT_ask_object_type);
    if (recording)
        record([=] {
            char out[129] = "";
            return next(object, out);
        });
    return next(object, type);
}

KELD_EXPORT int REL_find_relation_type(const char* name, tag_t* type) {
    REAL(REL_find_relation_type);
    if (recording)
        record([=, text = std::string(name)] {
            tag_t out = 0;
            return next(text.c_str(), &out);
        });
    return next(name, type);
}

KELD_EXPORT int REL_list_secondary_objects(tag_t primary, tag_t type, int* count,
                                           rel_entry_s** entries) {
    REAL(REL_list_secondary_objects);
    if (recording)
        record([=] {
            int n = 0;
            rel_entry_s* out = nullptr;
            const int status = next(primary, type, &n, &out);
            HEAP_free(out);
            return status;
        });
    return next(primary, type, count, entries);
}

KELD_EXPORT int LINE_look_up_attribute(const char* name, int* attribute) {
    REAL(LINE_look_up_attribute);
    if (recording)
        record([=, text = std::string(name)] {
            int out = 0;
            return next(text.c_str(), &out);
        });
    return next(name, attribute);
}

KELD_EXPORT int LINE_ask_attribute_tag(tag_t line, int attribute, tag_t* value) {
    REAL(LINE_ask_attribute_tag);
    if (recording)
        record([=] {
            tag_t out = 0;
            return next(line + line_shift, attribute, &out);
        });
    return next(line, attribute, value);
}

KELD_EXPORT int LINE_ask_child_lines(tag_t line, int* count, tag_t** children) {
    REAL(LINE_ask_child_lines);
    if (recording)
        record([=] {
            int n = 0;
            tag_t* out = nullptr;
            const int status = next(line + line_shift, &n, &out);
            HEAP_free(out);
            return status;
        });
    return next(line, count, children);
}

KELD_EXPORT int CKO_is_checked_out(tag_t object, logical* flag) {
    REAL(CKO_is_checked_out);
    if (recording)
        record([=] {
            logical out = false;
            return next(object, &out);
        });
    return next(object, flag);
}

KELD_EXPORT int CKO_assert_object_modifiable(tag_t object) {
    REAL(CKO_assert_object_modifiable);
    if (recording)
        record([=] { return next(object); });
    return next(object);
}

KELD_EXPORT int ACL_check_privilege(tag_t object, const char* privilege, logical* allowed) {
    REAL(ACL_check_privilege);
    if (recording)
        record([=, text = std::string(privilege)] {
            logical out = false;
            return next(object, text.c_str(), &out);
        });
    return next(object, privilege, allowed);
}

KELD_EXPORT int ACL__set_application_bypass(logical on) {
    REAL(ACL__set_application_bypass);
    if (recording)
        record([=] { return next(on); });
    return next(on);
}

KELD_EXPORT int OBJ_ask_if_modifiable(tag_t object, logical* modifiable) {
    REAL(OBJ_ask_if_modifiable);
    if (recording)
        record([=] {
            logical out = false;
            return next(object, &out);
        });
    return next(object, modifiable);
}

KELD_EXPORT int RLS_create_release_status(const char* name, tag_t* status) {
    REAL(RLS_create_release_status);
    const int result = next(name, status);
    if (recording)
        record([=, text = std::string(name), expected = *status] {
            tag_t out = 0;
            const int again = next(text.c_str(), &out);
            if (out != expected) {
                fprintf(stderr, "another handle than recorded\n");
                exit(1);
            }
            return again;
        });
    return result;
}

KELD_EXPORT int DBO_class_of_instance(tag_t instance, tag_t* classId) {
    REAL(DBO_class_of_instance);
    if (recording)
        record([=] {
            tag_t out = 0;
            return next(instance, &out);
        });
    return next(instance, classId);
}

KELD_EXPORT int DBO_name_of_class(tag_t classId, char** name) {
    REAL(DBO_name_of_class);
    if (recording)
        record([=] {
            char* out = nullptr;
            const int status = next(classId, &out);
            HEAP_free(out);
            return status;
        });
    return next(classId, name);
}

KELD_EXPORT int DBO_attr_id_of_attr(const char* attribute, const char* className, tag_t* attr) {
    REAL(DBO_attr_id_of_attr);
    if (recording)
        record([=, a = std::string(attribute), c = std::string(className)] {
            tag_t out = 0;
            return next(a.c_str(), c.c_str(), &out);
        });
    return next(attribute, className, attr);
}

KELD_EXPORT int DBO_length_of_attr(tag_t instance, tag_t attr, int* length) {
    REAL(DBO_length_of_attr);
    if (recording)
        record([=] {
            int out = 0;
            return next(instance, attr, &out);
        });
    return next(instance, attr, length);
}

KELD_EXPORT int DBO_ask_attr_tags(tag_t instance, tag_t attr, int first, int count, tag_t** values,
                                  logical** isNull, logical** isEmpty) {
    REAL(DBO_ask_attr_tags);
    if (recording)
        record([=] {
            tag_t* out = nullptr;
            logical *null = nullptr, *empty = nullptr;
            const int status = next(instance, attr, first, count, &out, &null, &empty);
            HEAP_free(out);
            HEAP_free(null);
            HEAP_free(empty);
            return status;
        });
    return next(instance, attr, first, count, values, isNull, isEmpty);
}

KELD_EXPORT int DBO_ask_attr_string(tag_t instance, tag_t attr, char** value, logical* isNull,
                                    logical* isValid) {
    REAL(DBO_ask_attr_string);
    if (recording)
        record([=] {
            char* out = nullptr;
            logical null = false, valid = false;
            const int status = next(instance, attr, &out, &null, &valid);
            HEAP_free(out);
            return status;
        });
    return next(instance, attr, value, isNull, isValid);
}

KELD_EXPORT int DBO_load_instances_possible(int count, const tag_t* instances, int* loaded,
                                            tag_t** loadedInstances) {
    REAL(DBO_load_instances_possible);
    if (recording)
        record([=, tags = tagsOf(count, instances)] {
            int n = 0;
            tag_t* out = nullptr;
            const int status = next(count, tags.data(), &n, &out);
            HEAP_free(out);
            return status;
        });
    return next(count, instances, loaded, loadedInstances);
}

KELD_EXPORT int DBO_refresh_instances_any_class(int count, const tag_t* instances, int lockMode) {
    REAL(DBO_refresh_instances_any_class);
    if (recording)
        record([=, tags = tagsOf(count, instances)] { return next(count, tags.data(), lockMode); });
    return next(count, instances, lockMode);
}

KELD_EXPORT int DBO_set_attr_string(int count, const tag_t* instances, tag_t attr,
                                    const char* value) {
    REAL(DBO_set_attr_string);
    if (recording)
        record([=, tags = tagsOf(count, instances), text = std::string(value)] {
            return next(count, tags.data(), attr, text.c_str());
        });
    return next(count, instances, attr, value);
}

KELD_EXPORT int DBO_set_attr_date(int count, const tag_t* instances, tag_t attr, date_s value) {
    REAL(DBO_set_attr_date);
    if (recording)
        record(
            [=, tags = tagsOf(count, instances)] { return next(count, tags.data(), attr, value); });
    return next(count, instances, attr, value);
}

KELD_EXPORT int DBO_set_attr_null(int count, const tag_t* instances, tag_t attr) {
    REAL(DBO_set_attr_null);
    if (recording)
        record([=, tags = tagsOf(count, instances)] { return next(count, tags.data(), attr); });
    return next(count, instances, attr);
}

KELD_EXPORT int DBO_append_attr_tags(int count, const tag_t* instances, tag_t attr, int n,
                                     const tag_t* newTags) {
    REAL(DBO_append_attr_tags);
    if (recording)
        record([=, tags = tagsOf(count, instances), more = tagsOf(n, newTags)] {
            return next(count, tags.data(), attr, n, more.data());
        });
    return next(count, instances, attr, n, newTags);
}

KELD_EXPORT int DBO_remove_from_attr(int count, const tag_t* instances, tag_t attr, int first,
                                     int n) {
    REAL(DBO_remove_from_attr);
    if (recording)
        record([=, tags = tagsOf(count, instances)] {
            return next(count, tags.data(), attr, first, n);
        });
    return next(count, instances, attr, first, n);
}

KELD_EXPORT int DBO_save_instances(int count, const tag_t* instances, logical flag) {
    REAL(DBO_save_instances);
    if (recording)
        record([=, tags = tagsOf(count, instances)] { return next(count, tags.data(), flag); });
    return next(count, instances, flag);
}

KELD_EXPORT int DBO_delete_instances(int count, const tag_t* instances) {
    REAL(DBO_delete_instances);
    if (recording)
        record([=, tags = tagsOf(count, instances)] { return next(count, tags.data()); });
    return next(count, instances);
}

KELD_EXPORT int DBO_referencers_of_instance(tag_t instance, int levels, int mode, int* count,
                                            tag_t** instances, int** instanceLevels,
                                            int** instanceWhereFound, int* classCount,
                                            tag_t** classes, int** classLevels,
                                            int** classWhereFound) {
    REAL(DBO_referencers_of_instance);
    if (recording)
        record([=] {
            int n = 0, m = 0;
            tag_t *a = nullptr, *b = nullptr;
            int *c = nullptr, *d = nullptr, *e = nullptr, *f = nullptr;
            const int status = next(instance, levels, mode, &n, &a, &c, &d, &m, &b, &e, &f);
            for (void* block : std::initializer_list<void*>{a, b, c, d, e, f})
                HEAP_free(block);
            return status;
        });
    return next(instance, levels, mode, count, instances, instanceLevels, instanceWhereFound,
                classCount, classes, classLevels, classWhereFound);
}

KELD_EXPORT void KELD_GetProfileString(const char* section, const char* key, char* out,
                                       const char* defaultValue, const char* file) {
    REAL(KELD_GetProfileString);
    if (recording)
        settings.push_back([=, a = std::string(section), b = std::string(key),
                            c = std::string(defaultValue), d = std::string(file)] {
            char value[1025] = "";
            next(a.c_str(), b.c_str(), value, c.c_str(), d.c_str());
        });
    next(section, key, out, defaultValue, file);
}

KELD_EXPORT int KELD_GetProfileInt(const char* section, const char* key, int defaultValue,
                                   const char* file) {
    REAL(KELD_GetProfileInt);
    if (recording)
        settings.push_back(
            [=, a = std::string(section), b = std::string(key), d = std::string(file)] {
                (void)next(a.c_str(), b.c_str(), defaultValue, d.c_str());
            });
    return next(section, key, defaultValue, file);
}

}  // extern "C"

namespace call_recorder {

void start() {
    calls.clear();
    settings.clear();
    recording = true;
}

void stop() {
    recording = false;
}

bool isRecording() {
    return recording;
}

void add(std::function<int()> play) {
    record(std::move(play));
}

std::size_t count() {
    return calls.size();
}

void play(tag_t shift) {
    line_shift = shift;
    for (const auto& call : calls)
        call();
}

std::size_t settingCount() {
    return settings.size();
}

void readSettings() {
    for (const auto& setting : settings)
        setting();
}

std::map<std::string, int> countsOf(const std::vector<mervane::JournalEntry>& journal) {
    std::map<std::string, int> counts;
    for (const mervane::JournalEntry& entry : journal)
        if (entry.operation != "HEAP_free")
            ++counts[entry.operation];
    return counts;
}

}  // namespace call_recorder
