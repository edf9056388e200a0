#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace mervane {

// SHA-256 of a stream of bytes.
class Sha256 {
public:
    void add(const void* data, std::size_t size);
    std::string hex();  // ends the stream

private:
    void block(const unsigned char* bytes);

    std::array<std::uint32_t, 8> state_ = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                           0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
    std::array<unsigned char, 64> waiting_{};
    std::size_t waiting_size_ = 0;
    std::uint64_t total_ = 0;
};

}  // namespace mervane
