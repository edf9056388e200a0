#include "tools/keld/host/bom_lines.h"

#include <algorithm>
#include <set>

#include "platform/mv_line.h"
#include "tools/keld/host/nearest.h"
#include "tools/keld/host/platform_text.h"

namespace keld {

namespace {

std::string titleOf(const Context& context, tag_t line) {
    return context.title(lineTag(line, "bl_revision"));
}

// Find the child line with this number. Lines that share a number may show one revision; the first
// is taken then.
tag_t childOfNumber(const Context& context, tag_t line, const std::string& number,
                    const std::string& path) {
    std::vector<std::string> numbers, labels;
    tag_t found = NULLTAG;
    for (const tag_t child : childLines(line)) {
        const std::string own = display(child, "bl_sequence_no");
        if (std::find(numbers.begin(), numbers.end(), own) == numbers.end() && !own.empty())
            numbers.push_back(own);
        if (own != number)
            continue;
        if (found == NULLTAG)
            found = child;
        const std::string label = titleOf(context, child);
        if (std::find(labels.begin(), labels.end(), label) == labels.end())
            labels.push_back(label);
    }
    if (found == NULLTAG)
        throw CommandError("no line has the number '" + number + "' of " + path + " below " +
                               titleOf(context, line),
                           nearest(number, numbers));
    if (labels.size() > 1)
        throw CommandError("the number '" + number + "' of " + path + " is on lines of " +
                           joined(labels, ", ") + "; name the line by its item");
    return found;
}

tag_t lineAtPath(const Context& context, tag_t top, const std::string& path) {
    tag_t line = top;
    for (std::size_t start = 1; start < path.size();) {
        const auto end = std::min(path.find('/', start), path.size());
        if (end > start)
            line = childOfNumber(context, line, path.substr(start, end - start), path);
        start = end + 1;
    }
    return line;
}

// Give the first line of each revision, the top line first, each line before its children.
std::vector<tag_t> firstLines(tag_t top) {
    std::vector<tag_t> lines, waiting{top};
    std::set<tag_t> seen;
    while (!waiting.empty()) {
        const tag_t line = waiting.back();
        waiting.pop_back();
        if (!seen.insert(lineTag(line, "bl_revision")).second)
            continue;
        lines.push_back(line);
        const std::vector<tag_t> children = childLines(line);
        waiting.insert(waiting.end(), children.rbegin(), children.rend());
    }
    return lines;
}

}  // namespace

bool isBomLine(tag_t tag) {
    constexpr tag_t kFirstLine = 0xE0000000u;
    return tag >= kFirstLine;
}

std::vector<tag_t> childLines(tag_t line) {
    return listOf<tag_t>(
        [&](int* count, tag_t** list) { return LINE_ask_child_lines(line, count, list); });
}

tag_t lineTag(tag_t line, const std::string& attribute) {
    int id = 0;
    tag_t value = NULLTAG;
    if (LINE_look_up_attribute(attribute.c_str(), &id) == 0)
        LINE_ask_attribute_tag(line, id, &value);
    return value;
}

std::vector<tag_t> namedLines(Context& context, tag_t top, const std::vector<std::string>& names) {
    std::vector<tag_t> chosen, all;
    const auto choose = [&](tag_t line) {
        if (std::find(chosen.begin(), chosen.end(), line) == chosen.end())
            chosen.push_back(line);
    };
    for (const std::string& name : names) {
        if (name.starts_with("/")) {
            choose(lineAtPath(context, top, name));
            continue;
        }
        const tag_t object = context.object(name);
        if (all.empty())
            all = firstLines(top);
        bool found = false;
        for (const tag_t line : all) {
            if (object != lineTag(line, "bl_revision") && object != lineTag(line, "bl_item"))
                continue;
            choose(line);
            found = true;
        }
        if (!found)
            throw CommandError("no line of " + titleOf(context, top) + " shows " +
                               context.title(object));
    }
    return chosen;
}

}  // namespace keld
