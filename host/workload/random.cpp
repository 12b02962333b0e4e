// SPDX-License-Identifier: Apache-2.0
#include "host/workload/random.h"

#include <algorithm>

namespace ZYRA::Host {

Popularity::Popularity(const std::vector<uint64_t>& weights) {
    uint64_t sum = 0;
    sums_.reserve(weights.size());
    for (const uint64_t weight : weights) {
        sum += weight;
        sums_.push_back(sum);
    }
}

size_t Popularity::Pick(Random& random) const {
    const auto found = std::upper_bound(sums_.begin(), sums_.end(), random.Below(sums_.back()));
    return static_cast<size_t>(found - sums_.begin());
}

}  // namespace ZYRA::Host
