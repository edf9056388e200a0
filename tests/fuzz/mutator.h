#pragma once

// Inputs made from a corpus by changes. The same seed gives the same inputs on every system.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace fuzz {

// splitmix64
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}
    std::uint64_t next() {
        std::uint64_t value = (state_ += 0x9E3779B97F4A7C15U);
        value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9U;
        value = (value ^ (value >> 27)) * 0x94D049BB133111EBU;
        return value ^ (value >> 31);
    }
    // 0 to count-1; count isn't 0.
    std::size_t below(std::size_t count) { return static_cast<std::size_t>(next() % count); }
    bool oneIn(std::size_t count) { return below(count) == 0; }

private:
    std::uint64_t state_;
};

class Mutator {
public:
    // `most` is the size in bytes that no input is longer than.
    Mutator(std::uint64_t seed, std::size_t most, std::vector<std::string> corpus,
            std::vector<std::string> words);
    std::string next();

private:
    using Change = void (Mutator::*)(std::string&);

    // Starts of long inputs are rare, so that the many short ones stay fast.
    static constexpr std::size_t longest_kept = 4096;
    static constexpr std::size_t most_kept = 512;

    std::size_t place(const std::string& input) { return random_.below(input.size() + 1); }
    std::size_t length(const std::string& input, std::size_t from);
    const std::string& some();

    void flipBit(std::string& input);
    void setByte(std::string& input);
    void insertBytes(std::string& input);
    void remove(std::string& input);
    void duplicate(std::string& input);
    void copyOver(std::string& input);
    void shuffle(std::string& input);
    void splice(std::string& input);
    void insertPart(std::string& input);
    void insertWord(std::string& input);
    void wordOver(std::string& input);
    void binaryNumber(std::string& input);
    void decimalNumber(std::string& input);
    void cut(std::string& input);
    void changeCase(std::string& input);
    void repeat(std::string& input, std::size_t room);

    Random random_;
    std::size_t most_;
    std::vector<std::string> pool_;
    std::size_t given_;  // the first so many of the pool are the corpus, which stays
    std::vector<std::string> words_;
};

}  // namespace fuzz
