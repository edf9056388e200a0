// ERR_: the error stack.

#include "platform/mv_err.h"

#include "platform/mv_supplement.h"
#include "workbench/modules/support.h"
#include "workbench/session/error_stack.h"

using namespace mervane;

extern "C" {

int ERR_store_error(int severity, int number) {
    return call(
        "ERR_store_error", [&] { errorStack().push(severity, number, ""); }, severity, number);
}

int ERR_store_error_s1(int severity, int number, const char* text) {
    return call(
        "ERR_store_error_s1", [&] { errorStack().push(severity, number, text ? text : ""); },
        severity, number, text);
}

int ERR_ask_error_text(int number, char** text) {
    return call(
        "ERR_ask_error_text",
        [&] {
            need(text, "text");
            const auto& entries = errorStack().entries();
            for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry)
                if (entry->status == number && !entry->text.empty()) {
                    *text = copyText(entry->text);
                    return;
                }
            *text = messageText(number).empty() ? nullptr : copyText(filledText(number, ""));
        },
        number, text);
}

int ERR_clear_errors(void) {
    return call("ERR_clear_errors", [&] { errorStack().clear(); });
}

int ERR_set_protect_mark(int* mark) {
    return call(
        "ERR_set_protect_mark",
        [&] {
            need(mark, "mark");
            *mark = errorStack().setMark();
        },
        mark);
}

int ERR_clear_protect_mark(int mark) {
    return call(
        "ERR_clear_protect_mark", [&] { errorStack().clearMark(mark); }, mark);
}

int ERR_ask_stack(int* count, int** numbers, char*** texts) {
    return call(
        "ERR_ask_stack",
        [&] {
            need(count, "count");
            need(numbers, "numbers");
            need(texts, "texts");
            std::vector<int> statuses;
            std::vector<std::string> all;
            for (const StackEntry& entry : errorStack().entries()) {
                statuses.push_back(entry.status);
                all.push_back(entry.text);
            }
            // The numbers go back if there is no memory for the texts.
            Block block(copyList(statuses));
            giveTexts(all, count, texts);
            *numbers = block.give();
        },
        count, numbers, texts);
}

}  // extern "C"
