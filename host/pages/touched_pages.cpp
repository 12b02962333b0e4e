// SPDX-License-Identifier: Apache-2.0
#include "host/pages/touched_pages.h"

#include <ctime>
#include <utility>

namespace ZYRA::Host {

namespace {

int64_t ClockNs(clockid_t clock) {
    constexpr int64_t NS_PER_S = 1000000000;
    timespec now{};
    clock_gettime(clock, &now);
    return now.tv_sec * NS_PER_S + now.tv_nsec;
}

}  // namespace

uint32_t TouchedPages::IndexOf(uint64_t device, uint64_t inode) {
    const auto [known, isNew] = indices_.try_emplace({device, inode}, static_cast<uint32_t>(files_.size()));
    if (isNew) {
        files_.push_back({device, inode, {}, {}, false});
    }
    return known->second;
}

void TouchedPages::Note(const PageEvent& event) {
    if (event.kind != PageEventKind::LOADED && event.lastPage < event.firstPage) {
        return;
    }
    const uint32_t index = IndexOf(event.device, event.inode);
    File& file = files_[index];
    const PageRange range{event.firstPage, event.lastPage - event.firstPage + 1};
    switch (event.kind) {
        case PageEventKind::LOADED:
            if (!std::exchange(file.isLoaded, true)) {
                touches_.push_back({index, {0, 0}, true});
            }
            break;
        case PageEventKind::MAPPED:
            for (const PageRange& part : file.around.Add(range)) {
                touches_.push_back({index, part, false});
            }
            break;
        case PageEventKind::ADDED:
        case PageEventKind::FAULTED:
        case PageEventKind::READ:
            for (const PageRange& part : file.sure.Add(range)) {
                touches_.push_back({index, part, true});
            }
            break;
    }
}

// The kernel gives files the time of its last tick, or a later one.
int64_t EarliestFileTimeNs() {
    return ClockNs(CLOCK_REALTIME_COARSE);
}

int64_t LatestFileTimeNs() {
    return ClockNs(CLOCK_REALTIME);
}

void TouchedPages::Clear() {
    files_.clear();
    indices_.clear();
    touches_.clear();
}

}  // namespace ZYRA::Host
