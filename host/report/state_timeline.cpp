// SPDX-License-Identifier: Apache-2.0
#include "host/report/state_timeline.h"

namespace ZYRA::Host {

void StateTimeline::ChangeTo(int64_t timeUs, const std::string& state) {
    AdvanceTo(timeUs);
    if (state == Current()) {
        return;
    }
    if (timeUs == 0 && first_.size() == 1) {
        first_.front().state = state;
        return;
    }
    if (first_.size() < FIRST_KEPT) {
        first_.push_back({timeUs, state});
        return;
    }
    last_.push_back({timeUs, state});
    if (last_.size() > LAST_KEPT) {
        last_.pop_front();
        ++leftOut_;
    }
}

void StateTimeline::AdvanceTo(int64_t timeUs) {
    if (timeUs > nowUs_) {
        totalUs_[Current()] += timeUs - nowUs_;
        nowUs_ = timeUs;
    }
}

}  // namespace ZYRA::Host
