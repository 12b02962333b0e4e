// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace ZYRA::Host {

// Numbers that follow from a seed, the same on every machine: the engine is fixed by the language, and what is made of
// its bits is made here, in integers.
class Random {
public:
    explicit Random(uint64_t seed) : engine_(seed) {}

    // A number below `bound`, each as likely as the others. REQUIRES: bound > 0.
    uint64_t Below(uint64_t bound) {
        // Bits above the last whole multiple of `bound` would favour the small numbers.
        const uint64_t unusable = (UINT64_MAX % bound + 1) % bound;
        for (;;) {
            const uint64_t bits = engine_();
            if (bits <= UINT64_MAX - unusable) {
                return bits % bound;
            }
        }
    }
    // A number from `lowest` to `highest`, both included. REQUIRES: lowest <= highest, and their distance fits.
    int64_t Between(int64_t lowest, int64_t highest) {
        return lowest + static_cast<int64_t>(Below(static_cast<uint64_t>(highest - lowest) + 1));
    }
    bool Chance(uint64_t percent) { return Below(100) < percent; }

private:
    std::mt19937_64 engine_;
};

// Picks an index with a probability in proportion to its weight.
class Popularity {
public:
    // REQUIRES: the sum of the weights is above 0 and fits.
    explicit Popularity(const std::vector<uint64_t>& weights);

    size_t Pick(Random& random) const;

private:
    std::vector<uint64_t> sums_;  // Of the weights up to and including each index.
};

// What Zipf's law gives the rank, from 1. A whole number: the least popular of some thousands still has some hundreds.
constexpr uint64_t ZipfWeight(uint64_t rank) {
    constexpr uint64_t FIRST_RANK_WEIGHT = 1000000;
    return FIRST_RANK_WEIGHT / rank;
}

}  // namespace ZYRA::Host
