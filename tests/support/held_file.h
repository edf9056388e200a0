#pragma once

// The file in which the workbench keeps modify locks, as bytes: a word for each slot, the object in
// its upper half and the session in its lower half; the first word marks the file.

#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/files.h"

namespace keld_test {

inline std::string heldPath(const std::string& store) {
    return store + "-locks-held";
}

inline std::vector<std::pair<std::uint32_t, std::uint32_t>> heldInFile(const std::string& store) {
    const std::string bytes = readText(heldPath(store));
    std::vector<std::pair<std::uint32_t, std::uint32_t>> held;
    for (std::size_t at = 8; at + 8 <= bytes.size(); at += 8) {
        std::uint32_t halves[2];
        std::memcpy(halves, bytes.data() + at, sizeof halves);
        if (halves[0] != 0)
            held.emplace_back(halves[1], halves[0]);
    }
    return held;
}

// Write a lock into a slot of a table that nobody has open.
inline void writeHeld(const std::string& store, std::size_t slot, std::uint32_t object,
                      std::uint32_t session) {
    std::fstream file(heldPath(store), std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(slot * 8));
    for (const std::uint32_t half : {session, object})
        file.write(reinterpret_cast<const char*>(&half), sizeof half);
}

}  // namespace keld_test
