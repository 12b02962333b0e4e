// SPDX-License-Identifier: Apache-2.0
#include "host/pages/page_collection.h"

namespace ZYRA::Host {

namespace {

// The longest time for which the end of a collection, or an event, has to wait.
constexpr int WAIT_MS = 20;

}  // namespace

std::unique_ptr<PageCollection> PageCollection::Start(const PageEventSupport& support,
                                                      const std::vector<PageEventKind>& kinds, std::string& error) {
    auto stream = PageEventStream::Open(support, kinds, error);
    return stream == nullptr ? nullptr : std::unique_ptr<PageCollection>(new PageCollection(std::move(stream)));
}

PageCollection::~PageCollection() {
    Finish();
}

int PageCollection::Attach(int32_t pid) {
    MutexLock lock(mutex_);
    if (!pids_.insert(pid).second) {
        return 0;
    }
    if (result_.begunNs == INT64_MAX) {
        result_.begunNs = EarliestFileTimeNs();
    }
    const int error = stream_->Attach(pid);
    if (error != 0) {
        pids_.erase(pid);
    } else if (!thread_.joinable() && !isEnding_) {
        thread_ = std::thread([this] { Listen(); });
    }
    return error;
}

void PageCollection::Detach(int32_t pid) {
    MutexLock lock(mutex_);
    stream_->Detach(pid);
    pids_.erase(pid);
}

bool PageCollection::Has(int32_t pid) {
    MutexLock lock(mutex_);
    return pids_.contains(pid);
}

void PageCollection::Clear() {
    MutexLock lock(mutex_);
    TakeEvents();
    result_.touched.Clear();
}

CollectedPages PageCollection::Finish() {
    isEnding_ = true;
    if (thread_.joinable()) {
        thread_.join();
    }
    MutexLock lock(mutex_);
    TakeEvents();
    result_.lostEvents = stream_->Lost();
    return std::move(result_);
}

void PageCollection::Listen() {
    while (!isEnding_) {
        stream_->Wait(WAIT_MS);
        MutexLock lock(mutex_);
        TakeEvents();
    }
}

void PageCollection::TakeEvents() {
    events_.clear();
    stream_->Take(events_, result_.mapped);
    for (const PageEvent& event : events_) {
        result_.touched.Note(event);
    }
}

}  // namespace ZYRA::Host
