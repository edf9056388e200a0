#include "workbench/store/sha256.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace mervane {

namespace {

constexpr std::array<std::uint32_t, 64> kRound = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

}  // namespace

void Sha256::block(const unsigned char* bytes) {
    std::array<std::uint32_t, 64> w{};
    for (std::size_t i = 0; i < 16; ++i)
        w[i] = static_cast<std::uint32_t>(bytes[4 * i]) << 24 |
               static_cast<std::uint32_t>(bytes[4 * i + 1]) << 16 |
               static_cast<std::uint32_t>(bytes[4 * i + 2]) << 8 | bytes[4 * i + 3];
    for (std::size_t i = 16; i < 64; ++i) {
        const std::uint32_t a = w[i - 15], b = w[i - 2];
        w[i] = w[i - 16] + (std::rotr(a, 7) ^ std::rotr(a, 18) ^ a >> 3) + w[i - 7] +
               (std::rotr(b, 17) ^ std::rotr(b, 19) ^ b >> 10);
    }
    std::array<std::uint32_t, 8> s = state_;
    for (std::size_t i = 0; i < 64; ++i) {
        const std::uint32_t high = std::rotr(s[4], 6) ^ std::rotr(s[4], 11) ^ std::rotr(s[4], 25);
        const std::uint32_t t1 = s[7] + high + ((s[4] & s[5]) ^ (~s[4] & s[6])) + kRound[i] + w[i];
        const std::uint32_t low = std::rotr(s[0], 2) ^ std::rotr(s[0], 13) ^ std::rotr(s[0], 22);
        const std::uint32_t t2 = low + ((s[0] & s[1]) ^ (s[0] & s[2]) ^ (s[1] & s[2]));
        s = {t1 + t2, s[0], s[1], s[2], s[3] + t1, s[4], s[5], s[6]};
    }
    for (std::size_t i = 0; i < 8; ++i)
        state_[i] += s[i];
}

void Sha256::add(const void* data, std::size_t size) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    total_ += size;
    while (size > 0) {
        const std::size_t part = std::min(size, waiting_.size() - waiting_size_);
        std::memcpy(waiting_.data() + waiting_size_, bytes, part);
        waiting_size_ += part;
        bytes += part;
        size -= part;
        if (waiting_size_ == waiting_.size()) {
            block(waiting_.data());
            waiting_size_ = 0;
        }
    }
}

std::string Sha256::hex() {
    const std::uint64_t bits = total_ * 8;
    const unsigned char one = 0x80, zero = 0;
    add(&one, 1);
    while (waiting_size_ != 56)
        add(&zero, 1);
    for (int shift = 56; shift >= 0; shift -= 8) {
        const auto byte = static_cast<unsigned char>(bits >> shift);
        add(&byte, 1);
    }
    std::string text;
    for (std::uint32_t word : state_)
        for (int shift = 28; shift >= 0; shift -= 4)
            text += "0123456789abcdef"[word >> shift & 0xF];
    return text;
}

}  // namespace mervane
