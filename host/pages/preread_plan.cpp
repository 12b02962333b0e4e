// SPDX-License-Identifier: Apache-2.0
#include "host/pages/preread_plan.h"

#include <algorithm>
#include <map>
#include <tuple>

namespace ZYRA::Host {

namespace {

// A stretch: 1 MiB of touched pages. Longer ones let the processes wait for what comes late in them, shorter ones make
// more and smaller pieces.
constexpr uint64_t STRETCH_PAGES = 256;
// Gaps of up to so many pages are read; larger ones cost more than another request does.
constexpr uint64_t GAP_PAGES = 3;
// One request to the kernel, 1 MiB.
constexpr uint64_t PIECE_PAGES = 256;

class Planner {
public:
    void Add(const RecordedRange& range) {
        if (range.pages.count == 0) {
            return;
        }
        stretch_.push_back(range);
        pages_ += range.pages.count;
        if (pages_ >= STRETCH_PAGES) {
            EndStretch();
        }
    }

    std::vector<RecordedRange> Finish() {
        EndStretch();
        return std::move(pieces_);
    }

private:
    void EndStretch() {
        // Files stay in the order in which the stretch comes to them.
        std::map<uint32_t, size_t> turns;
        for (const RecordedRange& range : stretch_) {
            turns.try_emplace(range.file, turns.size());
        }
        std::sort(stretch_.begin(), stretch_.end(), [&](const RecordedRange& one, const RecordedRange& other) {
            return std::tuple(turns[one.file], one.pages.first) < std::tuple(turns[other.file], other.pages.first);
        });
        for (const RecordedRange& range : stretch_) {
            Append(range);
        }
        stretch_.clear();
        pages_ = 0;
    }

    void Append(RecordedRange range) {
        if (!pieces_.empty()) {
            RecordedRange& last = pieces_.back();
            const uint64_t end = last.pages.first + last.pages.count;
            const uint64_t newEnd = range.pages.first + range.pages.count;
            if (last.file == range.file && range.pages.first >= end && range.pages.first - end <= GAP_PAGES &&
                newEnd - last.pages.first <= PIECE_PAGES) {
                last.pages.count = newEnd - last.pages.first;
                return;
            }
        }
        for (; range.pages.count > PIECE_PAGES; range.pages.first += PIECE_PAGES, range.pages.count -= PIECE_PAGES) {
            pieces_.push_back({range.file, {range.pages.first, PIECE_PAGES}});
        }
        pieces_.push_back(range);
    }

    std::vector<RecordedRange> stretch_;
    uint64_t pages_ = 0;
    std::vector<RecordedRange> pieces_;
};

}  // namespace

std::vector<RecordedRange> PlanPreread(const PageRecord& record) {
    Planner planner;
    for (const RecordedRange& range : record.ranges) {
        planner.Add(range);
    }
    return planner.Finish();
}

}  // namespace ZYRA::Host
