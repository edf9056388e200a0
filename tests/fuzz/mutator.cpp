#include "tests/fuzz/mutator.h"

#include <algorithm>
#include <array>
#include <utility>

namespace fuzz {

Mutator::Mutator(std::uint64_t seed, std::size_t most, std::vector<std::string> corpus,
                 std::vector<std::string> words)
    : random_(seed), most_(most), pool_(std::move(corpus)), given_(0), words_(std::move(words)) {
    if (pool_.empty())
        pool_.emplace_back();
    given_ = pool_.size();
}

std::string Mutator::next() {
    static constexpr std::array<Change, 15> changes = {
        &Mutator::flipBit,       &Mutator::setByte,   &Mutator::insertBytes,
        &Mutator::remove,        &Mutator::duplicate, &Mutator::copyOver,
        &Mutator::shuffle,       &Mutator::splice,    &Mutator::insertPart,
        &Mutator::insertWord,    &Mutator::wordOver,  &Mutator::binaryNumber,
        &Mutator::decimalNumber, &Mutator::cut,       &Mutator::changeCase};
    std::string input = some();
    const std::size_t count = std::size_t{1} << random_.below(5);
    for (std::size_t i = 0; i < count; ++i)
        (this->*changes[random_.below(changes.size())])(input);
    if (random_.oneIn(32))
        repeat(input, 2048);
    else if (random_.oneIn(256))
        repeat(input, most_);
    if (input.size() > most_)
        input.resize(most_);
    // Some changed inputs are changed further.
    if (input.size() <= longest_kept && random_.oneIn(16)) {
        if (pool_.size() < given_ + most_kept)
            pool_.push_back(input);
        else
            pool_[given_ + random_.below(most_kept)] = input;
    }
    return input;
}

const std::string& Mutator::some() {
    // The corpus as often as what came from it.
    return pool_[random_.below(random_.oneIn(2) ? given_ : pool_.size())];
}

// A random length from a place on, mostly short.
std::size_t Mutator::length(const std::string& input, std::size_t from) {
    const std::size_t left = input.size() - from;
    if (left == 0)
        return 0;
    return 1 + random_.below(random_.oneIn(4) ? left : std::min<std::size_t>(left, 16));
}

void Mutator::flipBit(std::string& input) {
    if (input.empty())
        return;
    char& byte = input[random_.below(input.size())];
    byte = static_cast<char>(static_cast<unsigned char>(byte) ^ (1U << random_.below(8)));
}

void Mutator::setByte(std::string& input) {
    if (!input.empty())
        input[random_.below(input.size())] = static_cast<char>(random_.below(256));
}

void Mutator::insertBytes(std::string& input) {
    const std::size_t count = 1 + random_.below(random_.oneIn(8) ? 64 : 4);
    const bool same = random_.oneIn(2);
    std::string bytes(count, static_cast<char>(random_.below(256)));
    for (char& byte : bytes)
        if (!same)
            byte = static_cast<char>(random_.below(256));
    input.insert(place(input), bytes);
}

void Mutator::remove(std::string& input) {
    const std::size_t from = place(input);
    input.erase(from, length(input, from));
}

void Mutator::duplicate(std::string& input) {
    const std::size_t from = place(input);
    const std::string part = input.substr(from, length(input, from));
    input.insert(random_.oneIn(2) ? from : place(input), part);
}

void Mutator::copyOver(std::string& input) {
    const std::size_t from = place(input);
    const std::string part = input.substr(from, length(input, from));
    const std::size_t to = place(input);
    input.replace(to, std::min(part.size(), input.size() - to), part);
}

void Mutator::shuffle(std::string& input) {
    const std::size_t from = place(input);
    const std::size_t count = std::min<std::size_t>(length(input, from), 16);
    for (std::size_t i = 1; i < count; ++i)
        std::swap(input[from + i], input[from + random_.below(i + 1)]);
}

// The front of this input and the back of another one.
void Mutator::splice(std::string& input) {
    const std::string& other = some();
    const std::size_t from = place(other);
    input.replace(place(input), std::string::npos, other, from, std::string::npos);
}

void Mutator::insertPart(std::string& input) {
    const std::string& other = some();
    const std::size_t from = place(other);
    input.insert(place(input), other, from, length(other, from));
}

void Mutator::insertWord(std::string& input) {
    if (!words_.empty())
        input.insert(place(input), words_[random_.below(words_.size())]);
}

void Mutator::wordOver(std::string& input) {
    if (words_.empty())
        return;
    const std::string& word = words_[random_.below(words_.size())];
    const std::size_t to = place(input);
    input.replace(to, std::min(word.size(), input.size() - to), word);
}

void Mutator::binaryNumber(std::string& input) {
    static constexpr std::array<std::uint64_t, 14> numbers = {
        0,      1,      0x7F,       0x80,       0xFF,        0x100,      0x7FFF,
        0x8000, 0xFFFF, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFFU, 0xFFFFFF80, 0x7FFFFFFFFFFFFFFFU};
    const std::uint64_t number = numbers[random_.below(numbers.size())];
    const std::size_t size = std::size_t{1} << random_.below(4);
    const bool big = random_.oneIn(2);
    if (input.size() < size)
        return;
    const std::size_t to = random_.below(input.size() - size + 1);
    for (std::size_t i = 0; i < size; ++i)
        input[to + i] = static_cast<char>(number >> (8 * (big ? size - 1 - i : i)) & 0xFF);
}

// Put another number in place of one of the text, or somewhere if it has none.
void Mutator::decimalNumber(std::string& input) {
    static constexpr std::array<const char*, 18> numbers = {"0",
                                                            "-1",
                                                            "1",
                                                            "127",
                                                            "128",
                                                            "255",
                                                            "256",
                                                            "1024",
                                                            "1025",
                                                            "32768",
                                                            "65536",
                                                            "100000",
                                                            "2147483647",
                                                            "2147483648",
                                                            "-2147483648",
                                                            "4294967296",
                                                            "9223372036854775808",
                                                            "1e999"};
    const std::string number = numbers[random_.below(numbers.size())];
    const std::size_t from = input.find_first_of("0123456789", place(input));
    if (from == std::string::npos) {
        input.insert(place(input), number);
        return;
    }
    std::size_t end = input.find_first_not_of("0123456789", from);
    if (end == std::string::npos)
        end = input.size();
    input.replace(from, end - from, number);
}

void Mutator::cut(std::string& input) {
    if (random_.oneIn(4))
        input.resize(place(input));
}

void Mutator::changeCase(std::string& input) {
    const std::size_t from = place(input);
    const std::size_t count = length(input, from);
    for (std::size_t i = from; i < from + count; ++i) {
        const auto letter = static_cast<unsigned char>(input[i] & ~0x20);
        if (letter >= 'A' && letter <= 'Z')
            input[i] = static_cast<char>(input[i] ^ 0x20);
    }
}

// A part again and again, until the input has about that many bytes more.
void Mutator::repeat(std::string& input, std::size_t room) {
    const std::size_t from = place(input);
    std::string part = input.substr(from, length(input, from));
    if (part.empty())
        part = "x";
    const std::size_t count = 1 + random_.below(room / part.size() + 1);
    std::string repeated;
    repeated.reserve(count * part.size());
    for (std::size_t i = 0; i < count; ++i)
        repeated += part;
    input.insert(from, repeated);
}

}  // namespace fuzz
