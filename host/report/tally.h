// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace ZYRA::Host {

// Counts equal texts, in the order in which each came first. Beyond MOST_TEXTS different ones, new texts are counted
// together. Not thread-safe.
class Tally {
public:
    static constexpr size_t MOST_TEXTS = 50;

    void Add(const std::string& text) {
        ++total_;
        const auto known = indexOf_.find(text);
        if (known != indexOf_.end()) {
            ++counts_[known->second].second;
        } else if (counts_.size() < MOST_TEXTS) {
            indexOf_.emplace(text, counts_.size());
            counts_.emplace_back(text, 1);
        } else {
            ++others_;
        }
    }

    const std::vector<std::pair<std::string, uint64_t>>& Counts() const { return counts_; }
    uint64_t Others() const { return others_; }
    uint64_t Total() const { return total_; }

private:
    std::map<std::string, size_t> indexOf_;
    std::vector<std::pair<std::string, uint64_t>> counts_;
    uint64_t others_ = 0;
    uint64_t total_ = 0;
};

}  // namespace ZYRA::Host
