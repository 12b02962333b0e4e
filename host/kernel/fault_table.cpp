#include "host/kernel/fault_table.h"

#include <fnmatch.h>

#include <cerrno>
#include <utility>

namespace ZYRA::Host {

namespace {

// Replies with numbers from here on are lost on their way to the caller.
constexpr int FIRST_UNDELIVERABLE = 512;

bool Matches(const FaultRule& rule, const std::string& path, FileOperation operation) {
    return rule.operation == operation && fnmatch(rule.path.c_str(), path.c_str(), FNM_PATHNAME) == 0;
}

}  // namespace

// ENOSYS tells the kernel that the operation does not exist, and it never asks again.
bool FaultTable::CanDeliver(int error) {
    return error > 0 && error < FIRST_UNDELIVERABLE && error != ENOSYS;
}

void FaultTable::Set(std::vector<FaultRule> rules) {
    MutexLock lock(mutex_);
    rules_ = std::move(rules);
}

int FaultTable::Check(const std::string& path, FileOperation operation) {
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
        return rule.error;
    }
    return 0;
}

}  // namespace ZYRA::Host
