#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace mervane {

class Sha256 {
public:
    Sha256();
    void add(const void* bytes, std::size_t size);
    std::string hex();  // ends the sum

private:
    std::array<std::uint32_t, 8> state_;
    std::array<unsigned char, 64> block_{};
    std::size_t used_ = 0;
    std::uint64_t total_ = 0;

    void transform(const unsigned char* block);
};

}  // namespace mervane
