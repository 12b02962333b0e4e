// SPDX-License-Identifier: Apache-2.0
#include "host/pages/page_set.h"

#include <algorithm>
#include <iterator>

namespace ZYRA::Host {

namespace {

uint64_t EndOf(PageRange range) {
    return range.first + std::min(range.count, UINT64_MAX - range.first);
}

}  // namespace

std::vector<PageRange> PageSet::Add(PageRange range) {
    std::vector<PageRange> added;
    uint64_t first = range.first;
    uint64_t end = EndOf(range);
    if (first == end) {
        return added;
    }
    auto next = ends_.upper_bound(first);
    if (next != ends_.begin() && std::prev(next)->second >= first) {
        --next;
        if (next->second >= end) {
            return added;
        }
    }
    // What overlaps or touches the range becomes one with it; between them lie the pages that are new.
    uint64_t known = first;
    for (; next != ends_.end() && next->first <= end; next = ends_.erase(next)) {
        if (known < next->first) {
            added.push_back({known, next->first - known});
        }
        first = std::min(first, next->first);
        known = next->second;
        end = std::max(end, known);
    }
    if (known < end) {
        added.push_back({known, end - known});
    }
    ends_.emplace_hint(next, first, end);
    for (const PageRange& part : added) {
        count_ += part.count;
    }
    return added;
}

void PageSet::Clip(uint64_t pages) {
    auto next = ends_.lower_bound(pages);
    if (next != ends_.begin() && std::prev(next)->second > pages) {
        auto& [first, end] = *std::prev(next);
        count_ -= end - pages;
        end = pages;
    }
    while (next != ends_.end()) {
        count_ -= next->second - next->first;
        next = ends_.erase(next);
    }
}

uint64_t PageSet::CountCommon(const PageSet& other) const {
    return count_ - Without(other).count_;
}

PageSet PageSet::Without(const PageSet& other) const {
    PageSet rest;
    const auto keep = [&rest](uint64_t first, uint64_t end) {
        if (first < end) {
            rest.ends_.emplace_hint(rest.ends_.end(), first, end);
            rest.count_ += end - first;
        }
    };
    auto taken = other.ends_.begin();
    for (const auto& [first, end] : ends_) {
        uint64_t at = first;
        // One that reaches beyond this range may cover the beginning of the next one.
        for (; taken != other.ends_.end() && taken->first < end; ++taken) {
            keep(at, taken->first);
            at = std::max(at, taken->second);
            if (taken->second > end) {
                break;
            }
        }
        keep(at, end);
    }
    return rest;
}

bool PageSet::Contains(uint64_t page) const {
    const auto next = ends_.upper_bound(page);
    return next != ends_.begin() && std::prev(next)->second > page;
}

std::vector<PageRange> PageSet::Ranges() const {
    std::vector<PageRange> ranges;
    ranges.reserve(ends_.size());
    for (const auto& [first, end] : ends_) {
        ranges.push_back({first, end - first});
    }
    return ranges;
}

}  // namespace ZYRA::Host
