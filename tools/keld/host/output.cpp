#include "tools/keld/host/output.h"

#include <algorithm>

#include "tools/keld/host/system.h"

namespace keld {

std::string shortened(const std::string& text, std::size_t most) {
    if (characters(text) <= most)
        return text;
    std::size_t at = 0;
    for (std::size_t left = most; at < text.size(); ++at)
        if ((static_cast<unsigned char>(text[at]) & 0xC0) != 0x80 && left-- == 0)
            break;
    return text.substr(0, at) + "…";
}

std::size_t characters(const std::string& text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string Table::text(const std::string& indent) const {
    std::vector<std::size_t> widths;
    const auto widen = [&](const std::vector<std::string>& row) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], characters(row[i]));
    };
    widen(header_);
    for (const auto& row : rows_)
        widen(row);
    const auto line = [&](const std::vector<std::string>& row) {
        std::string text = indent;
        for (std::size_t i = 0; i < row.size(); ++i) {
            text += row[i];
            if (i + 1 < row.size())
                text.append(widths[i] - characters(row[i]) + 2, ' ');
        }
        while (!text.empty() && text.back() == ' ')
            text.pop_back();
        return text;
    };
    std::string all = header_.empty() ? "" : painted(Colour::Bold, line(header_)) + "\n";
    for (const auto& row : rows_)
        all += line(row) + "\n";
    return all;
}

bool colourful() {
    static const bool yes = outputIsTerminal() && [] {
        const char* off = std::getenv("NO_COLOR");
        const char* terminal = std::getenv("TERM");
        return (!off || !*off) && !(terminal && std::string_view(terminal) == "dumb");
    }();
    return yes;
}

std::string painted(Colour colour, const std::string& text) {
    if (colour == Colour::Plain || text.empty() || !colourful())
        return text;
    const char* code = "0";
    switch (colour) {
        case Colour::Plain:
            break;
        case Colour::Dim:
            code = "2";
            break;
        case Colour::Bold:
            code = "1";
            break;
        case Colour::Red:
            code = "31";
            break;
        case Colour::Green:
            code = "32";
            break;
        case Colour::Yellow:
            code = "33";
            break;
        case Colour::Cyan:
            code = "36";
            break;
    }
    return "\x1b[" + std::string(code) + "m" + text + "\x1b[0m";
}

std::string counted(std::size_t number, const std::string& noun) {
    return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

std::string dumped(const Json& document) {
    return document.dump(2, ' ', false, Json::error_handler_t::replace);
}

}  // namespace keld
