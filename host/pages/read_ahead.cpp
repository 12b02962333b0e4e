// SPDX-License-Identifier: Apache-2.0
#include "host/pages/read_ahead.h"

#include <algorithm>
#include <fstream>

namespace ZYRA::Host {

namespace {

constexpr uint64_t USUAL_KIB = 128;

}  // namespace

ReadAhead::~ReadAhead() {
    users_ = {};
    Apply();
}

bool ReadAhead::TurnDown(ReadAheadLevel level, std::string& reason) {
    if (files_.empty()) {
        reason = "no disk whose read-ahead could be turned down";
        return false;
    }
    int& users = users_[static_cast<size_t>(level)];
    ++users;
    reason = Apply();
    if (!reason.empty()) {
        --users;
        Apply();
        return false;
    }
    return true;
}

void ReadAhead::TurnBack(ReadAheadLevel level) {
    --users_[static_cast<size_t>(level)];
    Apply();
}

uint64_t ReadAhead::Wanted(uint64_t own) const {
    if (users_[static_cast<size_t>(ReadAheadLevel::NONE)] > 0) {
        return 0;
    }
    return users_[static_cast<size_t>(ReadAheadLevel::USUAL)] > 0 ? std::min(own, USUAL_KIB) : own;
}

std::string ReadAhead::Apply() {
    std::string failure;
    // Also one that is as low as that is held then: somebody else might turn it up meanwhile.
    const bool isNone = users_[static_cast<size_t>(ReadAheadLevel::NONE)] > 0;
    for (const std::string& file : files_) {
        uint64_t present = 0;
        if (!(std::ifstream(file) >> present)) {
            continue;
        }
        const auto known = own_.find(file);
        const uint64_t own = known == own_.end() ? present : known->second;
        const uint64_t wanted = Wanted(own);
        std::string reason;
        const bool isHeld = wanted != own || isNone;
        if (isHeld) {
            own_[file] = own;
            const bool isAsWanted = wanted == present && known != own_.end();
            reason = isAsWanted ? "" : guardian_.ChangeSetting(file, std::to_string(wanted));
        } else if (known != own_.end()) {
            reason = guardian_.RestoreSetting(file);
        }
        if (!isHeld && reason.empty()) {
            own_.erase(file);
        }
        failure = failure.empty() ? reason : failure;
    }
    return failure;
}

}  // namespace ZYRA::Host
