#pragma once

// How names are written for people, on command lines and in what is shown, and how they are read
// back. A part of a name (an item id, a revision id, the name of a dataset) is plain, or in double
// quotes with backslash escapes: \" \\ \n \r \t \xHH (a byte) \uHHHH (a character). What is written
// here never has a single quote, so all of it can be put between single quotes in a shell.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include "workbench/utf8.h"

namespace mervane {

// Characters that a terminal acts on or that change how others are shown: controls, marks of
// direction, breaks of lines and paragraphs.
inline bool isControl(std::int32_t number) {
    return number < 0x20 || (number >= 0x7F && number <= 0x9F) || number == 0x061C ||
           number == 0x200E || number == 0x200F || (number >= 0x2028 && number <= 0x202E) ||
           (number >= 0x2066 && number <= 0x2069) || number == 0xFEFF;
}

// Append the first character as an escape; its length in bytes.
inline std::size_t appendEscape(std::string& to, std::string_view text) {
    const Character character = firstCharacter(text);
    char buffer[12];
    if (character.number == '\n')
        to += "\\n";
    else if (character.number == '\r')
        to += "\\r";
    else if (character.number == '\t')
        to += "\\t";
    else {
        if (character.number > 0x7F)
            std::snprintf(buffer, sizeof buffer, "\\u%04x",
                          static_cast<unsigned>(character.number));
        else
            std::snprintf(buffer, sizeof buffer, "\\x%02x", static_cast<unsigned char>(text[0]));
        to += buffer;
    }
    return character.length;
}

// A text for people: controls and bytes that are no UTF-8 as escapes, the rest as it is.
inline std::string escaped(std::string_view text) {
    std::string all;
    while (!text.empty()) {
        const Character character = firstCharacter(text);
        if (isControl(character.number))
            appendEscape(all, text);
        else
            all.append(text.substr(0, character.length));
        text.remove_prefix(character.length);
    }
    return all;
}

// A part of a name as people write it: in quotes if it would be read otherwise without them.
inline std::string quotedName(std::string_view part) {
    bool plain = !part.empty() && part[0] != '#' && part[0] != '-';
    for (std::string_view rest = part; plain && !rest.empty();) {
        const Character character = firstCharacter(rest);
        plain = !isControl(character.number) &&
                std::string_view(" /:,\"'\\").find(rest[0]) == std::string_view::npos;
        rest.remove_prefix(character.length);
    }
    if (plain)
        return std::string(part);
    std::string all = "\"";
    while (!part.empty()) {
        std::size_t length = firstCharacter(part).length;
        if (part[0] == '"' || part[0] == '\\')
            (all += '\\') += part[0];
        else if (part[0] == '\'' || isControl(firstCharacter(part).number))
            length = appendEscape(all, part);
        else
            all.append(part.substr(0, length));
        part.remove_prefix(length);
    }
    return all + "\"";
}

// Take a quoted part off the front of a text; nothing, and the text unchanged, if none is there.
inline std::optional<std::string> takeQuoted(std::string_view& text) {
    if (!text.starts_with('"'))
        return std::nullopt;
    std::string_view rest = text.substr(1);
    std::string part;
    const auto take = [&] {
        const char c = rest.front();
        rest.remove_prefix(1);
        return c;
    };
    while (!rest.empty()) {
        const char c = take();
        if (c == '"') {
            text = rest;
            return part;
        }
        if (c != '\\') {
            part += c;
            continue;
        }
        if (rest.empty())
            return std::nullopt;
        const char kind = take();
        if (kind == '"' || kind == '\\' || kind == '\'') {
            part += kind;
        } else if (kind == 'n' || kind == 'r' || kind == 't') {
            part += kind == 'n' ? '\n' : kind == 'r' ? '\r' : '\t';
        } else if (kind == 'x' || kind == 'u') {
            std::uint32_t number = 0;
            for (int digits = kind == 'x' ? 2 : 4; digits > 0; --digits) {
                constexpr std::string_view kDigits = "0123456789abcdef0123456789ABCDEF";
                const auto digit = rest.empty() ? std::string_view::npos : kDigits.find(take());
                if (digit == std::string_view::npos)
                    return std::nullopt;
                number = number * 16 + static_cast<std::uint32_t>(digit % 16);
            }
            if (kind == 'x' || number < 0x80) {
                part += static_cast<char>(number);
            } else {
                if (number < 0x800) {
                    part += static_cast<char>(0xC0U | (number >> 6U));
                } else {
                    part += static_cast<char>(0xE0U | (number >> 12U));
                    part += static_cast<char>(0x80U | ((number >> 6U) & 0x3FU));
                }
                part += static_cast<char>(0x80U | (number & 0x3FU));
            }
        } else {
            return std::nullopt;
        }
    }
    return std::nullopt;
}

// A single part as people write it: what the quotes hold, or the text as it is.
inline std::string unquotedName(std::string_view text) {
    std::string_view rest = text;
    const std::optional<std::string> part = takeQuoted(rest);
    return part && rest.empty() ? *part : std::string(text);
}

}  // namespace mervane
