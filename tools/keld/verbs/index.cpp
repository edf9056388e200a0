// index: the text index that find uses.

#include <CLI/CLI.hpp>
#include <memory>

#include "tools/keld/host/context.h"
#include "tools/keld/host/progress.h"

namespace keld {

namespace {

int showIndex(Context& context) {
    context.open();
    const auto state = context.workbench().textIndex();
    context.document["text"] =
        state ? Json{{"texts", state->texts}, {"waiting", state->waiting}, {"bytes", state->bytes}}
              : Json();
    if (!state)
        context.print("there is no index of texts (keld index text on makes one)\n");
    else
        context.print("the index of texts has " +
                      counted(static_cast<std::size_t>(state->texts), "text") + " in " +
                      counted(static_cast<std::size_t>(state->bytes), "byte") +
                      (state->waiting == 0 ? "\n"
                                           : "; changed since it was brought up to date: " +
                                                 std::to_string(state->waiting) + "\n"));
    return kExitDone;
}

int changeIndex(Context& context, const std::string& wanted) {
    if (wanted != "on" && wanted != "off")
        throw CommandError("the index of texts is on or off, not '" + wanted + "'", {}, kExitUsage);
    context.open();
    {
        const Progress progress("indexing the texts");
        context.workbench().setTextIndex(wanted == "on");
    }
    return showIndex(context);
}

}  // namespace

void addIndexVerbs(Verbs& verbs) {
    CLI::App* group = verbs.addGroup("index", "Show, make and drop the index of texts",
                                     "  keld index            # is it there, how large is it\n"
                                     "  keld index text on    # find '*shaft*' gets quick\n",
                                     showIndex);
    auto state = std::make_shared<std::string>();
    verbs
        .add(group, "text", "Make the index by which find looks within ids and names, or drop it",
             "  keld index text on\n"
             "  keld index text off\n",
             [state](Context& context) { return changeIndex(context, *state); })
        ->add_option("STATE", *state, "on (made anew if it is there) or off")
        ->required();
}

}  // namespace keld
