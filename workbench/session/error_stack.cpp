#include "workbench/session/error_stack.h"

#include "workbench/model/model.h"
#include "workbench/model/status.h"

namespace mervane {

// A client that never looks at the stack must not make the process grow.
static constexpr std::size_t kMostEntries = 1000;

std::string filledText(int status, const std::string& parameter) {
    const std::string_view text = messageText(status);
    if (text.empty())
        return parameter.empty() ? "Status " + std::to_string(status) : parameter;
    const std::size_t place = text.find("%1$");
    if (place == std::string_view::npos)
        return std::string(text);
    if (parameter.empty())
        return std::string(text.substr(0, text.rfind(':', place)));
    return std::string(text.substr(0, place)) + parameter + std::string(text.substr(place + 3));
}

void ErrorStack::push(int severity, int status, const std::string& parameter) {
    pushText(severity, status, filledText(status, parameter));
}

void ErrorStack::pushText(int severity, int status, std::string text) {
    if (entries_.size() >= kMostEntries) {
        entries_.erase(entries_.begin());
        // A mark counts the entries before it, and the oldest of them has gone.
        for (Mark& mark : marks_)
            if (mark.depth > 0)
                --mark.depth;
    }
    entries_.push_back({severity, status, std::move(text)});
}

int ErrorStack::setMark() {
    marks_.push_back({++last_mark_, entries_.size()});
    return last_mark_;
}

void ErrorStack::clearMark(int mark) {
    for (std::size_t i = marks_.size(); i-- > 0;) {
        if (marks_[i].number != mark)
            continue;
        if (entries_.size() > marks_[i].depth)
            entries_.resize(marks_[i].depth);
        marks_.resize(i);  // and the marks set inside it
        return;
    }
    throw Failure(kBadMark, "protect mark " + std::to_string(mark) + " isn't set");
}

ErrorStack& errorStack() {
    static ErrorStack stack;
    return stack;
}

}  // namespace mervane
