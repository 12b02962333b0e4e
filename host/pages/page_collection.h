// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "host/pages/page_events.h"
#include "host/pages/touched_pages.h"
#include "platform/mutex.h"

namespace ZYRA::Host {

// Listens to processes and gathers which pages they touch, on a thread of its own. The listening is got ready when the
// object is made, so that to attach a process takes little time. Thread-safe but
// for its end.
class PageCollection {
public:
    // On failure returns null and fills `error` with one line.
    static std::unique_ptr<PageCollection> Start(const PageEventSupport& support,
                                                 const std::vector<PageEventKind>& kinds, std::string& error);
    ~PageCollection();
    PageCollection(const PageCollection&) = delete;
    PageCollection& operator=(const PageCollection&) = delete;

    // Returns 0 or an errno: ESRCH when the process is gone.
    int Attach(int32_t pid);
    void Detach(int32_t pid);
    bool Has(int32_t pid);
    // What was touched until now does not count.
    void Clear();

    // Ends the listening. Called by one thread, with no other call under way.
    CollectedPages Finish();

private:
    explicit PageCollection(std::unique_ptr<PageEventStream> stream) : stream_(std::move(stream)) {}
    void Listen();
    void TakeEvents() REQUIRES(mutex_);

    Mutex mutex_;
    const std::unique_ptr<PageEventStream> stream_;
    std::set<int32_t> pids_ GUARDED_BY(mutex_);
    CollectedPages result_ GUARDED_BY(mutex_);
    std::vector<PageEvent> events_ GUARDED_BY(mutex_);
    std::atomic<bool> isEnding_{false};
    // From the first process on.
    std::thread thread_;
};

}  // namespace ZYRA::Host
