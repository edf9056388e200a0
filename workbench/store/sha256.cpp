#include "workbench/store/sha256.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace mervane {

namespace {
constexpr std::uint32_t kRound[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};
}  // namespace

Sha256::Sha256()
    : state_{0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
             0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19} {
}

void Sha256::transform(const unsigned char* block) {
    std::uint32_t w[64];
    for (std::size_t i = 0; i < 16; ++i)
        w[i] = std::uint32_t{block[4 * i]} << 24 | std::uint32_t{block[4 * i + 1]} << 16 |
               std::uint32_t{block[4 * i + 2]} << 8 | std::uint32_t{block[4 * i + 3]};
    for (int i = 16; i < 64; ++i) {
        const std::uint32_t a =
            std::rotr(w[i - 15], 7) ^ std::rotr(w[i - 15], 18) ^ (w[i - 15] >> 3);
        const std::uint32_t b =
            std::rotr(w[i - 2], 17) ^ std::rotr(w[i - 2], 19) ^ (w[i - 2] >> 10);
        w[i] = w[i - 16] + a + w[i - 7] + b;
    }
    auto s = state_;
    for (int i = 0; i < 64; ++i) {
        const std::uint32_t e = std::rotr(s[4], 6) ^ std::rotr(s[4], 11) ^ std::rotr(s[4], 25);
        const std::uint32_t first = s[7] + e + ((s[4] & s[5]) ^ (~s[4] & s[6])) + kRound[i] + w[i];
        const std::uint32_t a = std::rotr(s[0], 2) ^ std::rotr(s[0], 13) ^ std::rotr(s[0], 22);
        const std::uint32_t second = a + ((s[0] & s[1]) ^ (s[0] & s[2]) ^ (s[1] & s[2]));
        s = {first + second, s[0], s[1], s[2], s[3] + first, s[4], s[5], s[6]};
    }
    for (std::size_t i = 0; i < 8; ++i)
        state_[i] += s[i];
}

void Sha256::add(const void* bytes, std::size_t size) {
    const auto* at = static_cast<const unsigned char*>(bytes);
    total_ += size;
    while (size > 0) {
        if (used_ == 0 && size >= 64) {
            transform(at);
            at += 64;
            size -= 64;
            continue;
        }
        const std::size_t taken = std::min(size, 64 - used_);
        std::memcpy(block_.data() + used_, at, taken);
        used_ += taken;
        at += taken;
        size -= taken;
        if (used_ == 64) {
            transform(block_.data());
            used_ = 0;
        }
    }
}

std::string Sha256::hex() {
    const std::uint64_t bits = total_ * 8;
    const unsigned char one = 0x80, zero = 0;
    add(&one, 1);
    while (used_ != 56)
        add(&zero, 1);
    unsigned char length[8];
    for (int i = 0; i < 8; ++i)
        length[i] = static_cast<unsigned char>(bits >> (56 - 8 * i));
    add(length, 8);
    std::string text;
    for (const std::uint32_t word : state_)
        for (int shift = 28; shift >= 0; shift -= 4)
            text += "0123456789abcdef"[word >> shift & 15];
    return text;
}

}  // namespace mervane
