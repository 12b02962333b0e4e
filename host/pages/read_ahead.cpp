#include "host/pages/read_ahead.h"

namespace ZYRA::Host {

bool ReadAhead::TurnOff(std::string& reason) {
    if (users_ == 0) {
        if (disks_.empty()) {
            reason = "no disk whose read-ahead could be turned off";
            return false;
        }
        for (const BlockDevice& disk : disks_) {
            reason = guardian_.ChangeSetting(ReadAheadFile(disk), "0");
            if (!reason.empty()) {
                Restore();
                return false;
            }
        }
    }
    ++users_;
    return true;
}

void ReadAhead::TurnBack() {
    if (users_ > 0 && --users_ == 0) {
        Restore();
    }
}

void ReadAhead::Restore() {
    for (const BlockDevice& disk : disks_) {
        guardian_.RestoreSetting(ReadAheadFile(disk));
    }
}

}  // namespace ZYRA::Host
