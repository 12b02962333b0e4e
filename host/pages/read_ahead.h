#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "host/machine/block_devices.h"
#include "host/machine/guardian.h"

namespace ZYRA::Host {

// How far disks are turned down.
enum class ReadAheadLevel : uint8_t {
    NONE,  // A process has just the pages read that it demands.
    USUAL  // 128 KiB, which the kernel has by default; only for disks that are set to more.
};

// Keeps the read-ahead of disks as low as anybody wants it. A file takes the setting over when it is opened. Not
// thread-safe.
class ReadAhead {
public:
    // The guardian must outlive the object.
    ReadAhead(Guardian& guardian, std::vector<BlockDevice> disks, std::string sysRoot = "/sys")
        : guardian_(guardian), disks_(std::move(disks)), sysRoot_(std::move(sysRoot)) {}
    ~ReadAhead();
    ReadAhead(const ReadAhead&) = delete;
    ReadAhead& operator=(const ReadAhead&) = delete;

    // False, and nothing has changed, when it cannot be had; `reason` is then one line. Each true is to be followed by
    // one TurnBack.
    bool TurnDown(ReadAheadLevel level, std::string& reason);
    void TurnBack(ReadAheadLevel level);

private:
    // Has each disk as low as is wanted. Returns the first failure; a disk that is gone is none.
    std::string Apply();
    uint64_t Wanted(uint64_t own) const;

    Guardian& guardian_;
    const std::vector<BlockDevice> disks_;
    const std::string sysRoot_;
    std::array<int, 2> users_{};  // By level.
    // In KiB, by file, of the disks that are turned down: what they were set to before.
    std::map<std::string, uint64_t> own_;
};

}  // namespace ZYRA::Host
