// SPDX-License-Identifier: Apache-2.0
#include "host/kernel/fault_table.h"

#include <fnmatch.h>

#include <cerrno>
#include <string_view>
#include <utility>

namespace ZYRA::Host {

namespace {

// Replies with numbers from here on are lost on their way to the caller.
constexpr int FIRST_UNDELIVERABLE = 512;

bool MatchesPath(const std::string& pattern, const std::string& path) {
    constexpr std::string_view EVERYTHING_BELOW = "/**";
    if (pattern.ends_with(EVERYTHING_BELOW)) {
        const std::string folder = pattern.substr(0, pattern.size() - EVERYTHING_BELOW.size());
        return fnmatch(folder.c_str(), path.c_str(), FNM_PATHNAME | FNM_LEADING_DIR) == 0;
    }
    return fnmatch(pattern.c_str(), path.c_str(), FNM_PATHNAME) == 0;
}

bool Matches(const FaultRule& rule, const std::string& path, FileOperation operation) {
    return rule.operation.value_or(operation) == operation && (!rule.isShort || operation == FileOperation::WRITE) &&
           MatchesPath(rule.path, path);
}

}  // namespace

// ENOSYS tells the kernel that the operation does not exist, and it never asks again.
bool FaultTable::CanDeliver(int error) {
    return error > 0 && error < FIRST_UNDELIVERABLE && error != ENOSYS;
}

void FaultTable::Set(std::vector<FaultRule> rules) {
    MutexLock lock(mutex_);
    rules_ = std::move(rules);
    isEmpty_.store(rules_.empty(), std::memory_order_relaxed);
}

Fault FaultTable::Check(const std::string& path, FileOperation operation) {
    MutexLock lock(mutex_);
    for (FaultRule& rule : rules_) {
        if (rule.times == 0 || !Matches(rule, path, operation)) {
            continue;
        }
        if (rule.skip > 0) {
            --rule.skip;
            continue;
        }
        --rule.times;
        return {rule.error, rule.isShort, rule.delayUs};
    }
    return {};
}

}  // namespace ZYRA::Host
