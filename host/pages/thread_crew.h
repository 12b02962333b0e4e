// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace ZYRA::Host {

// Threads that do a piece of work together with whoever has made them. One that cannot be made is done without: the
// work is to be such that any number of threads gets it done. Not thread-safe.
class ThreadCrew {
public:
    void Add(std::function<void()> work) {
        try {
            threads_.emplace_back(std::move(work));
        } catch (const std::system_error&) {
            // As many as there are.
        }
    }

    // Returns when each has done its work, as does the destructor.
    void Join() { threads_.clear(); }

private:
    std::vector<std::jthread> threads_;
};

}  // namespace ZYRA::Host
