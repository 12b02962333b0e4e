// SPDX-License-Identifier: Apache-2.0
#include "host/kernel/preread_stats.h"

#include <cstdlib>

namespace ZYRA::Host {

namespace {

// Presets may stand at the largest number: counting goes round there as an unsigned counter does.
int64_t Next(int64_t count) {
    return static_cast<int64_t>(static_cast<uint64_t>(count) + 1);
}

}  // namespace

void PrereadStats::Succeed(uint64_t bytes) {
    succ_ = Next(succ_);
    AddBytes(bytes);
}

void PrereadStats::Fail(const std::string& code, uint64_t bytes) {
    fail_ = Next(fail_);
    error_ = code;
    if (bytes != 0) {
        AddBytes(bytes);
    }
}

void PrereadStats::AddBytes(uint64_t bytes) {
    size_ = std::to_string(std::strtoull(size_.c_str(), nullptr, 0) + bytes);
}

void PrereadStats::SetCounts(int64_t succ, int64_t fail, const std::string& size) {
    succ_ = succ;
    fail_ = fail;
    size_ = size;
}

std::string PrereadStats::InfoText() const {
    return "Succ: " + std::to_string(succ_) + "\nFail: " + std::to_string(fail_) + "\nSize: " + size_ + "\n";
}

}  // namespace ZYRA::Host
