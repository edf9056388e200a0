#include "tools/keld/host/terminal.h"

#include <cstdio>
#include <iostream>
#include <random>

#include "tools/keld/host/system.h"
#include "workbench/names.h"

namespace keld {

namespace {

bool colourful() {
    static const bool yes = outputIsTerminal() && [] {
        return environment("NO_COLOR").empty() && environment("TERM") != "dumb";
    }();
    return yes;
}

// Marks a colour; a digit follows. It is random, so that no name from outside can contain a colour,
// and its first byte never occurs in UTF-8.
const std::string& mark() {
    static const std::string made = [] {
        std::random_device source;
        char text[24];
        std::snprintf(text, sizeof text, "\xff%08x%08x", source(), source());
        return std::string(text);
    }();
    return made;
}

constexpr const char* kCodes[] = {"0", "2", "1", "31", "32", "33", "36"};

enum class Marks { Kept, Colours, Dropped };

// Make a text safe to show. All output goes through here.
std::string made(std::string_view text, bool keep_breaks, Marks marks) {
    std::string all;
    while (!text.empty()) {
        const std::size_t marked = mark().size() + 1;
        if (text[0] == '\xff' && text.starts_with(mark()) && text.size() >= marked) {
            if (marks == Marks::Kept)
                all.append(text.substr(0, marked));
            else if (marks == Marks::Colours)
                (all += "\x1b[") += std::string(kCodes[text[marked - 1] - '0']) + "m";
            text.remove_prefix(marked);
            continue;
        }
        const mervane::Character character = mervane::firstCharacter(text);
        if (mervane::isControl(character.number) && !(keep_breaks && text[0] == '\n'))
            mervane::appendEscape(all, text);
        else
            all.append(text.substr(0, character.length));
        text.remove_prefix(character.length);
    }
    return all;
}

}  // namespace

std::string shown(std::string_view text) {
    return made(text, false, Marks::Kept);
}

std::string painted(Colour colour, const std::string& text) {
    if (colour == Colour::Plain || text.empty() || !colourful())
        return text;
    return mark() + static_cast<char>('0' + static_cast<int>(colour)) + text + mark() + "0";
}

std::size_t characters(std::string_view text) {
    std::size_t count = 0;
    for (const char c : made(text, false, Marks::Dropped))
        count += mervane::continuesCharacter(c) ? 0 : 1;
    return count;
}

void writeText(const std::string& text) {
    std::cout << made(text, true, Marks::Colours);
}

void writeBytes(std::string_view bytes) {
    if (outputIsTerminal())
        std::cout << made(bytes, true, Marks::Dropped);
    else
        std::cout << bytes;
}

void tell(std::string_view text) {
    // Keep the order of both streams on a terminal.
    std::cout.flush();
    std::cerr << "keld: " + made(text, false, Marks::Dropped) + "\n";
}

void tellAgain(std::string_view text) {
    const std::string line = "keld: " + made(text, false, Marks::Dropped);
    if (errorIsTerminal())
        std::cerr << "\r" + line + "\x1b[K" << std::flush;
    else
        std::cerr << line + "\n" << std::flush;
}

void endTelling() {
    if (errorIsTerminal())
        std::cerr << "\n";
}

void passOn(const std::string& text) {
    std::cerr << made(text, true, Marks::Dropped) << std::flush;
}

bool writtenOut() {
    std::cout.flush();
    return static_cast<bool>(std::cout);
}

}  // namespace keld
