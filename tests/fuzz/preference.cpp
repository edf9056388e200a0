// Settings from a preference: each value is one line. The first part of the input is the section's
// name, the others the values, a part of one byte 01 a null value.

#include <map>
#include <string>
#include <vector>

#include "platform/keld_basetool.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/plain.h"
#include "tests/fuzz/quiet.h"

namespace {

std::map<std::string, std::string> plainRead(const std::vector<char*>& values) {
    std::map<std::string, std::string> settings;
    for (const char* value : values) {
        const std::string line(fuzz::trim(value != nullptr ? value : ""));
        const std::size_t sign = line.find('=');
        if (line.empty() || line[0] == ';' || line[0] == '#' || sign == std::string::npos)
            continue;
        const std::string key = fuzz::lower(fuzz::trim(line.substr(0, sign)));
        if (!key.empty())
            settings.emplace(key, fuzz::trim(line.substr(sign + 1)));
    }
    return settings;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const bool dropped = input.byte() % 2 == 1;
    const fuzz::Text section(input.upTo('\0'));
    std::vector<fuzz::Text> texts;
    std::vector<char*> values;
    while (!input.isEmpty())
        texts.emplace_back(input.upTo('\0'));
    for (fuzz::Text& text : texts)
        values.push_back(text.asRead() == "\x01" ? nullptr : text.data());
    const fuzz::Text origin(texts.empty() ? "" : texts.front().asRead());

    KELD_CreateProfileFromPref(section.data(), static_cast<int>(values.size()), values.data(),
                               texts.empty() ? nullptr : origin.data(), 0);
    int left = 32;
    for (const auto& [key, value] : plainRead(values)) {
        if (left-- == 0)
            break;
        fuzz::Room out(1025);
        KELD_GetIniString(section.data(), key.c_str(), out.data(), "none");
        fuzz::require(out.text() == fuzz::cutText(value, 1024), "the value is what was written");
        fuzz::require(KELD_GetIniInt(section.data(), key.c_str(), 7) == fuzz::integer(value),
                      "the number is what was written");
    }
    fuzz::Room out(1025);
    KELD_GetIniString(section.data(), "no such\nkey", out.data(), "none");
    fuzz::require(out.text() == "none", "the default of a missing key");

    // Dropped only while the cache is off.
    const char* first = plainRead(values).empty() ? nullptr : "kept";
    const std::string key = first != nullptr ? plainRead(values).begin()->first : "";
    setenv("KELD_DISABLE_LOCPREF_CACHE", dropped ? "1" : "0", 1);
    KELD_DeletePrefProfile();
    if (first != nullptr) {
        fuzz::Room kept(1025);
        KELD_GetIniString(section.data(), key.c_str(), kept.data(), " ");  // no value
        fuzz::require((kept.text() == " ") == dropped, "dropped while the cache is off");
    }
    setenv("KELD_DISABLE_LOCPREF_CACHE", "1", 1);
    KELD_DeletePrefProfile();
    KELD_CreateProfileFromPref(section.data(), -1, values.data(), nullptr, 0);
    KELD_CreateProfileFromPref(section.data(), 3, nullptr, nullptr, 0);
    KELD_CreateProfileFromPref(nullptr, static_cast<int>(values.size()), values.data(), nullptr, 0);
    KELD_DeletePrefProfile();
    return 0;
}
