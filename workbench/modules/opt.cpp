// OPT_: preferences.

#include "platform/mv_opt.h"

#include <charconv>

#include "workbench/modules/support.h"
#include "workbench/store/store.h"

using namespace mervane;

namespace {

std::string valueAt(const char* name, int index) {
    need(name, "name");
    // The store is asked each time, so that other sessions' changes are seen.
    const auto values = currentSession().store().preference(name);
    if (!values)
        throw Failure(kNoPreference, "there is no preference \"" + std::string(name) + "\"");
    if (index < 0 || static_cast<std::size_t>(index) >= values->size())
        throw Failure(kBadIndex, "the preference \"" + std::string(name) + "\" has " +
                                     std::to_string(values->size()) + " values, index " +
                                     std::to_string(index) + " was asked for");
    return (*values)[static_cast<std::size_t>(index)];
}

}  // namespace

extern "C" {

int OPT_initialize(void) {
    return call("OPT_initialize", [] { currentSession(); });
}

int OPT_ask_char_value(const char* name, int index, char** value) {
    return call(
        "OPT_ask_char_value",
        [&] {
            need(value, "value");
            *value = copyText(valueAt(name, index));
        },
        name, index, value);
}

int OPT_ask_int_value(const char* name, int index, int* value) {
    return call(
        "OPT_ask_int_value",
        [&] {
            need(value, "value");
            const std::string text = valueAt(name, index);
            int number = 0;
            const auto [end, error] =
                std::from_chars(text.data(), text.data() + text.size(), number);
            if (error != std::errc{} || end != text.data() + text.size())
                throw Failure(kBadValue, "the preference \"" + std::string(name) + "\" is \"" +
                                             text + "\", which is no integer");
            *value = number;
        },
        name, index, value);
}

int OPT_ask_char_values(const char* name, int* count, char*** values) {
    return call(
        "OPT_ask_char_values",
        [&] {
            need(name, "name");
            need(count, "count");
            need(values, "values");
            const auto found = currentSession().store().preference(name);
            giveTexts(found.value_or(std::vector<std::string>{}), count, values);
        },
        name, count, values);
}

}  // extern "C"
