// SVCARG_: the arguments of a service call, pulled in the order in which they were sent.

#include "platform/mv_svcarg.h"

#include "workbench/modules/support.h"
#include "workbench/session/argument_stream.h"

using namespace mervane;

extern "C" {

int SVCARG_get_int_argument(int* value) {
    return call(
        "SVCARG_get_int_argument",
        [&] {
            need(value, "value");
            *value = argumentStream().next<int>();
        },
        value);
}

int SVCARG_get_string_argument(char** value) {
    return call(
        "SVCARG_get_string_argument",
        [&] {
            need(value, "value");
            *value = copyText(argumentStream().next<std::string>());
        },
        value);
}

int SVCARG_get_tag_argument(tag_t* value) {
    return call(
        "SVCARG_get_tag_argument",
        [&] {
            need(value, "value");
            *value = argumentStream().next<tag_t>();
        },
        value);
}

int SVCARG_get_tag_array_argument(int* count, tag_t** tags) {
    return call(
        "SVCARG_get_tag_array_argument",
        [&] {
            need(count, "count");
            need(tags, "tags");
            giveTags(argumentStream().next<std::vector<tag_t>>(), count, tags);
        },
        count, tags);
}

}  // extern "C"
