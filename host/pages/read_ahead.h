#pragma once

#include <string>
#include <utility>
#include <vector>

#include "host/machine/block_devices.h"
#include "host/machine/guardian.h"

namespace ZYRA::Host {

// Keeps the read-ahead of disks at nothing while anybody wants it so: a process then has just the pages read that it
// demands. A file takes the setting over when it is opened. Not thread-safe.
class ReadAhead {
public:
    // The guardian must outlive the object.
    ReadAhead(Guardian& guardian, std::vector<BlockDevice> disks) : guardian_(guardian), disks_(std::move(disks)) {}
    ~ReadAhead() { Restore(); }
    ReadAhead(const ReadAhead&) = delete;
    ReadAhead& operator=(const ReadAhead&) = delete;

    // False, and nothing has changed, when it cannot be had; `reason` is then one line. Each true is to be followed by
    // one TurnBack.
    bool TurnOff(std::string& reason);
    void TurnBack();

private:
    void Restore();

    Guardian& guardian_;
    const std::vector<BlockDevice> disks_;
    int users_ = 0;
};

}  // namespace ZYRA::Host
