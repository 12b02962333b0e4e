// SPDX-License-Identifier: Apache-2.0
#include "host/report/work_timeline.h"

namespace ZYRA::Host {

const char* WorkStateName(WorkState state) {
    switch (state) {
        case WorkState::IDLE:
            return "idle";
        case WorkState::BOUND:
            return "bound";
        case WorkState::PREREADING:
            return "prereading";
        case WorkState::COLLECTING:
            return "collecting";
        case WorkState::PAUSED:
            return "paused";
    }
    return "";
}

bool WorkTimeline::Bind(const std::string& scene) {
    if (isBound_ && scene == scene_) {
        return false;
    }
    isBound_ = true;
    scene_ = scene;
    isPrereadRequested_ = false;
    wasAttached_ = false;
    return true;
}

void WorkTimeline::Attach(const std::string& pid) {
    processes_.insert(pid);
    wasAttached_ = true;
}

void WorkTimeline::ChangeState(const std::string& word) {
    stateWord_ = word;
    if (word == "OUTOFWORK" || word == "ABORT") {
        End();
    }
}

void WorkTimeline::AdvanceTo(int64_t timeUs) {
    if (timeUs > nowUs_) {
        totalUs_.at(static_cast<size_t>(Current())) += timeUs - nowUs_;
        nowUs_ = timeUs;
    }
}

WorkState WorkTimeline::Current() const {
    if (!isBound_) {
        return WorkState::IDLE;
    }
    if (!processes_.empty() && stateWord_ == "INWORKING") {
        return WorkState::COLLECTING;
    }
    if (wasAttached_ && stateWord_ == "PAUSED") {
        return WorkState::PAUSED;
    }
    return isPrereadRequested_ && !wasAttached_ ? WorkState::PREREADING : WorkState::BOUND;
}

}  // namespace ZYRA::Host
