#include "host/pages/read_ahead.h"

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
    if (disks_.empty()) {
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

std::string ReadAhead::Apply() {
    for (const BlockDevice& disk : disks_) {
        const std::string file = ReadAheadFile(disk);
        uint64_t present = 0;
        if (!(std::ifstream(file) >> present)) {
            return "cannot read " + file;
        }
        const uint64_t own = own_.try_emplace(file, present).first->second;
        uint64_t wanted = own;
        if (users_[static_cast<size_t>(ReadAheadLevel::NONE)] > 0) {
            wanted = 0;
        } else if (users_[static_cast<size_t>(ReadAheadLevel::USUAL)] > 0 && own > USUAL_KIB) {
            wanted = USUAL_KIB;
        }
        std::string reason;
        if (wanted == own) {
            guardian_.RestoreSetting(file);
            own_.erase(file);
        } else if (wanted != present) {
            reason = guardian_.ChangeSetting(file, std::to_string(wanted));
        }
        if (!reason.empty()) {
            return reason;
        }
    }
    return "";
}

}  // namespace ZYRA::Host
