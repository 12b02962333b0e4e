// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

namespace ZYRA::Host {

constexpr uint64_t BYTES_PER_PAGE = 4096;

// The pages first, first + 1, … of a file, `count` of them.
struct PageRange {
    uint64_t first = 0;
    uint64_t count = 0;

    bool operator==(const PageRange&) const = default;
};

// Pages of one file, kept as ranges that neither overlap nor touch. Adding takes time logarithmic in the number of
// ranges, in whatever order the pages come. The last page that can be held is UINT64_MAX - 1: of a range that goes
// beyond, the part up to there counts. Not thread-safe.
class PageSet {
public:
    // Adds the pages. Returns those that were not there before, in ascending order.
    std::vector<PageRange> Add(PageRange range);

    // Takes out the pages from this one on: those beyond the end of a file of so many pages.
    void Clip(uint64_t pages);

    // How many pages there are.
    uint64_t Count() const { return count_; }

    // How many of the pages are in the other set as well.
    uint64_t CountCommon(const PageSet& other) const;

    // The pages that are not in the other set.
    PageSet Without(const PageSet& other) const;

    bool Contains(uint64_t page) const;

    // In ascending order.
    std::vector<PageRange> Ranges() const;

private:
    std::map<uint64_t, uint64_t> ends_;  // Of each range the page behind its last one, by its first.
    uint64_t count_ = 0;
};

}  // namespace ZYRA::Host
